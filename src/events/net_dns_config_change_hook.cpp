#include "kavonetsdk/event.h"

#include "events/dns_list.h"
#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"

using namespace kavonet;

int KAVONetDnsConfigChangeHook(int phase, const char *szIf, const KLIBSZLIST *pDns)
{
    // An empty interface means all of them.
    if (szIf == nullptr || (szIf[0] != '\0' && !is_short_interface_name(szIf)) || !is_server_list(pDns))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    Event event("net/dns_config_change");
    if (!event) {
        log_err("KLIBPluginSDKInit failed");
        return -1;
    }
    if (!event.set("INTERFACE", szIf)) {
        log_err("KLIBPluginSetArg failed, interface = %s", szIf);
        return -1;
    }
    return send_dns_list(event, phase, pDns);
}
