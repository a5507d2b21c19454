// kavonet mtu: the MTU of the interfaces.
#include <charconv>
#include <cstring>
#include <memory>

#include "errors.h"
#include "ethernet.h"
#include "interface.h"
#include "noun.h"
#include "progress.h"
#include "text.h"
#include "uninterrupted.h"

namespace cli {
namespace {

constexpr int SMALLEST = 68;    // what IPv4 needs
constexpr int LARGEST = 65'535; // what an IPv4 packet can be

struct Arguments {
    std::string interface;
    std::string mtu;
};

// An interface's MTU: what is kept for it, and what the kernel has.
struct Mtu {
    std::string name;
    std::string kept;
    int live = 0; // 0 or below: unknown
    KAVOETHINFO ethernet{};
};

bool read_mtu(const std::string &name, Mtu &mtu)
{
    char kept[64] = "";
    forget_error();
    mtu.name = name;
    if (KAVOConfGetMTUValue(name.c_str(), kept, sizeof kept) != 0)
        return false;
    mtu.kept = kept;
    mtu.live = KAVOGetMTUSetting(name.c_str());
    mtu.ethernet = read_ethernet(name);
    return true;
}

// The number that a kept text stands for; 0 when it stands for none. The file may hold anything.
int number_of(const std::string &kept)
{
    int number = 0;
    const auto [end, error] = std::from_chars(kept.data(), kept.data() + kept.size(), number);
    return error == std::errc() && end == kept.data() + kept.size() ? number : 0;
}

void put_numbers(Json &json, const Mtu &mtu)
{
    const int kept = number_of(mtu.kept);
    if (kept > 0)
        json.field("configured", kept);
    else
        json.key("configured").null();
    if (mtu.live > 0)
        json.field("live", mtu.live);
    else
        json.key("live").null();
}

void put_mtu(Json &json, const Mtu &mtu)
{
    json.begin_object().field("name", mtu.name);
    put_numbers(json, mtu);
    json.end_object();
}

std::string live_text(const Mtu &mtu)
{
    return mtu.live > 0 ? std::to_string(mtu.live) : "";
}

std::string as_table(const std::vector<Mtu> &mtus)
{
    Table table({{"NAME"}, {"CONFIGURED", Column::RIGHT}, {"MTU", Column::RIGHT}, {"SPEED"}});
    for (const Mtu &mtu : mtus)
        table.row({mtu.name, mtu.kept, live_text(mtu), speed_text(mtu.ethernet)});
    return table.text();
}

// ---- show

int show_one(const Session &session, const std::string &name)
{
    Interface interface;
    Mtu mtu;
    if (!read_interface(name, interface) || !read_mtu(name, mtu))
        return fail_on(session, name, {"cannot show the MTU of " + name});
    return print(session.json ? json_line(mtu, put_mtu) : as_table({mtu}));
}

int show_all(const Session &session)
{
    std::vector<Interface> found;
    if (!list_interfaces(Kind::USABLE_PPP, found))
        return fail(session, {"cannot list the interfaces"});
    std::vector<Mtu> mtus;
    for (const Interface &interface : found) {
        if (!read_mtu(interface.entry.szName, mtus.emplace_back()))
            return fail(session, {std::string("cannot show the MTU of ") + interface.entry.szName});
    }
    return print(session.json ? json_array(mtus, put_mtu) : as_table(mtus));
}

// ---- set

// "9000", and what the kernel has where that is something else.
std::string text_of(const Mtu &mtu)
{
    const std::string live = live_text(mtu);
    return live == mtu.kept ? live : printable(mtu.kept) + " (" + (live.empty() ? "unknown" : live) + " in force)";
}

int report_change(const Session &session, const Mtu &before, const Mtu &after)
{
    if (!session.json) {
        std::string text = printable(before.name) + ": MTU " + text_of(before) + " -> " + text_of(after) + "\n";
        if (after.live != number_of(after.kept))
            text += "  the link is down or slower than 1000 Mbit/s, so the kernel keeps its MTU\n";
        return print(text);
    }
    Json json;
    json.begin_object().field("name", before.name).field("action", "set").key("before").begin_object();
    put_numbers(json, before);
    json.end_object().key("after").begin_object();
    put_numbers(json, after);
    json.end_object().end_object();
    return print(json.text() + "\n");
}

// The interface is down for a part of it, and subscribers wait for its end.
int change(const Session &session, const Mtu &before, const std::string &wanted, const std::string &what)
{
    const std::string &name = before.name;
    forget_error();
    const int result = with_progress(session, "setting the MTU of " + name + " to " + wanted,
                                     [&] { return KAVONetSetMTUValue(wanted.c_str(), name.c_str()); });
    if (result != 0)
        return fail_on(session, name, {.what = what, .needs_root = true});
    Mtu after;
    if (!read_mtu(name, after))
        return fail_on(session, name, {"the change is made, but cannot show the MTU of " + name});
    return report_change(session, before, after);
}

int set(const Session &session, const Arguments &arguments)
{
    const std::string &name = arguments.interface;
    const int wanted = number_of(arguments.mtu);
    if (wanted < SMALLEST || wanted > LARGEST)
        return misused(session, "\"" + printable(arguments.mtu) + "\" is no MTU",
                       formatted("give a number from %d to %d, usually 1500 or 9000", SMALLEST, LARGEST));
    const std::string what = "cannot set the MTU of " + name + " to " + arguments.mtu;
    Interface interface;
    Mtu before;
    if (!read_interface(name, interface) || !read_mtu(name, before))
        return fail_on(session, name, {what});
    Uninterrupted uninterrupted(session);
    return uninterrupted.end(change(session, before, std::to_string(wanted), what));
}

// ---- the command line

constexpr Show SHOW = {show_one, show_all, "The interface; all that are in use when left out",
                       "  kavonet mtu show\n"
                       "  kavonet mtu show eth0 --json | jq .live"};

void build_show(CLI::App &verb, Session &session)
{
    build_show(verb, session, SHOW);
}

void build_set(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_interface(verb, arguments->interface)->required();
    verb.add_option("MTU", arguments->mtu, "Bytes, 68 to 65535; above 1499 only links of 1000 Mbit/s and more take it")
        ->required()
        ->type_name("");
    set_action(
        verb, session, [&session, arguments] { return set(session, *arguments); }, "  kavonet mtu set eth0 9000");
}

constexpr Word VERBS[] = {
    {"show", "Show configured MTUs and those in force", build_show},
    {"set", "Set the MTU of an interface, now and at every start; takes about 5 seconds", build_set},
};

} // namespace

void noun_mtu(CLI::App &noun, Session &session)
{
    add_words(noun, session, VERBS,
              "  kavonet mtu show\n"
              "  kavonet mtu set eth0 9000");
}

} // namespace cli
