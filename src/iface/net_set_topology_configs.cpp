#include "kavonetsdk/iface.h"

#include "frame/error.h"
#include "frame/text.h"
#include "iface/topologies.h"
#include "kavo/core.h"

using namespace kavonet;

int KLIBNETSetTopologyConfigs(const KAVOTOPOLOGYINFO *pRow)
{
    if (pRow == nullptr || pRow->szName[0] == '\0')
        return fail(NET_ERR_BAD_PARAMETER, -1);
    // A caller's field need not be terminated.
    const Text<sizeof pRow->szName> name("%.*s", static_cast<int>(sizeof pRow->szName - 1), pRow->szName);
    return KLIBCINFOSetKeyValue(TOPOLOGY_KEY, name.c_str()) < 0 ? -1 : 0;
}
