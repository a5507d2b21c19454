#include "kavonetsdk/event.h"

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "frame/owner.h"

using namespace kavonet;

int KAVONetMTUChangeHook(const char *szIf, const char *szMTU, int phase)
{
    if (!is_short_interface_name(szIf) || szMTU == nullptr || szMTU[0] == '\0')
        return fail(NET_ERR_BAD_PARAMETER, -1);
    Event event("net/mtu_change");
    if (!event) {
        syslog(LOG_ERR, "KLIBPluginSDKInit failed");
        return -1;
    }
    if (!event.set("IFACE", szIf) || !event.set("MTU_VALUE", szMTU)) {
        syslog(LOG_ERR, "KLIBPluginSetArg failed, device = %s, MTU value = %s", szIf, szMTU);
        return -1;
    }
    if (!event.fire(phase)) {
        syslog(LOG_ERR, "KLIBPluginAction failed");
        return -1;
    }
    return 0;
}
