#include "kavonetsdk/virtual.h"

#include <cstring>

#include "frame/error.h"
#include "frame/owner.h"
#include "kavonetsdk/diag.h"

using namespace kavonet;

namespace {

// Whether the interface is a bridge of that kind. Guest bridges ("gbr") are looked after elsewhere.
bool is_wanted(const char *name, int32_t kind)
{
    if (strstr(name, "gbr") != nullptr || KLIBNetBridgeIfIsMaster(name) != 1)
        return false;
    return kind == (KLIBNetIFIsLocalLan(name) == 1 ? NET_BRIDGE_LOCAL_LAN : NET_BRIDGE_MASTER);
}

} // namespace

int KLIBNetEnumBridge(PKLIBSZLIST *ppList, int32_t kind)
{
    constexpr int TABLE = 256;
    const Owned<NetStat, KLIBNetStatFree> table(KLIBNetStatInit(TABLE));
    if (!table)
        return fail(NET_ERR_OUT_OF_MEMORY, -1);
    const int interfaces = KLIBNetStatGetAll(table.get(), TABLE);
    if (interfaces < 0)
        return -1;
    const bool has_list = ppList != nullptr && *ppList != nullptr;
    int count = 0;
    for (int i = 0; i < interfaces; ++i) {
        if (!is_wanted(table[i].szName, kind))
            continue;
        if (has_list && KLIBCSzListPush(ppList, table[i].szName) < 0)
            return fail(NET_ERR_OUT_OF_MEMORY, -1);
        ++count;
    }
    return count;
}
