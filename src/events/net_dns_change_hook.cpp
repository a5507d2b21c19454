#include "kavonetsdk/event.h"

#include "events/dns_list.h"
#include "frame/error.h"
#include "frame/log.h"

using namespace kavonet;

int KAVONetDNSChangeHook(int phase, const KLIBSZLIST *pDns)
{
    if (!is_server_list(pDns))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    Event event("net/dns_change");
    if (!event) {
        log_err("KLIBPluginSDKInit failed");
        return -1;
    }
    return send_dns_list(event, phase, pDns);
}
