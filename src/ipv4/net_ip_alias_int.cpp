#include "kavonetsdk/ipv4.h"

#include <climits>

#include "frame/log.h"
#include "frame/name.h"
#include "ipv4/alias_json.h"
#include "ipv4/ip_command.h"
#include "ipv4/system_aliases.h"

using namespace kavonet;

// ---- Commands

namespace {

using AddressArgument = Text<20>;
using LabelArgument = Text<20>; // longer labels are cut

bool is_given(const char *text)
{
    return text != nullptr && text[0] != '\0';
}

int refuse()
{
    log_err("Invalid argument");
    return -1;
}

int change_alias(const char *verb, const char *interface, const char *address, int prefix, int label)
{
    if (!is_short_interface_name(interface) || !is_given(address))
        return refuse();
    const AddressArgument with_prefix = alias_text(address, prefix);
    const LabelArgument name("%s:%d", interface, label);
    const int status =
        run_command(IP_COMMAND, "address", verb, with_prefix.c_str(), "label", name.c_str(), "dev", interface);
    return status == 0 ? 0 : -1;
}

} // namespace

int SetIpAlias(const char *szIf, const char *szIP, int prefixlen, int label)
{
    return change_alias("add", szIf, szIP, prefixlen, label);
}

int UnsetIpAlias(const char *szIf, const char *szIP, int prefixlen, int label)
{
    return change_alias("del", szIf, szIP, prefixlen, label);
}

int SetRouteSrc(const char *szIf, const char *szDest, const char *szSrc)
{
    if (!is_short_interface_name(szIf) || !is_given(szDest) || (szSrc != nullptr && szSrc[0] == '\0'))
        return refuse();
    const int status = szSrc == nullptr
                           ? run_command(IP_COMMAND, "route", "replace", "to", szDest, "dev", szIf)
                           : run_command(IP_COMMAND, "route", "replace", "to", szDest, "dev", szIf, "src", szSrc);
    return status == 0 ? 0 : -1;
}

int UnsetRouteSrc(const char *szIf, const char *szDest)
{
    if (!is_short_interface_name(szIf) || !is_given(szDest))
        return refuse();
    return run_command(IP_COMMAND, "route", "del", "to", szDest, "dev", szIf) == 0 ? 0 : -1;
}

int RefreshGateway(void)
{
    if (run_command("/usr/kavo/sbin/kavonetdtool", "--refresh-gateway", "-4") == 0)
        return 0;
    log_err("Failed to refresh gateway");
    return -1;
}

// ---- Elements of the store

namespace {

json_object *member_of_type(json_object *object, const char *name, json_type type)
{
    json_object *value = nullptr;
    return json_object_object_get_ex(object, name, &value) && json_object_is_type(value, type) ? value : nullptr;
}

bool read_number(json_object *alias, const char *name, int *number)
{
    const json_object *value = member_of_type(alias, name, json_type_int);
    if (value != nullptr)
        *number = json_object_get_int(value);
    return value != nullptr;
}

} // namespace

int ParseIpAliasJson(struct json_object *pAlias, const char **pszIP, int *pPrefixlen, int *pLabel)
{
    if (!json_object_is_type(pAlias, json_type_object))
        return -1;
    if (pszIP != nullptr) {
        json_object *address = member_of_type(pAlias, "IP", json_type_string);
        if (address == nullptr)
            return -1;
        *pszIP = json_object_get_string(address);
    }
    if (pPrefixlen != nullptr && !read_number(pAlias, "prefixlen", pPrefixlen))
        return -1;
    if (pLabel != nullptr && !read_number(pAlias, "label", pLabel))
        return -1;
    return 0;
}

int JSONObjectIpAliasLabelCmp(const void *pA, const void *pB)
{
    if (pA == nullptr || pB == nullptr)
        return 0;
    // One slot for both: a second element without a label keeps the first one's, and the two count as equal.
    int label = 0;
    ParseIpAliasJson(*static_cast<json_object *const *>(pA), nullptr, nullptr, &label);
    const int first = label;
    ParseIpAliasJson(*static_cast<json_object *const *>(pB), nullptr, nullptr, &label);
    int difference = 0;
    if (__builtin_sub_overflow(first, label, &difference))
        return first < label ? INT_MIN : INT_MAX;
    return difference;
}

// ---- Events

