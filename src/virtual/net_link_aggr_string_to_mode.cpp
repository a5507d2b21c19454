#include "kavonetsdk/virtual.h"

#include <cstring>

#include "frame/error.h"
#include "virtual/bond_modes.h"

using namespace kavonet;

KAVOLINKAGGRMODE KAVONetLinkAggrStringToMode(const char *sz)
{
    if (sz == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, NO_BOND);
    for (const BondMode &row : BOND_MODES) {
        if (strncmp(sz, row.name, strlen(row.name)) == 0)
            return row.mode;
    }
    return NO_BOND;
}
