// kavonet topology: what the appliance is in its network.
#include <memory>

#include "errors.h"
#include "json.h"
#include "kavonetsdk/kavonetsdk.h"
#include "noun.h"
#include "table.h"
#include "text.h"

namespace cli {
namespace {

constexpr char TOPOLOGY_WORDS[] = "client|bridge|router|unknown";

constexpr char NO_SUPPORT[] = "this appliance has no choice of topologies";
constexpr char NO_SUPPORT_ADVICE[] = "nothing needs to be done; one that has it says support_net_topology=\"yes\" in "
                                     "/etc/kavoinfo.conf";

// The topology in force. An appliance without the choice leaves the record as it is.
struct Topology {
    KAVOTOPOLOGYINFO row{};

    [[nodiscard]] bool supported() const { return row.szName[0] != '\0'; }
};

bool read_topology(Topology &topology)
{
    topology = {};
    forget_error();
    return KLIBNetTopologyGet(&topology.row) >= 0;
}

void put_topology(Json &json, const Topology &topology)
{
    json.field("supported", topology.supported());
    if (topology.supported())
        json.field("id", static_cast<int64_t>(topology.row.id));
    else
        json.null_field("id");
    json.field_or_null("name", topology.row.szName).field_or_null("interface", topology.row.szIfname);
}

int show(const Session &session)
{
    Topology topology;
    if (!read_topology(topology))
        return fail(session, {"cannot read the topology"});
    if (session.json) {
        Json json;
        json.begin_object();
        put_topology(json, topology);
        json.end_object();
        return print(json.text() + "\n");
    }
    if (!topology.supported())
        return print(std::string(NO_SUPPORT) + "\n");
    Table table({{""}, {""}});
    table.row({"topology", topology.row.szName});
    table.row({"interface", topology.row.szIfname});
    return print(table.text());
}

int report_change(const Session &session, const Topology &before, const Topology &after)
{
    if (!session.json)
        return print("topology: " + printable(before.row.szName) + " -> " + printable(after.row.szName) + " on " +
                     printable(after.row.szIfname) + "\n");
    Json json;
    json.begin_object().field("action", "set").key("before").begin_object();
    put_topology(json, before);
    json.end_object().key("after").begin_object();
    put_topology(json, after);
    json.end_object().end_object();
    return print(json.text() + "\n");
}

int set(const Session &session, const std::string &name)
{
    const std::string what = "cannot set the topology to " + name;
    Topology before;
    Topology after;
    if (!read_topology(before))
        return fail(session, {what});
    if (!before.supported()) {
        forget_error();
        return fail(session, {what, NO_SUPPORT, NO_SUPPORT_ADVICE});
    }
    KAVOTOPOLOGYINFO wanted{};
    snprintf(wanted.szName, sizeof wanted.szName, "%s", name.c_str());
    forget_error();
    if (KLIBNETSetTopologyConfigs(&wanted) != 0)
        return fail(session, {.what = what, .needs_root = true});
    if (!read_topology(after))
        return fail(session, {"the change is made, but cannot read the topology"});
    return report_change(session, before, after);
}

void build_show(CLI::App &verb, Session &session)
{
    set_action(
        verb, session, [&session] { return show(session); },
        "  kavonet topology show\n"
        "  kavonet topology show --json | jq -r .interface");
}

void build_set(CLI::App &verb, Session &session)
{
    const auto name = std::make_shared<std::string>();
    restrict_to(verb.add_option("TOPOLOGY", *name, "What the appliance is in its network"), TOPOLOGY_WORDS)->required();
    set_action(
        verb, session, [&session, name] { return set(session, *name); }, "  kavonet topology set router");
}

constexpr Word VERBS[] = {
    {"show", "Show the topology and the interface that carries it", build_show},
    {"set", "Choose another topology", build_set},
};

} // namespace

void noun_topology(CLI::App &noun, Session &session)
{
    add_words(noun, session, VERBS,
              "  kavonet topology show\n"
              "  kavonet topology set router");
}

} // namespace cli
