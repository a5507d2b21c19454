#include "kavonetsdk/virtual.h"

#include "virtual/bond_modes.h"

using namespace kavonet;

const char *KAVONetLinkAggrModeToString(KAVOLINKAGGRMODE mode)
{
    for (const BondMode &row : BOND_MODES) {
        if (row.mode == mode)
            return row.name;
    }
    return "unknown";
}
