#include "kavonetsdk/resolve.h"

#include <cstdlib>

#include "frame/error.h"
#include "frame/log.h"
#include "frame/owner.h"
#include "kavonetsdk/iface.h"

using namespace kavonet;

namespace {

constexpr int LISTED = 256;

int clear_routes(const KAVONETIFENTRY *entries, int count)
{
    constexpr int LEFT_ALONE = 2;
    for (int i = 0; i < count; ++i) {
        if (entries[i].nLink == LEFT_ALONE)
            continue;
        if (NetRoutetableHandler(NET_ROUTE_CLEAR, entries[i].szName) == -1) {
            log_err("NetRoutetableHandler clear [%s] route table fail", entries[i].szName);
            return -1;
        }
    }
    return 0;
}

} // namespace

int NetRoutetableCheck(void)
{
    constexpr unsigned int EVERY_KIND = 0;
    const ConfigLock lock(ConfigLock::NETWORK_READ);
    if (!lock) {
        log_err("lock fail(%X)", KLIBCErrGet());
        return fail(NET_ERR_LOCK_FAILED, -1);
    }
    const Allocated<KAVONETIFENTRY> entries(static_cast<KAVONETIFENTRY *>(calloc(LISTED, sizeof(KAVONETIFENTRY))));
    if (!entries) {
        log_err("malloc fail");
        return fail(NET_ERR_OUT_OF_MEMORY, -1);
    }
    const int count = KLIBNetInterfaceEnum(entries.get(), LISTED, EVERY_KIND);
    if (count < 1) {
        log_err("%s", count < 0 ? "Get interface info fail." : "No interface.");
        return -1;
    }
    // A single interface keeps its route.
    return count == 1 ? 0 : clear_routes(entries.get(), count);
}
