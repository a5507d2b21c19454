// One text as the store of IP aliases, through every function that reads it. The store stands in a folder of the fuzzer's
// own, the kernel has one alias, and its commands only count.
#include <cstdarg>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <dlfcn.h>
#include <ifaddrs.h>
#include <json-c/json.h>
#include <unistd.h>

#include "fuzz/property.h"
#include "kavo/plugin.h"
#include "kavonetsdk/ipv4.h"
#include "support/log_capture.h"
#include "support/read_back.h"

namespace {

constexpr char PUBLISHED[] = "/usr/kavo/etc/net/ip_alias";
constexpr char NEW_ADDRESS[] = "10.255.255.1";

// Where the store really is.
const std::string &store_path()
{
    static const std::string path = [] {
        char folder[] = "/dev/shm/kavo-fuzz-XXXXXX";
        char other[] = "/tmp/kavo-fuzz-XXXXXX";
        const char *made = mkdtemp(folder) != nullptr ? folder : mkdtemp(other);
        if (made == nullptr)
            abort();
        static std::string kept;
        kept = made;
        atexit([] {
            unlink((kept + "/ip_alias").c_str());
            rmdir(kept.c_str());
        });
        return kept + "/ip_alias";
    }();
    return path;
}

const char *real_place(const char *path)
{
    return strcmp(path, PUBLISHED) == 0 ? store_path().c_str() : path;
}

int commands = 0;

template <class Function> Function next(const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

// ---- Stand-ins

extern "C" int open64(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = va_arg(arguments, unsigned);
    va_end(arguments);
    static const auto real = next<int (*)(const char *, int, ...)>("open64");
    return real(real_place(path), flags, mode);
}

extern "C" char *realpath(const char *path, char *resolved) noexcept
{
    return strcpy(resolved, real_place(path));
}

extern "C" int KLIBCExecl(const char *, int, ...)
{
    ++commands;
    return 0;
}

extern "C" int KLIBPluginAction(int, KLIBPLUGINHANDLE)
{
    return 0;
}

namespace {

struct KernelAlias {
    ifaddrs entry{};
    sockaddr_in address{};
    sockaddr_in mask{};
    char name[8] = "eth0:0";
};

} // namespace

extern "C" int getifaddrs(ifaddrs **list) noexcept
{
    auto *one = new KernelAlias;
    one->address.sin_family = one->mask.sin_family = AF_INET;
    one->address.sin_addr.s_addr = inet_addr("10.0.0.1");
    one->mask.sin_addr.s_addr = inet_addr("255.255.255.0");
    one->entry.ifa_name = one->name;
    one->entry.ifa_addr = reinterpret_cast<sockaddr *>(&one->address);
    one->entry.ifa_netmask = reinterpret_cast<sockaddr *>(&one->mask);
    *list = &one->entry;
    return 0;
}

extern "C" void freeifaddrs(ifaddrs *list) noexcept
{
    delete reinterpret_cast<KernelAlias *>(list); // whose first member it is
}

namespace {

// ---- The store once more, read with nothing but json-c

struct Alias {
    std::string interface, address;
    int prefix = 0, label = 0;
    bool has_label = false;
};

struct Model {
    bool exists = false; // an object
    bool whole = true;   // every interface has an array, every alias its three members
    std::vector<Alias> aliases;
    std::map<std::string, bool> listable; // by interface
};

bool member(json_object *object, const char *name, json_type type, json_object *&value)
{
    return json_object_is_type(object, json_type_object) && json_object_object_get_ex(object, name, &value) &&
           json_object_is_type(value, type);
}

bool read_alias(json_object *element, Alias &alias)
{
    json_object *address = nullptr;
    json_object *prefix = nullptr;
    json_object *label = nullptr;
    if (!member(element, "IP", json_type_string, address) || !member(element, "prefixlen", json_type_int, prefix))
        return false;
    alias.address = json_object_get_string(address);
    alias.prefix = json_object_get_int(prefix);
    alias.has_label = member(element, "label", json_type_int, label);
    alias.label = alias.has_label ? json_object_get_int(label) : 0;
    return true;
}

void read_interface(const char *name, json_object *settings, Model &model)
{
    json_object *array = nullptr;
    model.listable[name] = member(settings, "ip_alias", json_type_array, array);
    if (!model.listable[name]) {
        model.whole = false;
        return;
    }
    for (size_t i = 0; i < json_object_array_length(array); ++i) {
        Alias alias;
        alias.interface = name;
        if (!read_alias(json_object_array_get_idx(array, i), alias)) {
            model.whole = model.listable[name] = false;
            continue;
        }
        model.whole = model.whole && alias.has_label;
        model.aliases.push_back(alias);
    }
}

Model read_model()
{
    Model model;
    json_object *store = json_object_from_file(store_path().c_str());
    model.exists = json_object_is_type(store, json_type_object) != 0;
    if (model.exists) {
        json_object_object_foreach(store, name, settings) read_interface(name, settings, model);
    }
    json_object_put(store);
    return model;
}

int count_of(const Model &model, const std::string &address)
{
    int count = 0;
    for (const Alias &alias : model.aliases)
        count += alias.address == address ? 1 : 0;
    return count;
}

std::vector<std::string> texts_of(const Model &model, const std::string &interface)
{
    std::vector<std::string> texts;
    for (const Alias &alias : model.aliases) {
        if (alias.interface == interface)
            texts.push_back((alias.address + "/" + std::to_string(alias.prefix)).substr(0, 19));
    }
    return texts;
}

// ---- What holds

void check_list(const std::string &text, const Model &model)
{
    PKLIBSZLIST list = KLIBCSzListAlloc(0);
    const auto known = model.listable.find("eth0");
    const bool well = known == model.listable.end() || known->second;
    HOLDS(KAVONetIpAliasList("eth0", &list) == (well ? 0 : -1), text.c_str());
    const std::vector<std::string> expected = texts_of(model, "eth0");
    HOLDS(!well || static_cast<size_t>(list->nItem) == expected.size(), text.c_str());
    for (int i = 0; well && i < list->nItem; ++i)
        HOLDS(expected[static_cast<size_t>(i)] == KLIBCSzListGet(list, i), text.c_str());
    KLIBCSzListFree(list);
}

bool in_kernel(const Alias &alias)
{
    return alias.interface == "eth0" && alias.label == 0 && alias.address == "10.0.0.1" && alias.prefix == 24;
}

// Only names that the library takes reach a command.
bool is_plain(const Alias &alias)
{
    return !alias.interface.empty() &&
           alias.interface.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789") == std::string::npos &&
           alias.interface.size() < 16 && !alias.address.empty();
}

void check_apply(const std::string &text, const Model &model)
{
    int present = 0;
    bool plain = model.whole;
    for (const Alias &alias : model.aliases) {
        present += in_kernel(alias) ? 1 : 0;
        plain = plain && is_plain(alias);
    }
    const int all = static_cast<int>(model.aliases.size());
    commands = 0;
    const int applied = IpAliasApply(nullptr, nullptr);
    HOLDS(applied == 0 || (applied == -1 && !plain), text.c_str());
    HOLDS(!plain || commands == all - present, text.c_str());
    commands = 0;
    const int unapplied = IpAliasUnapply(nullptr, nullptr);
    HOLDS(unapplied == 0 || (unapplied == -1 && !plain), text.c_str());
    HOLDS(!plain || commands == present, text.c_str());
    commands = 0;
    IpAliasApply("eth0", nullptr);
    HOLDS(commands <= all, text.c_str());
    HOLDS(support::read_file(store_path()) == text, text.c_str());
}

// The new alias's label is the smallest that was free, if the store was sorted.
void check_label(const std::string &text, const Model &before, const Model &after)
{
    std::set<int> labels;
    bool sorted = before.whole;
    for (const Alias &alias : before.aliases) {
        if (alias.interface != "eth0")
            continue;
        sorted = sorted && alias.has_label && alias.label >= 0 && (labels.empty() || alias.label > *labels.rbegin());
        labels.insert(alias.label);
    }
    int expected = 0;
    while (labels.contains(expected))
        ++expected;
    for (const Alias &alias : after.aliases)
        HOLDS(!sorted || alias.address != NEW_ADDRESS || alias.label == expected, text.c_str());
}

void check_add_and_delete(const std::string &text, const Model &before)
{
    const bool had = count_of(before, NEW_ADDRESS) > 0;
    if (KAVONetIpAliasAdd("eth0", NEW_ADDRESS, 24) != 0) {
        HOLDS(!before.whole || had, text.c_str());
        HOLDS(support::read_file(store_path()) == text, text.c_str());
        return;
    }
    const Model after = read_model();
    HOLDS(after.exists && !had && count_of(after, NEW_ADDRESS) == 1, text.c_str());
    // A number like "2e" is no integer when it is read, and one when it has been written.
    HOLDS(after.aliases.size() > before.aliases.size(), text.c_str());
    HOLDS(!before.whole || after.aliases.size() == before.aliases.size() + 1, text.c_str());
    check_label(text, before, after);
    const int deleted = KAVONetIpAliasDelete(NEW_ADDRESS);
    HOLDS(deleted == 0 || (deleted == -1 && !after.whole), text.c_str());
    const Model last = read_model();
    HOLDS(deleted != 0 || last.aliases.size() == after.aliases.size() - 1, text.c_str());
    HOLDS(deleted != 0 || count_of(last, NEW_ADDRESS) == 0, text.c_str());
    HOLDS(KAVONetIpAliasDelete(NEW_ADDRESS) == -1 || deleted != 0, text.c_str());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    support::write_file(store_path(), text);
    const Model model = read_model();
    check_list(text, model);
    check_apply(text, model);
    check_add_and_delete(text, model);
    support::clear_log();
    return 0;
}
