#include "kavonetsdk/ipv6.h"

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "frame/paths.h"
#include "ipv6/keys.h"
#include "kavo/core.h"

using namespace kavonet;

// Turning IPv6 off takes the kernel's addresses away; it stays off where the configuration says so.
int KAVOLnxIPv6FlushAddr(const char *szIf)
{
    constexpr int DISABLE = 1;
    constexpr int ENABLE = 0;
    if (!is_short_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    const Path path = ifcfg_path(szIf);
    Text<46> mode;
    if (KLIBCFileGetKeyValue(path.c_str(), MODE_KEY, mode.buffer(), mode.size(), 0) < 0) {
        log_err("Failed to get key [%s] in [%s]", MODE_KEY, path.c_str());
        return -1;
    }
    if (KAVOLnxIPv6ProcAction(szIf, DISABLE) != 0) {
        log_err("Failed to disable IPv6 on [%s]", szIf);
        return -1;
    }
    if (mode_of(mode.c_str()) == KAVO_IPV6_OFF)
        return 0;
    if (KAVOLnxIPv6ProcAction(szIf, ENABLE) != 0) {
        log_err("Failed to enable IPv6 on [%s]", szIf);
        return -1;
    }
    return 0;
}
