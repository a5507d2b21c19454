// kavonet status: one look at the whole network.
#include "errors.h"
#include "ethernet.h"
#include "interface.h"
#include "network.h"
#include "noun.h"
#include "role.h"
#include "text.h"

namespace cli {
namespace {

constexpr char EXAMPLES[] = "  kavonet status\n"
                            "  kavonet status --json | jq -r '.interfaces[] | select(.link | not) | .name'";

// One interface that the appliance can use.
struct Line {
    Interface interface;
    KAVOETHINFO ethernet;
    Ipv4 ipv4;
    std::vector<Role> roles;
};

struct Overview {
    std::string host;
    Dns dns;
    Gateway gateway;
    std::vector<Line> lines;
    std::vector<std::string> down;
    size_t linked = 0;
};

bool look_at_interfaces(Overview &overview)
{
    std::vector<Interface> all;
    std::vector<Interface> usable;
    if (!list_interfaces(Kind::ALL, all) || !list_interfaces(Kind::USABLE_PPP, usable))
        return false;
    for (const Interface &interface : all) {
        if (interface.known && !interface.is_up() && !interface.is_loopback())
            overview.down.emplace_back(interface.entry.szName);
    }
    for (const Interface &interface : usable) {
        const std::string name = interface.entry.szName;
        Line &line = overview.lines.emplace_back();
        line.interface = interface;
        line.ethernet = read_ethernet(name);
        line.roles = roles_of(name);
        if (!read_ipv4(name, line.ipv4))
            return false;
        overview.linked += interface.has_link() ? 1 : 0;
    }
    return true;
}

// What cannot be read; null when everything was.
const char *look(Overview &overview)
{
    if (!read_host(overview.host))
        return "cannot read the host name";
    if (!look_at_interfaces(overview))
        return "cannot list the interfaces";
    if (!read_gateway(overview.gateway))
        return "cannot read the default gateway";
    return read_dns(overview.dns) ? nullptr : "cannot read the name servers";
}

void put_line(Json &json, const Line &line)
{
    json.begin_object();
    put_interface(json, line.interface);
    put_ethernet(json, line.ethernet);
    json.key("configured").begin_object();
    put_ipv4(json, line.ipv4);
    json.end_object();
    put_roles(json, line.roles);
    json.end_object();
}

std::string as_json(const Overview &overview)
{
    Json json;
    json.begin_object().field("host", overview.host).key("interfaces").begin_array();
    for (const Line &line : overview.lines)
        put_line(json, line);
    json.end_array().key("down").begin_array();
    for (const std::string &name : overview.down)
        json.value(name);
    json.end_array().key("gateway").begin_object();
    put_gateway(json, overview.gateway);
    json.end_object().key("dns").begin_object();
    put_dns(json, overview.dns);
    json.end_object().end_object();
    return json.text() + "\n";
}

// "10.0.0.1 on eth0 (10.0.0.2 configured)"
std::string gateway_text(const Gateway &gateway)
{
    const bool differs = !gateway.configured.empty() && gateway.configured != gateway.address;
    return gateway.text() + (differs ? " (" + printable(gateway.configured) + " configured)" : "");
}

std::string as_text(const Overview &overview)
{
    std::string text = printable(overview.host) + ": " + std::to_string(overview.lines.size()) + " in use, " +
                       std::to_string(overview.linked) + " with link, " + std::to_string(overview.down.size()) +
                       " down\n";
    Table table({{"NAME"}, {"LINK"}, {"SPEED"}, {"MTU", Column::RIGHT}, {"ADDRESS"}, {"CONFIGURED"}, {"ROLE"}});
    for (const Line &line : overview.lines)
        table.row({line.interface.entry.szName, link_cell(line.interface), speed_text(line.ethernet),
                   line.ethernet.nMTU > 0 ? std::to_string(line.ethernet.nMTU) : "", line.interface.address(),
                   line.ipv4.text(), text_of(line.roles)});
    if (!overview.lines.empty())
        text += "\n" + table.text();
    text += "\ngateway: " + gateway_text(overview.gateway) + "\ndns: " + overview.dns.text() + "\n";
    if (!overview.down.empty())
        text += "\ndown: " + joined(overview.down) + "\n";
    return text;
}

int show_status(const Session &session)
{
    Overview overview;
    if (const char *failure = look(overview))
        return fail(session, {failure});
    return print(session.json ? as_json(overview) : as_text(overview));
}

} // namespace

void noun_status(CLI::App &noun, Session &session)
{
    set_action(
        noun, session, [&session] { return show_status(session); }, EXAMPLES);
}

} // namespace cli
