// kavonet ipv6: the IPv6 modes and addresses of the interfaces.
#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstring>
#include <iterator>
#include <memory>
#include <thread>

#include "errors.h"
#include "interface.h"
#include "noun.h"
#include "progress.h"
#include "text.h"
#include "uninterrupted.h"

namespace cli {
namespace {

// What the verbs take; it outlives the command line.
struct Arguments {
    std::string interface;
    std::string address;
    std::string router;
    std::string wait = "0"; // seconds
};

// The modes by their numbers, as this command calls them.
constexpr std::array<const char *, 5> MODES = {"auto", "off", "dhcp", "static", "auto-dhcp"};
constexpr int NOT_CONFIGURED = -1;

// ---- What is configured, and what the kernel has

constexpr uint32_t LINK_LOCAL = 0x20;
constexpr uint32_t DUPLICATE = 0x08;
constexpr uint32_t TENTATIVE = 0x40;

struct Side {
    Interface interface;
    int mode = NOT_CONFIGURED;
    std::string address{};
    int prefix = -1;
    std::string router{};
    std::vector<KAVOV6IPINFO> live{};
};

std::string with_prefix(const std::string &address, int prefix)
{
    return prefix < 0 ? address : address + "/" + std::to_string(prefix);
}

std::string text_of(const KAVOV6IPINFO &info)
{
    return with_prefix(info.szAddr, info.prefix);
}

const char *state_of(const KAVOV6IPINFO &info)
{
    if ((info.flags & DUPLICATE) != 0)
        return "duplicate";
    return (info.flags & TENTATIVE) != 0 ? "tentative" : "valid";
}

bool is_link_local(const KAVOV6IPINFO &info)
{
    return (info.scope & LINK_LOCAL) != 0;
}

// Asks again with more room while the interface has more addresses than there was room for.
bool read_live(const std::string &name, std::vector<KAVOV6IPINFO> &live)
{
    for (size_t room = 16;; room *= 2) {
        live.resize(room);
        const int count = KAVOLnxV6IPGet(name.c_str(), live.data(), static_cast<int>(room));
        if (count < 0)
            return false;
        if (static_cast<size_t>(count) <= room) {
            live.resize(static_cast<size_t>(count));
            return true;
        }
    }
}

bool read_configured(const std::string &name, Side &side)
{
    char address[64] = "";
    char router[64] = "";
    int mode = 0;
    forget_error();
    const int found =
        KAVONetIPv6ConfGet(name.c_str(), &mode, address, sizeof address, &side.prefix, router, sizeof router);
    if (found > 0)
        side.mode = mode;
    side.address = address;
    side.router = router;
    // An interface without a file has no configuration either.
    return found >= 0 || KLIBCErrGet() == NET_ERR_OPEN_FAILED;
}

bool read_side(const std::string &name, Side &side)
{
    side = {};
    if (!read_interface(name, side.interface) || !read_configured(name, side))
        return false;
    forget_error();
    return read_live(name, side.live);
}

// "static 2001:db8::5/64"
std::string configured_text(const Side &side)
{
    if (side.mode == NOT_CONFIGURED)
        return "not configured";
    std::string text = MODES[static_cast<size_t>(side.mode)];
    if (side.mode == KAVO_IPV6_STATIC && !side.address.empty())
        text += " " + with_prefix(side.address, side.prefix);
    return text;
}

// The addresses that others can reach, or all.
std::string live_text(const Side &side, bool with_link_local)
{
    std::string text;
    for (const KAVOV6IPINFO &info : side.live) {
        if (!with_link_local && is_link_local(info))
            continue;
        text += (text.empty() ? "" : ", ") + text_of(info);
        if (strcmp(state_of(info), "valid") != 0)
            text += std::string(" (") + state_of(info) + ")";
    }
    return text;
}

void put_side(Json &json, const Side &side)
{
    json.field("up", side.interface.is_up()).key("configured").begin_object();
    json.field_or_null("mode", side.mode == NOT_CONFIGURED ? "" : MODES[static_cast<size_t>(side.mode)]);
    json.field_or_null("address", side.address);
    if (side.prefix < 0)
        json.null_field("prefix");
    else
        json.field("prefix", side.prefix);
    json.field_or_null("router", side.router).end_object();
    json.key("live").begin_array();
    for (const KAVOV6IPINFO &info : side.live) {
        json.begin_object().field("address", info.szAddr).field("prefix", info.prefix);
        json.field("link_local", is_link_local(info)).field("state", state_of(info)).end_object();
    }
    json.end_array();
}

// ---- show

void put_named_side(Json &json, const Side &side)
{
    json.begin_object().field("name", side.interface.entry.szName);
    put_side(json, side);
    json.end_object();
}

std::string sides_as_table(const std::vector<Side> &sides)
{
    Table table({{"NAME"}, {"STATE"}, {"CONFIGURED"}, {"ROUTER"}, {"ADDRESSES"}});
    for (const Side &side : sides)
        table.row({side.interface.entry.szName, state_cell(side.interface), configured_text(side), side.router,
                   live_text(side, true)});
    return table.text();
}

int show_one(const Session &session, const std::string &name)
{
    Side side;
    if (!read_side(name, side))
        return fail_on(session, name, {"cannot show the IPv6 configuration of " + name});
    return print(session.json ? json_line(side, put_named_side) : sides_as_table({side}));
}

int show_all(const Session &session)
{
    std::vector<Interface> found;
    if (!list_interfaces(Kind::USABLE, found))
        return fail(session, {"cannot list the interfaces"});
    std::vector<Side> sides;
    for (const Interface &interface : found) {
        const std::string name = interface.entry.szName;
        if (!read_side(name, sides.emplace_back()))
            return fail_on(session, name, {"cannot show the IPv6 configuration of " + name});
    }
    return print(session.json ? json_array(sides, put_named_side) : sides_as_table(sides));
}

// ---- changes

// "auto (2001:db8::5/64 in force)"; a static address that is in force says all by itself.
std::string side_text(const Side &side)
{
    std::string configured = configured_text(side);
    const std::string live = live_text(side, false);
    if (side.mode == KAVO_IPV6_STATIC && live == with_prefix(side.address, side.prefix))
        return configured;
    if (!live.empty())
        return configured + " (" + live + " in force)";
    return side.mode == KAVO_IPV6_OFF ? configured : configured + " (no address in force)";
}

int report_change(const Session &session, const char *action, const Side &before)
{
    const std::string name = before.interface.entry.szName;
    Side after;
    if (!read_side(name, after))
        return fail_on(session, name, {"the change is made, but cannot show " + name});
    if (!session.json)
        return print(printable(name) + ": IPv6 " + side_text(before) + " -> " + side_text(after) + "\n");
    Json json;
    json.begin_object().field("name", name).field("action", action).key("before").begin_object();
    put_side(json, before);
    json.end_object().key("after").begin_object();
    put_side(json, after);
    json.end_object().end_object();
    return print(json.text() + "\n");
}

// What a mode is asked for with.
struct Wanted {
    KAVOIPV6INITTYPE mode;
    std::string address{};
    int prefix = 0;
    std::string router{};

