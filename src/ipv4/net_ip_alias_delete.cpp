#include "kavonetsdk/ipv4.h"

#include <cstring>

#include "frame/log.h"
#include "ipv4/alias_store.h"
#include "kavonetsdk/addr.h"

using namespace kavonet;

namespace {

constexpr int DELETED = 1; // the number of its event

// An alias of the store and where it stands.
struct Found {
    const char *interface = nullptr; // null when there is none
    json_object *settings = nullptr;
    json_object *alias = nullptr;
    const char *address = nullptr;
    int prefix = 0;
    int label = 0;
};

// Finds the first alias of the address. False when the store is malformed before it.
bool find(const json_object *store, const char *address, Found &found)
{
    for (const auto &[name, settings] : JsonMembers(store)) {
        const json_object *aliases = aliases_of(settings);
        if (aliases == nullptr) {
            log_err("Invalid ip alias config format");
            return false;
        }
        for (json_object *alias : JsonElements(aliases)) {
            if (ParseIpAliasJson(alias, &found.address, &found.prefix, &found.label) != 0) {
                log_err("Failed to parse ip alias config");
                return false;
            }
            if (strcmp(found.address, address) == 0) {
                found.interface = name;
                found.settings = settings;
                found.alias = alias;
                return true;
            }
        }
    }
    return true;
}

// The interface's aliases but the one that was found. Null when one of them is malformed, or without memory.
JsonValue others_than(const Found &found)
{
    JsonValue others(json_object_new_array());
    if (!others) {
        log_err("Failed to memory allocation.");
        return JsonValue();
    }
    for (json_object *alias : JsonElements(aliases_of(found.settings))) {
        if (alias == found.alias)
            continue;
        const char *address = nullptr;
        int prefix = 0;
        int label = 0;
        if (ParseIpAliasJson(alias, &address, &prefix, &label) != 0) {
            log_err("Failed to parse ip alias config");
            return JsonValue();
        }
        if (!share_element(others.get(), alias)) {
            log_err("Failed to memory allocation.");
            return JsonValue();
        }
    }
    return JsonValue(others.release());
}

int remove(json_object *store, const Found &found)
{
    if (IpAliasHook(DELETED, Event::PRE, found.interface, found.address, found.prefix) != 0)
        log_err("Failed to send pre ip_alias_delete hook event");
    if (UnsetIpAlias(found.interface, found.address, found.prefix, found.label) != 0) {
        log_err("Failed to delete ip alias");
        return -1;
    }
    // The kernel's address is gone by now, whatever the rest of the store looks like: callers know it like this.
    JsonValue others = others_than(found);
    if (!others)
        return -1;
    // Subscribers hear of it before the file is written.
    if (IpAliasHook(DELETED, Event::POST, found.interface, found.address, found.prefix) != 0)
        log_err("Failed to send post ip_alias_delete hook event");
    if (!set_member(found.settings, ALIASES_KEY, others.release()) || !write_alias_store(store)) {
        log_err("Failed to write IP alias config: %s", ALIAS_STORE);
        return -1;
    }
    RefreshGateway();
    return 0;
}

} // namespace

int KAVONetIpAliasDelete(const char *szIP)
{
    // Log readers expect a prefix; there is none here, so it is always 0.
    constexpr int NO_PREFIX = 0;
    if (szIP == nullptr || BlKLIBIsIpAddr(szIP) == 0) {
        log_err("Invalid argument: %s/%d", szIP == nullptr ? "" : szIP, NO_PREFIX);
        return -1;
    }
    const StoredAliases store;
    if (!store) {
        log_err("Failed to read IP alias config: %s", ALIAS_STORE);
        return -1;
    }
    Found found;
    if (!find(store.get(), szIP, found))
        return -1;
    if (found.interface == nullptr) {
        log_err("Target IP alias %s/%d not found", szIP, NO_PREFIX);
        return -1;
    }
    return remove(store.get(), found);
}
