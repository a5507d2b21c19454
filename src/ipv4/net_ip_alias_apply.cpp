#include "kavonetsdk/ipv4.h"

#include "frame/log.h"
#include "frame/name.h"
#include "ipv4/alias_store.h"
#include "kavonetsdk/addr.h"

using namespace kavonet;

namespace {

using Filter = int (*)(json_object *store);
using Change = int (*)(const char *interface, const char *address, int prefix, int label);

// What apply and unapply do differently.
struct Mode {
    int kind; // the number of its event
    const char *event;
    Filter first_filter;  // what is to be changed
    Filter second_filter; // what has been changed
    const char *verb;
    Change change;
};

constexpr Mode APPLY = {
    .kind = 0,
    .event = "ip_alias_add",
    .first_filter = FilterNotExistAlias,
    .second_filter = FilterExistAlias,
    .verb = "set",
    .change = SetIpAlias,
};
constexpr Mode UNAPPLY = {
    .kind = 1,
    .event = "ip_alias_delete",
    .first_filter = FilterExistAlias,
    .second_filter = FilterNotExistAlias,
    .verb = "unset",
    .change = UnsetIpAlias,
};

enum class Place { INSIDE, OUTSIDE, NO_SUBNET };

// Whether an alias lies in one of the subnets: the prefixes must be the same, too. Subnets behind that one are not looked at.
Place place_of(const char *address, int prefix, const KLIBSZLIST *subnets)
{
    for (int i = 0; i < subnets->nItem; ++i) {
        const char *subnet = KLIBCSzListGet(subnets, i);
        Text<20> network;
        unsigned int length = 0;
        if (KAVONetSeperateSubnet(subnet, network.buffer(), network.size(), &length) != 0) {
            log_err("Invalid subnet %s", subnet == nullptr ? "" : subnet);
            return Place::NO_SUBNET;
        }
        if (static_cast<int>(length) == prefix && KAVONetIsIpInSubnet(address, subnet) == 1)
            return Place::INSIDE;
    }
    return Place::OUTSIDE;
}

enum class Selection { DONE, MALFORMED, NO_MEMORY };

// Keeps the aliases of an interface that lie in one of the subnets; all of them where no subnets are given.
Selection select_by_subnet(json_object *settings, const KLIBSZLIST *subnets)
{
    const json_object *aliases = aliases_of(settings);
    if (subnets == nullptr || KLIBCSzListGet(subnets, 0) == nullptr || aliases == nullptr)
        return Selection::DONE;
    JsonValue kept(json_object_new_array());
    if (!kept)
        return Selection::NO_MEMORY;
    for (json_object *alias : JsonElements(aliases)) {
        const char *address = nullptr;
        int prefix = 0;
        if (ParseIpAliasJson(alias, &address, &prefix, nullptr) != 0) {
            log_err("Failed to parse ip alias config");
            return Selection::MALFORMED;
        }
        const Place place = place_of(address, prefix, subnets);
        if (place == Place::NO_SUBNET)
            return Selection::MALFORMED;
        if (place == Place::INSIDE && !share_element(kept.get(), alias))
            return Selection::NO_MEMORY;
    }
    return set_member(settings, ALIASES_KEY, kept.release()) ? Selection::DONE : Selection::NO_MEMORY;
}

// A store with nothing but one interface of another, or with none. Null without memory.
JsonValue part_of(const json_object *store, const char *interface)
{
    JsonValue part(json_object_new_object());
    json_object *settings = nullptr;
    if (!part || !json_object_object_get_ex(store, interface, &settings))
        return JsonValue(part.release());
    if (json_object_object_add(part.get(), interface, settings) != 0)
        return JsonValue();
    json_object_get(settings);
    return JsonValue(part.release());
}

// Changes one interface's aliases in the kernel. False when one of them cannot be read, which ends the whole operation;
// what else fails only makes the result -1.
bool change_aliases(const Mode &mode, const char *interface, const json_object *aliases, int &result)
{
    for (json_object *alias : JsonElements(aliases)) {
        const char *address = nullptr;
        int prefix = 0;
        int label = 0;
        if (ParseIpAliasJson(alias, &address, &prefix, &label) != 0) {
            log_err("Failed to parse ip alias config");
            return false;
        }
        if (mode.change(interface, address, prefix, label) != 0) {
            log_err("Failed to %s ip alias %s/%d on interface %s", mode.verb, address, prefix, interface);
            result = -1;
        }
    }
    return true;
}

// Changes what the first filter leaves, and tells about it before and after.
int change_all(const Mode &mode, json_object *store)
{
    if (mode.first_filter(store) != 0)
        log_err("Failed to filter ip alias");
    if (IpAliasHookMultipleAlias(mode.kind, Event::PRE, store) != 0)
        log_err("Failed to send pre %s hook event", mode.event);
    int result = 0;
    for (const auto &[name, settings] : JsonMembers(store)) {
        const json_object *aliases = aliases_of(settings);
        if (aliases == nullptr)
            result = -1;
        if (!change_aliases(mode, name, aliases, result))
            return result;
    }
    // The second event names only those that the kernel has followed.
    if (mode.second_filter(store) != 0)
        log_err("Failed to filter ip alias");
    if (IpAliasHookMultipleAlias(mode.kind, Event::POST, store) != 0)
        log_err("Failed to send post %s hook event", mode.event);
    return result;
}

// The aliases of one interface.
int apply_to(const char *interface, const KLIBSZLIST *subnets, const Mode &mode, const json_object *store)
{
    const JsonValue part = part_of(store, interface);
    const Selection selection =
        part ? select_by_subnet(json_object_object_get(part.get(), interface), subnets) : Selection::NO_MEMORY;
    if (selection == Selection::NO_MEMORY) {
        log_err("Failed to memory allocation.");
        return -1;
    }
    // What cannot be read ends it as if there were nothing to do: callers apply on every change.
    return selection == Selection::MALFORMED ? 0 : change_all(mode, part.get());
}

int apply_common(const char *interface, const KLIBSZLIST *subnets, const Mode &mode)
{
    if (interface != nullptr && !is_short_interface_name(interface)) {
        log_err("Invalid argument");
        return -1;
    }
    const StoredAliases store;
    if (!store)
        return 0;
    // The subnets belong to an interface; without one they do not count.
    return interface == nullptr ? change_all(mode, store.get()) : apply_to(interface, subnets, mode, store.get());
}

} // namespace

int IpAliasApply(const char *szIf, const KLIBSZLIST *pSubnets)
{
    return apply_common(szIf, pSubnets, APPLY);
}

int IpAliasUnapply(const char *szIf, const KLIBSZLIST *pSubnets)
{
    return apply_common(szIf, pSubnets, UNAPPLY);
}
