#include "kavonetsdk/event.h"

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "frame/owner.h"
#include "kavonetsdk/iface.h"

using namespace kavonet;

namespace {

struct Family {
    const char *event;
    unsigned int longest_prefix;
};

constexpr Family FAMILIES[] = {{"net/ipv4_change", 32}, {"net/ipv6_change", 128}};

} // namespace

int KAVONetIPChangePreHook(int family, const char *szIf, const char *szOrigin, const char *szNew, unsigned int prefix)
{
    if (!is_short_interface_name(szIf) || szOrigin == nullptr || szNew == nullptr || szNew[0] == '\0')
        return fail(NET_ERR_BAD_PARAMETER, -1);
    if (family < 0 || family > 1 || prefix > FAMILIES[family].longest_prefix)
        return fail(NET_ERR_BAD_PARAMETER, -1);

    const int link = KAVONetIfIsLink(szIf);
    if (link < 0) {
        log_err("error on link detect");
        return -1;
    }
    const Text<1024> length("%d", static_cast<int>(prefix));
    Event event(FAMILIES[family].event);
    if (!event) {
        syslog(LOG_ERR, "KLIBPluginSDKInit failed");
        return -1;
    }
    const bool sent = event.set("IFNAME", szIf) && event.set("ORIGIN_ADDRESS", szOrigin) &&
                      event.set("NEW_ADDRESS", szNew) && event.set("PREFIX_LENGTH", length.c_str()) &&
                      event.set("IS_LINK", link != 0 ? "true" : "false") && event.fire(Event::PRE);
    return sent ? 0 : -1;
}
