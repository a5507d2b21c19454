// kavonet if: interfaces.
#include <array>
#include <memory>

#include "errors.h"
#include "ethernet.h"
#include "interface.h"
#include "noun.h"
#include "progress.h"
#include "role.h"
#include "text.h"

namespace cli {

// kavonet if block has a file of its own.
void build_block(CLI::App &block, Session &session);

namespace {

// ---- list

std::string list_as_json(const std::vector<Interface> &found)
{
    Json json(found.size() * 192);
    json.begin_array();
    for (const Interface &interface : found) {
        json.begin_object();
        put_interface(json, interface);
        json.end_object();
    }
    json.end_array();
    return json.text() + "\n";
}

std::string list_as_table(const std::vector<Interface> &found)
{
    Table table({{"NAME"}, {"STATE"}, {"LINK"}, {"MAC"}, {"ADDRESS"}});
    for (const Interface &interface : found)
        table.row({interface.entry.szName, state_cell(interface), link_cell(interface), interface.mac(),
                   interface.address()});
    return table.text();
}

int list(const Session &session, const std::string &kind)
{
    std::vector<Interface> found;
    if (!list_interfaces(kind_of(kind), found))
        return fail(session, {"cannot list the interfaces"});
    return print(session.json ? list_as_json(found) : list_as_table(found));
}

void build_list(CLI::App &verb, Session &session)
{
    const auto kind = std::make_shared<std::string>("all");
    restrict_to(verb.add_option("--kind", *kind,
                                "all: down ones too; physical: no bonds, bridges and VLANs; usable: those that take an "
                                "address; usable-ppp: these and PPPoE links; standalone: no members of bridges and "
                                "bonds; local-lan, not-local-lan: these, by their mark; eth: ports named eth..."),
                KIND_WORDS)
        ->capture_default_str();
    set_action(
        verb, session, [&session, kind] { return list(session, *kind); },
        "  kavonet if list\n"
        "  kavonet if list --kind usable --json | jq -r '.[].name'");
}

// ---- show

// All that is known about one interface.
struct Details {
    Interface interface;
    KAVOETHINFO ethernet;
    Ipv4 ipv4;
    std::vector<Role> roles;
    bool local_lan;
};

std::string details_as_json(const Details &details)
{
    Json json;
    json.begin_object();
    put_interface(json, details.interface);
    json.field("flags", details.interface.entry.nFlags & 0xFFFF);
    put_ethernet(json, details.ethernet);
    json.key("configured").begin_object();
    put_ipv4(json, details.ipv4);
    json.end_object();
    put_roles(json, details.roles);
    json.field("local_lan", details.local_lan).end_object();
    return json.text() + "\n";
}

std::string details_as_table(const Details &details)
{
    const Interface &interface = details.interface;
    Table table({{""}, {""}});
    table.row({"name", interface.entry.szName});
    table.row({"state", state_cell(interface)});
    table.row({"link", link_cell(interface)});
    table.row({"speed", speed_text(details.ethernet)});
    table.row({"mtu", details.ethernet.nMTU > 0 ? std::to_string(details.ethernet.nMTU) : ""});
    table.row({"mac", interface.mac()});
    table.row({"address", interface.address()});
    table.row({"configured", details.ipv4.text()});
    table.row({"role", text_of(details.roles)});
    table.row({"local LAN", details.local_lan ? "yes" : "no"});
    return table.text();
}

int show(const Session &session, const std::string &name)
{
    Details details{};
    if (!read_interface(name, details.interface) || !read_ipv4(name, details.ipv4))
        return fail_on(session, name, {"cannot show " + name});
    details.ethernet = read_ethernet(name);
    details.roles = roles_of(name);
    details.local_lan = KLIBNetIFIsLocalLan(name.c_str()) == 1;
    return print(session.json ? details_as_json(details) : details_as_table(details));
}

void build_show(CLI::App &verb, Session &session)
{
    const auto interface = std::make_shared<std::string>();
    add_interface(verb, *interface)->required();
    set_action(
        verb, session, [&session, interface] { return show(session, *interface); },
        "  kavonet if show eth0\n"
        "  kavonet if show eth0 --json | jq .speed");
}

// ---- up, down, bounce

// A change of the "up" flag.
struct Switch {
    const char *verb;
    const char *failure; // after "cannot "
    const char *doing;
    int (*apply)(const char *name); // 1 when done
};

constexpr Switch UP = {"up", "bring %s up", "bringing %s up", KLIBNetIfUp};
constexpr Switch DOWN = {"down", "take %s down", "taking %s down", KLIBNetIfDown};
constexpr Switch BOUNCE = {"bounce", "bounce %s", "bouncing %s", KLIBNetReInitIf};

std::string with_name(const char *format, const std::string &name)
{
    std::string text = format;
    return text.replace(text.find("%s"), 2, name);
}

const char *state_word(bool up)
{
    return up ? "up" : "down";
}

std::string switched(const Session &session, const Switch &change, const std::string &name, bool before, bool after)
{
    if (session.json) {
        Json json;
        json.begin_object().field("name", name).field("action", change.verb);
        json.key("before").begin_object().field("up", before).end_object();
        json.key("after").begin_object().field("up", after).end_object().end_object();
        return json.text() + "\n";
    }
    const bool bounced = &change == &BOUNCE && before;
    return printable(name) + ": " + state_word(before) + (bounced ? " -> down" : "") + " -> " + state_word(after) +
           "\n";
}

int apply(const Session &session, const Switch &change, const std::string &name)
{
    const std::string what = "cannot " + with_name(change.failure, name);
    Interface before;
    if (!read_interface(name, before)) // which also refuses names that the change would cut to another interface's
        return fail_on(session, name, {what});
    forget_error();
    if (with_progress(session, with_name(change.doing, name), [&] { return change.apply(name.c_str()); }) != 1)
        return fail_on(session, name, {.what = what, .needs_root = true});
    Interface after;
    if (!read_interface(name, after))
        return fail_on(session, name, {"the change is made, but cannot show " + name});
    return print(switched(session, change, name, before.is_up(), after.is_up()));
}

template <const Switch &Change> void build_switch(CLI::App &verb, Session &session)
{
    const auto interface = std::make_shared<std::string>();
    add_interface(verb, *interface)->required();
    set_action(verb, session, [&session, interface] { return apply(session, Change, *interface); });
}

// ---- rename

struct Names {
    std::string old_name, new_name;
};

// Why the kernel would not take the new name, as far as that can be told.
Failure rename_failure(const Names &names)
{
    Failure failure{.what = "cannot rename " + names.old_name + " to " + names.new_name, .needs_root = true};
    Interface renamed;
    Interface existing;
    if (read_interface(names.old_name, renamed) && renamed.is_up()) {
        failure.reason = names.old_name + " is up";
        failure.advice = "take it down first: kavonet if down " + names.old_name;
    } else if (read_interface(names.new_name, existing)) {
        failure.reason = "there is already an interface " + names.new_name;
        failure.advice = "choose a name that is free: kavonet if list";
    }
    forget_error();
    return failure;
}

int rename(const Session &session, const Names &names)
{
    forget_error();
    if (KAVONetRenameEth(names.old_name.c_str(), names.new_name.c_str()) != 0) {
        const bool has_code = KLIBCErrGet() != 0;
        return fail_on(session, names.old_name,
                       has_code ? Failure{.what = "cannot rename " + names.old_name + " to " + names.new_name}
                                : rename_failure(names));
    }
    if (!session.json)
        return print(printable(names.old_name) + " -> " + printable(names.new_name) + "\n");
    Json json;
    json.begin_object().field("action", "rename");
    json.key("before").begin_object().field("name", names.old_name).end_object();
    json.key("after").begin_object().field("name", names.new_name).end_object().end_object();
    return print(json.text() + "\n");
}

void build_rename(CLI::App &verb, Session &session)
{
    const auto names = std::make_shared<Names>();
    add_interface(verb, names->old_name)->required();
    verb.add_option("NEW", names->new_name, "Its new name")->required()->type_name("");
    set_action(
        verb, session, [&session, names] { return rename(session, *names); },
        "  kavonet if down eth2 && kavonet if rename eth2 eth3");
}

// ---- mac

// What the results of the library mean, from 1 on.
struct MacFailure {
    const char *reason, *advice;
};

constexpr std::array<MacFailure, 4> MAC_FAILURES = {{
    {"it is no built-in port, and none stands behind it",
     "give a port such as eth0, or a VLAN or bond of ports; kavonet if show tells the address of any interface"},
    {"the port behind it cannot be read", "kavonet if list shows the interfaces that exist"},
    {"high availability runs but knows no address for it",
     "give --local for the address of this controller's own port"},
    {"this appliance has two controllers and high availability does not run",
     "give --local for the address of this controller's own port"},
}};

struct MacArguments {
    std::string interface;
    bool local_only = false;
};

int mac(const Session &session, const MacArguments &arguments)
{
    char address[18] = "";
    forget_error();
    const int result = KLIBNetGetMacAddrByInterface(arguments.interface.c_str(), address, sizeof address,
                                                    arguments.local_only ? 1 : 0);
    if (result != 0) {
        Failure failure{.what = "cannot tell the hardware address of " + arguments.interface};
        if (KLIBCErrGet() != NET_ERR_BAD_PARAMETER && result >= 1 && result <= 4) {
            failure.reason = MAC_FAILURES[static_cast<size_t>(result) - 1].reason;
            failure.advice = MAC_FAILURES[static_cast<size_t>(result) - 1].advice;
        }
        return fail_on(session, arguments.interface, failure);
    }
    if (!session.json)
        return print(std::string(address) + "\n");
    Json json;
    json.begin_object().field("name", arguments.interface).field("mac", address).end_object();
    return print(json.text() + "\n");
}

void build_mac(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<MacArguments>();
    add_interface(verb, arguments->interface)->required();
    verb.add_flag("--local", arguments->local_only, "This controller's own, not that of a high-availability pair");
    set_action(
        verb, session, [&session, arguments] { return mac(session, *arguments); }, "  kavonet if mac eth0");
}

constexpr Word VERBS[] = {
    {"list", "List the interfaces", build_list},
    {"show", "Show all about an interface", build_show},
    {"up", "Bring an interface up", build_switch<UP>},
    {"down", "Take an interface down", build_switch<DOWN>},
    {"bounce", "Take an interface down and bring it up again", build_switch<BOUNCE>},
    {"rename", "Give an interface, which must be down, another name", build_rename},
    {"mac", "Print the hardware address of a port, or of what stands on ports", build_mac},
    {"block", "Show or change which features must not use an interface", build_block},
};

} // namespace

void noun_if(CLI::App &noun, Session &session)
{
    add_words(noun, session, VERBS,
              "  kavonet if list\n"
              "  kavonet if show eth0\n"
              "  kavonet if bounce eth0");
}

} // namespace cli
