// kavonet ipv4: the IPv4 addresses of the interfaces.
#include <chrono>
#include <memory>
#include <thread>

#include "address.h"
#include "errors.h"
#include "interface.h"
#include "noun.h"
#include "progress.h"
#include "text.h"

namespace cli {
namespace {

// What the verbs take; it outlives the command line.
struct Arguments {
    std::string interface;
    std::string address;
    std::string mask;
    std::string wait = "0"; // seconds
    bool ipv6 = false;
};

// An interface's IPv4 side: what is configured and what the kernel has.
struct Side {
    Interface interface;
    Ipv4 configured;
};

bool read_side(const std::string &name, Side &side)
{
    return read_interface(name, side.interface) && read_ipv4(name, side.configured);
}

void put_side(Json &json, const Side &side)
{
    json.field("up", side.interface.is_up());
    json.key("configured").begin_object();
    put_ipv4(json, side.configured);
    json.end_object().key("live").begin_object();
    put_address(json, side.interface.entry.szAddr, side.interface.entry.szMask);
    json.end_object();
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
    Table table({{"NAME"}, {"STATE"}, {"CONFIGURED"}, {"ADDRESS"}});
    for (const Side &side : sides)
        table.row({side.interface.entry.szName, state_cell(side.interface), side.configured.text(),
                   side.interface.address()});
    return table.text();
}

int show_one(const Session &session, const std::string &name)
{
    Side side;
    if (!read_side(name, side))
        return fail_on(session, name, {"cannot show the IPv4 configuration of " + name});
    return print(session.json ? json_line(side, put_named_side) : sides_as_table({side}));
}

int show_all(const Session &session)
{
    std::vector<Interface> found;
    if (!list_interfaces(Kind::USABLE_PPP, found))
        return fail(session, {"cannot list the interfaces"});
    std::vector<Side> sides;
    for (const Interface &interface : found) {
        Side &side = sides.emplace_back(Side{interface, {}});
        if (!read_ipv4(interface.entry.szName, side.configured))
            return fail(session, {std::string("cannot show the IPv4 configuration of ") + interface.entry.szName});
    }
    return print(session.json ? json_array(sides, put_named_side) : sides_as_table(sides));
}

// ---- changes

// "static 10.0.0.5/24", and what the kernel has where that is something else.
std::string side_text(const Side &side)
{
    const std::string live = side.interface.address();
    const std::string configured = with_prefix(side.configured.address.c_str(), side.configured.mask.c_str());
    std::string text = side.configured.text();
    if (live != configured)
        text += live.empty() ? " (no address in force)" : " (" + live + " in force)";
    return text;
}

// Says what a change did.
int report_change(const Session &session, const char *action, const Side &before)
{
    const std::string name = before.interface.entry.szName;
    Side after;
    if (!read_side(name, after))
        return fail_on(session, name, {"the change is made, but cannot show " + name});
    if (!session.json)
        return print(printable(name) + ": " + side_text(before) + " -> " + side_text(after) + "\n");
    Json json;
    json.begin_object().field("name", name).field("action", action).key("before").begin_object();
    put_side(json, before);
    json.end_object().key("after").begin_object();
    put_side(json, after);
    json.end_object().end_object();
    return print(json.text() + "\n");
}

// The library compares the record that it is given with the one in force before.
int set_card(const KAVONETINFO &wanted)
{
    KAVONETINFO old{};
    const bool has_old = KAVONetIFGetInfo(wanted.szName, nullptr, &old) >= 0;
    forget_error();
    return KAVONetSetCard1(&wanted, has_old ? &old : nullptr);
}

// ---- static

// The commands behind the change may fail without the library's telling; the kernel tells.
int check_static(const Session &session, const KAVONETINFO &wanted)
{
    Interface now;
    const std::string name = wanted.szName;
    const std::string address = with_prefix(wanted.szAddr, wanted.szMask);
    if (!read_interface(name, now))
        return fail_on(session, name, {"the change is made, but cannot show " + name});
    if (now.address() == address)
        return DONE;
    forget_error();
    return fail(session,
                {name + " is configured as " + address + ", but that is not in force",
                 now.address().empty() ? "the kernel has no address for it" : "the kernel has " + now.address(),
                 NO_CODE_ADVICE});
}

int set_static(const Session &session, const Arguments &arguments)
{
    const bool has_prefix = arguments.address.find('/') != std::string::npos;
    if (has_prefix != arguments.mask.empty())
        return misused(session,
                       has_prefix ? "both a prefix and a mask are given" : "neither a prefix nor a mask is given",
                       "give 192.168.1.5/24, or 192.168.1.5 255.255.255.0");

    const std::string wanted = arguments.address + (has_prefix ? "" : " " + arguments.mask);
    const std::string what = "cannot set " + arguments.interface + " to " + wanted;
    std::string address;
    std::string mask;
    if (!read_address(arguments.address, arguments.mask, address, mask))
        return fail(session, {what});
    if (!is_plain_address(address))
        return fail(session, {what, NOT_PLAIN, NOT_PLAIN_ADVICE});
    Side before;
    if (!read_side(arguments.interface, before))
        return fail_on(session, arguments.interface, {what});

    KAVONETINFO info{};
    info.blStatic = 1;
    snprintf(info.szName, sizeof info.szName, "%s", arguments.interface.c_str());
    snprintf(info.szAddr, sizeof info.szAddr, "%s", address.c_str());
    snprintf(info.szMask, sizeof info.szMask, "%s", mask.c_str());
    if (with_progress(session, "setting " + arguments.interface + " to " + wanted, [&] { return set_card(info); }) != 0)
        return fail_on(session, arguments.interface, {.what = what, .needs_root = true});
    return check_static(session, info) == DONE ? report_change(session, "static", before) : FAILED;
}

// ---- dhcp

// The library gives this when the DHCP client runs but the configuration file was not written.
constexpr int FILE_NOT_WRITTEN = -2;

bool has_lease(const std::string &name)
{
    char address[20] = "";
    Ipv4 lease;
    return read_ipv4(name, lease) && lease.method == Ipv4::DHCP && !lease.address.empty() &&
           KAVOILnxGetIP(name.c_str(), address, sizeof address) == 1 && lease.address == address;
}

// Waits until the address of a lease is in force; the library starts the DHCP client and does not wait for it.
bool wait_for_lease(const std::string &name, double seconds)
{
    constexpr std::chrono::milliseconds STEP{100};
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!has_lease(name)) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(STEP);
    }
    return true;
}

