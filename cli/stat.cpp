// kavonet stat: the traffic counters of the interfaces.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstring>
#include <memory>

#include <sys/ioctl.h>
#include <unistd.h>

#include "errors.h"
#include "interface.h"
#include "noun.h"
#include "text.h"

namespace cli {
namespace {

struct Arguments {
    std::string interface;
    std::string interval; // seconds; empty for one look
};

// One look at the counters.
struct Look {
    std::vector<NetStat> counters;
    std::chrono::steady_clock::time_point at;
};

bool look_at(const std::string &name, Look &look)
{
    forget_error();
    look.at = std::chrono::steady_clock::now();
    if (name.empty())
        return list_counters(look.counters);
    look.counters.resize(1);
    return KLIBNetStatGetSingle(name.c_str(), look.counters.data()) == 0;
}

const NetStat *earlier(const Look &before, const NetStat &now)
{
    const auto found = std::find_if(before.counters.begin(), before.counters.end(),
                                    [&now](const NetStat &row) { return strcmp(row.szName, now.szName) == 0; });
    return found == before.counters.end() ? nullptr : &*found;
}

// Bytes a second since the look before. A counter that went back belongs to a new interface of the same name.
struct Rate {
    int64_t rx = 0, tx = 0;
};

Rate rate_of(const Look &before, const Look &now, const NetStat &row)
{
    const NetStat *old = earlier(before, row);
    const double seconds = std::chrono::duration<double>(now.at - before.at).count();
    if (old == nullptr || seconds <= 0 || row.llRxBytes < old->llRxBytes || row.llTxBytes < old->llTxBytes)
        return {};
    return {static_cast<int64_t>(static_cast<double>(row.llRxBytes - old->llRxBytes) / seconds),
            static_cast<int64_t>(static_cast<double>(row.llTxBytes - old->llTxBytes) / seconds)};
}

std::string rate_text(int64_t rate)
{
    constexpr const char *UNITS[] = {"B/s", "kB/s", "MB/s", "GB/s"};
    auto value = static_cast<double>(rate);
    size_t unit = 0;
    for (; value >= 1000 && unit + 1 < std::size(UNITS); ++unit)
        value /= 1000;
    return formatted(unit == 0 ? "%.0f %s" : "%.1f %s", value, UNITS[unit]);
}

// What a look is shown with: the one before it, in a watch.
void put_row(Json &json, const Look *before, const Look &now, const NetStat &row)
{
    json.begin_object().field("name", row.szName);
    json.field("rx_bytes", row.llRxBytes).field("tx_bytes", row.llTxBytes);
    json.field("rx_packets", row.llRxPackets).field("tx_packets", row.llTxPackets);
    if (before != nullptr) {
        const Rate rate = rate_of(*before, now, row);
        json.field("rx_bytes_per_second", rate.rx).field("tx_bytes_per_second", rate.tx);
    }
    json.end_object();
}

std::string as_json(bool single, const Look *before, const Look &now)
{
    Json json;
    if (single) {
        put_row(json, before, now, now.counters.front());
    } else {
        json.begin_array();
        for (const NetStat &row : now.counters)
            put_row(json, before, now, row);
        json.end_array();
    }
    return json.text() + "\n";
}

std::string as_table(const Look *before, const Look &now)
{
    std::vector<Column> columns = {{"NAME"},
                                   {"RX-BYTES", Column::RIGHT},
                                   {"TX-BYTES", Column::RIGHT},
                                   {"RX-PACKETS", Column::RIGHT},
                                   {"TX-PACKETS", Column::RIGHT}};
    if (before != nullptr) {
        columns.push_back({"RX", Column::RIGHT});
        columns.push_back({"TX", Column::RIGHT});
    }
    Table table(std::move(columns));
    for (const NetStat &row : now.counters) {
        std::vector<Cell> cells = {row.szName, std::to_string(row.llRxBytes), std::to_string(row.llTxBytes),
                                   std::to_string(row.llRxPackets), std::to_string(row.llTxPackets)};
        if (before != nullptr) {
            const Rate rate = rate_of(*before, now, row);
            cells.emplace_back(rate_text(rate.rx));
            cells.emplace_back(rate_text(rate.tx));
        }
        table.row(std::move(cells));
    }
    return table.text();
}

std::string rendered(const Session &session, const Arguments &arguments, const Look *before, const Look &now)
{
    return session.json ? as_json(!arguments.interface.empty(), before, now) : as_table(before, now);
}

int cannot_look(const Session &session, const Arguments &arguments)
{
    if (arguments.interface.empty())
        return fail(session, {"cannot read the traffic counters"});
    return fail_on(session, arguments.interface, {"cannot read the traffic counters of " + arguments.interface});
}

// ---- watching

// As many lines as fit the screen: more would scroll the first ones away.
std::string fitted(const std::string &text)
{
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row < 3)
        return text;
    size_t end = 0;
    for (int line = 0; line < size.ws_row - 2; ++line) {
        end = text.find('\n', end);
        if (end == std::string::npos)
            return text;
        ++end;
    }
    const auto hidden = std::count(text.begin() + static_cast<std::ptrdiff_t>(end), text.end(), '\n');
    return hidden == 0 ? text : text.substr(0, end) + formatted("(%td more)\n", hidden);
}

// At a terminal each look takes the place of the one before; elsewhere they follow one another, tables with a blank line
// between them. The cursor stays visible and the screen is the ordinary one, so however the watch ends, nothing is to be
// put back.
std::string framed(const Session &session, bool first, const std::string &text)
{
    if (!session.json && is_smart_terminal(STDOUT_FILENO))
        return "\033[H\033[J" + fitted(text);
    return session.json || first ? text : "\n" + text;
}

// Waits for the next look. False when the user has ended the watch.
bool wait_or_interrupt(const sigset_t &interrupt, double seconds)
{
    timespec time{};
    time.tv_sec = static_cast<time_t>(seconds);
    time.tv_nsec = static_cast<long>((seconds - static_cast<double>(time.tv_sec)) * 1e9);
    int result;
    do {
        result = sigtimedwait(&interrupt, nullptr, &time);
    } while (result < 0 && errno == EINTR);
    return result < 0;
}

// Ctrl-C is the ordinary end of a watch, not a failure.
int watch(const Session &session, const Arguments &arguments)
{
    sigset_t interrupt;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    sigprocmask(SIG_BLOCK, &interrupt, nullptr);
    Look before;
    if (!look_at(arguments.interface, before))
        return cannot_look(session, arguments);
    Look now = before;
    for (bool first = true;; first = false) {
        if (print(framed(session, first, rendered(session, arguments, &before, now))) != DONE)
            return FAILED;
        if (!wait_or_interrupt(interrupt, seconds_of(arguments.interval)))
            return isatty(STDOUT_FILENO) != 0 ? print("\n") : DONE;
        std::swap(before, now);
        if (!look_at(arguments.interface, now))
            return cannot_look(session, arguments);
    }
}

int show(const Session &session, const Arguments &arguments)
{
    if (!arguments.interval.empty())
        return watch(session, arguments);
    Look now;
    if (!look_at(arguments.interface, now))
        return cannot_look(session, arguments);
    return print(rendered(session, arguments, nullptr, now));
}

} // namespace

void noun_stat(CLI::App &noun, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_interface(noun, arguments->interface, "The interface; all when left out");
    restrict_to_seconds(
        noun.add_flag("--watch{1}", arguments->interval, "Look again every second (--watch=SECONDS), until Ctrl-C"),
        0.1, 86400);
    set_action(
        noun, session, [&session, arguments] { return show(session, *arguments); },
        "  kavonet stat\n"
        "  kavonet stat eth0 --json\n"
        "  kavonet stat --watch=5");
}

} // namespace cli
