#include "kavonetsdk/iface.h"

#include <cstdlib>
#include <cstring>

#include "frame/log.h"
#include "frame/owner.h"
#include "frame/paths.h"
#include "iface/topologies.h"
#include "kavonetsdk/virtual.h"

using namespace kavonet;

namespace {

uint32_t stored_topology()
{
    Text<1024> name;
    if (KLIBCFileGetKeyValue(SETTINGS_FILE, TOPOLOGY_KEY, name.buffer(), name.size(), 0) < 1) {
        log_err("Failed to get key[%s] in [%s]", TOPOLOGY_KEY, SETTINGS_FILE);
        return 0;
    }
    return topology_of_name(name.c_str());
}

// Where the row's interface carries a VLAN, the first VLAN interface on it takes its place.
void prefer_vlan(KAVOTOPOLOGYINFO &row)
{
    Allocated<KLIBNETVLANINFO> vlans;
    int32_t count = 0;
    if (KLIBNetVlanEnum(vlans.handle(), &count) != 0)
        return;
    for (int32_t i = 0; i < count; ++i) {
        if (strcmp(vlans[i].szRowDev, row.szIfname) == 0) {
            copy_text(row.szIfname, vlans[i].szIfname);
            return;
        }
    }
}

} // namespace

int KLIBNetTopologyGet(KAVOTOPOLOGYINFO *pRow)
{
    if (KLIBCFileCheckKeyValue(SETTINGS_FILE, "support_net_topology", "yes", 0) == 0)
        return 0;
    uint32_t id = stored_topology();
    if (pRow != nullptr) {
        // Callers ask for a topology of their choice by its id; what is no id is as good as none.
        if (pRow->id != 0 && pRow->id < TOPOLOGIES.size())
            id = pRow->id;
        *pRow = TOPOLOGIES[id];
        prefer_vlan(*pRow);
    }
    return static_cast<int>(id);
}
