#include "kavonetsdk/resolve.h"

#include <cstring>

#include "frame/error.h"
#include "frame/log.h"

using namespace kavonet;

int KAVONetDNSModeSet(const char *szMode)
{
    if (szMode == nullptr) {
        log_invalid_argument("((void *)0) != szMode", 0);
        return fail(NET_ERR_BAD_PARAMETER, -1);
    }
    if (strcmp(szMode, "static") != 0 && strcmp(szMode, "auto") != 0)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    if (KLIBCINFOSetKeyValue("dns_mode", szMode) < 0)
        return -1;
    return KAVONetDNSUpdate() < 0 ? -1 : 0;
}
