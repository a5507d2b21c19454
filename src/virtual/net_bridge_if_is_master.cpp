#include "kavonetsdk/virtual.h"

#include <unistd.h>

#include "frame/error.h"
#include "frame/name.h"

using namespace kavonet;

int KLIBNetBridgeIfIsMaster(const char *szIf)
{
    if (!is_short_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    return access(Text<256>("/sys/class/net/%s/bridge/", szIf).c_str(), R_OK) == 0 ? 1 : 0;
}
