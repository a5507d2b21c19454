// kavonet reach: whether a TCP port of a host accepts connections.
#include <cmath>
#include <memory>

#include "host.h"
#include "json.h"
#include "noun.h"
#include "progress.h"
#include "text.h"

namespace cli {
namespace {

struct Arguments {
    std::string host;
    std::string port;
    std::string timeout = "5"; // seconds
};

std::string answer_as_json(const Arguments &arguments, int timeout, bool reached)
{
    Json json;
    json.begin_object().field("host", arguments.host).field("port", port_of(arguments.port));
    json.field("reachable", reached).field("timeout", timeout).end_object();
    return json.text() + "\n";
}

std::string answer_as_text(const Arguments &arguments, int timeout, bool reached)
{
    const std::string text = printable(arguments.host) + " port " + arguments.port;
    return reached ? text + " accepts connections\n"
                   : text + formatted(" does not accept connections: refused, or no answer within %d s\n", timeout);
}

// A host that does not answer is no failure, but the answer to "is it there?" is no.
int reach(const Session &session, const Arguments &arguments)
{
    const int timeout = static_cast<int>(std::ceil(seconds_of(arguments.timeout)));
    bool known = true;
    forget_error();
    const bool reached = with_progress(session, "connecting to " + arguments.host + " port " + arguments.port, [&] {
        if (BlKLIBIsConnected(arguments.host.c_str(), port_of(arguments.port), timeout) == 1)
            return true;
        // The library does not tell a host that nobody knows from one that does not answer.
        known = !addresses_of(arguments.host).empty();
        return false;
    });
    if (!known)
        return fail(session, unknown_host("cannot reach " + arguments.host, arguments.host));
    const int printed =
        print(session.json ? answer_as_json(arguments, timeout, reached) : answer_as_text(arguments, timeout, reached));
    return reached ? printed : FAILED;
}

} // namespace

void noun_reach(CLI::App &noun, Session &session)
{
    constexpr double LONGEST = 3600;
    const auto arguments = std::make_shared<Arguments>();
    add_name(noun, "HOST", arguments->host, "The host's name or address")->required();
    restrict_to_port(noun.add_option("PORT", arguments->port, "The TCP port")->required()->type_name(""));
    restrict_to_seconds(
        noun.add_option("--timeout", arguments->timeout,
                        "At most this long for each address of the host (5 when left out); whole seconds"),
        1, LONGEST)
        ->type_name("SECONDS");
    set_action(
        noun, session, [&session, arguments] { return reach(session, *arguments); },
        "  kavonet reach storage.lan 445 && echo there\n"
        "  kavonet reach 192.168.1.9 22 --timeout 2");
}

} // namespace cli
