#include "kavonetsdk/event.h"

#include "frame/error.h"
#include "frame/log.h"
#include "frame/owner.h"

using namespace kavonet;

int KAVONetHostnameChangeHook(const char *szHostname)
{
    if (szHostname == nullptr || szHostname[0] == '\0')
        return fail(NET_ERR_BAD_PARAMETER, -1);
    Event event("net/hostname_change");
    if (!event) {
        syslog(LOG_ERR, "KLIBPluginSDKInit failed");
        return -1;
    }
    if (!event.set("HOSTNAME", szHostname)) {
        syslog(LOG_ERR, "KLIBPluginSetArg failed, hostname = %s", szHostname);
        return -1;
    }
    if (!event.fire(Event::POST)) {
        syslog(LOG_ERR, "KLIBPluginAction failed");
        return -1;
    }
    return 0;
}
