#include "interface.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include <net/if.h>

#include "errors.h"
#include "kavo/core.h"

namespace cli {
namespace {

// The word of each kind, in their order, and how the library lists it; it lists "all" in another way.
struct Listing {
    const char *word;
    int (*list)(KAVONETIFENTRY *entries, int max);
};

template <unsigned Selector> int list_by_selector(KAVONETIFENTRY *entries, int max)
{
    return KLIBNetGetInterfaceInfo(entries, max, Selector);
}

// 1 and 2 tell the local LAN interfaces from the others; 0 takes both.
template <unsigned Number> int list_by_number(KAVONETIFENTRY *entries, int max)
{
    return KLIBNetInterfaceEnum(entries, max, Number);
}

constexpr Listing LISTINGS[] = {
    {"all", nullptr},
    {"physical", list_by_selector<NET_IF_SEL_PHYSICAL>},
    {"usable", list_by_selector<NET_IF_SEL_USABLE>},
    {"usable-ppp", list_by_selector<NET_IF_SEL_USABLE_PPP>},
    {"standalone", list_by_number<0>},
    {"local-lan", list_by_number<2>},
    {"not-local-lan", list_by_number<1>},
    {"eth", KLIBNetEthEnum},
};

bool list_all(std::vector<Interface> &found)
{
    std::vector<NetStat> names;
    if (!list_counters(names))
        return false;
    found.reserve(names.size());
    for (const NetStat &name : names) {
        Interface &interface = found.emplace_back();
        if (KAVONetIFGetInfo(name.szName, &interface.entry, nullptr) >= 0)
            continue;
        if (KLIBCErrGet() == NET_ERR_BAD_PARAMETER) {
            interface.known = false;
            memcpy(interface.entry.szName, name.szName, sizeof name.szName);
        } else if (KLIBCErrGet() == NET_ERR_IOCTL_FAILED) {
            found.pop_back(); // It has gone since the names were read.
        } else {
            return false;
        }
    }
    return true;
}

bool list_selected(Kind kind, std::vector<Interface> &found)
{
    std::vector<KAVONETIFENTRY> entries(256);
    const int count = LISTINGS[static_cast<size_t>(kind)].list(entries.data(), static_cast<int>(entries.size()));
    if (count < 0)
        return false;
    for (int i = 0; i < count; ++i)
        found.push_back({entries[static_cast<size_t>(i)]});
    return true;
}

// -1 when there is none.
int prefix_of(const char *mask)
{
    return mask[0] == '\0' ? -1 : KAVONetNetmaskToPrefix(mask);
}

} // namespace

bool Interface::is_up() const
{
    return (entry.nFlags & IFF_UP) != 0;
}

bool Interface::is_loopback() const
{
    return (entry.nFlags & IFF_LOOPBACK) != 0;
}

std::string Interface::mac() const
{
    constexpr char DIGITS[] = "0123456789abcdef";
    constexpr uint8_t NONE[sizeof entry.rgMac] = {};
    if (memcmp(entry.rgMac, NONE, sizeof NONE) == 0)
        return "";
    std::string text(3 * sizeof entry.rgMac - 1, ':');
    for (size_t i = 0; i < sizeof entry.rgMac; ++i) {
        text[3 * i] = DIGITS[entry.rgMac[i] >> 4];
        text[3 * i + 1] = DIGITS[entry.rgMac[i] & 0xF];
    }
    return text;
}

std::string Interface::address() const
{
    return with_prefix(entry.szAddr, entry.szMask);
}

bool list_counters(std::vector<NetStat> &counters)
{
    // Room that is not used costs nothing as long as nobody touches it. The table may grow between two looks.
    for (size_t room = 2048;; room *= 2) {
        const auto table = std::make_unique_for_overwrite<NetStat[]>(room);
        const int count = KLIBNetStatGetAll(table.get(), static_cast<int>(room));
        if (count < 0)
            return false;
        if (static_cast<size_t>(count) < room) {
            counters.assign(table.get(), table.get() + count);
            return true;
        }
    }
}

Kind kind_of(const std::string &word)
{
    const auto *found = std::find_if(std::begin(LISTINGS), std::end(LISTINGS),
                                     [&](const Listing &listing) { return word == listing.word; });
    return static_cast<Kind>(found - std::begin(LISTINGS));
}

bool list_interfaces(Kind kind, std::vector<Interface> &found)
{
    forget_error();
    return kind == Kind::ALL ? list_all(found) : list_selected(kind, found);
}

bool read_interface(const std::string &name, Interface &interface)
{
    forget_error();
    return KAVONetIFGetInfo(name.c_str(), &interface.entry, nullptr) >= 0;
}

const char *Ipv4::method_name() const
{
    constexpr const char *NAMES[] = {"", "dhcp", "static"};
    return NAMES[method];
}

std::string Ipv4::text() const
{
    if (method == NONE)
        return "not configured";
    if (method == DHCP && address.empty())
        return "dhcp, no lease";
    return std::string(method_name()) + ' ' + with_prefix(address.c_str(), mask.c_str());
}

bool read_ipv4(const std::string &name, Ipv4 &ipv4)
{
    forget_error();
    KAVONETINFO info{};
    ipv4 = {};
    if (KAVONetIFGetIPConfig(name.c_str(), &info) == 0)
        ipv4 = {info.blStatic != 0 ? Ipv4::STATIC : Ipv4::DHCP, info.szAddr, info.szMask};
    // Without a complete configuration, or with a name that the library refuses, there is none to show.
    return ipv4.method != Ipv4::NONE || KLIBCErrGet() != NET_ERR_LOCK_FAILED;
}

std::string with_prefix(const char *address, const char *mask)
{
    const int prefix = prefix_of(mask);
    return address[0] == '\0' || prefix < 0 ? address : std::string(address) + "/" + std::to_string(prefix);
}

void put_address(Json &json, const char *address, const char *mask)
{
    json.field_or_null("address", address).field_or_null("mask", mask);
    const int prefix = prefix_of(mask);
    if (prefix < 0)
        json.null_field("prefix");
    else
        json.field("prefix", prefix);
}

void put_interface(Json &json, const Interface &interface)
{
    json.field("name", interface.entry.szName);
    if (interface.known)
        json.field("up", interface.is_up()).field("link", interface.has_link());
    else
        json.null_field("up").null_field("link");
    json.field("loopback", interface.is_loopback()).field_or_null("mac", interface.mac());
    put_address(json, interface.entry.szAddr, interface.entry.szMask);
}

void put_ipv4(Json &json, const Ipv4 &ipv4)
{
    json.field_or_null("method", ipv4.method_name());
    put_address(json, ipv4.address.c_str(), ipv4.mask.c_str());
}

Cell state_cell(const Interface &interface)
{
    if (!interface.known)
        return {""};
    return interface.is_up() ? Cell("up", GOOD) : Cell("down", QUIET);
}

Cell link_cell(const Interface &interface)
{
    if (!interface.known)
        return {""};
    if (interface.has_link())
        return {"yes", GOOD};
    return {"no", interface.is_up() ? BAD : QUIET};
}

} // namespace cli
