// kavonet gateway: the IPv4 default gateway, in the kernel and in the configuration.
#include <memory>

#include "errors.h"
#include "kavo/core.h"
#include "network.h"
#include "noun.h"
#include "progress.h"
#include "table.h"
#include "text.h"

namespace cli {
namespace {

struct Arguments {
    std::string address;
    bool configured = false; // the configuration's instead of the kernel's
};

constexpr char CONF_SUMMARY[] = "The configured one, in /etc/sysconfig/network, instead of the kernel's";

// ---- show

int show(const Session &session, bool configured)
{
    Gateway gateway;
    if (!configured && !read_live_gateway(gateway))
        return fail(session, {"cannot read the default gateway of the kernel"});
    if (!read_configured_gateway(gateway))
        return fail(session, {"cannot read the configured gateway"});
    if (session.json) {
        Json json;
        json.begin_object();
        if (configured)
            json.field_or_null("configured", gateway.configured);
        else
            put_gateway(json, gateway);
        json.end_object();
        return print(json.text() + "\n");
    }
    if (configured)
        return gateway.configured.empty() ? DONE : print(printable(gateway.configured) + "\n");
    Table table({{""}, {""}});
    table.row({"gateway", gateway.address});
    table.row({"interface", gateway.interface});
    table.row({"configured", gateway.configured});
    return print(table.text());
}

// ---- Changes

int report_change(const Session &session, const char *action, bool configured, const Gateway &before,
                  const Gateway &after)
{
    if (!session.json) {
        const auto text = [configured](const Gateway &gateway) {
            const std::string file = gateway.configured.empty() ? "none" : printable(gateway.configured);
            return configured ? file : gateway.text();
        };
        return print((configured ? "configured gateway: " : "gateway: ") + text(before) + " -> " + text(after) + "\n");
    }
    Json json;
    json.begin_object().field("action", action).key("before").begin_object();
    put_gateway(json, before);
    json.end_object().key("after").begin_object();
    put_gateway(json, after);
    json.end_object().end_object();
    return print(json.text() + "\n");
}

// The add has failed, and the former route was taken away before it.
Failure set_failure(const std::string &what, const Gateway &before)
{
    const KeptError error;
    Failure failure{.what = what, .reason = "the kernel did not take the route", .needs_root = true};
    Gateway now;
    if (read_live_gateway(now) && now.address.empty() && !before.address.empty()) {
        failure.reason += ", and the former one is gone";
        failure.advice = "kavonet gateway set " + before.address + " puts it back; ";
    }
    failure.advice += "a gateway must be on a network of an interface that is up: kavonet ipv4 show lists them";
    return failure;
}

// The commands behind the change may fail without the library's telling; the kernel tells.
int check_live(const Session &session, const char *action, const std::string &address, const Gateway &before)
{
    Gateway after;
    if (!read_gateway(after))
        return fail(session, {"the change is made, but cannot read the default gateway"});
    const bool in_force =
        address.empty() ? after.address.empty() || after.text() != before.text() : after.address == address;
    if (in_force)
        return report_change(session, action, false, before, after);
    forget_error();
    return fail(session, {.what = address.empty() ? "cannot clear the default gateway"
                                                  : "cannot set the default gateway to " + address,
                          .reason = "the kernel still has " + after.text(),
                          .advice = NO_CODE_ADVICE,
                          .needs_root = true});
}

int change_live(const Session &session, const char *action, const std::string &address)
{
    const std::string what =
        address.empty() ? "cannot clear the default gateway" : "cannot set the default gateway to " + address;
    Gateway before;
    if (!read_gateway(before))
        return fail(session, {what});
    forget_error();
    const auto call = [&] { return KAVONetDefaultGatewaySet(address.c_str()); };
    if (with_progress(session, "changing the default gateway", call) != 0)
        return fail(session, set_failure(what, before));
    return check_live(session, action, address, before);
}

int change_configured(const Session &session, const char *action, const std::string &address)
{
    Failure failure{.what = address.empty() ? "cannot clear the configured gateway"
                                            : "cannot set the configured gateway to " + address,
                    .needs_root = true};
    Gateway before;
    Gateway after;
    if (!read_gateway(before))
        return fail(session, failure);
    forget_error();
    if (KAVONetDefaultGatewaySetConf(address.c_str()) != 0) {
        if (KLIBCErrGet() == NET_ERR_OPEN_FAILED && KLIBCFileExist(GATEWAY_FILE) == 0)
            failure.advice = std::string("there is no ") + GATEWAY_FILE + ": make one with touch " + GATEWAY_FILE;
        return fail(session, failure);
    }
    if (!read_gateway(after))
        return fail(session, {"the change is made, but cannot read the default gateway"});
    return report_change(session, action, true, before, after);
}

// The command behind the change would look any word up as a host name, and take the former route away before it fails.
int set(const Session &session, const Arguments &arguments)
{
    forget_error();
    if (BlKLIBIsIpAddr(arguments.address.c_str()) != 1 || KAVONetGetAddrType(arguments.address.c_str()) != 2 ||
        arguments.address.starts_with("0."))
        return fail(session, {"cannot set the default gateway to " + arguments.address, "it is no IPv4 address",
                              "give four decimal numbers without leading zeros, for example 192.168.1.1"});
    return arguments.configured ? change_configured(session, "set", arguments.address)
                                : change_live(session, "set", arguments.address);
}

// ---- The command line

void build_show(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    verb.add_flag("--conf", arguments->configured, "Only the configured one, in /etc/sysconfig/network");
    set_action(
        verb, session, [&session, arguments] { return show(session, arguments->configured); },
        "  kavonet gateway show\n"
        "  kavonet gateway show --json | jq -r .interface");
}

void build_set(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    verb.add_option("ADDRESS", arguments->address, "The IPv4 address of the gateway")->required()->type_name("");
    verb.add_flag("--conf", arguments->configured, CONF_SUMMARY);
    set_action(
        verb, session, [&session, arguments] { return set(session, *arguments); },
        "  kavonet gateway set 192.168.1.1\n"
        "  kavonet gateway set 192.168.1.1 --conf");
}

void build_clear(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    verb.add_flag("--conf", arguments->configured, CONF_SUMMARY);
    set_action(
        verb, session,
        [&session, arguments] {
            return arguments->configured ? change_configured(session, "clear", "") : change_live(session, "clear", "");
        },
        "  kavonet gateway clear\n"
        "  kavonet gateway clear --conf");
}

constexpr Word VERBS[] = {
    {"show", "Show the default gateway of the kernel and the configured one", build_show},
    {"set", "Replace the default route; with --conf, the configured gateway", build_set},
    {"clear", "Take the default route away; with --conf, the configured gateway", build_clear},
};

} // namespace

void noun_gateway(CLI::App &noun, Session &session)
{
    add_words(noun, session, VERBS,
              "  kavonet gateway show\n"
              "  kavonet gateway set 192.168.1.1\n"
              "  kavonet gateway set 192.168.1.1 --conf");
}

} // namespace cli
