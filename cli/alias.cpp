// kavonet alias: additional IPv4 addresses of the interfaces, kept in the store and in the kernel.
#include <algorithm>
#include <bit>
#include <cstdlib>
#include <map>
#include <memory>
#include <utility>

#include <arpa/inet.h>
#include <ifaddrs.h>

#include "errors.h"
#include "interface.h"
#include "kavo/core.h"
#include "noun.h"
#include "progress.h"
#include "text.h"

namespace cli {
namespace {

constexpr char LOOK_AT_STORE[] = "look at /usr/kavo/etc/net/ip_alias; with -v the log lines say what is wrong in it";

// What the verbs take; it outlives the command line.
struct Arguments {
    std::string interface;
    std::string address;
    std::vector<std::string> subnets;
};

// A stored alias, and the label under which the kernel has it; empty when it has not.
struct Alias {
    std::string interface;
    std::string text; // "192.168.1.10/24"
    std::string label{};

    [[nodiscard]] std::string address() const { return text.substr(0, text.find('/')); }
    bool operator==(const Alias &) const = default;
};

using Aliases = std::vector<Alias>;

// ---- Reading

using StringList = std::unique_ptr<KLIBSZLIST, decltype(&KLIBCSzListFree)>;
// The labels of the kernel's addresses, by interface and text.
using Labels = std::map<std::pair<std::string, std::string>, std::string>;

std::string text_of(const ifaddrs &entry)
{
    const auto *address = reinterpret_cast<const sockaddr_in *>(entry.ifa_addr);
    const auto *mask = reinterpret_cast<const sockaddr_in *>(entry.ifa_netmask);
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &address->sin_addr, text, sizeof text);
    return std::string(text) + "/" + std::to_string(std::popcount(mask->sin_addr.s_addr));
}

Labels read_labels()
{
    ifaddrs *raw = nullptr;
    const bool read = getifaddrs(&raw) == 0;
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> list(read ? raw : nullptr, freeifaddrs);
    Labels labels;
    for (const ifaddrs *entry = list.get(); entry != nullptr; entry = entry->ifa_next) {
        const std::string label = entry->ifa_name;
        const size_t colon = label.find(':');
        if (colon != std::string::npos && entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET &&
            entry->ifa_netmask != nullptr)
            labels.emplace(std::pair(label.substr(0, colon), text_of(*entry)), label);
    }
    return labels;
}

// Adds the aliases of an interface. False when the store is malformed there, or there is no memory.
bool read_aliases(const std::string &interface, const Labels &labels, Aliases &aliases)
{
    PKLIBSZLIST raw = KLIBCSzListAlloc(0);
    const bool read = raw != nullptr && KAVONetIpAliasList(interface.c_str(), &raw) == 0;
    const StringList list(raw, KLIBCSzListFree); // it may have moved
    for (int i = 0; read && i < list->nItem; ++i) {
        Alias &alias = aliases.emplace_back(Alias{interface, KLIBCSzListGet(list.get(), i)});
        if (const auto found = labels.find({interface, alias.text}); found != labels.end())
            alias.label = found->second;
    }
    return read;
}

// Those of one interface, or of all that exist. False with the interface at which it failed, empty when there was none.
bool read_all(const std::string &wanted, Aliases &aliases, std::string &failed)
{
    const Labels labels = read_labels();
    forget_error();
    failed = wanted;
    if (!wanted.empty())
        return read_aliases(wanted, labels, aliases);
    std::vector<Interface> interfaces;
    if (!list_interfaces(Kind::ALL, interfaces))
        return false;
    forget_error();
    return std::all_of(interfaces.begin(), interfaces.end(), [&](const Interface &interface) {
        failed = interface.entry.szName;
        return !interface.known || read_aliases(failed, labels, aliases);
    });
}

int cannot_read(const Session &session, const std::string &what, const std::string &interface)
{
    if (interface.empty())
        return fail(session, {what});
    return fail(session, {what, "the stored aliases of " + interface + " cannot be read", LOOK_AT_STORE});
}

// ---- Showing

Json &put_aliases(Json &json, const Aliases &aliases)
{
    json.begin_array();
    for (const Alias &alias : aliases) {
        json.begin_object().field("name", alias.interface).field("address", alias.address());
        const size_t slash = alias.text.find('/');
        if (slash == std::string::npos)
            json.null_field("prefix");
        else
            json.field("prefix", static_cast<int>(strtol(alias.text.c_str() + slash + 1, nullptr, 10)));
        json.field_or_null("label", alias.label).end_object();
    }
    return json.end_array();
}

std::string as_table(const Aliases &aliases)
{
    Table table({{"NAME"}, {"ALIAS"}, {"IN FORCE AS"}});
    for (const Alias &alias : aliases)
        table.row({alias.interface, alias.text, {alias.label, GOOD}});
    return table.text();
}

int list(const Session &session, const Arguments &arguments)
{
    const std::string &name = arguments.interface;
    const std::string what = name.empty() ? "cannot list the aliases" : "cannot list the aliases of " + name;
    Aliases aliases;
    std::string failed;
    if (!read_all(name, aliases, failed))
        return cannot_read(session, what, failed);
    // The store may still have aliases of an interface that has gone.
    Interface interface;
    if (aliases.empty() && !name.empty() && !read_interface(name, interface))
        return fail_on(session, name, {what});
    if (!session.json)
        return print(as_table(aliases));
    Json json;
    return print(put_aliases(json, aliases).text() + "\n");
}

// ---- Changes

bool holds(const Aliases &aliases, const Alias &wanted)
{
    return std::find(aliases.begin(), aliases.end(), wanted) != aliases.end();
}

// "eth0: 192.168.1.10/24 is in force as eth0:0", a line for each alias that is other than before.
std::string changes_as_text(const Aliases &before, const Aliases &after)
{
    std::string text;
    for (const Alias &alias : before) {
        const bool stored = std::any_of(after.begin(), after.end(), [&](const Alias &other) {
            return other.interface == alias.interface && other.text == alias.text;
        });
        if (!stored)
            text += alias.interface + ": " + alias.text + " is deleted\n";
    }
    for (const Alias &alias : after) {
        if (!holds(before, alias))
            text += alias.interface + ": " + alias.text +
                    (alias.label.empty() ? " is not in force any more\n" : " is in force as " + alias.label + "\n");
    }
    return text.empty() ? "nothing to be done\n" : text;
}

// Each line is of the command's own making but for the names in it.
std::string printable_lines(const std::string &text)
{
    std::string lines;
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = text.find('\n', begin);
        lines += printable(std::string_view(text).substr(begin, end - begin)) + "\n";
        begin = end + 1;
    }
    return lines;
}

