#include "kavonetsdk/resolve.h"

#include "resolve/dns_files.h"
#include "resolve/read_servers.h"

using namespace kavonet;

// Without the lock, unlike the servers in use: the file is written without it too.
int KAVONetStaticDNSListGet(PKLIBSZLIST *ppList)
{
    if (ppList == nullptr || *ppList == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    return read_servers(STATIC_RESOLV_FILE, ppList);
}