    [[nodiscard]] const char *name() const { return MODES[mode]; }
    [[nodiscard]] std::string text() const
    {
        return mode == KAVO_IPV6_STATIC ? "the IPv6 address " + with_prefix(address, prefix)
                                        : std::string("IPv6 mode ") + name();
    }
};

// The library counts the addresses that another host had; it has taken them off again.
int fail_on_duplicates(const Session &session, const Wanted &wanted, const std::string &what)
{
    forget_error();
    Failure failure{what};
    failure.reason = wanted.mode == KAVO_IPV6_STATIC ? "another host has that address already"
                                                     : "another host has the address that the server gave";
    failure.advice = wanted.mode == KAVO_IPV6_STATIC ? "give another address, or find that host and change it there"
                                                     : "find that host, or let the server give another address";
    return fail(session, failure);
}

int set_mode(const Session &session, const Side &before, const Wanted &wanted)
{
    const std::string name = before.interface.entry.szName;
    const std::string what = "cannot give " + name + " " + wanted.text();
    if (!before.interface.is_up())
        return fail(session, {what, "the interface is down", "kavonet if up " + name + " brings it up"});
    forget_error();
    const int result = with_progress(session, "giving " + name + " " + wanted.text(), [&] {
        return KAVONetIPv6ConfSet(wanted.mode, name.c_str(), wanted.address.c_str(), wanted.prefix,
                                  wanted.router.c_str());
    });
    if (result > 0)
        return fail_on_duplicates(session, wanted, what);
    return result == 0 ? DONE : fail_on(session, name, {.what = what, .needs_root = true});
}

// ---- off, auto, dhcp, auto-dhcp

bool has_address(const std::string &name)
{
    std::vector<KAVOV6IPINFO> live;
    return read_live(name, live) && std::any_of(live.begin(), live.end(), [](const KAVOV6IPINFO &info) {
               return !is_link_local(info) && strcmp(state_of(info), "valid") == 0;
           });
}

// Waits until others can reach the interface; routers and servers answer after the change.
bool wait_for_address(const std::string &name, double seconds)
{
    constexpr std::chrono::milliseconds STEP{100};
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!has_address(name)) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(STEP);
    }
    return true;
}

