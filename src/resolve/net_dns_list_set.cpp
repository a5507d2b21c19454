#include "kavonetsdk/resolve.h"

#include "frame/error.h"
#include "kavonetsdk/addr.h"
#include "kavonetsdk/event.h"
#include "resolve/dns_files.h"
#include "resolve/new_file.h"

using namespace kavonet;

namespace {

bool are_addresses(const KLIBSZLIST *servers)
{
    if (servers == nullptr || servers->nItem < 1)
        return false;
    for (int i = 0; i < servers->nItem; ++i) {
        const char *server = KLIBCSzListGet(servers, i);
        if (server == nullptr || server[0] == '\0' || KAVONetGetAddrType(server) == 0)
            return false;
    }
    return true;
}

} // namespace

int KAVONetDNSListSet(const KLIBSZLIST *pServers)
{
    if (!are_addresses(pServers))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    // Told before anything is written, so that a failure below leaves it without its second phase.
    KAVONetDnsConfigChangeHook(Event::PRE, "", pServers);
    // The file keeps the mode of a temporary one, unlike the file that every program reads.
    NewFile file(STATIC_RESOLV_FILE);
    if (!file)
        return fail(NET_ERR_OPEN_FAILED, -1);
    if (!file.write_servers(pServers) || !file.flush())
        return fail(NET_ERR_WRITE_FAILED, -1);
    if (!file.put_in_place())
        return fail(NET_ERR_RENAME_FAILED, -1);
    if (KAVONetDNSModeSet("static") < 0)
        return -1;
    KAVONetDnsConfigChangeHook(Event::POST, "", pServers);
    return 0;
}
