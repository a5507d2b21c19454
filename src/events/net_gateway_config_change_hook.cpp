#include "kavonetsdk/event.h"

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "frame/owner.h"

using namespace kavonet;

namespace {

bool is_empty(const char *text)
{
    return text == nullptr || text[0] == '\0';
}

} // namespace

int KAVONetGatewayConfigChangeHook(int phase, const char *szType, const char *szIf, const char *szOld,
                                   const char *szNew)
{
    if (is_empty(szType) || !is_short_interface_name(szIf) || is_empty(szOld) || is_empty(szNew))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    Event event("net/gateway_config_change");
    if (!event) {
        log_err("KLIBPluginSDKInit failed");
        return -1;
    }
    if (!event.set("TYPE", szType)) {
        log_err("KLIBPluginSetArg failed, Type = %s", szType);
        return -1;
    }
    if (!event.set("INTERFACE", szIf)) {
        log_err("KLIBPluginSetArg failed, Interface = %s", szIf);
        return -1;
    }
    if (!event.set("GATEWAY_OLD", szOld)) {
        log_err("KLIBPluginSetArg failed, GatewayOld = %s", szOld);
        return -1;
    }
    if (!event.set("GATEWAY_NEW", szNew)) {
        log_err("KLIBPluginSetArg failed, GatewayNew = %s", szNew);
        return -1;
    }
    if (!event.fire(phase)) {
        log_err("KLIBPluginAction failed");
        return -1;
    }
    return 0;
}