// Says what a change did to the aliases of an interface, or of all.
int report_change(const Session &session, const char *action, const std::string &name, const Aliases &before)
{
    Aliases after;
    std::string failed;
    if (!read_all(name, after, failed))
        return cannot_read(session, "the change is made, but cannot list the aliases", failed);
    if (!session.json)
        return print(printable_lines(changes_as_text(before, after)));
    Json json;
    json.begin_object().field_or_null("name", name).field("action", action).key("before");
    put_aliases(json, before).key("after");
    put_aliases(json, after).end_object();
    return print(json.text() + "\n");
}

// The stored alias of an address; null when there is none.
const Alias *find(const Aliases &aliases, const std::string &address)
{
    const auto found =
        std::find_if(aliases.begin(), aliases.end(), [&](const Alias &alias) { return alias.address() == address; });
    return found == aliases.end() ? nullptr : &*found;
}

// ---- add

// Takes "A.B.C.D/PREFIX" apart. Texts are compared in the store, so only the usual form is taken.
bool split(const std::string &text, std::string &address, unsigned &prefix)
{
    const size_t slash = text.find('/');
    address = text.substr(0, slash);
    const std::string number = slash == std::string::npos ? "" : text.substr(slash + 1);
    if (number.empty() || number.size() > 2 || number.find_first_not_of("0123456789") != std::string::npos)
        return false;
    prefix = static_cast<unsigned>(strtoul(number.c_str(), nullptr, 10));
    return prefix <= 32 && BlKLIBIsIpAddr(address.c_str()) == 1 && KAVONetGetAddrType(address.c_str()) == AF_INET;
}