namespace {

struct Kind {
    const char *event;
    const char *key; // what the interface's name is put to
};

constexpr Kind KINDS[] = {{"net/ip_alias_add", "ADDED_IP_ALIAS"}, {"net/ip_alias_delete", "DELETED_IP_ALIAS"}};
constexpr int KIND_COUNT = sizeof KINDS / sizeof *KINDS;

// A text that grows.
class GrowingText {
public:
    explicit operator bool() const { return static_cast<bool>(text_); }
    void clear() { text_[0] = '\0'; }
    [[nodiscard]] bool empty() const { return text_[0] == '\0'; }
    bool append(const char *more) { return KLIBCStrCat(text_.handle(), &size_, more) >= 0; }
    const char *trimmed()
    {
        KLIBCStrTrimSpace(text_.get(), 0);
        return text_.get();
    }

private:
    size_t size_ = 1024;
    Allocated<char> text_{static_cast<char *>(calloc(1, size_))};
};

// Appends "address/prefix " for each alias.
bool append_aliases(GrowingText &text, const json_object *aliases)
{
    for (json_object *alias : JsonElements(aliases)) {
        const char *address = nullptr;
        int prefix = 0;
        if (ParseIpAliasJson(alias, &address, &prefix, nullptr) != 0) {
            log_err("Failed to parse ip alias config");
            return false;
        }
        if (!text.append(alias_text(address, prefix).c_str()) || !text.append(" ")) {
            log_err("KLIBCStrCat() failed");
            return false;
        }
    }
    return true;
}

// Attaches the aliases of one interface, if it has any, and its name to the names.
bool attach_interface(Event &event, const Kind &kind, const char *name, GrowingText &aliases, GrowingText &names)
{
    if (aliases.empty())
        return true;
    const Text<100> key("%s_%s", kind.key, name);
    if (!event.set(key.c_str(), aliases.trimmed())) {
        log_err("KLIBPluginSetArg() failed");
        return false;
    }
    if (!names.append(name) || !names.append(" ")) {
        log_err("KLIBCStrCat() failed");
        return false;
    }
    return true;
}

bool fire_with_names(Event &event, int stage, GrowingText &names)
{
    if (!event.set("IFNAMES", names.trimmed())) {
        log_err("KLIBPluginSetArg() failed");
        return false;
    }
    if (!event.fire(stage)) {
        log_err("KLIBPluginAction() failed");
        return false;
    }
    return true;
}

// {interface: {"ip_alias": [{"IP": address, "prefixlen": prefix}]}}; null without memory.
JsonValue store_of_one(const char *interface, const char *address, int prefix)
{
    JsonValue store(json_object_new_object());
    JsonValue settings(json_object_new_object());
    JsonValue aliases(json_object_new_array());
    JsonValue alias(json_object_new_object());
    const bool made =
        store && settings && aliases && alias && set_member(alias.get(), "IP", json_object_new_string(address)) &&
        set_member(alias.get(), "prefixlen", json_object_new_int(prefix)) &&
        append_element(aliases.get(), alias.release()) && set_member(settings.get(), ALIASES_KEY, aliases.release()) &&
        set_member(store.get(), interface, settings.release());
    return JsonValue(made ? store.release() : nullptr);
}

} // namespace

int IpAliasHook(int kind, int stage, const char *szIf, const char *szIP, int prefixlen)
{
    if (!is_short_interface_name(szIf) || !is_given(szIP))
        return refuse();
    const JsonValue store = store_of_one(szIf, szIP, prefixlen);
    if (!store) {
        log_err("Failed to memory allocation.");
        return -1;
    }
    return IpAliasHookMultipleAlias(kind, stage, store.get());
}

int IpAliasHookMultipleAlias(int kind, int stage, struct json_object *pStore)
{
    if (kind < 0 || kind >= KIND_COUNT || pStore == nullptr)
        return refuse();
    GrowingText names;
    GrowingText aliases;
    if (!names || !aliases) {
        log_err("Failed to memory allocation.");
        return -1;
    }
    Event event(KINDS[kind].event);
    if (!event) {
        log_err("KLIBPluginSDKInit() failed");
        return -1;
    }
    for (const auto &[name, settings] : JsonMembers(pStore)) {
        aliases.clear();
        if (!append_aliases(aliases, aliases_of(settings)) ||
            !attach_interface(event, KINDS[kind], name, aliases, names))
            return -1;
    }
    // Nothing has changed for anybody.
    if (names.empty())
        return 0;
    return fire_with_names(event, stage, names) ? 0 : -1;
}

// ---- Filters

namespace {

constexpr int ABSENT = 0;
constexpr int PRESENT = 1;

// Appends the aliases that are wanted to an array.
bool keep_wanted(const char *interface, const json_object *aliases, const SystemAliases &system, bool wanted,
                 json_object *kept)
{
    for (json_object *alias : JsonElements(aliases)) {
        const char *address = nullptr;
        int prefix = 0;
        int label = 0;
        if (ParseIpAliasJson(alias, &address, &prefix, &label) != 0) {
            log_err("Failed to parse ip alias config");
            return false;
        }
        if (system.hold(interface, label, address, prefix) == wanted && !share_element(kept, alias)) {
            log_err("Failed to memory allocation.");
            return false;
        }
    }
    return true;
}

// The new array of each interface, under its name.
bool keep_all_wanted(const json_object *store, const SystemAliases &system, bool wanted, json_object *kept)
{
    for (const auto &[name, settings] : JsonMembers(store)) {
        const json_object *aliases = aliases_of(settings);
        if (aliases == nullptr)
            continue;
        json_object *array = json_object_new_array();
        if (!set_member(kept, name, array)) {
            log_err("Failed to memory allocation.");
            return false;
        }
        if (!keep_wanted(name, aliases, system, wanted, array))
            return false;
    }
    return true;
}

} // namespace

int FilterAliasByExistence(struct json_object *pStore, int wanted)
{
    if (pStore == nullptr)
        return refuse();
    SystemAliases system;
    const SystemAliases::State state = system.read();
    if (state == SystemAliases::State::NO_LIST) {
        log_err("getifaddrs() failed");
        return -1;
    }
    const JsonValue kept(json_object_new_object());
    if (state == SystemAliases::State::NO_MEMORY || !kept) {
        log_err("Failed to memory allocation.");
        return -1;
    }
    // Nothing is replaced before all is known to be well.
    if (!keep_all_wanted(pStore, system, wanted == PRESENT, kept.get()))
        return -1;
    for (const auto &[name, array] : JsonMembers(kept.get()))
        set_member(json_object_object_get(pStore, name), ALIASES_KEY, json_object_get(array));
    return 0;
}

int FilterExistAlias(struct json_object *pStore)
{
    return FilterAliasByExistence(pStore, PRESENT);
}

int FilterNotExistAlias(struct json_object *pStore)
{
    return FilterAliasByExistence(pStore, ABSENT);
}
