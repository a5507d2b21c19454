// kavonet lookup: the addresses of a host.
#include <memory>

#include "host.h"
#include "json.h"
#include "noun.h"
#include "progress.h"
#include "table.h"
#include "text.h"

namespace cli {
namespace {

const char *family_of(const LookupIPEntry &entry)
{
    constexpr int IPV6 = 10;
    return entry.family == IPV6 ? "ipv6" : "ipv4";
}

std::string found_as_json(const std::string &name, const std::vector<LookupIPEntry> &found)
{
    Json json;
    json.begin_object().field("name", name).key("addresses").begin_array();
    for (const LookupIPEntry &entry : found)
        json.begin_object().field("address", entry.szAddr).field("family", family_of(entry)).end_object();
    json.end_array().end_object();
    return json.text() + "\n";
}

std::string found_as_table(const std::vector<LookupIPEntry> &found)
{
    Table table({{"ADDRESS"}, {"FAMILY"}});
    for (const LookupIPEntry &entry : found)
        table.row({entry.szAddr, family_of(entry)});
    return table.text();
}

int look_up(const Session &session, const std::string &name)
{
    const auto found = with_progress(session, "looking up " + name, [&] { return addresses_of(name); });
    if (found.empty())
        return fail(session, unknown_host("cannot find " + name, name));
    return print(session.json ? found_as_json(name, found) : found_as_table(found));
}

} // namespace

void noun_lookup(CLI::App &noun, Session &session)
{
    const auto name = std::make_shared<std::string>();
    add_name(noun, "NAME", *name, "The host's name")->required();
    set_action(
        noun, session, [&session, name] { return look_up(session, *name); },
        "  kavonet lookup storage.lan\n"
        "  kavonet lookup printer --json | jq -r '.addresses[].address'");
}

} // namespace cli
