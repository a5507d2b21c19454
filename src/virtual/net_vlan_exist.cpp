#include "kavonetsdk/virtual.h"

int KLIBNetVlanExist(void)
{
    return KLIBCFileExist("/proc/net/vlan/config") != 0 ? 1 : 0;
}
