// kavonet ovs: what Open vSwitch holds.
#include <algorithm>
#include <memory>

#include "errors.h"
#include "interface.h"
#include "noun.h"

namespace cli {
namespace {

// One thing that an interface is to Open vSwitch; an interface can be several.
struct Part {
    std::string name;
    const char *kind; // a stable word
    bool up = false;
    std::string device{}; // of a bridge: its port; of a port: the interface or bond that stands for it
    std::string mode{};   // of a bond
    std::vector<std::string> members{};
};

void read_bond(Part &bond)
{
    KAVOLINKAGGROPT options{};
    if (KAVONetLinkAggrGet(bond.name.c_str(), &options) != 0)
        return;
    bond.mode = options.mode > 0 ? KAVONetLinkAggrModeToString(options.mode) : "";
    for (int i = 0; i < std::min(options.nSlave, 32); ++i)
        bond.members.emplace_back(options.szSlave[i]);
}

std::string original_of(const std::string &name)
{
    char port[16] = "";
    return KLIBNetOVSGetOriginalIf(name.c_str(), port, sizeof port) == 0 ? port : "";
}

void add_parts(const std::string &name, std::vector<Part> &parts)
{
    const bool up = KAVONetIsIFUp(name.c_str()) == 1;
    switch (KLIBNetOVSIfIsMaster(name.c_str())) {
    case 1:
        parts.push_back({.name = name, .kind = "ovs-bridge", .up = up, .device = original_of(name)});
        break;
    case 2:
        parts.push_back({.name = name, .kind = "ovs-bond", .up = up});
        read_bond(parts.back());
        break;
    default:
        break;
    }
    if (KLIBNetOVSIfIsSlave(name.c_str()) == 1)
        parts.push_back({.name = name, .kind = "ovs-port", .up = up});
}

// Finds, for every port, what stands for it: its own interface or the bond that it is a member of.
void find_devices(std::vector<Part> &parts)
{
    for (Part &port : parts) {
        if (port.kind != std::string_view("ovs-port"))
            continue;
        for (const Part &part : parts) {
            const bool is_member = std::find(part.members.begin(), part.members.end(), port.name) != part.members.end();
            if (is_member || (part.kind != port.kind && part.device == port.name))
                port.device = part.name;
        }
    }
}

// Everything of Open vSwitch. False with an error record when the interfaces cannot be listed.
bool list_parts(std::vector<Part> &parts)
{
    std::vector<NetStat> names;
    forget_error();
    if (!list_counters(names))
        return false;
    for (const NetStat &name : names)
        add_parts(name.szName, parts);
    find_devices(parts);
    return true;
}

void put_part(Json &json, const Part &part)
{
    json.begin_object().field("name", part.name).field("kind", part.kind).field("up", part.up);
    json.field_or_null("device", part.device).field_or_null("mode", part.mode).key("members").begin_array();
    for (const std::string &member : part.members)
        json.value(member);
    json.end_array().end_object();
}

std::string relation_of(const Part &part)
{
    std::string text = part.device;
    for (const std::string &member : part.members)
        text += (text.empty() ? "" : " ") + member;
    return text;
}

std::string as_text(const std::vector<Part> &parts)
{
    Table table({{"NAME"}, {"KIND"}, {"STATE"}, {"MODE"}, {"OF"}});
    for (const Part &part : parts)
        table.row(
            {part.name, part.kind, part.up ? Cell("up", GOOD) : Cell("down", QUIET), part.mode, relation_of(part)});
    return table.text();
}

int show(const Session &session, const std::string &name)
{
    const std::string what = name.empty() ? "cannot list what Open vSwitch holds" : "cannot show " + name;
    std::vector<Part> parts;
    if (!list_parts(parts))
        return fail(session, {what});
    if (!name.empty()) {
        std::erase_if(parts, [&name](const Part &part) { return part.name != name; });
        forget_error();
        if (parts.empty())
            return fail_on(session, name,
                           {what, "it is no interface, bond or port of Open vSwitch", "kavonet ovs show lists them"});
    }
    return print(session.json ? json_array(parts, put_part) : as_text(parts));
}

void build_show(CLI::App &verb, Session &session)
{
    const auto interface = std::make_shared<std::string>();
    add_interface(verb, *interface, "The interface, bond or port; all when left out");
    set_action(
        verb, session, [&session, interface] { return show(session, *interface); },
        "  kavonet ovs show\n"
        "  kavonet ovs show --json | jq -r '.[] | select(.kind == \"ovs-port\") | .name'");
}

constexpr Word VERBS[] = {{"show", "Show interfaces, bonds and ports of Open vSwitch", build_show}};

} // namespace

void noun_ovs(CLI::App &noun, Session &session)
{
    add_words(noun, session, VERBS, "  kavonet ovs show");
}

} // namespace cli
