// kavonet relay: relays of PPPoE discovery between the clients on a bridge and a server behind another interface.
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <memory>

#include <net/if.h>
#include <unistd.h>

#include "errors.h"
#include "json.h"
#include "kavo/core.h"
#include "kavonetsdk/kavonetsdk.h"
#include "noun.h"
#include "progress.h"
#include "table.h"
#include "text.h"

namespace cli {
namespace {

constexpr char FOLDER[] = "/etc/sysconfig/pppoe-relay";

struct Arguments {
    std::string interface;
    std::string server;
    bool off = false;
};

// The relay of an interface: its settings, and whether it runs.
struct Relay {
    std::string name;
    PPPoERelayConf conf{};
    bool running = false;
};

bool has_settings(const std::string &name)
{
    return access((std::string(FOLDER) + "/" + name).c_str(), F_OK) == 0;
}

// Reading makes the settings of an interface that has none, so those are not read.
bool read_relay(const std::string &name, Relay &relay)
{
    forget_error();
    relay.name = name;
    relay.running = KLIBCIsProcAlive(("/usr/sbin/pppoe-relay -C " + name).c_str()) != 0;
    return !has_settings(name) || KAVONetGetPPPoERelayConfig(name.c_str(), &relay.conf) == 0;
}

// The interfaces with settings. False when they cannot be listed.
bool list_names(std::vector<std::string> &names)
{
    std::error_code error;
    if (!std::filesystem::exists(FOLDER, error))
        return !error;
    for (std::filesystem::directory_iterator entry(FOLDER, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename();
        // What begins so is a setting that is being written.
        if (!name.starts_with('.'))
            names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return !error;
}

bool read_relays(const std::vector<std::string> &names, std::vector<Relay> &relays)
{
    return std::all_of(names.begin(), names.end(),
                       [&](const std::string &name) { return read_relay(name, relays.emplace_back()); });
}

void put_conf(Json &json, const PPPoERelayConf &conf)
{
    json.field("enabled", conf.enable == 1).field_or_null("server", conf.szServer);
}

void put_relay(Json &json, const Relay &relay)
{
    json.begin_object().field("name", relay.name);
    put_conf(json, relay.conf);
    json.field("running", relay.running).end_object();
}

std::string as_table(const std::vector<Relay> &relays)
{
    Table table({{"NAME"}, {"RELAY"}, {"SERVER"}, {"STATE"}});
    for (const Relay &relay : relays)
        table.row({relay.name, relay.conf.enable == 1 ? "on" : "off", relay.conf.szServer,
                   Cell(relay.running ? "running" : "not running", relay.running ? GOOD : QUIET)});
    return table.text();
}

// ---- show

int show_one(const Session &session, const std::string &name)
{
    Relay relay;
    const bool known = has_settings(name) || if_nametoindex(name.c_str()) != 0;
    if (!known || !read_relay(name, relay))
        return fail_on(session, name, {.what = "cannot show the PPPoE relay of " + name, .needs_root = true});
    return print(session.json ? json_line(relay, put_relay) : as_table({relay}));
}

int show_all(const Session &session)
{
    std::vector<std::string> names;
    std::vector<Relay> relays;
    if (!list_names(names) || !read_relays(names, relays))
        return fail(session, {.what = "cannot list the PPPoE relays", .needs_root = true});
    return print(session.json ? json_array(relays, put_relay) : as_table(relays));
}

// ---- set

std::string text_of(const PPPoERelayConf &conf)
{
    const std::string server = conf.szServer[0] == '\0' ? "no server" : "server " + printable(conf.szServer);
    return (conf.enable == 1 ? "on, " : "off, ") + server;
}

int report_change(const Session &session, const Relay &before, const PPPoERelayConf &after)
{
    if (!session.json) {
        const bool same = KAVONetIsSamePPPoERelayConfig(&before.conf, &after) == 1;
        const std::string name = printable(before.name);
        if (same)
            return print(name + ": relay " + text_of(after) + ", as before\n");
        return print(name + ": relay " + text_of(before.conf) + " -> " + text_of(after) + "\n  kavonet relay apply " +
                     name + " puts it in force\n");
    }
    Json json;
    json.begin_object().field("name", before.name).field("action", "set").key("before").begin_object();
    put_conf(json, before.conf);
    json.end_object().key("after").begin_object();
    put_conf(json, after);
    json.end_object().end_object();
    return print(json.text() + "\n");
}

int set(const Session &session, const Arguments &arguments)
{
    const std::string &name = arguments.interface;
    if (arguments.server.empty() != arguments.off)
        return misused(session, arguments.off ? "both a server and --off are given" : "no server is given",
                       "name the interface on the server's side, or give --off");
    if (arguments.server.size() >= IFNAMSIZ)
        return misused(session, "\"" + arguments.server + "\" is no interface's name",
                       "give a name of 1 to 15 characters");
    const std::string what = "cannot store the relay settings of " + name;
    Relay before;
    if (if_nametoindex(name.c_str()) == 0 || !read_relay(name, before))
        return fail_on(session, name, {.what = what, .needs_root = true});
    PPPoERelayConf wanted = before.conf;
    wanted.enable = arguments.off ? 0 : 1;
    if (!arguments.off)
        snprintf(wanted.szServer, sizeof wanted.szServer, "%s", arguments.server.c_str());
    forget_error();
    if (KAVONetSetPPPoERelayConfig(name.c_str(), &wanted) != 0)
        return fail_on(session, name, {.what = what, .needs_root = true});
    return report_change(session, before, wanted);
}

// ---- apply

std::string state_of(const Relay &relay)
{
    return relay.running ? "relay runs, server " + printable(relay.conf.szServer) : "no relay runs";
}

int report_relays(const Session &session, const std::vector<Relay> &relays)
{
    if (session.json)
        return print(json_array(relays, put_relay));
    std::string text;
    for (const Relay &relay : relays)
        text += printable(relay.name) + ": " + state_of(relay) + "\n";
    return print(text);
}

int apply(const Session &session, const Arguments &arguments)
{
    const std::string &name = arguments.interface;
    const std::string whose = name.empty() ? "the PPPoE relays" : "the PPPoE relay of " + name;
    forget_error();
    const int result = with_progress(session, "applying the settings of " + whose, [&] {
        return name.empty() ? KAVONetApplyPPPoERelayConfigAll() : KAVONetApplyPPPoERelayConfig(name.c_str());
    });
    if (result != 0)
        return fail(session, {.what = "cannot apply the settings of " + whose, .needs_root = true});
    std::vector<std::string> names = {name};
    std::vector<Relay> relays;
    if ((name.empty() && (names.clear(), !list_names(names))) || !read_relays(names, relays))
        return fail(session, {"the settings are applied, but cannot show " + whose});
    return report_relays(session, relays);
}

// ---- clear

int clear(const Session &session)
{
    std::vector<std::string> left;
    forget_error();
    if (KAVONetClearPPPoERelayConfigAll() != 0 || !list_names(left) || !left.empty())
        return fail(session, {.what = "cannot delete the settings of the PPPoE relays", .needs_root = true});
    if (!session.json)
        return print("the settings of all PPPoE relays are deleted; relays that run go on\n");
    Json json;
    json.begin_object().field("action", "clear").end_object();
    return print(json.text() + "\n");
}

// ---- the command line

constexpr Show SHOW = {show_one, show_all, "The bridge; all with settings when left out",
                       "  kavonet relay show\n"
                       "  kavonet relay show lbr0 --json | jq .running"};

void build_show(CLI::App &verb, Session &session)
{
    build_show(verb, session, SHOW);
}

void build_set(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_interface(verb, arguments->interface, "The bridge of the clients, for example lbr0")->required();
    verb.add_option("SERVER", arguments->server, "The interface on the server's side, for example eth0")->type_name("");
    verb.add_flag("--off", arguments->off, "No relay; the server stays noted");
    set_action(
        verb, session, [&session, arguments] { return set(session, *arguments); },
        "  kavonet relay set lbr0 eth0\n"
        "  kavonet relay set lbr0 --off");
}

void build_apply(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_interface(verb, arguments->interface, "The bridge; all with settings when left out");
    set_action(
        verb, session, [&session, arguments] { return apply(session, *arguments); },
        "  kavonet relay apply lbr0\n"
        "  kavonet relay apply");
}

void build_clear(CLI::App &verb, Session &session)
{
    set_action(
        verb, session, [&session] { return clear(session); }, "  kavonet relay clear");
}

constexpr Word VERBS[] = {
    {"show", "Show the settings of relays, and whether they run", build_show},
    {"set", "Store the settings of a bridge's relay", build_set},
    {"apply", "Start, restart or end relays as their settings and their bridges want it", build_apply},
    {"clear", "Delete the settings of all relays", build_clear},
};

} // namespace

void noun_relay(CLI::App &noun, Session &session)
{
    add_words(noun, session, VERBS,
              "  kavonet relay set lbr0 eth0\n"
              "  kavonet relay apply lbr0\n"
              "  kavonet relay show");
}

} // namespace cli
