// kavonet conflict: IPv4 addresses that another host has too.
#include <memory>
#include <vector>

#include <unistd.h>

#include "errors.h"
#include "interface.h"
#include "noun.h"
#include "progress.h"
#include "text.h"

namespace cli {
namespace {

// The library takes a probe that cannot be made for one that nobody answers. What can be told beforehand must not be called
// free.
constexpr char ARPING[] = "/sbin/arping";

bool can_probe()
{
    return access(ARPING, X_OK) == 0;
}

Failure no_probe(const std::string &what)
{
    return {what, std::string(ARPING) + " cannot be run", "install the reference appliance's, or link to the system's"};
}

// A finding has an exit status of its own, but only when it could be told.
int print_finding(const std::string &text, bool found)
{
    const int printed = print(text);
    return printed == DONE && found ? FOUND : printed;
}

// ---- check

struct Arguments {
    std::string interface;
    std::string address;
};

// Why the interface cannot ask anybody; false when it can.
bool cannot_ask(const Interface &interface, Failure &failure)
{
    const std::string name = interface.entry.szName;
    if (!interface.is_up()) {
        failure.reason = name + " is down";
        failure.advice = "bring it up first: kavonet if up " + name;
    } else if (!interface.has_link()) {
        failure.reason = name + " has no link";
        failure.advice = "check the cable and what it is plugged into";
    }
    return !failure.reason.empty();
}

std::string check_as_json(const Arguments &arguments, bool conflict, bool own)
{
    Json json;
    json.begin_object().field("name", arguments.interface).field("address", arguments.address);
    json.field("conflict", conflict).field("own", own).end_object();
    return json.text() + "\n";
}

std::string check_as_text(const Arguments &arguments, bool conflict, bool own)
{
    const std::string &name = arguments.interface;
    if (own)
        return arguments.address + " is the address of " + printable(name) +
               " itself; kavonet conflict scan asks whether another host has it too\n";
    if (conflict)
        return arguments.address + " is taken: another host on " + printable(name) + " answers for it\n";
    return arguments.address + " is free: no other host on " + printable(name) + " answers for it\n";
}

int check(const Session &session, const Arguments &arguments)
{
    const std::string &name = arguments.interface;
    const std::string &address = arguments.address;
    Failure failure{"cannot check " + address + " on " + name};
    forget_error();
    if (BlKLIBIsIpAddr(address.c_str()) != 1 || KAVONetGetAddrType(address.c_str()) != 2) {
        failure.advice = "give the address as A.B.C.D, for example 192.168.1.5";
        failure.reason = KLIBCErrGet() == 0 ? "the address is not in the usual form" : "";
        return fail(session, failure);
    }
    Interface interface;
    if (!read_interface(name, interface))
        return fail_on(session, name, failure);
    const bool own = address == interface.entry.szAddr;
    if (!own && cannot_ask(interface, failure))
        return fail(session, failure);
    if (!own && !can_probe())
        return fail(session, no_probe(failure.what));
    const int result = with_progress(session, "asking for " + address + " on " + name,
                                     [&] { return KAVOIIpConflict(name.c_str(), address.c_str()); });
    if (result < 0)
        return fail_on(session, name, failure);
    const bool conflict = result == 1;
    return print_finding(
        session.json ? check_as_json(arguments, conflict, own) : check_as_text(arguments, conflict, own), conflict);
}

// ---- scan

// What is found out about one interface.
struct Finding {
    Interface interface {
    };
    bool asked = false;
    bool answered = false;     // another host has its address
    std::string bond_member{}; // a member that is configured with its address

