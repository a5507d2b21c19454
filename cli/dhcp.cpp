// kavonet dhcp: what a DHCP server would give.
#include <memory>

#include <unistd.h>

#include "errors.h"
#include "interface.h"
#include "noun.h"
#include "progress.h"
#include "text.h"

namespace cli {
namespace {

constexpr char CLIENT[] = "/usr/sbin/dhclient";
constexpr char SCRIPT[] = "/var/run/dhclient-script";

// Why there is no answer, as far as the library's code and the file system tell.
Failure explained(Failure failure, const std::string &name)
{
    failure.needs_root = true;
    if (access(CLIENT, X_OK) != 0) {
        failure.reason = std::string(CLIENT) + " cannot be run";
        failure.advice = "install the DHCP client";
    } else if (access(SCRIPT, F_OK) != 0) {
        failure.reason = std::string("the client's script could not be copied to ") + SCRIPT;
        failure.advice = "check that /etc/dhclient/dhclient-script is there and that /run has room";
    } else if (KLIBCErrGet() == NET_ERR_EXEC_FAILED) {
        failure.reason = "no DHCP server offered an address";
        failure.advice = "check the cable of " + name +
                         " and that a DHCP server is on that network; journalctl -t dhclient "
                         "shows what the client heard";
    } else {
        failure.reason = "the client's answer is not complete: it lacks the address or the mask";
        failure.advice = "look at /etc/dhclient/ipv4/dhcpcd-" + name + ".info, which its script should have written";
    }
    return failure;
}

int report_offer(const Session &session, const KAVONETINFO &info)
{
    if (!session.json)
        return print(printable(info.szName) + ": a DHCP server offers " +
                     printable(with_prefix(info.szAddr, info.szMask)) + "\n");
    Json json;
    json.begin_object().field("name", info.szName);
    put_address(json, info.szAddr, info.szMask);
    json.end_object();
    return print(json.text() + "\n");
}

int probe(const Session &session, const std::string &name)
{
    const Failure failure{"cannot probe DHCP on " + name};
    Interface interface;
    if (!read_interface(name, interface))
        return fail_on(session, name, failure);
    if (interface.is_loopback())
        return fail(session, {failure.what, "it is the loopback", "kavonet if list --kind physical lists the ports"});
    KAVONETINFO info{};
    snprintf(info.szName, sizeof info.szName, "%s", name.c_str());
    forget_error();
    const int result =
        with_progress(session, "asking for a DHCP server on " + name, [&] { return KAVOIGetDHCPTestNetInfo(&info); });
    return result == 0 ? report_offer(session, info) : fail_on(session, name, explained(failure, name));
}

void build_probe(CLI::App &verb, Session &session)
{
    const auto interface = std::make_shared<std::string>();
    add_interface(verb, *interface)->required();
    set_action(
        verb, session, [&session, interface] { return probe(session, *interface); },
        "  kavonet dhcp probe eth0\n"
        "  kavonet dhcp probe eth0 --json | jq -r .address");
}

constexpr Word VERBS[] = {{"probe", "Ask a DHCP server for an address, and leave the interface as it is", build_probe}};

} // namespace

void noun_dhcp(CLI::App &noun, Session &session)
{
    add_words(noun, session, VERBS, "  kavonet dhcp probe eth0");
}

} // namespace cli
