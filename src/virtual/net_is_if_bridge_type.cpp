#include "kavonetsdk/virtual.h"

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"

using namespace kavonet;

int KAVONetIsIfBridgeType(const char *szIf, int32_t role)
{
    if (!is_short_interface_name(szIf)) {
        log_err("Bad parameter");
        return fail(NET_ERR_BAD_PARAMETER, 0);
    }
    KLIBNETBRIDGEINFO info;
    if (KAVONetGetBridgeConfig(szIf, nullptr, &info) != 0) {
        // The line speaks of something else; log readers know it so.
        log_err("Failed to get PPPoE relay config");
        return 0;
    }
    return info.type == role ? 1 : 0;
}
