#include "kavonetsdk/ipv6.h"

#include "frame/command.h"
#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "kavo/core.h"
#include "kavonetsdk/ipv4.h"

using namespace kavonet;

namespace {

constexpr unsigned int LONGEST_PREFIX = 128;

bool are_legal(const char *device, const char *address, unsigned int prefix)
{
    if (prefix > LONGEST_PREFIX) {
        log_err("Paramter Prefix length %d out of range [0, 128] ", static_cast<int>(prefix));
        return fail(NET_ERR_BAD_PARAMETER, false);
    }
    if (address == nullptr) {
        log_err("Paramter szV6IPAddr can not be NULL");
        return fail(NET_ERR_BAD_PARAMETER, false);
    }
    if (device == nullptr) {
        log_err("Paramter szDevice can not be NULL");
        return fail(NET_ERR_BAD_PARAMETER, false);
    }
    return is_short_interface_name(device) || fail(NET_ERR_BAD_PARAMETER, false);
}

int change_default_route(const char *action, const char *router, const char *device)
{
    return KLIBCExecl("/sbin/ip", RUN_OPTIONS, "-6", "route", action, "default", "via", router, "dev", device,
                      static_cast<char *>(nullptr));
}

} // namespace

int KAVONetIPv6IPAction(KAVOIPV6IPCMD cmd, const char *szDevice, const char *szAddr, unsigned int prefix,
                        const char *szGateway)
{
    if (!are_legal(szDevice, szAddr, prefix))
        return -1;
    if (cmd != KAVO_IPV6_IP_ADD && cmd != KAVO_IPV6_IP_DEL) {
        log_err("Paramter KAVOIPV6IPCMD is not a legal parameter");
        return -1;
    }
    const char *action = cmd == KAVO_IPV6_IP_ADD ? "add" : "del";
    // With a router it is the default route that changes, and the address is not looked at.
    if (szGateway != nullptr && szGateway[0] != '\0')
        return change_default_route(action, szGateway, szDevice);
    if (KAVONetSetIP("-6", szDevice, szAddr, prefix, action) >= 0)
        return 0;
    // IPv6 has no netmask; log readers know the line with its place.
    log_err("set IP failed. IP = %s, Netmask = %s, prefix = %d", szAddr, "", static_cast<int>(prefix));
    return -1;
}
