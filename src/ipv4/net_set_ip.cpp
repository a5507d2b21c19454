#include "kavonetsdk/ipv4.h"

#include <cstring>

#include "frame/error.h"
#include "frame/ifrequest.h"
#include "frame/log.h"
#include "frame/name.h"
#include "ipv4/ip_command.h"
#include "kavonetsdk/addr.h"
#include "kavonetsdk/event.h"
#include "kavonetsdk/ipv6.h"

using namespace kavonet;

namespace {

constexpr int FAMILY_IPV4 = 0; // the numbers of the address events
constexpr int FAMILY_IPV6 = 1;

using AddressText = Text<1024>;

bool is(const char *text, const char *word)
{
    return strcmp(text, word) == 0;
}

// One address on one interface, as the caller wants it.
struct Change {
    const char *family;
    const char *name;
    const char *address;
    unsigned int prefix;
    AddressText with_prefix;

    Change(const char *of_family, const char *of_name, const char *new_address, unsigned int new_prefix)
        : family(of_family),
          name(of_name),
          address(new_address),
          prefix(new_prefix),
          with_prefix("%s/%d", new_address, static_cast<int>(new_prefix))
    {
    }
};

int remove(const Change &change)
{
    if (ip_address(change.family, "del", change.with_prefix.c_str(), "dev", change.name))
        return 0;
    log_err("excute cmd /sbin/ip address del %s dev %s failed", change.with_prefix.c_str(), change.name);
    return -1;
}

// The interface's IPv4 address and mask in the kernel.
struct CurrentIpv4 {
    AddressText address;
    char mask[20] = "";

    bool read(const char *name)
    {
        if (KAVOILnxGetIP(name, address.buffer(), address.size()) < 0) {
            log_err("get old v4 IP failed");
            return false;
        }
        const Socket socket;
        if (!socket) {
            log_err("Failed to create socket.");
            return false;
        }
        if (strlen(name) >= IFNAMSIZ) {
            log_err("Failed to get interface info of '%s'.", name);
            return false;
        }
        InterfaceRequest request(socket, name);
        if (request.ask(SIOCGIFNETMASK))
            request.address_text(mask);
        return true;
    }
};

int add_ipv4(const Change &change, const CurrentIpv4 &current)
{
    const bool same_address = current.address.is(change.address);
    if (!same_address)
        KAVONetIPChangePreHook(FAMILY_IPV4, change.name, current.address.c_str(), change.address, change.prefix);
    else if (KAVONetNetmaskToPrefix(current.mask) == static_cast<int>(change.prefix))
        return 0;

    // The label keeps this to the interface's own addresses: its labelled aliases stay.
    if (!ip_address("-4", "flush", "dev", change.name, "label", change.name)) {
        log_err("excute command: ip -4 address flush dev %s label %s, failed", change.name, change.name);
        return -1;
    }
    if (!ip_address("-4", "add", change.with_prefix.c_str(), "broadcast", "+", "dev", change.name)) {
        log_err("excute command: ip -4 address add %s dev %s, failed", change.with_prefix.c_str(), change.name);
        return -1;
    }
    // Only a changed prefix asks for it: who follows the address event refreshes the rules of a changed address.
    if (same_address && KLIBCExecl("/usr/kavo/sbin/kavonetdtool", RUN_OPTIONS, "--refresh-static-route-rules", "-4",
                                   static_cast<char *>(nullptr)) < 0)
        log_err("Failed to refresh static route rules.");
    return 0;
}

int set_ipv4(const Change &change, bool add)
{
    if (change.prefix >= 33) {
        log_err("prefix length is wrong");
        return -1;
    }
    if (BlKLIBIsIpAddr(change.address) == 0) {
        log_err("your ip %s is not valid", change.address);
        return -1;
    }
    CurrentIpv4 current;
    if (!current.read(change.name))
        return -1;
    return add ? add_ipv4(change, current) : remove(change);
}

// The interface's IPv6 addresses in the kernel, as many as are looked at.
struct CurrentIpv6 {
    static constexpr int LOOKED_AT = 16;
    KAVOV6IPINFO addresses[LOOKED_AT] = {};
    int count = 0;

    bool read(const char *name)
    {
        const int found = KAVOLnxV6IPGet(name, addresses, LOOKED_AT);
        count = found < LOOKED_AT ? found : LOOKED_AT;
        return found >= 0;
    }

    [[nodiscard]] bool hold(const char *address) const
    {
        for (int i = 0; i < count; ++i) {
            if (is(addresses[i].szAddr, address))
                return true;
        }
        return false;
    }
};

int set_ipv6(const Change &change, bool add)
{
    if (change.prefix > 128) {
        log_err("prefix length is wrong");
        return -1;
    }
    if (BlKLIBIsv6IpAddrValid(change.address) == 0) {
        log_err("your v6ip %s is not valid", change.address);
        return -1;
    }
    CurrentIpv6 current;
    if (!current.read(change.name)) {
        log_err("get old v6 IP failed");
        return -1;
    }
    if (!add)
        return remove(change);
    // An address that is already there is added again, without an event.
    if (!current.hold(change.address))
        KAVONetIPChangePreHook(FAMILY_IPV6, change.name, current.addresses[0].szAddr, change.address, change.prefix);
    if (ip_address("-6", "add", change.with_prefix.c_str(), "dev", change.name))
        return 0;
    log_err("excute cmd /sbin/ip address add %s dev %s failed", change.with_prefix.c_str(), change.name);
    return -1;
}

} // namespace

int KAVONetSetIP(const char *szFamily, const char *szIf, const char *szAddr, unsigned int prefix, const char *szAction)
{
    // A flush needs no address; over-long names are refused where each family's current addresses are read.
    if (szFamily == nullptr || szAction == nullptr || !is_interface_name(szIf) ||
        (szAddr == nullptr && !is(szAction, "flush")))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    if (is(szAction, "flush")) {
        if (KAVONetFlushIP(szFamily, szIf) >= 0)
            return 0;
        log_err("flush ip failed");
        return -1;
    }
    const bool add = is(szAction, "add");
    if (!add && !is(szAction, "del")) {
        log_err("action command is wrong. your action is %s", szAction);
        return -1;
    }
    if (!is(szFamily, "-4") && !is(szFamily, "-6")) {
        log_err("ip type is wrong, only -4 or -6");
        return -1;
    }
    const Change change(szFamily, szIf, szAddr, prefix);
    return is(szFamily, "-4") ? set_ipv4(change, add) : set_ipv6(change, add);
}
