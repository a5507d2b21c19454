// kavonet bridge: bridges, their ports, and the configuration that the network script builds them from.
#include <algorithm>
#include <iterator>
#include <memory>

#include "address.h"
#include "errors.h"
#include "interface.h"
#include "noun.h"
#include "text.h"

namespace cli {
namespace {

// ---- What an interface is to a bridge

// The roles that have a word, by their number.
constexpr const char *ROLE_WORDS[] = {"", "none", "bridge", "local-lan", "port"};
constexpr char CHOICE_OF_ROLES[] = "bridge|local-lan|port";

struct BridgeRole {
    int32_t type = 0; // 0: not known
    std::string peer{};

    [[nodiscard]] bool is_bridge() const { return type == NET_BRIDGE_MASTER || type == NET_BRIDGE_LOCAL_LAN; }
    [[nodiscard]] std::string word() const { return ROLE_WORDS[type]; }
    [[nodiscard]] std::string text() const;
};

std::string BridgeRole::text() const
{
    constexpr const char *TEXTS[] = {"", "outside any bridge", "bridge", "bridge of the local LAN", "port"};
    const char *relation = is_bridge() ? " over " : " of ";
    return TEXTS[type] + (peer.empty() ? std::string() : relation + peer);
}

struct Bridge {
    std::string name;
    bool up = false;
    BridgeRole live{}; // not known while the interface is down
    std::vector<std::string> ports{};
};

struct Configured {
    bool exists = false;
    BridgeRole role{};
    bool on_boot = false;
    Ipv4 ipv4{};

    [[nodiscard]] std::string text() const { return exists ? role.text() : "not configured"; }
};

std::vector<std::string> ports_of(const std::string &name)
{
    std::vector<std::string> ports;
    PKLIBSZLIST list = KLIBCSzListAlloc(0);
    if (list != nullptr && KLIBNetBridgeIfIsMaster(name.c_str()) == 1 &&
        KLIBNetBridgeSlaveEnum(name.c_str(), &list) > 0) {
        for (int i = 0; i < list->nItem; ++i)
            ports.emplace_back(KLIBCSzListGet(list, i));
    }
    KLIBCSzListFree(list);
    return ports;
}

Bridge read_bridge(const std::string &name)
{
    KLIBNETBRIDGEINFO info{};
    Bridge bridge{.name = name, .up = KAVONetIsIFUp(name.c_str()) == 1};
    bridge.live.type = KLIBNETGetBridgeInfo(name.c_str(), &info);
    bridge.live.peer = info.szPeer;
    bridge.ports = ports_of(name);
    return bridge;
}

// The library exchanges two roles when it reads them from a file; the peer tells what the file means.
int32_t meant_role(int32_t type)
{
    if (type == NET_BRIDGE_NONE)
        return NET_BRIDGE_PORT;
    return type == NET_BRIDGE_PORT ? int32_t{NET_BRIDGE_NONE} : type;
}

Configured read_configured(const std::string &name)
{
    KAVONETINFO ip{};
    KLIBNETBRIDGEINFO info{};
    Configured configured;
    forget_error();
    if (KAVONetGetBridgeConfig(name.c_str(), &ip, &info) != 0)
        return configured;
    configured.exists = true;
    configured.role = {meant_role(info.type), info.szPeer};
    configured.on_boot = ip.blOnBoot != 0;
    if (ip.blStatic != 0)
        configured.ipv4 = {Ipv4::STATIC, ip.szAddr, ip.szMask};
    return configured;
}

// ---- list

// Every bridge that runs. False with an error record when they cannot be listed.
bool list_bridges(std::vector<std::string> &names)
{
    PKLIBSZLIST list = KLIBCSzListAlloc(0);
    forget_error();
    const bool listed = list != nullptr && KLIBNetEnumBridge(&list, NET_BRIDGE_MASTER) >= 0 &&
                        KLIBNetEnumBridge(&list, NET_BRIDGE_LOCAL_LAN) >= 0;
    for (int i = 0; listed && i < list->nItem; ++i)
        names.emplace_back(KLIBCSzListGet(list, i));
    KLIBCSzListFree(list);
    return listed;
}

std::string joined(const std::vector<std::string> &names)
{
    std::string text;
    for (const std::string &name : names)
        text += (text.empty() ? "" : " ") + name;
    return text;
}

void put_ports(Json &json, const std::vector<std::string> &ports)
{
    json.key("ports").begin_array();
    for (const std::string &port : ports)
        json.value(port);
    json.end_array();
}

int list(const Session &session)
{
    std::vector<std::string> names;
    if (!list_bridges(names))
        return fail(session, {"cannot list the bridges"});
    Table table({{"NAME"}, {"STATE"}, {"ROLE"}, {"PORTS"}});
    Json json;
    json.begin_array();
    for (const std::string &name : names) {
        const Bridge bridge = read_bridge(name);
        const bool local_lan = KLIBNetIFIsLocalLan(name.c_str()) == 1;
        const BridgeRole role{local_lan ? NET_BRIDGE_LOCAL_LAN : NET_BRIDGE_MASTER};
        table.row({name, bridge.up ? Cell("up", GOOD) : Cell("down", QUIET), role.text(), joined(bridge.ports)});
        json.begin_object().field("name", name).field("up", bridge.up).field("role", role.word());
        put_ports(json, bridge.ports);
        json.end_object();
    }
    json.end_array();
    return print(session.json ? json.text() + "\n" : table.text());
}

// ---- show

void put_role(Json &json, const BridgeRole &role)
{
    json.field_or_null("role", role.word()).field_or_null("peer", role.peer);
}

void put_configured(Json &json, const Configured &configured)
{
    put_role(json, configured.role);
    if (configured.exists)
        json.field("on_boot", configured.on_boot).field("static", configured.ipv4.method == Ipv4::STATIC);
    else
        json.null_field("on_boot").null_field("static");
    put_address(json, configured.ipv4.address.c_str(), configured.ipv4.mask.c_str());
}

int show(const Session &session, const std::string &name)
{
    const Configured configured = read_configured(name);
    Interface interface;
    if (!configured.exists && !read_interface(name, interface))
        return fail_on(session, name, {"cannot show " + name});
    const Bridge bridge = read_bridge(name);
    if (session.json) {
        Json json;
        json.begin_object().field("name", name).field("up", bridge.up);
        put_role(json, bridge.live);
        put_ports(json, bridge.ports);
        json.key("configured").begin_object();
        put_configured(json, configured);
        json.end_object().end_object();
        return print(json.text() + "\n");
    }
    Table table({{""}, {""}});
    table.row({"name", name});
    table.row({"state", bridge.up ? Cell("up", GOOD) : Cell("down", QUIET)});
    table.row({"role", bridge.live.text()});
    table.row({"ports", joined(bridge.ports)});
    table.row({"configured", configured.text()});
    return print(table.text());
}

// ---- set, unset

// What the verbs take; it outlives the command line.
struct Arguments {
    std::string interface;
    std::string role;
    std::string peer;
    std::string address;
    std::string boot;
    bool dhcp = false;

