#include "kavonetsdk/ipv4.h"

#include <cstring>

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "ipv4/ip_command.h"
#include "kavonetsdk/ipv6.h"

using namespace kavonet;

int KAVONetFlushIP(const char *szFamily, const char *szIf)
{
    if (szFamily == nullptr || !is_short_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    if (strcmp(szFamily, "-4") == 0) {
        if (ip_address("-4", "flush", "dev", szIf))
            return 0;
        log_err("Failed to flush ipv4 address on [%s]", szIf);
        return -1;
    }
    if (strcmp(szFamily, "-6") == 0) {
        if (KAVOLnxIPv6FlushAddr(szIf) >= 0)
            return 0;
        log_err("Failed to flush ipv6 address on [%s]", szIf);
        return -1;
    }
    log_err("ip type is wrong, only -4 or -6");
    return -1;
}
