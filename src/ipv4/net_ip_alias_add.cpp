#include "kavonetsdk/ipv4.h"

#include <cstring>

#include "frame/log.h"
#include "frame/name.h"
#include "ipv4/alias_store.h"
#include "kavonetsdk/addr.h"

using namespace kavonet;

namespace {

constexpr int ADDED = 0; // the number of its event
constexpr int NONE = -1;

const char *text_or_empty(const char *text)
{
    return text == nullptr ? "" : text;
}

// An address may be written longer than an alias's text can be: cut, it would be another alias, or one with another prefix.
bool is_valid(const char *interface, const char *address, unsigned int prefix)
{
    return is_short_interface_name(interface) && address != nullptr && BlKLIBIsIpAddr(address) != 0 && prefix <= 32 &&
           !alias_text(address, static_cast<int>(prefix)).cut();
}

// Whether the address may be added: it stands nowhere in the store, which is well-formed so far as it is read. The prefix
// does not count.
bool is_new(const json_object *store, const char *address)
{
    for (const auto &[name, settings] : JsonMembers(store)) {
        const json_object *aliases = aliases_of(settings);
        if (aliases == nullptr) {
            log_err("Invalid ip alias config format");
            return false;
        }
        for (json_object *alias : JsonElements(aliases)) {
            const char *stored = nullptr;
            if (ParseIpAliasJson(alias, &stored, nullptr, nullptr) != 0) {
                log_err("Failed to parse ip alias config");
                return false;
            }
            if (strcmp(stored, address) == 0) {
                log_err("Find duplicated IP alias %s", address);
                return false;
            }
        }
    }
    return true;
}

// The interface's array, made where there is none; null without memory.
json_object *aliases_to_extend(json_object *store, const char *interface)
{
    json_object *settings = json_object_object_get(store, interface);
    if (settings == nullptr) {
        settings = json_object_new_object();
        if (!set_member(store, interface, settings))
            return nullptr;
    }
    json_object *aliases = aliases_of(settings);
    if (aliases != nullptr)
        return aliases;
    aliases = json_object_new_array();
    return set_member(settings, ALIASES_KEY, aliases) ? aliases : nullptr;
}

// The smallest label that is not in use: the array is sorted, so it is the first that differs from its place. NONE when
// the array cannot be read.
int free_label(const json_object *aliases)
{
    int place = 0;
    for (json_object *alias : JsonElements(aliases)) {
        int label = NONE;
        if (ParseIpAliasJson(alias, nullptr, nullptr, &label) != 0) {
            log_err("Failed to parse ip alias config");
            return NONE;
        }
        if (label != place)
            break;
        ++place;
    }
    return place;
}

bool insert(json_object *aliases, int label, const char *address, int prefix)
{
    JsonValue alias(json_object_new_object());
    if (!alias || !set_member(alias.get(), "label", json_object_new_int(label)) ||
        !set_member(alias.get(), "IP", json_object_new_string(address)) ||
        !set_member(alias.get(), "prefixlen", json_object_new_int(prefix)) || !append_element(aliases, alias.release()))
        return false;
    json_object_array_sort(aliases, JSONObjectIpAliasLabelCmp);
    return true;
}

// Puts the address into the kernel and tells about it before and after.
bool announce_and_set(const char *interface, const char *address, int prefix, int label)
{
    if (IpAliasHook(ADDED, Event::PRE, interface, address, prefix) != 0)
        log_err("Failed to send pre ip_alias_add hook event");
    if (SetIpAlias(interface, address, prefix, label) != 0) {
        log_err("Failed to add ip alias");
        return false;
    }
    if (IpAliasHook(ADDED, Event::POST, interface, address, prefix) != 0)
        log_err("Failed to send post ip_alias_add hook event");
    return true;
}

} // namespace

int KAVONetIpAliasAdd(const char *szIf, const char *szIP, unsigned int prefixlen)
{
    const int prefix = static_cast<int>(prefixlen);
    if (!is_valid(szIf, szIP, prefixlen)) {
        log_err("Invalid argument: %s, %s/%d", text_or_empty(szIf), text_or_empty(szIP), prefix);
        return -1;
    }
    const StoredAliases stored;
    if (stored.unread()) {
        log_err("Failed to read IP alias config: %s", ALIAS_STORE);
        return -1;
    }
    // A store that cannot be parsed is replaced by one that holds the new alias only: its loss must not stop the appliance.
    const JsonValue store(stored ? json_object_get(stored.get()) : json_object_new_object());
    if (store && !is_new(store.get(), szIP))
        return -1;
    json_object *aliases = store ? aliases_to_extend(store.get(), szIf) : nullptr;
    const int label = aliases == nullptr ? NONE : free_label(aliases);
    if (aliases != nullptr && label == NONE)
        return -1;
    // All that needs memory is done before anything changes.
    if (aliases == nullptr || !insert(aliases, label, szIP, prefix)) {
        log_err("Failed to memory allocation.");
        return -1;
    }
    if (!announce_and_set(szIf, szIP, prefix, label))
        return -1;
    if (!write_alias_store(store.get())) {
        log_err("Failed to write IP alias config: %s", ALIAS_STORE);
        return -1;
    }
    return 0;
}