int await_and_report(const Session &session, const Arguments &arguments, const Wanted &wanted, const Side &before)
{
    const std::string &name = arguments.interface;
    const double patience = seconds_of(arguments.wait);
    const auto wait = [&] { return wait_for_address(name, patience); };
    if (patience > 0 && !with_progress(session, "waiting for an IPv6 address on " + name, wait)) {
        forget_error();
        return fail(session, {name + " is in IPv6 mode " + wanted.name() + ", but has no address yet",
                              formatted("none within %g s", patience),
                              "check the cable, and that a router or a DHCPv6 server answers; it goes on asking"});
    }
    return report_change(session, wanted.name(), before);
}

int change_mode(const Session &session, const Arguments &arguments, KAVOIPV6INITTYPE mode)
{
    const Wanted wanted{mode};
    Side before;
    if (!read_side(arguments.interface, before))
        return fail_on(session, arguments.interface, {"cannot give " + arguments.interface + " " + wanted.text()});
    Uninterrupted change(session);
    const int result = set_mode(session, before, wanted);
    if (result != DONE)
        return change.end(result);
    if (change.interrupted())
        return change.end(report_change(session, wanted.name(), before));
    // What follows is only a look, which may be broken off.
    change.end(DONE);
    return await_and_report(session, arguments, wanted, before);
}

// ---- static

constexpr char ADDRESS_ADVICE[] = "give an IPv6 address and its prefix length, for example 2001:db8::5/64";

// Takes "ADDRESS/PREFIX" apart.
bool read_address(const std::string &text, Wanted &wanted)
{
    const size_t slash = text.find('/');
    if (slash == std::string::npos || BlKLIBIsv6IpAddrValid(text.c_str()) != 1)
        return false;
    wanted.address = text.substr(0, slash);
    const char *end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data() + slash + 1, end, wanted.prefix);
    return error == std::errc() && rest == end;
}

bool is_in_subnet(const std::string &address, const std::string &other, int prefix)
{
    return KAVONetIPv6IsSameSubnet(address.c_str(), other.c_str(), static_cast<unsigned>(prefix)) == 1;
}

bool is_link_local(const std::string &address)
{
    return is_in_subnet(address, "fe80::1", 10);
}

bool is_plain_address(const std::string &text)
{
    return text.find('/') == std::string::npos && BlKLIBIsv6IpAddrValid(text.c_str()) == 1;
}

// What the library would refuse only after it has changed the interface is refused before.
int check_wanted(const Session &session, const Wanted &wanted, const std::string &what)
{
    if (is_link_local(wanted.address))
        return fail(session, {what, "a link-local address is never set by hand", ADDRESS_ADVICE});
    if (wanted.router.empty())
        return DONE;
    if (!is_plain_address(wanted.router))
        return fail(session, {what, "malformed router address", "give the router's IPv6 address without a prefix"});
    if (!is_link_local(wanted.router) && !is_in_subnet(wanted.router, wanted.address, wanted.prefix))
        return fail(session,
                    {what, "the router " + wanted.router + " is neither in the address's subnet nor link-local",
                     "give a router of the same subnet, or its link-local address (fe80::...)"});
    return DONE;
}

// The commands behind the change may fail without the library's telling; the kernel tells.
int check_in_force(const Session &session, const Wanted &wanted, const std::string &name)
{
    std::vector<KAVOV6IPINFO> live;
    forget_error();
    const bool known = read_live(name, live);
    const bool in_force = std::any_of(live.begin(), live.end(), [&](const KAVOV6IPINFO &info) {
        return info.prefix == wanted.prefix && is_in_subnet(info.szAddr, wanted.address, 128);
    });
    if (known && in_force)
        return DONE;
    return fail(session, {name + " is configured with " + wanted.text() + ", but that is not in force",
                          "the kernel has not taken it", NO_CODE_ADVICE});
}

int set_static(const Session &session, const Arguments &arguments)
{
    const std::string &name = arguments.interface;
    Wanted wanted{KAVO_IPV6_STATIC, arguments.address, -1, arguments.router};
    const std::string what = "cannot give " + name + " the IPv6 address " + arguments.address;
    forget_error();
    if (!read_address(arguments.address, wanted))
        return fail(session, {what, "malformed address or prefix length", ADDRESS_ADVICE});
    if (check_wanted(session, wanted, what) != DONE)
        return FAILED;
    Side before;
    if (!read_side(name, before))
        return fail_on(session, name, {what});
    Uninterrupted change(session);
    int result = set_mode(session, before, wanted);
    if (result == DONE)
        result = check_in_force(session, wanted, name);
    if (result == DONE)
        result = report_change(session, "static", before);
    return change.end(result);
}

