// kavonet dns: the name servers.
#include <algorithm>
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

constexpr char MODE_WORDS[] = "auto|static";

// Where mode auto takes its servers from.
constexpr const char *LEASED_FILES[] = {"/etc/iproute2/config/resolv4.conf", "/etc/iproute2/config/resolv6.conf"};

// ---- show

std::string as_json(const Dns &dns)
{
    Json json;
    json.begin_object();
    put_dns(json, dns);
    json.end_object();
    return json.text() + "\n";
}

std::string as_table(const Dns &dns)
{
    Table table({{""}, {""}});
    table.row({"mode", dns.mode()});
    table.row({"servers", joined(dns.servers)});
    table.row({"static", joined(dns.configured)});
    return table.text();
}

int show(const Session &session)
{
    Dns dns;
    if (!read_dns(dns))
        return fail(session, {"cannot read the name servers"});
    return print(session.json ? as_json(dns) : as_table(dns));
}

void build_show(CLI::App &verb, Session &session)
{
    set_action(
        verb, session, [&session] { return show(session); },
        "  kavonet dns show\n"
        "  kavonet dns show --json | jq -r '.servers[]'");
}

// ---- Changes

// Why the servers in use stay as they are: the source of the mode has none.
std::string stays(const Dns &after)
{
    if (after.is_static)
        return after.configured.empty() ? " (no static servers are set, so those in use stay)" : "";
    const bool leased =
        std::any_of(std::begin(LEASED_FILES), std::end(LEASED_FILES), [](const char *f) { return KLIBCFileExist(f); });
    return leased ? "" : " (no lease has name servers, so those in use stay)";
}

int report_change(const Session &session, const char *action, const Dns &before, const Dns &after)
{
    if (!session.json)
        return print("dns: " + before.text() + " -> " + after.text() + stays(after) + "\n");
    Json json;
    json.begin_object().field("action", action).key("before").begin_object();
    put_dns(json, before);
    json.end_object().key("after").begin_object();
    put_dns(json, after);
    json.end_object().end_object();
    return print(json.text() + "\n");
}

// One change with its report. `call` is the library's, which gives 0 when it is done.
template <class Call> int change(const Session &session, const char *action, Failure failure, Call call)
{
    Dns before;
    Dns after;
    if (!read_dns(before))
        return fail(session, {failure.what});
    forget_error();
    if (with_progress(session, "changing the name servers", call) != 0) {
        failure.needs_root = true;
        return fail(session, failure);
    }
    if (!read_dns(after))
        return fail(session, {"the change is made, but cannot read the name servers"});
    return report_change(session, action, before, after);
}

// ---- set

int set(const Session &session, const std::vector<std::string> &servers)
{
    Failure failure{"cannot set the name servers to " + joined(servers)};
    const auto refused =
        std::find_if(servers.begin(), servers.end(), [](const auto &s) { return KAVONetGetAddrType(s.c_str()) == 0; });
    if (refused != servers.end()) {
        failure.reason = "\"" + *refused + "\" is no address";
        failure.advice = "give IPv4 or IPv6 addresses, for example 192.168.1.1 or 2001:db8::53";
    }
    const TextList list(servers);
    return change(session, "set", failure, [&] { return KAVONetDNSListSet(list.get()); });
}

void build_set(CLI::App &verb, Session &session)
{
    const auto servers = std::make_shared<std::vector<std::string>>();
    verb.add_option("SERVER", *servers, "Addresses, the first to be asked first")->required()->type_name("");
    set_action(
        verb, session, [&session, servers] { return set(session, *servers); },
        "  kavonet dns set 192.168.1.1 2001:db8::53");
}

// ---- mode, update

int set_mode(const Session &session, const std::string &mode)
{
    return change(session, "mode", {"cannot set the mode of the name servers to " + mode},
                  [&] { return KAVONetDNSModeSet(mode.c_str()); });
}

void build_mode(CLI::App &verb, Session &session)
{
    const auto mode = std::make_shared<std::string>();
    restrict_to(verb.add_option("MODE", *mode, "auto: those of the leases; static: the administrator's"), MODE_WORDS)
        ->required();
    set_action(
        verb, session, [&session, mode] { return set_mode(session, *mode); }, "  kavonet dns mode auto");
}

int update(const Session &session)
{
    return change(session, "update", {"cannot write the name servers anew"}, KAVONetDNSUpdate);
}

void build_update(CLI::App &verb, Session &session)
{
    set_action(
        verb, session, [&session] { return update(session); }, "  kavonet dns update");
}

constexpr Word VERBS[] = {
    {"show", "Show the name servers in use, the mode and the static servers", build_show},
    {"set", "Set the static name servers and use them", build_set},
    {"mode", "Use the name servers of the leases, or the static ones", build_mode},
    {"update", "Write /etc/resolv.conf anew from what the mode says", build_update},
};

} // namespace

void noun_dns(CLI::App &noun, Session &session)
{
    add_words(noun, session, VERBS,
              "  kavonet dns show\n"
              "  kavonet dns set 192.168.1.1 192.168.1.2\n"
              "  kavonet dns mode auto");
}

} // namespace cli