    [[nodiscard]] bool has_method() const { return dhcp || !address.empty(); }
};

int report_change(const Session &session, const std::string &name, const char *action, const Configured &before)
{
    const Configured after = read_configured(name);
    if (!session.json)
        return print(printable(name + ": " + before.text() + " -> " + after.text()) +
                     "; it takes effect at the next start of the network\n");
    Json json;
    json.begin_object().field("name", name).field("action", action).key("before").begin_object();
    put_configured(json, before);
    json.end_object().key("after").begin_object();
    put_configured(json, after);
    json.end_object().end_object();
    return print(json.text() + "\n");
}

// Fills the address of the record from the options. DONE, or what the message's reporter gave.
int fill_address(const Session &session, const Arguments &arguments, const std::string &what, KAVONETINFO &ip)
{
    ip.blStatic = arguments.address.empty() ? 0 : 1;
    ip.blOnBoot = arguments.boot == "no" ? 0 : 1;
    snprintf(ip.szName, sizeof ip.szName, "%s", arguments.interface.c_str());
    if (arguments.address.empty())
        return DONE;
    std::string address;
    std::string mask;
    if (!read_address(arguments.address, "", address, mask))
        return fail(session, {what});
    if (!is_plain_address(address))
        return fail(session, {what, NOT_PLAIN, NOT_PLAIN_ADVICE});
    snprintf(ip.szAddr, sizeof ip.szAddr, "%s", address.c_str());
    snprintf(ip.szMask, sizeof ip.szMask, "%s", mask.c_str());
    return DONE;
}

// The records hold 15 characters: a longer name must not be cut to that of another interface.
bool fits(const std::string &name)
{
    return name.size() < sizeof KLIBNETBRIDGEINFO::szIfname;
}

KLIBNETBRIDGEINFO record_of(int32_t type, const std::string &name, const std::string &peer)
{
    KLIBNETBRIDGEINFO info{};
    info.type = type;
    snprintf(info.szIfname, sizeof info.szIfname, "%s", name.c_str());
    snprintf(info.szPeer, sizeof info.szPeer, "%s", peer.c_str());
    return info;
}

int refuse_name(const Session &session, const std::string &what, const std::string &name)
{
    forget_error();
    return fail(session,
                {what, name + " is too long for the name of an interface", "give a name of 1 to 15 characters"});
}

int set(const Session &session, const Arguments &arguments)
{
    const std::string &name = arguments.interface;
    const std::string what = "cannot configure " + name + " as " + arguments.role + " with " + arguments.peer;
    if (!arguments.boot.empty() && !arguments.has_method())
        return misused(session, "--boot is given without --static and --dhcp",
                       "it is written together with the address: add --dhcp or --static ADDRESS/PREFIX");
    for (const std::string &given : {name, arguments.peer}) {
        if (!fits(given))
            return refuse_name(session, what, given);
    }
    const auto *word = std::find(std::begin(ROLE_WORDS), std::end(ROLE_WORDS), arguments.role);
    const auto type = static_cast<int32_t>(word - std::begin(ROLE_WORDS));
    KAVONETINFO ip{};
    if (fill_address(session, arguments, what, ip) != DONE)
        return FAILED;
    const Configured before = read_configured(name);
    const KLIBNETBRIDGEINFO wanted = record_of(type, name, arguments.peer);
    forget_error();
    if (KAVONetSetBridgeConfig(arguments.has_method() ? &ip : nullptr, &wanted) != 0)
        return fail(session, {.what = what, .needs_root = true});
    return report_change(session, name, "set", before);
}

// A port becomes a plain interface by a call of its own, which needs to know its address: the one that is given, else the
// one that is configured, else one by DHCP.
int release(const Configured &before, const Arguments &arguments, KAVONETINFO &ip)
{
    if (before.role.is_bridge()) {
        const KLIBNETBRIDGEINFO none = record_of(NET_BRIDGE_NONE, arguments.interface, "");
        return KAVONetSetBridgeConfig(arguments.has_method() ? &ip : nullptr, &none);
    }
    if (!arguments.has_method() && before.ipv4.method == Ipv4::STATIC) {
        ip.blStatic = 1;
        snprintf(ip.szAddr, sizeof ip.szAddr, "%s", before.ipv4.address.c_str());
        snprintf(ip.szMask, sizeof ip.szMask, "%s", before.ipv4.mask.c_str());
    }
    return KAVONetDisableBridgeSlave(&ip);
}

int unset(const Session &session, const Arguments &arguments)
{
    const std::string &name = arguments.interface;
    const std::string what = "cannot take " + name + " out of its bridge";
    const Configured before = read_configured(name);
    if (!before.exists && KLIBCErrGet() != 0)
        return fail(session, {what});
    if (!before.role.is_bridge() && before.role.type != NET_BRIDGE_PORT)
        return fail(session, {what, "it is configured as no bridge and no port of one",
                              "nothing needs to be done; kavonet bridge show " + name + " tells what it is"});
    KAVONETINFO ip{};
    if (fill_address(session, arguments, what, ip) != DONE)
        return FAILED;
    forget_error();
    if (release(before, arguments, ip) != 0)
        return fail(session, {.what = what, .needs_root = true});
    return report_change(session, name, "unset", before);
}

// ---- The command line

void add_method(CLI::App &verb, Arguments &arguments)
{
    CLI::Option *address = verb.add_option("--static", arguments.address, "Give it a static address");
    address->type_name("ADDRESS/PREFIX");
    verb.add_flag("--dhcp", arguments.dhcp, "Let it get its address by DHCP")->excludes(address);
}

void build_list(CLI::App &verb, Session &session)
{
    set_action(
        verb, session, [&session] { return list(session); },
        "  kavonet bridge list\n"
        "  kavonet bridge list --json | jq -r '.[] | select(.role == \"local-lan\") | .name'");
}

void build_show(CLI::App &verb, Session &session)
{
    const auto interface = std::make_shared<std::string>();
    add_interface(verb, *interface, "The bridge or port, for example br0")->required();
    set_action(
        verb, session, [&session, interface] { return show(session, *interface); },
        "  kavonet bridge show br0\n"
        "  kavonet bridge show eth0 --json | jq -r .peer");
}

void build_set(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_interface(verb, arguments->interface, "The bridge or port, for example br0")->required();
    restrict_to(verb.add_option("ROLE", arguments->role, "What it is to be"), CHOICE_OF_ROLES)->required();
    verb.add_option("PEER", arguments->peer, "A bridge's primary port; a port's bridge")
        ->required()
        ->type_name("")
        ->check([](const std::string &name) { return name.empty() ? std::string("is empty") : std::string(); });
    add_method(verb, *arguments);
    restrict_to(
        verb.add_option("--boot", arguments->boot, "Whether it is started with the appliance; yes when left out"),
        "yes|no");
    set_action(
        verb, session, [&session, arguments] { return set(session, *arguments); },
        "  kavonet bridge set br0 bridge eth0 --dhcp\n"
        "  kavonet bridge set eth0 port br0");
}

void build_unset(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_interface(verb, arguments->interface, "The bridge or port, for example eth0")->required();
    add_method(verb, *arguments);
    set_action(
        verb, session, [&session, arguments] { return unset(session, *arguments); },
        "  kavonet bridge unset eth0\n"
        "  kavonet bridge unset eth0 --static 192.168.1.5/24");
}

constexpr Word VERBS[] = {
    {"list", "List the bridges that run, with their ports", build_list},
    {"show", "Show what an interface is to a bridge, now and in its configuration", build_show},
    {"set", "Configure a bridge, or a port of one, for the next start of the network", build_set},
    {"unset", "Make a plain interface of it at the next start of the network", build_unset},
};

} // namespace

void noun_bridge(CLI::App &noun, Session &session)
{
    add_words(noun, session, VERBS,
              "  kavonet bridge list\n"
              "  kavonet bridge set br0 bridge eth0 --dhcp\n"
              "  kavonet bridge set eth0 port br0\n"
              "  kavonet bridge unset eth0");
}

} // namespace cli