// ---- flush

int flush(const Session &session, const Arguments &arguments)
{
    const std::string &name = arguments.interface;
    const std::string what = "cannot take the IPv6 addresses off " + name;
    Side before;
    if (!read_side(name, before))
        return fail_on(session, name, {what});
    if (!before.interface.is_up())
        return fail(session, {what, "the interface is down", "kavonet if up " + name + " brings it up"});
    Uninterrupted change(session);
    forget_error();
    const auto take_off = [&] { return KAVONetFlushIP("-6", name.c_str()); };
    if (with_progress(session, "taking the IPv6 addresses off " + name, take_off) != 0)
        return change.end(fail_on(session, name, {.what = what, .needs_root = true}));
    return change.end(report_change(session, "flush", before));
}

// ---- apply

int apply(const Session &session)
{
    forget_error();
    if (KAVONetIpv6Init() != 0)
        return fail(session, {.what = "cannot apply what the interfaces are to make of router advertisements",
                              .needs_root = true});
    return show_all(session);
}

// ---- the command line

constexpr Show SHOW = {show_one, show_all, "The interface; all that are in use when left out",
                       "  kavonet ipv6 show\n"
                       "  kavonet ipv6 show eth0 --json | jq -r '.live[].address'"};

void build_show(CLI::App &verb, Session &session)
{
    build_show(verb, session, SHOW);
}

void build_off(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_interface(verb, arguments->interface)->required();
    set_action(
        verb, session, [&session, arguments] { return change_mode(session, *arguments, KAVO_IPV6_OFF); },
        "  kavonet ipv6 off eth0");
}

template <KAVOIPV6INITTYPE Mode> void build_mode(CLI::App &verb, Session &session)
{
    static const std::string EXAMPLE = std::string("  kavonet ipv6 ") + MODES[Mode] + " eth0 --wait 30";
    const auto arguments = std::make_shared<Arguments>();
    add_interface(verb, arguments->interface)->required();
    restrict_to_seconds(verb.add_option("--wait", arguments->wait,
                                        "Wait this long for an address, and fail without one; 0 does not wait"),
                        0, 3600)
        ->type_name("SECONDS");
    set_action(
        verb, session, [&session, arguments] { return change_mode(session, *arguments, Mode); }, EXAMPLE.c_str());
}

void build_static(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_interface(verb, arguments->interface)->required();
    verb.add_option("ADDRESS", arguments->address, "ADDRESS/PREFIX, for example 2001:db8::5/64")
        ->required()
        ->type_name("");
    verb.add_option("--router", arguments->router, "The default router; without it there is none")
        ->type_name("ADDRESS");
    set_action(
        verb, session, [&session, arguments] { return set_static(session, *arguments); },
        "  kavonet ipv6 static eth0 2001:db8::5/64\n"
        "  kavonet ipv6 static eth0 2001:db8::5/64 --router fe80::1");
}

void build_flush(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_interface(verb, arguments->interface)->required();
    set_action(
        verb, session, [&session, arguments] { return flush(session, *arguments); }, "  kavonet ipv6 flush eth0");
}

void build_apply(CLI::App &verb, Session &session)
{
    set_action(
        verb, session, [&session] { return apply(session); }, "  kavonet ipv6 apply");
}

constexpr Word VERBS[] = {
    {"show", "Show modes, configured addresses and those in force", build_show},
    {"off", "Turn IPv6 off on an interface", build_off},
    {"auto", "Let an interface get addresses from router advertisements", build_mode<KAVO_IPV6_AUTO>},
    {"dhcp", "Let an interface get an address by DHCPv6", build_mode<KAVO_IPV6_DHCP>},
    {"static", "Give an interface a static address", build_static},
    {"auto-dhcp", "Addresses from router advertisements, name servers by DHCPv6", build_mode<KAVO_IPV6_AUTO_DHCP>},
    {"flush", "Take every IPv6 address off an interface; its mode stays", build_flush},
    {"apply", "Accept router advertisements where they are configured; for the start of the machine", build_apply},
};

} // namespace

void noun_ipv6(CLI::App &noun, Session &session)
{
    add_words(noun, session, VERBS,
              "  kavonet ipv6 show\n"
              "  kavonet ipv6 auto eth0 --wait 30\n"
              "  kavonet ipv6 static eth0 2001:db8::5/64 --router fe80::1");
}

} // namespace cli
