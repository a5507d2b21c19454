#include "kavonetsdk/virtual.h"

#include "frame/error.h"
#include "frame/name.h"

using namespace kavonet;

int KLIBNetVlanGetByRowDev(const char *szRowDev, int32_t id, KLIBNETVLANINFO *p)
{
    if (!is_short_interface_name(szRowDev) || p == nullptr || KLIBNetVlanValidId(id) != 0)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    return KLIBNetVlanGet(InterfaceName("%s.%d", szRowDev, id).c_str(), p);
}
