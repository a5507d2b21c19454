#include "kavonetsdk/virtual.h"

#include <cstring>

#include <unistd.h>

#include "frame/error.h"
#include "frame/name.h"
#include "frame/text.h"

using namespace kavonet;

int KLIBNetOVSIfIsMaster(const char *szIf)
{
    constexpr char PREFIX[] = "ovs_";
    constexpr char BOND_PREFIX[] = "ovs_bond";
    if (!is_short_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    if (strncmp(szIf, PREFIX, sizeof PREFIX - 1) != 0)
        return 0;
    if (access(Text<256>("/sys/devices/virtual/net/%s", szIf).c_str(), R_OK) != 0)
        return 0;
    return strncmp(szIf, BOND_PREFIX, sizeof BOND_PREFIX - 1) == 0 ? 2 : 1;
}
