#include "kavonetsdk/ipv6.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <arpa/inet.h>
#include <strings.h>
#include <unistd.h>

#include "frame/command.h"
#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "frame/paths.h"
#include "ipv6/accept_ra.h"
#include "ipv6/dhcp6_client.h"
#include "ipv6/keys.h"
#include "kavo/core.h"
#include "kavo/systemd.h"
#include "kavonetsdk/addr.h"
#include "kavonetsdk/iface.h"

using namespace kavonet;

namespace {

constexpr int DONE = 0;
constexpr int FAILED = -1;
constexpr int LINK_LOCAL_REFUSED = 2;
constexpr int ROUTER_ELSEWHERE = 3;

constexpr unsigned int DUPLICATE_SECONDS = 5; // what the kernel needs to find a duplicate address

using Value = Text<46>;

// What mode "static" is given; the other modes do not look at it.
struct Static {
    const char *address;
    int prefix;
    const char *router; // null or empty: none

    [[nodiscard]] const char *address_text() const { return address != nullptr ? address : ""; }
    [[nodiscard]] bool has_router() const { return router != nullptr && router[0] != '\0'; }
};

bool is_address(const char *text)
{
    in6_addr address;
    return inet_pton(AF_INET6, text, &address) == 1;
}

bool is_link_local(const char *address)
{
    constexpr unsigned int PREFIX = 10;
    return KAVONetIPv6IsSameSubnet(address, "fe80::1", PREFIX) == 1;
}

// The interface whose mode changes, and the steps that the modes share.
class Interface {
public:
    explicit Interface(const char *name) : name_(name), path_(ifcfg_path(name)) {}

    [[nodiscard]] const char *name() const { return name_; }

    // A mode that cannot be read counts as another one; the log line is an old one that readers know.
    [[nodiscard]] bool is_off() const
    {
        Value mode;
        if (read(MODE_KEY, mode) < 0)
            log_err("Fail to set key %s, %s", path_.c_str(), MODE_KEY);
        return mode_of(mode.c_str()) == KAVO_IPV6_OFF;
    }

    [[nodiscard]] bool enable() const { return KAVOLnxIPv6ProcAction(name_, 0) == 0; }
    [[nodiscard]] bool disable() const { return KAVOLnxIPv6ProcAction(name_, 1) == 0; }

    // A client that cannot be stopped is only logged. The error record stays: what failed before, if anything, is what
    // callers want to know.
    void stop_dhcp() const
    {
        const char *type = dhcp6_running(name_);
        if (type == nullptr)
            return;
        const KeptFailure failure;
        const UnitName unit = dhcp6_unit(name_, type);
        if (KAVOCSystemdStop(unit.c_str()) != 1)
            log_warning("Failed to stop dhclient6 [%s]", unit.c_str());
        failure.put_back();
    }

    [[nodiscard]] bool start_dhcp(const char *type) const
    {
        if (dhcp6_running(name_) != nullptr) {
            log_err("DHCPv6 already running!");
            return true;
        }
        const UnitName unit = dhcp6_unit(name_, type);
        if (KAVOCSystemdStart(unit.c_str()) == 1)
            return true;
        const int reason = errno;
        log_warning("Failed to start dhclient6 [%s]", unit.c_str());
        log_err("Fail to start DHCP:%s, %s", name_, strerror(reason));
        return false;
    }

    // Takes the configured static address off; what fails here does not keep the mode from changing.
    void remove_static_address() const
    {
        Value mode;
        Value address;
        Value text;
        if (read_or_log(MODE_KEY, mode) < 1 || mode_of(mode.c_str()) != KAVO_IPV6_STATIC ||
            read_or_log(ADDRESS_KEY, address) < 1 || read_or_log(PREFIX_KEY, text) < 0)
            return;
        int prefix = 128;
        // NOLINTNEXTLINE(cert-err34-c): a number out of range is refused by what takes the address off
        sscanf(text.c_str(), "%d", &prefix);
        if (KAVONetIPv6IPAction(KAVO_IPV6_IP_DEL, name_, address.c_str(), static_cast<unsigned int>(prefix), nullptr) !=
            0)
            log_err("Fail to delete ipv6 address %s, %s", address.c_str(), name_);
    }