    [[nodiscard]] bool conflict() const { return answered || !bond_member.empty(); }
    [[nodiscard]] bool unknown() const { return !asked && !conflict(); }
    [[nodiscard]] std::string reason() const;
};

std::string Finding::reason() const
{
    std::string text;
    if (!asked)
        text = interface.entry.szAddr[0] == '\0' ? "no address" : "no link";
    else if (answered)
        text = "another host answers for it";
    if (!bond_member.empty())
        text += (text.empty() ? "" : "; ") + ("its member " + bond_member) + " is configured with its address";
    return text;
}

// 1 when another host has the interface's address, 0 when none has, -1 with an error record when it cannot be asked.
int ask_network(const char *name)
{
    forget_error();
    int result = -1;
    PKLIBSZLIST names = KLIBCSzListAlloc(1);
    if (names != nullptr && KLIBCSzListPush(&names, name) >= 0)
        result = IpConflictDetectInternal(names, nullptr, nullptr);
    if (names != nullptr)
        KLIBCSzListFree(names);
    return result;
}

bool is_bond(const char *name)
{
    KAVOLINKAGGROPT bond{};
    return KAVONetLinkAggrGet(name, &bond) == 0 && bond.nSlave > 0;
}

// False with an error record when the configurations cannot be read.
bool compare_members(Finding &finding)
{
    const char *bond = finding.interface.entry.szName;
    char member[16] = "";
    forget_error();
    const int result = is_bond(bond) ? KAVONetBondIPConflict(bond, member, sizeof member) : 0;
    if (result == 1)
        finding.bond_member = member;
    return result >= 0;
}

// Finds out about one interface; DONE, or a failure that has been told.
int look(const Session &session, const std::string &progress, Finding &finding)
{
    const auto &entry = finding.interface.entry;
    if (entry.szAddr[0] != '\0' && finding.interface.has_link()) {
        const int result =
            with_progress(session, std::string("asking for ") + entry.szAddr + " on " + entry.szName + progress,
                          [&] { return ask_network(entry.szName); });
        if (result < 0)
            return fail_on(session, entry.szName, {std::string("cannot check the address of ") + entry.szName});
        finding.asked = true;
        finding.answered = result == 1;
    }
    if (!compare_members(finding))
        return fail_on(session, entry.szName, {std::string("cannot compare the members of ") + entry.szName});
    return DONE;
}

std::string scan_as_json(const std::vector<Finding> &findings)
{
    Json json;
    json.begin_array();
    for (const Finding &finding : findings) {
        const auto &entry = finding.interface.entry;
        json.begin_object().field("name", entry.szName).field_or_null("address", entry.szAddr);
        if (finding.unknown())
            json.null_field("conflict");
        else
            json.field("conflict", finding.conflict());
        json.field_or_null("reason", finding.reason()).field_or_null("bond_member", finding.bond_member).end_object();
    }
    json.end_array();
    return json.text() + "\n";
}

std::string scan_as_table(const std::vector<Finding> &findings)
{
    Table table({{"NAME"}, {"ADDRESS"}, {"CONFLICT"}, {"REASON"}});
    for (const Finding &finding : findings) {
        const Cell found = finding.conflict() ? Cell("yes", BAD) : Cell("no", GOOD);
        table.row({finding.interface.entry.szName, finding.interface.entry.szAddr, finding.unknown() ? Cell("") : found,
                   finding.reason()});
    }
    return table.text();
}

int scan(const Session &session)
{
    if (!can_probe())
        return fail(session, no_probe("cannot ask the network"));
    std::vector<Interface> interfaces;
    if (!list_interfaces(Kind::USABLE, interfaces))
        return fail(session, {"cannot list the interfaces"});
    std::vector<Finding> findings;
    bool found = false;
    for (const Interface &interface : interfaces) {
        Finding &finding = findings.emplace_back(Finding{.interface = interface});
        const std::string progress =
            ", " + std::to_string(findings.size()) + " of " + std::to_string(interfaces.size());
        if (look(session, progress, finding) != DONE)
            return FAILED;
        found |= finding.conflict();
    }
    return print_finding(session.json ? scan_as_json(findings) : scan_as_table(findings), found);
}

// ---- the command line

void build_check(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_interface(verb, arguments->interface)->required();
    verb.add_option("ADDRESS", arguments->address, "A.B.C.D")->required()->type_name("");
    set_action(
        verb, session, [&session, arguments] { return check(session, *arguments); },
        "  kavonet conflict check eth0 192.168.1.5 && kavonet ipv4 static eth0 192.168.1.5/24");
}

void build_scan(CLI::App &verb, Session &session)
{
    set_action(
        verb, session, [&session] { return scan(session); },
        "  kavonet conflict scan\n"
        "  kavonet conflict scan --json | jq -r '.[] | select(.conflict) | .name'");
}

constexpr Word VERBS[] = {
    {"check", "Ask whether another host has an address", build_check},
    {"scan", "Ask whether other hosts have the addresses of the interfaces in use", build_scan},
};

} // namespace

void noun_conflict(CLI::App &noun, Session &session)
{
    add_words(noun, session, VERBS,
              "  kavonet conflict check eth0 192.168.1.5\n"
              "  kavonet conflict scan");
}

} // namespace cli
