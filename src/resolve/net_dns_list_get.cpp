#include "kavonetsdk/resolve.h"

#include "resolve/dns_files.h"
#include "resolve/read_servers.h"

using namespace kavonet;

int KAVONetDNSListGet(PKLIBSZLIST *ppList)
{
    if (ppList == nullptr || *ppList == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    const ConfigLock lock(ConfigLock::NETWORK_READ);
    if (!lock)
        return fail(NET_ERR_LOCK_FAILED, -1);
    return read_servers(RESOLV_FILE, ppList);
}