    // Waits for the kernel's verdict on new addresses and takes the duplicates off. Returns their number or -1.
    [[nodiscard]] int remove_duplicates() const
    {
        sleep(DUPLICATE_SECONDS);
        KAVOV6IPINFO first;
        const int removed = KAVONetIPv6RemoveDADFailedIP(name_, &first, 1);
        if (removed < 0)
            log_err("failed to run ipv6 dad failed ip");
        if (removed > 0)
            log_err("ipv6 dad fail, ip:%s, pxleng:%d", first.szAddr, first.prefix);
        if (removed != 0)
            stop_dhcp();
        return removed;
    }

    [[nodiscard]] bool set_key(const char *key, const char *value) const
    {
        if (KLIBCFileSetKeyValue(path_.c_str(), key, value, nullptr) >= 0)
            return true;
        log_err("Fail to set key %s, %s : %s", path_.c_str(), key, value);
        return false;
    }

    [[nodiscard]] bool set_mode(KAVOIPV6INITTYPE mode) const { return set_key(MODE_KEY, MODE_TEXTS[mode]); }

    [[nodiscard]] bool remove_key(const char *key) const
    {
        if (KLIBCFileRemoveKey(path_.c_str(), key) >= 0)
            return true;
        log_err("Error while removing key %s from %s", key, path_.c_str());
        return false;
    }

    [[nodiscard]] bool listen_to_routers() const
    {
        if (set_accept_ra(name_, true))
            return true;
        log_err("Failed to enable ipv6 accept_ra");
        return false;
    }

    // The write behind the default route. Its log line names the address's key and the address: log readers know it so.
    [[nodiscard]] bool store_router(const Static &wanted) const
    {
        if (KLIBCFileSetKeyValue(path_.c_str(), ROUTER_KEY, wanted.router, nullptr) >= 0)
            return true;
        log_err("Fail to set key %s, %s : %s", path_.c_str(), ADDRESS_KEY, wanted.address_text());
        return false;
    }

private:
    int read(const char *key, Value &value) const
    {
        return KLIBCFileGetKeyValue(path_.c_str(), key, value.buffer(), value.size(), 0);
    }

    int read_or_log(const char *key, Value &value) const
    {
        const int found = read(key, value);
        if (found < 0)
            log_err("Fail to get key %s, %s", path_.c_str(), key);
        return found;
    }

