#include "kavonetsdk/resolve.h"

#include <cstdio>

#include "frame/error.h"
#include "frame/owner.h"
#include "resolve/dns_files.h"

using namespace kavonet;

int KAVONetDNSGet(char *sz, int cb)
{
    if (sz == nullptr || cb < 1)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    StringList servers(KLIBCSzListAlloc(SERVER_LIST_ROOM));
    if (!servers)
        return fail(NET_ERR_OUT_OF_MEMORY, -1);
    sz[0] = '\0';
    if (KAVONetDNSListGet(servers.handle()) < 0)
        return -1;
    if (servers->nItem > 0)
        snprintf(sz, static_cast<size_t>(cb), "%s", KLIBCSzListGet(servers.get(), 0));
    return 0;
}
