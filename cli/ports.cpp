// kavonet ports: which ports are taken.
#include <algorithm>
#include <memory>
#include <vector>

#include <unistd.h>

#include "errors.h"
#include "json.h"
#include "kavonetsdk/kavonetsdk.h"
#include "noun.h"
#include "progress.h"
#include "table.h"
#include "text.h"

namespace cli {
namespace {

struct Protocol {
    int selector;      // the library's number
    const char *name;  // a stable word
    const char *title; // for people
    const char *table; // the kernel's, which is there whatever the machine speaks
};
constexpr Protocol TCP = {1, "tcp", "TCP", "/proc/net/tcp"};
constexpr Protocol UDP = {2, "udp", "UDP", "/proc/net/udp"};

struct Arguments {
    std::string range = "1-65535";
    bool udp = false;

    [[nodiscard]] const Protocol &protocol() const { return udp ? UDP : TCP; }
};

// Both ends included; both 0 for a text that is no range.
struct Range {
    int lowest = 0;
    int highest = 0;
};

Range range_of(const std::string &text)
{
    const size_t dash = text.find('-');
    const int lowest = port_of(text.substr(0, dash));
    const int highest = dash == std::string::npos ? lowest : port_of(text.substr(dash + 1));
    return lowest == 0 || highest < lowest ? Range() : Range{lowest, highest};
}

std::string title_of(const Arguments &arguments)
{
    const bool several = arguments.range.find('-') != std::string::npos;
    return std::string(arguments.protocol().title) + (several ? " ports " : " port ") + arguments.range;
}

// The library takes a table that cannot be opened for an empty one. What cannot be told must not be called free.
bool can_tell(const Protocol &protocol)
{
    return access(protocol.table, R_OK) == 0;
}

int cannot_tell(const Session &session, const std::string &what, const Protocol &protocol)
{
    forget_error();
    return fail(session, {what, std::string(protocol.table) + " cannot be read", "check that /proc is mounted"});
}

// In order of their numbers. False with an error record when they cannot be told.
bool find_listeners(const Protocol &protocol, const Range &range, std::vector<int> &ports)
{
    int count = LAST_PORT;
    ports.resize(static_cast<size_t>(count));
    forget_error();
    if (KAVONetGetPortUsedInRange(ports.data(), &count, range.lowest, range.highest, protocol.selector) != 0)
        return false;
    ports.resize(static_cast<size_t>(count));
    std::sort(ports.begin(), ports.end());
    return true;
}

// ---- list

std::string list_as_json(const std::vector<int> &ports)
{
    Json json;
    json.begin_array();
    for (const int port : ports)
        json.begin_object().field("port", port).field("protocol", TCP.name).end_object();
    json.end_array();
    return json.text() + "\n";
}

std::string list_as_table(const std::vector<int> &ports)
{
    Table table({{"PORT", Column::RIGHT}, {"PROTOCOL"}});
    for (const int port : ports)
        table.row({std::to_string(port), TCP.name});
    return table.text();
}

// UDP sockets do not listen, and so there is nothing of theirs to list.
int list(const Session &session, const Arguments &arguments)
{
    const std::string what = "cannot list the ports that listen";
    if (!can_tell(TCP))
        return cannot_tell(session, what, TCP);
    std::vector<int> ports;
    if (!with_progress(session, "looking at " + title_of(arguments),
                       [&] { return find_listeners(TCP, range_of(arguments.range), ports); }))
        return fail(session, {what});
    if (session.json)
        return print(list_as_json(ports));
    return print(ports.empty() ? title_of(arguments) + ": none listens\n" : list_as_table(ports));
}

// ---- check

std::string check_as_json(const Arguments &arguments, const Range &range, bool used, const std::vector<int> &listeners)
{
    Json json;
    json.begin_object().field("protocol", arguments.protocol().name).field("lowest", range.lowest);
    json.field("highest", range.highest).field("used", used).key("listening").begin_array();
    for (const int port : listeners)
        json.value(port);
    json.end_array().end_object();
    return json.text() + "\n";
}

std::string check_as_text(const Arguments &arguments, bool used, const std::vector<int> &listeners)
{
    std::string text = title_of(arguments) + (used ? ": in use" : ": free");
    const char *separator = "; listening: ";
    for (const int port : listeners) {
        text += separator + std::to_string(port);
        separator = ", ";
    }
    return text + "\n";
}

// A range that is in use is no failure, but the answer to "is it free?" is no.
int check(const Session &session, const Arguments &arguments)
{
    const Protocol &protocol = arguments.protocol();
    const Range range = range_of(arguments.range);
    const std::string what = "cannot check " + title_of(arguments);
    if (!can_tell(protocol))
        return cannot_tell(session, what, protocol);
    std::vector<int> listeners;
    bool used = false;
    const bool told = with_progress(session, "looking at " + title_of(arguments), [&] {
        used = KAVONetIsPortRangeUsed(range.lowest, range.highest, static_cast<unsigned>(protocol.selector)) == 1;
        return !used || find_listeners(protocol, range, listeners);
    });
    if (!told)
        return fail(session, {what});
    const int printed = print(session.json ? check_as_json(arguments, range, used, listeners)
                                           : check_as_text(arguments, used, listeners));
    return used ? FAILED : printed;
}

// ---- the command line

CLI::Option *add_range(CLI::App &verb, Arguments &arguments, const char *summary)
{
    CLI::Option *option = verb.add_option("RANGE", arguments.range, summary)->type_name("");
    return option->check([](const std::string &text) {
        return range_of(text).lowest != 0 ? std::string()
                                          : text + " is no port and no range of ports, such as 5000-5010";
    });
}

void build_list(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_range(verb, *arguments, "A port, or LOWEST-HIGHEST; all when left out");
    set_action(
        verb, session, [&session, arguments] { return list(session, *arguments); },
        "  kavonet ports list\n"
        "  kavonet ports list 5000-5010 --json");
}

void build_check(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_range(verb, *arguments, "A port, or LOWEST-HIGHEST")->required();
    verb.add_flag("--udp", arguments->udp, "UDP instead of TCP");
    set_action(
        verb, session, [&session, arguments] { return check(session, *arguments); },
        "  kavonet ports check 5000-5010 && echo free\n"
        "  kavonet ports check 53 --udp");
}

constexpr Word VERBS[] = {
    {"list", "List the TCP ports that listen", build_list},
    {"check", "Tell whether a range of ports is free; exit status 1 when a socket has one of them", build_check},
};

} // namespace

void noun_ports(CLI::App &noun, Session &session)
{
    add_words(noun, session, VERBS,
              "  kavonet ports list\n"
              "  kavonet ports check 5000-5010");
}

} // namespace cli