    const char *name_;
    Path path_;
};

// ---- Modes "auto" and "off"

void solicit_router(const char *name)
{
    if (KLIBCExecl("/usr/sbin/rdisc6", RUN_OPTIONS, "-q", "-n", name, "-r", "1", "-w", "0",
                   static_cast<char *>(nullptr)) != 0)
        log_warning("Failed to send RS for %s", name);
}

int set_auto(const Interface &interface, const Static &)
{
    if (!interface.enable())
        return FAILED;
    interface.stop_dhcp();
    interface.remove_static_address();
    if (!interface.set_mode(KAVO_IPV6_AUTO) || !interface.listen_to_routers())
        return FAILED;
    solicit_router(interface.name());
    return DONE;
}

int set_off(const Interface &interface, const Static &)
{
    if (!interface.set_mode(KAVO_IPV6_OFF))
        return FAILED;
    interface.stop_dhcp();
    return interface.disable() ? DONE : FAILED;
}

// ---- The modes with DHCPv6

// Makes the mode that a client now runs for the configured one.
int keep_dhcp(const Interface &interface, KAVOIPV6INITTYPE mode)
{
    interface.remove_static_address();
    if (!interface.set_mode(mode)) {
        interface.stop_dhcp();
        return FAILED;
    }
    return interface.listen_to_routers() ? DONE : FAILED;
}

bool start_dhcp(const Interface &interface, const char *type)
{
    if (!interface.enable())
        return false;
    interface.stop_dhcp();
    if (interface.start_dhcp(type))
        return true;
    interface.stop_dhcp();
    return false;
}

int set_dhcp(const Interface &interface, const Static &)
{
    if (!start_dhcp(interface, DHCP6_CLIENT))
        return FAILED;
    const int duplicates = interface.remove_duplicates();
    return duplicates != 0 ? duplicates : keep_dhcp(interface, KAVO_IPV6_DHCP);
}

int set_auto_dhcp(const Interface &interface, const Static &)
{
    return start_dhcp(interface, DHCP6_INFO) ? keep_dhcp(interface, KAVO_IPV6_AUTO_DHCP) : FAILED;
}

// ---- Mode "static"

// Empties the interface of its addresses and makes it deaf to routers.
bool clear(const Interface &interface)
{
    interface.stop_dhcp();
    if (!interface.disable())
        return false;
    if (!set_accept_ra(interface.name(), false)) {
        log_err("Failed to disable ipv6 accept_ra");
        return false;
    }
    return interface.enable();
}

int add_address(const Interface &interface, const Static &wanted)
{
    // An address with a prefix behind it is valid too: it is handed on and stored as it stands.
    if (BlKLIBIsv6IpAddrValid(wanted.address) == 0) {
        log_err("IPv6 address illegal %s", wanted.address_text());
        return fail(NET_ERR_BAD_ADDRESS, FAILED);
    }
    if (is_link_local(wanted.address)) {
        log_err("Cannot set link local address manually");
        return LINK_LOCAL_REFUSED;
    }
    const auto prefix = static_cast<unsigned int>(wanted.prefix);
    if (KAVONetIPv6IPAction(KAVO_IPV6_IP_ADD, interface.name(), wanted.address, prefix, nullptr) != 0) {
        log_err("Fail to add ipv6 address %s, %s", wanted.address, interface.name());
        return FAILED;
    }
    return interface.remove_duplicates();
}

bool store_address(const Interface &interface, const Static &wanted)
{
    const Text<8> prefix("%d", wanted.prefix);
    if (interface.set_mode(KAVO_IPV6_STATIC) && interface.set_key(ADDRESS_KEY, wanted.address) &&
        interface.set_key(PREFIX_KEY, prefix.c_str()))
        return true;
    log_err("Fail to set ipv6 static key values");
    return false;
}

bool add_router(const Interface &interface, const Static &wanted)
{
    if (KAVONetIPv6IPAction(KAVO_IPV6_IP_ADD, interface.name(), wanted.address,
                            static_cast<unsigned int>(wanted.prefix), wanted.router) == 0)
        return true;
    log_err("Fail to add ipv6 router %s, v6ip %s, dev %s", wanted.router, wanted.address, interface.name());
    return false;
}

int set_router(const Interface &interface, const Static &wanted)
{
    if (!is_address(wanted.router)) {
        log_err("IPv6 router address illegal %s", wanted.router);
        log_err("Fail to set IPv6 router");
        return fail(NET_ERR_BAD_ADDRESS, FAILED);
    }
    if (!is_link_local(wanted.router) &&
        KAVONetIPv6IsSameSubnet(wanted.router, wanted.address, static_cast<unsigned int>(wanted.prefix)) != 1) {
        log_err("Gateway IP and IPv6 Addr is not the same subnet");
        return ROUTER_ELSEWHERE;
    }
    if (add_router(interface, wanted) && interface.store_router(wanted))
        return DONE;
    log_err("Fail to set IPv6 router");
    return FAILED;
}

int set_static(const Interface &interface, const Static &wanted)
{
    if (!clear(interface))
        return FAILED;
    const int added = add_address(interface, wanted);
    if (added != DONE)
        return added;
    if (!store_address(interface, wanted))
        return FAILED;
    if (wanted.has_router())
        return set_router(interface, wanted);
    return interface.remove_key(ROUTER_KEY) ? DONE : FAILED;
}

// ---- The modes by their numbers

struct Mode {
    int (*set)(const Interface &, const Static &);
    bool puts_off_back; // a change that fails turns IPv6 off again where it was configured off
};

constexpr std::array<Mode, MODE_TEXTS.size()> MODES = {
    {{set_auto, false}, {set_off, false}, {set_dhcp, true}, {set_static, true}, {set_auto_dhcp, true}}};

} // namespace

int KAVONetIPv6ConfSet(int mode, const char *szIf, const char *szAddr, int prefix, const char *szGateway)
{
    if (!is_short_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, FAILED);
    if (KAVONetIsDevTypeMatch(szIf, NET_IF_SEL_USABLE) != 1)
        return FAILED;
    if (mode < 0 || static_cast<size_t>(mode) >= MODES.size())
        return FAILED;
    const Mode &wanted = MODES[static_cast<size_t>(mode)];
    const Interface interface(szIf);
    const bool was_off = interface.is_off();
    const int result = wanted.set(interface, {szAddr, prefix, szGateway});
    if (result != DONE && was_off && wanted.puts_off_back) {
        const KeptFailure failure;
        static_cast<void>(interface.disable());
        failure.put_back();
    }
    return result;
}
