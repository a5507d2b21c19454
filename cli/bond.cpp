// kavonet bond: ports that share their load under one name.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include <net/if.h>

#include "errors.h"
#include "ethernet.h"
#include "interface.h"
#include "noun.h"
#include "progress.h"
#include "text.h"

namespace cli {
namespace {

constexpr char MODE_WORDS[] = "active-backup|802.3ad|balance-alb|balance-xor|balance-rr";
constexpr int MODE_8023AD = 2;

struct Arguments {
    std::string bond;
    std::string mode;
    std::vector<std::string> members;
    std::vector<std::string> added;
    std::vector<std::string> removed;
};

bool is_bond(const KAVOLINKAGGROPT &bond)
{
    return bond.mode > 0;
}

std::vector<std::string> members_of(const KAVOLINKAGGROPT &bond)
{
    std::vector<std::string> names;
    for (int i = 0; i < std::min(bond.nSlave, 32); ++i)
        names.emplace_back(bond.szSlave[i]);
    return names;
}

// False with an error record when it cannot be read; a name that is no bond is read as one without a mode.
bool read_bond(const std::string &name, KAVOLINKAGGROPT &bond)
{
    bond = {};
    forget_error();
    return KAVONetLinkAggrGet(name.c_str(), &bond) == 0;
}

std::string joined(const std::vector<std::string> &names)
{
    std::string text;
    for (const std::string &name : names)
        text += (text.empty() ? "" : ", ") + printable(name);
    return text;
}

std::string text_of(const KAVOLINKAGGROPT &bond)
{
    if (!is_bond(bond))
        return "no bond";
    return std::string(KAVONetLinkAggrModeToString(bond.mode)) + " of " + joined(members_of(bond));
}

const char *partner_text(const KAVOLINKAGGROPT &bond)
{
    if (bond.mode != MODE_8023AD)
        return "";
    return bond.blNoPartner == 0 ? "yes" : "no";
}

void put_bond_fields(Json &json, const KAVOLINKAGGROPT &bond)
{
    json.field("mode", KAVONetLinkAggrModeToString(bond.mode));
    if (bond.mode == MODE_8023AD)
        json.field("partner", bond.blNoPartner == 0);
    else
        json.null_field("partner");
    json.key("members").begin_array();
    for (const std::string &name : members_of(bond))
        json.value(name);
    json.end_array();
}

// ---- list

bool list_bonds(std::vector<KAVOLINKAGGROPT> &bonds, int &known)
{
    PKLIBSZLIST names = KLIBCSzListAlloc(0);
    if (names == nullptr)
        return false;
    forget_error();
    known = KAVONetLinkAggrEnum(&names);
    bool complete = known >= 0;
    for (int i = 0; complete && i < names->nItem; ++i)
        complete = read_bond(KLIBCSzListGet(names, i), bonds.emplace_back());
    KLIBCSzListFree(names);
    return complete;
}

int list(const Session &session)
{
    std::vector<KAVOLINKAGGROPT> bonds;
    int known = 0;
    if (!list_bonds(bonds, known))
        return fail(session, {"cannot list the bonds"});
    if (session.json) {
        Json json;
        json.begin_array();
        for (const KAVOLINKAGGROPT &bond : bonds) {
            json.begin_object().field("name", bond.szIfname);
            put_bond_fields(json, bond);
            json.end_object();
        }
        return print(json.end_array().text() + "\n");
    }
    Table table({{"NAME"}, {"MODE"}, {"PARTNER"}, {"MEMBERS"}});
    for (const KAVOLINKAGGROPT &bond : bonds)
        table.row(
            {bond.szIfname, KAVONetLinkAggrModeToString(bond.mode), partner_text(bond), joined(members_of(bond))});
    std::string text = table.text();
    if (const int idle = known - static_cast<int>(bonds.size()); idle > 0)
        text += formatted("%d more without members\n", idle);
    return print(text);
}

// ---- show

void put_member(Json &json, const Interface &member)
{
    json.begin_object();
    put_interface(json, member);
    put_ethernet(json, read_ethernet(member.entry.szName));
    json.end_object();
}

int show(const Session &session, const Arguments &arguments)
{
    const std::string &name = arguments.bond;
    const std::string what = "cannot show the bond " + name;
    KAVOLINKAGGROPT bond;
    if (!read_bond(name, bond))
        return fail_on(session, name, {what});
    if (!is_bond(bond)) {
        forget_error();
        return fail_on(session, name, {what, "it is no bond", "kavonet bond list shows the bonds"});
    }
    std::vector<Interface> ports;
    for (const std::string &member : members_of(bond)) {
        if (!read_interface(member, ports.emplace_back()))
            return fail_on(session, member, {what});
    }
    if (session.json) {
        Json json;
        json.begin_object().field("name", bond.szIfname);
        put_bond_fields(json, bond);
        json.key("ports").begin_array();
        for (const Interface &port : ports)
            put_member(json, port);
        json.end_array().end_object();
        return print(json.text() + "\n");
    }
    std::string text = printable(name) + ": " + KAVONetLinkAggrModeToString(bond.mode);
    if (bond.mode == MODE_8023AD)
        text += bond.blNoPartner == 0 ? ", a partner answers" : ", no partner answers";
    Table table({{"MEMBER"}, {"STATE"}, {"LINK"}, {"SPEED"}});
    for (const Interface &port : ports)
        table.row({port.entry.szName, state_cell(port), link_cell(port), speed_text(read_ethernet(port.entry.szName))});
    return print(text + "\n" + table.text());
}

// ---- changes

void put_bond_or_null(Json &json, const char *key, const KAVOLINKAGGROPT &bond)
{
    json.key(key);
    if (!is_bond(bond)) {
        json.null();
        return;
    }
    json.begin_object();
    put_bond_fields(json, bond);
    json.end_object();
}

int report_change(const Session &session, const char *action, const KAVOLINKAGGROPT &before,
                  const KAVOLINKAGGROPT &after)
{
    const std::string name = before.szIfname;
    if (!session.json)
        return print(printable(name) + ": " + text_of(before) + " -> " + text_of(after) + "\n");
    Json json;
    json.begin_object().field("name", name).field("action", action);
    put_bond_or_null(json, "before", before);
    put_bond_or_null(json, "after", after);
    json.end_object();
    return print(json.text() + "\n");
}

// The script behind the change may fail without the library's telling; the kernel tells.
int check_change(const Session &session, const KAVOLINKAGGROPT &wanted, KAVOLINKAGGROPT &now)
{
    const std::string name = wanted.szIfname;
    if (!read_bond(name, now))
        return fail_on(session, name, {"the change is made, but cannot show " + name});
    const bool same = is_bond(wanted) ? now.mode == wanted.mode && members_of(now) == members_of(wanted)
                                      : !is_bond(now) && if_nametoindex(name.c_str()) == 0;
    if (same)
        return DONE;
    forget_error();
    return fail(session,
                {name + " is configured as " + text_of(wanted) + ", but that is not in force",
                 "the kernel has " + text_of(now), "journalctl -t rc.network shows what the network script said"});
}

int change(const Session &session, const char *action, const std::string &doing, const KAVOLINKAGGROPT &before,
           KAVOLINKAGGROPT wanted)
{
    forget_error();
    if (with_progress(session, doing, [&] { return KAVONetLinkAggrSet(&wanted); }) != 0) {
        const std::string name = wanted.szIfname;
        return fail(session, {.what = std::string("cannot ") + action + " the bond " + name, .needs_root = true});
    }
    KAVOLINKAGGROPT now;
    return check_change(session, wanted, now) == DONE ? report_change(session, action, before, now) : FAILED;
}

// A port that is free to join a bond. Says why when it is none.
bool is_free_port(const Session &session, const std::string &what, const std::string &name)
{
    Interface port;
    forget_error();
    if (!read_interface(name, port)) {
        fail_on(session, name, {what});
        return false;
    }
    std::string reason;
    if (KAVONetIfIsBondingPassive(name.c_str()) == 1)
        reason = name + " is a member of a bond already";
    else if (port.is_loopback())
        reason = name + " is the loopback";
    if (reason.empty())
        return true;
    forget_error();
    fail(session, {what, reason, "kavonet status shows what the interfaces are"});
    return false;
}

// Adds a port to the record. Says why when it cannot be added.
bool add_member(const Session &session, const std::string &what, const std::string &name, KAVOLINKAGGROPT &bond)
{
    if (!is_free_port(session, what, name))
        return false;
    forget_error();
    if (KAVONetLinkAggrOptSlsaveAdd(&bond, name.c_str()) == 0)
        return true;
    Failure failure{what};
    if (KLIBCErrGet() == NET_ERR_ALREADY_EXISTS) {
        failure.reason = name + " is given twice";
        failure.advice = "give each port once";
    }
    fail(session, failure);
    return false;
}

int too_few(const Session &session, const std::string &what)
{
    forget_error();
    return fail(session,
                {what, "a bond needs at least two members", "give two ports or more; kavonet bond delete ends a bond"});
}

// ---- create

int create(const Session &session, const Arguments &arguments)
{
    const std::string &name = arguments.bond;
    const std::string what = "cannot create the bond " + name;
    KAVOLINKAGGROPT before;
    if (!read_bond(name, before))
        return fail(session, {what});
    if (is_bond(before) || before.nSlave > 0) {
        forget_error();
        return fail(session, {what, "there is a bond of that name", "kavonet bond modify " + name + " changes it"});
    }
    if (if_nametoindex(name.c_str()) != 0) {
        forget_error();
        return fail(session, {what, "there is an interface of that name", "choose another name, for example bond0"});
    }
    if (name.size() >= IF_NAMESIZE) {
        KLIBCErrSetEx(NET_ERR_BAD_PARAMETER, "bond.cpp", __LINE__);
        return fail(session, {what});
    }
    KAVOLINKAGGROPT wanted{};
    name.copy(wanted.szIfname, sizeof wanted.szIfname - 1);
    wanted.mode = KAVONetLinkAggrStringToMode(arguments.mode.c_str());
    for (const std::string &member : arguments.members) {
        if (!add_member(session, what, member, wanted))
            return FAILED;
    }
    if (wanted.nSlave < 2)
        return too_few(session, what);
    return change(session, "create", "creating " + name + " of " + joined(members_of(wanted)), before, wanted);
}

// ---- modify

// Takes a port out of the record. Says why when it is not in it.
bool remove_member(const Session &session, const std::string &what, const std::string &name, KAVOLINKAGGROPT &bond)
{
    const auto members = members_of(bond);
    if (std::find(members.begin(), members.end(), name) == members.end()) {
        forget_error();
        fail(session, {what, name + " is no member of it",
                       std::string("kavonet bond show ") + bond.szIfname + " shows its members"});
        return false;
    }
    memset(bond.szSlave, 0, sizeof bond.szSlave);
    bond.nSlave = 0;
    for (const std::string &member : members) {
        if (member != name)
            KAVONetLinkAggrOptSlsaveAdd(&bond, member.c_str());
    }
    return true;
}

int modify(const Session &session, const Arguments &arguments)
{
    const std::string &name = arguments.bond;
    const std::string what = "cannot modify the bond " + name;
    if (arguments.mode.empty() && arguments.added.empty() && arguments.removed.empty())
        return misused(session, "nothing is to be modified", "give --mode, --add or --remove");
    KAVOLINKAGGROPT before;
    if (!read_bond(name, before))
        return fail_on(session, name, {what});
    if (!is_bond(before)) {
        forget_error();
        return fail_on(session, name, {what, "it is no bond", "kavonet bond create makes one"});
    }
    KAVOLINKAGGROPT wanted = before;
    if (!arguments.mode.empty())
        wanted.mode = KAVONetLinkAggrStringToMode(arguments.mode.c_str());
    for (const std::string &member : arguments.added) {
        if (!add_member(session, what, member, wanted))
            return FAILED;
    }
    for (const std::string &member : arguments.removed) {
        if (!remove_member(session, what, member, wanted))
            return FAILED;
    }
    if (wanted.nSlave < 2)
        return too_few(session, what);
    return change(session, "modify", "changing " + name + " to " + text_of(wanted), before, wanted);
}

// ---- delete

int remove(const Session &session, const Arguments &arguments)
{
    const std::string &name = arguments.bond;
    const std::string what = "cannot delete the bond " + name;
    KAVOLINKAGGROPT before;
    if (!read_bond(name, before))
        return fail_on(session, name, {what});
    if (!is_bond(before)) {
        forget_error();
        return fail_on(session, name, {what, "it is no bond", "kavonet bond list shows the bonds"});
    }
    KAVOLINKAGGROPT wanted = before;
    wanted.mode = 0;
    return change(session, "delete", "deleting " + name, before, wanted);
}

// ---- the command line

void build_list(CLI::App &verb, Session &session)
{
    set_action(
        verb, session, [&session] { return list(session); }, "  kavonet bond list");
}

void build_show(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_interface(verb, arguments->bond, "The bond")->required();
    set_action(
        verb, session, [&session, arguments] { return show(session, *arguments); },
        "  kavonet bond show bond0\n"
        "  kavonet bond show bond0 --json | jq -r '.ports[] | select(.link | not) | .name'");
}

CLI::Option *add_ports(CLI::App &verb, const char *option, std::vector<std::string> &ports, const char *summary)
{
    // One port an occurrence, so that what comes after it is not taken for another one.
    return verb.add_option(option, ports, summary)->type_name(INTERFACE_ARGUMENT)->allow_extra_args(false);
}

void build_create(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    verb.add_option("BOND", arguments->bond, "The new bond's name, for example bond0")->required()->type_name("");
    restrict_to(verb.add_option("MODE", arguments->mode, "How the load is shared"), MODE_WORDS)->required();
    verb.add_option(INTERFACE_ARGUMENT, arguments->members,
                    "Its members, at least two; the first in order of name gives "
                    "the bond its address settings")
        ->required()
        ->type_name("");
    set_action(
        verb, session, [&session, arguments] { return create(session, *arguments); },
        "  kavonet bond create bond0 active-backup eth0 eth1\n"
        "  kavonet bond create bond0 802.3ad eth0 eth1 eth2 eth3");
}

void build_modify(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_interface(verb, arguments->bond, "The bond")->required();
    restrict_to(verb.add_option("--mode", arguments->mode, "Share the load in another way"), MODE_WORDS);
    add_ports(verb, "--add", arguments->added, "A port that joins; can be given several times");
    add_ports(verb, "--remove", arguments->removed, "A port that leaves; can be given several times");
    set_action(
        verb, session, [&session, arguments] { return modify(session, *arguments); },
        "  kavonet bond modify bond0 --mode 802.3ad\n"
        "  kavonet bond modify bond0 --add eth2 --add eth3 --remove eth0");
}

void build_delete(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_interface(verb, arguments->bond, "The bond")->required();
    set_action(
        verb, session, [&session, arguments] { return remove(session, *arguments); }, "  kavonet bond delete bond0");
}

constexpr Word VERBS[] = {
    {"list", "List the bonds that have members", build_list},
    {"show", "Show a bond and its members", build_show},
    {"create", "Make one bond of several ports, now and at every start", build_create},
    {"modify", "Change a bond's mode or members", build_modify},
    {"delete", "Take a bond apart; its first member keeps its address settings", build_delete},
};

} // namespace

void noun_bond(CLI::App &noun, Session &session)
{
    add_words(noun, session, VERBS,
              "  kavonet bond list\n"
              "  kavonet bond create bond0 active-backup eth0 eth1\n"
              "  kavonet bond delete bond0");
}

} // namespace cli
