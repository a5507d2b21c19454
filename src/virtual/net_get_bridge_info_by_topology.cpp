#include "kavonetsdk/virtual.h"

#include <cstring>

#include "frame/error.h"
#include "frame/name.h"
#include "virtual/bridge_topologies.h"

using namespace kavonet;

int KLIBNETGetBridgeInfoByTopology(const char *szIf, KLIBNETBRIDGEINFO *p, int32_t topology)
{
    if (!is_short_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    if (topology < 1 || static_cast<size_t>(topology) >= BRIDGE_TOPOLOGIES.size())
        return 0;
    for (const KLIBNETBRIDGEINFO &entry : BRIDGE_TOPOLOGIES[static_cast<size_t>(topology)]) {
        if (entry.szIfname[0] == '\0')
            return 0;
        if (strcmp(entry.szIfname, szIf) != 0)
            continue;
        if (p != nullptr)
            *p = entry;
        return entry.type;
    }
    return 0;
}