// The library sets no code; what can be found out is told.
int cannot_add(const Session &session, const std::string &what, const Arguments &arguments, const std::string &address)
{
    Aliases aliases;
    std::string failed;
    if (!read_all("", aliases, failed))
        return cannot_read(session, what, failed);
    if (const Alias *other = find(aliases, address); other != nullptr)
        return fail(session, {what, "it is an alias of " + other->interface + " already, as " + other->text,
                              "nothing needs to be done, or: kavonet alias delete " + address});
    forget_error();
    return fail_on(session, arguments.interface, {.what = what, .advice = NO_CODE_ADVICE, .needs_root = true});
}

int add(const Session &session, const Arguments &arguments)
{
    const std::string &name = arguments.interface;
    const std::string what = "cannot add the alias " + arguments.address + " to " + name;
    std::string address;
    unsigned prefix = 0;
    forget_error();
    if (!split(arguments.address, address, prefix))
        return fail(session, {what, "malformed address or prefix",
                              "give it as A.B.C.D/PREFIX, in decimal numbers without leading zeros, for example "
                              "192.168.1.10/24"});
    Interface interface;
    if (!read_interface(name, interface))
        return fail_on(session, name, {what});
    Aliases before;
    std::string failed;
    if (!read_all(name, before, failed))
        return cannot_read(session, what, failed);
    const auto change = [&] { return KAVONetIpAliasAdd(name.c_str(), address.c_str(), prefix); };
    if (with_progress(session, "adding the alias " + arguments.address + " to " + name, change) != 0)
        return cannot_add(session, what, arguments, address);
    return report_change(session, "add", name, before);
}

// ---- delete

int remove(const Session &session, const Arguments &arguments)
{
    const std::string &address = arguments.address;
    const std::string what = "cannot delete the alias " + address;
    Aliases before;
    std::string failed;
    if (!read_all("", before, failed))
        return cannot_read(session, what, failed);
    const Alias *alias = find(before, address);
    const std::string name = alias == nullptr ? "" : alias->interface;
    const auto change = [&] { return KAVONetIpAliasDelete(address.c_str()); };
    if (with_progress(session, "deleting the alias " + address, change) == 0) {
        std::erase_if(before, [&](const Alias &other) { return !name.empty() && other.interface != name; });
        return report_change(session, "delete", name, before);
    }
    if (alias != nullptr)
        return fail(session, {.what = what, .advice = NO_CODE_ADVICE, .needs_root = true});
    return fail(session, {what, "no interface that exists has an alias of that address",
                          "kavonet alias list shows the aliases; give the address alone, without a prefix"});
}

// ---- apply and unapply

// What the two do differently.
struct Mode {
    const char *action;
    const char *doing;
    int (*change)(const char *interface, const KLIBSZLIST *subnets);
};

constexpr Mode APPLY = {"apply", "applying", IpAliasApply};
constexpr Mode UNAPPLY = {"unapply", "unapplying", IpAliasUnapply};

// The library ends in silence at a subnet that is none, and finds nobody in one with host bits.
bool is_subnet(const std::string &text)
{
    std::string network;
    unsigned prefix = 0;
    return split(text, network, prefix) && KAVONetIsIpInSubnet(network.c_str(), text.c_str()) == 1;
}

bool fill(StringList &list, const std::vector<std::string> &texts)
{
    PKLIBSZLIST raw = list.release();
    bool filled = raw != nullptr;
    for (const std::string &text : texts)
        filled = filled && KLIBCSzListPush(&raw, text.c_str()) == 0;
    list.reset(raw);
    return filled;
}

