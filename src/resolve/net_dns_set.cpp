#include "kavonetsdk/resolve.h"

#include "frame/error.h"
#include "frame/log.h"
#include "frame/owner.h"
#include "kavonetsdk/addr.h"
#include "resolve/dns_files.h"

using namespace kavonet;

int KAVONetDNSSet(const char *szServer)
{
    if (szServer == nullptr || szServer[0] == '\0' || KAVONetGetAddrType(szServer) == 0)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    StringList servers(KLIBCSzListAlloc(SERVER_LIST_ROOM));
    if (!servers)
        return fail(NET_ERR_OUT_OF_MEMORY, -1);
    if (KLIBCSzListPush(servers.handle(), szServer) < 0) {
        log_err("Cannot push the list");
        return -1;
    }
    return KAVONetDNSListSet(servers.get());
}