int start_dhcp(const Session &session, const std::string &name)
{
    KAVONETINFO info{};
    snprintf(info.szName, sizeof info.szName, "%s", name.c_str());
    const int result = with_progress(session, "starting DHCP on " + name, [&] { return set_card(info); });
    if (result == 0)
        return DONE;
    Failure failure{.what = "cannot put " + name + " on DHCP", .needs_root = true};
    if (result == FILE_NOT_WRITTEN) {
        failure.reason = "the DHCP client runs, but its configuration file was not written";
        failure.advice = "check with df that the file system of /etc has room and is writable, then run it again";
    }
    return fail_on(session, name, failure);
}

int set_dhcp(const Session &session, const Arguments &arguments)
{
    const std::string &name = arguments.interface;
    Side before;
    if (!read_side(name, before))
        return fail_on(session, name, {"cannot put " + name + " on DHCP"});
    if (start_dhcp(session, name) != DONE)
        return FAILED;
    const double patience = seconds_of(arguments.wait);
    const auto wait = [&] { return wait_for_lease(name, patience); };
    if (patience > 0 && !with_progress(session, "waiting for a lease on " + name, wait)) {
        forget_error();
        return fail(session, {name + " is on DHCP, but has no address yet", formatted("no lease within %g s", patience),
                              "check the cable and that a DHCP server answers; journalctl -u dhclient@" + name +
                                  " shows what the client heard. It goes on asking"});
    }
    return report_change(session, "dhcp", before);
}

// ---- flush

int flush(const Session &session, const Arguments &arguments)
{
    const std::string &name = arguments.interface;
    const char *family = arguments.ipv6 ? "IPv6" : "IPv4";
    const std::string what = std::string("cannot take the ") + family + " addresses off " + name;
    Side before;
    if (!read_side(name, before))
        return fail_on(session, name, {what});
    forget_error();
    const auto take_off = [&] { return KAVONetFlushIP(arguments.ipv6 ? "-6" : "-4", name.c_str()); };
    if (with_progress(session, std::string("taking the ") + family + " addresses off " + name, take_off) != 0)
        return fail_on(session, name, {.what = what, .needs_root = true});
    if (!arguments.ipv6)
        return report_change(session, "flush", before);
    if (!session.json)
        return print(printable(name) + ": IPv6 addresses flushed\n");
    Json json;
    json.begin_object().field("name", name).field("action", "flush").field("family", "ipv6").end_object();
    return print(json.text() + "\n");
}

// ---- the command line

constexpr Show SHOW = {show_one, show_all, "The interface; all that are in use when left out",
                       "  kavonet ipv4 show\n"
                       "  kavonet ipv4 show eth0 --json | jq -r .live.address"};

void build_show(CLI::App &verb, Session &session)
{
    build_show(verb, session, SHOW);
}

void build_static(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_interface(verb, arguments->interface)->required();
    verb.add_option("ADDRESS", arguments->address, "A.B.C.D/PREFIX, or A.B.C.D with a mask")->required()->type_name("");
    verb.add_option("MASK", arguments->mask, "The mask, where no prefix is given")->type_name("");
    set_action(
        verb, session, [&session, arguments] { return set_static(session, *arguments); },
        "  kavonet ipv4 static eth0 192.168.1.5/24\n"
        "  kavonet ipv4 static eth0 192.168.1.5 255.255.255.0");
}

void build_dhcp(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_interface(verb, arguments->interface)->required();
    restrict_to_seconds(
        verb.add_option("--wait", arguments->wait, "Wait this long for a lease, and fail without one; 0 does not wait"),
        0, 3600)
        ->type_name("SECONDS");
    set_action(
        verb, session, [&session, arguments] { return set_dhcp(session, *arguments); },
        "  kavonet ipv4 dhcp eth0 --wait 30");
}

void build_flush(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_interface(verb, arguments->interface)->required();
    verb.add_flag("-6", arguments->ipv6, "The IPv6 addresses instead of the IPv4 ones");
    set_action(
        verb, session, [&session, arguments] { return flush(session, *arguments); },
        "  kavonet ipv4 flush eth0\n"
        "  kavonet ipv4 flush eth0 -6");
}

constexpr Word VERBS[] = {
    {"show", "Show configured addresses and those in force", build_show},
    {"static", "Give an interface a static address, now and at every start", build_static},
    {"dhcp", "Let an interface get its address by DHCP, now and at every start", build_dhcp},
    {"flush", "Take every address off an interface until it is configured again", build_flush},
};

} // namespace

void noun_ipv4(CLI::App &noun, Session &session)
{
    add_words(noun, session, VERBS,
              "  kavonet ipv4 show\n"
              "  kavonet ipv4 static eth0 192.168.1.5/24\n"
              "  kavonet ipv4 dhcp eth0 --wait 30");
}

} // namespace cli