int change(const Session &session, const Mode &mode, const Arguments &arguments)
{
    const std::string &name = arguments.interface;
    const std::string whose = name.empty() ? "the aliases" : "the aliases of " + name;
    const std::string what = std::string("cannot ") + mode.action + " " + whose;
    if (name.empty() && !arguments.subnets.empty())
        return misused(session, "subnets are given, but no interface", "name the interface whose subnets they are");
    forget_error();
    for (const std::string &subnet : arguments.subnets) {
        if (!is_subnet(subnet))
            return fail(session, {what, subnet + " is no subnet",
                                  "give the network's own address and its prefix, for example 192.168.1.0/24"});
    }
    StringList subnets(KLIBCSzListAlloc(0), KLIBCSzListFree);
    Aliases before;
    std::string failed;
    if (!fill(subnets, arguments.subnets))
        return fail(session, {what});
    if (!read_all(name, before, failed))
        return cannot_read(session, what, failed);
    Interface interface;
    if (before.empty() && !name.empty() && !read_interface(name, interface))
        return fail_on(session, name, {what});
    forget_error();
    const auto run = [&] { return mode.change(name.empty() ? nullptr : name.c_str(), subnets.get()); };
    if (with_progress(session, std::string(mode.doing) + " " + whose, run) != 0)
        return fail_on(
            session, name,
            {.what = what, .reason = "not every alias could be changed", .advice = NO_CODE_ADVICE, .needs_root = true});
    return report_change(session, mode.action, name, before);
}

// ---- the command line

void build_list(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_interface(verb, arguments->interface, "The interface; all that exist when left out");
    set_action(
        verb, session, [&session, arguments] { return list(session, *arguments); },
        "  kavonet alias list\n"
        "  kavonet alias list eth0 --json | jq -r '.[].address'");
}

void build_add(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_interface(verb, arguments->interface)->required();
    verb.add_option("ADDRESS", arguments->address, "A.B.C.D/PREFIX")->required()->type_name("");
    set_action(
        verb, session, [&session, arguments] { return add(session, *arguments); },
        "  kavonet alias add eth0 192.168.1.10/24");
}

void build_delete(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    verb.add_option("ADDRESS", arguments->address, "A.B.C.D, without a prefix")->required()->type_name("");
    set_action(
        verb, session, [&session, arguments] { return remove(session, *arguments); },
        "  kavonet alias delete 192.168.1.10");
}

void build_change(CLI::App &verb, Session &session, const Mode &mode, const char *examples)
{
    const auto arguments = std::make_shared<Arguments>();
    add_interface(verb, arguments->interface, "The interface; all when left out");
    verb.add_option("--subnet", arguments->subnets, "Only aliases in this subnet of the interface; may be repeated")
        ->type_name("A.B.C.D/PREFIX")
        ->allow_extra_args(false);
    set_action(
        verb, session, [&session, arguments, &mode] { return change(session, mode, *arguments); }, examples);
}

void build_apply(CLI::App &verb, Session &session)
{
    build_change(verb, session, APPLY,
                 "  kavonet alias apply\n"
                 "  kavonet alias apply eth0 --subnet 192.168.1.0/24");
}

void build_unapply(CLI::App &verb, Session &session)
{
    build_change(verb, session, UNAPPLY, "  kavonet alias unapply eth0");
}

constexpr Word VERBS[] = {
    {"list", "Show the stored aliases and which of them are in force", build_list},
    {"add", "Give an interface an additional address, now and in the store", build_add},
    {"delete", "Take such an address away, now and in the store", build_delete},
    {"apply", "Put stored aliases that are missing in force", build_apply},
    {"unapply", "Take stored aliases out of force; they stay in the store", build_unapply},
};

} // namespace

void noun_alias(CLI::App &noun, Session &session)
{
    add_words(noun, session, VERBS,
              "  kavonet alias list\n"
              "  kavonet alias add eth0 192.168.1.10/24\n"
              "  kavonet alias apply eth0");
}

} // namespace cli
