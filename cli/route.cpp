// kavonet route: the IPv4 routes, and which interfaces are bound to the network they stand on.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "errors.h"
#include "interface.h"
#include "kavo/core.h"
#include "noun.h"
#include "progress.h"
#include "route_table.h"
#include "text.h"

namespace cli {
namespace {

bool read_routes(std::vector<Route> &routes)
{
    forget_error();
    return list_routes(routes);
}

int fail_to_read(const Session &session, const char *what)
{
    return fail(session, {what, std::string("the kernel does not answer: ") + strerror(errno), "try again"});
}

// ---- show

std::string as_table(const std::vector<Route> &routes)
{
    Table table({{"NETWORK"}, {"GATEWAY"}, {"INTERFACE"}, {"SOURCE"}, {"METRIC", Column::RIGHT}});
    for (const Route &route : routes)
        table.row({route.network == "0.0.0.0/0" ? "default" : route.network, route.gateway, route.interface,
                   route.source, std::to_string(route.metric)});
    return table.text();
}

int show(const Session &session, const std::string &name)
{
    Interface interface;
    if (!name.empty() && !read_interface(name, interface))
        return fail_on(session, name, {"cannot show the routes of " + name});
    std::vector<Route> routes;
    if (!read_routes(routes))
        return fail_to_read(session, "cannot show the routes");
    if (!name.empty())
        std::erase_if(routes, [&](const Route &route) { return route.interface != name; });
    if (!session.json)
        return print(as_table(routes));
    Json json;
    put_routes(json, routes);
    return print(json.text() + "\n");
}

void build_show(CLI::App &verb, Session &session)
{
    const auto interface = std::make_shared<std::string>();
    add_interface(verb, *interface, "The interface; all when left out");
    set_action(
        verb, session, [&session, interface] { return show(session, *interface); },
        "  kavonet route show\n"
        "  kavonet route show eth0 --json | jq -r '.[].network'");
}

// ---- bind, unbind

// What the library does with an interface.
struct Action {
    const char *verb, *cannot, *doing;
    unsigned number; // as the library counts them
};

constexpr Action BIND = {"bind", "cannot bind ", "binding ", 0};
constexpr Action UNBIND = {"unbind", "cannot unbind ", "unbinding ", 1};

// An interface and its own network.
struct Binding {
    std::string name;
    std::string device; // what carries its packets
    Ipv4 configured;
    std::string network;         // empty without a complete configuration
    std::vector<Route> routes{}; // to that network through the device
};

// A port of an Open vSwitch bridge sends through the bridge.
std::string device_of(const std::string &name)
{
    return name.starts_with("eth") && KLIBNetOVSIfIsSlave(name.c_str()) == 1 ? "ovs_" + name : name;
}

bool read_own_routes(Binding &binding)
{
    binding.routes.clear();
    if (!read_routes(binding.routes))
        return false;
    std::erase_if(binding.routes, [&](const Route &route) {
        return route.interface != binding.device || route.network != binding.network || !route.gateway.empty();
    });
    return true;
}

// "10.0.0.0/24 from 10.0.0.5"
std::string text_of(const Binding &binding)
{
    std::string text;
    for (const Route &route : binding.routes) {
        text += (text.empty() ? "" : ", ") + printable(route.network);
        text += route.source.empty() ? "" : " from " + route.source;
    }
    return text.empty() ? "no route of its own" : text;
}

void put_binding(Json &json, const char *key, const Binding &binding)
{
    json.key(key).begin_object().key("routes");
    put_routes(json, binding.routes);
    json.end_object();
}

int report_change(const Session &session, const Action &action, const Binding &before, const Binding &after)
{
    if (!session.json)
        return print(printable(after.name) + ": " + text_of(before) + " -> " + text_of(after) + "\n");
    Json json;
    json.begin_object().field("name", after.name).field("action", action.verb);
    put_binding(json, "before", before);
    put_binding(json, "after", after);
    json.end_object();
    return print(json.text() + "\n");
}

// What the library does not tell with a code.
Failure explain(const Action &action, const Binding &binding)
{
    const KeptError error;
    Failure failure{.what = action.cannot + binding.name, .needs_root = true};
    std::vector<Interface> usable;
    if (binding.configured.method == Ipv4::DHCP && binding.configured.address.empty()) {
        failure.reason = "it is on DHCP and has no lease";
        failure.advice = "wait for a lease: kavonet ipv4 dhcp " + binding.name + " --wait 30";
    } else if (binding.network.empty()) {
        failure.reason = "no complete address is configured for it";
        failure.advice = "configure one: kavonet ipv4 static " + binding.name + " ADDRESS/PREFIX";
    } else if (list_interfaces(Kind::USABLE, usable) &&
               std::none_of(usable.begin(), usable.end(),
                            [&](const Interface &i) { return binding.device == i.entry.szName; })) {
        failure.reason = binding.device + " is down, a member of a bond or bridge, or stands under a VLAN";
        failure.advice = "kavonet if show " + binding.device + " tells which";
    } else if (action.number == BIND.number && binding.configured.method == Ipv4::DHCP) {
        failure.reason = "it is on DHCP, whose client sets its routes";
        failure.advice = "restart the client: kavonet ipv4 dhcp " + binding.name;
    }
    return failure;
}

// The library ends well when the commands behind it fail; the kernel tells.
bool is_done(const Action &action, const Binding &after)
{
    const bool bound = std::any_of(after.routes.begin(), after.routes.end(), [&](const Route &route) {
        return route.source.empty() || route.source == after.configured.address;
    });
    return bound == (action.number == BIND.number);
}

int change(const Session &session, const Action &action, const std::string &name)
{
    const std::string what = action.cannot + name;
    Interface interface;
    Binding before{.name = name, .device = device_of(name), .configured = {}, .network = {}};
    if (!read_interface(name, interface) || !read_ipv4(name, before.configured))
        return fail_on(session, name, {what});
    before.network = network_of(before.configured.address, before.configured.mask);
    if (!read_own_routes(before))
        return fail_to_read(session, what.c_str());
    Binding after = before;
    forget_error();
    const auto call = [&] { return NetRoutetableHandler(action.number, name.c_str()); };
    if (with_progress(session, action.doing + name, call) != 0)
        return fail_on(session, name, explain(action, before));
    if (!read_own_routes(after))
        return fail_to_read(session, "the change is made, but cannot read the routes");
    if (is_done(action, after))
        return report_change(session, action, before, after);
    forget_error();
    Failure failure = explain(action, after);
    if (failure.reason.empty())
        failure.reason = "the kernel has " + text_of(after);
    return fail(session, failure);
}

template <const Action &TheAction> void build_change(CLI::App &verb, Session &session)
{
    const auto interface = std::make_shared<std::string>();
    add_interface(verb, *interface)->required();
    set_action(
        verb, session, [&session, interface] { return change(session, TheAction, *interface); },
        TheAction.number == BIND.number ? "  kavonet route bind eth0" : "  kavonet route unbind eth0");
}

// ---- check

std::string removed_text(const std::vector<Route> &before, const std::vector<Route> &after)
{
    std::string text;
    for (const Route &route : before) {
        if (std::find(after.begin(), after.end(), route) == after.end())
            text += "removed " + printable(route.network) + " on " + printable(route.interface) + "\n";
    }
    return text.empty() ? "nothing to remove\n" : text;
}

// Without an interface in use there is nothing to check, which the library takes for a failure.
Failure explain_check()
{
    const KeptError error;
    Failure failure{.what = "cannot check the routes", .needs_root = true};
    std::vector<Interface> found;
    if (KLIBCErrGet() == 0 && list_interfaces(Kind::STANDALONE, found) && found.empty()) {
        failure.reason = "no interface is up";
        failure.advice = "bring one up: kavonet if list";
    }
    return failure;
}

int check(const Session &session)
{
    std::vector<Route> before;
    std::vector<Route> after;
    if (!read_routes(before))
        return fail_to_read(session, "cannot check the routes");
    forget_error();
    if (with_progress(session, "checking the routes", NetRoutetableCheck) != 0)
        return fail(session, explain_check());
    if (!read_routes(after))
        return fail_to_read(session, "the check is made, but cannot read the routes");
    if (!session.json)
        return print(removed_text(before, after));
    Json json;
    json.begin_object().field("action", "check").key("before").begin_object().key("routes");
    put_routes(json, before);
    json.end_object().key("after").begin_object().key("routes");
    put_routes(json, after);
    json.end_object().end_object();
    return print(json.text() + "\n");
}

void build_check(CLI::App &verb, Session &session)
{
    set_action(
        verb, session, [&session] { return check(session); }, "  kavonet route check");
}

constexpr Word VERBS[] = {
    {"show", "Show the IPv4 routes of the kernel", build_show},
    {"bind", "Bind an interface's own network to it, with its address as the source", build_change<BIND>},
    {"unbind", "Take an interface's route to its own network away", build_change<UNBIND>},
    {"check", "Take these routes away from all interfaces without a link", build_check},
};

} // namespace

void noun_route(CLI::App &noun, Session &session)
{
    add_words(noun, session, VERBS,
              "  kavonet route show\n"
              "  kavonet route bind eth0\n"
              "  kavonet route check");
}

} // namespace cli
