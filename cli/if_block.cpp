// kavonet if block: the features that must not use an interface.
#include <memory>

#include "errors.h"
#include "interface.h"
#include "noun.h"
#include "text.h"

namespace cli {

void build_block(CLI::App &block, Session &session);

namespace {

struct Feature {
    const char *name;
    unsigned flag;
};

constexpr Feature FEATURES[] = {
    {"ha", NET_IF_BLOCK_HA},
    {"aha", NET_IF_BLOCK_AHA},
    {"virtual", NET_IF_BLOCK_VIRTUAL},
    {"quentra", NET_IF_BLOCK_QUENTRA},
};
constexpr char FEATURE_WORDS[] = "ha|aha|virtual|quentra";
constexpr unsigned EVERY_FEATURE = NET_IF_BLOCK_HA | NET_IF_BLOCK_AHA | NET_IF_BLOCK_VIRTUAL | NET_IF_BLOCK_QUENTRA;

struct Arguments {
    std::string interface;
    std::vector<std::string> features;
};

unsigned flags_of(const std::vector<std::string> &names)
{
    unsigned flags = 0;
    for (const Feature &feature : FEATURES) {
        for (const std::string &name : names)
            flags |= name == feature.name ? feature.flag : 0;
    }
    return flags;
}

bool read_blocks(const std::string &interface, unsigned &flags)
{
    flags = 0;
    forget_error();
    return KAVONetGetIfBlock(interface.c_str(), &flags) == 0;
}

std::string words_of(unsigned flags)
{
    std::string text;
    for (const Feature &feature : FEATURES) {
        if ((flags & feature.flag) != 0)
            text += (text.empty() ? "" : " ") + std::string(feature.name);
    }
    return text.empty() ? "nothing" : text;
}

void put_words(Json &json, const char *key, unsigned flags)
{
    json.key(key).begin_array();
    for (const Feature &feature : FEATURES) {
        if ((flags & feature.flag) != 0)
            json.value(feature.name);
    }
    json.end_array();
}

// The flags live in the interface's configuration file.
int fail_block(const Session &session, const char *doing, const std::string &interface, bool needs_root)
{
    Failure failure{.what = std::string("cannot ") + doing + " the blocks of " + interface, .needs_root = needs_root};
    if (KLIBCErrGet() == NET_ERR_OPEN_FAILED)
        failure.advice = "an interface has blocks only once it is configured: kavonet ipv4 show " + interface;
    return fail(session, failure);
}

int show(const Session &session, const Arguments &arguments)
{
    unsigned flags = 0;
    if (!read_blocks(arguments.interface, flags))
        return fail_block(session, "read", arguments.interface, false);
    if (!session.json)
        return print(printable(arguments.interface) + ": " + words_of(flags) + "\n");
    Json json;
    json.begin_object().field("name", arguments.interface);
    put_words(json, "blocked", flags);
    json.end_object();
    return print(json.text() + "\n");
}

int change(const Session &session, const Arguments &arguments, unsigned mask, bool enable)
{
    unsigned before = 0;
    unsigned after = 0;
    if (!read_blocks(arguments.interface, before))
        return fail_block(session, "read", arguments.interface, false);
    forget_error();
    if (KAVONetSetIfBlock(arguments.interface.c_str(), mask, enable ? 1 : 0) != 0)
        return fail_block(session, enable ? "set" : "clear", arguments.interface, true);
    if (!read_blocks(arguments.interface, after))
        return fail_block(session, "read", arguments.interface, false);
    if (!session.json)
        return print(printable(arguments.interface) + ": " + words_of(before) + " -> " + words_of(after) + "\n");
    Json json;
    json.begin_object().field("name", arguments.interface).field("action", enable ? "set" : "clear");
    json.key("before").begin_object();
    put_words(json, "blocked", before);
    json.end_object().key("after").begin_object();
    put_words(json, "blocked", after);
    json.end_object().end_object();
    return print(json.text() + "\n");
}

void build_show(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_interface(verb, arguments->interface)->required();
    set_action(
        verb, session, [&session, arguments] { return show(session, *arguments); }, "  kavonet if block show eth0");
}

void build_set(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_interface(verb, arguments->interface)->required();
    restrict_to(verb.add_option("FEATURE", arguments->features, "What to block"), FEATURE_WORDS)->required();
    set_action(
        verb, session,
        [&session, arguments] { return change(session, *arguments, flags_of(arguments->features), true); },
        "  kavonet if block set eth0 ha virtual");
}

void build_clear(CLI::App &verb, Session &session)
{
    const auto arguments = std::make_shared<Arguments>();
    add_interface(verb, arguments->interface)->required();
    restrict_to(verb.add_option("FEATURE", arguments->features, "What to clear; all when left out"), FEATURE_WORDS);
    set_action(
        verb, session,
        [&session, arguments] {
            const unsigned mask = arguments->features.empty() ? EVERY_FEATURE : flags_of(arguments->features);
            return change(session, *arguments, mask, false);
        },
        "  kavonet if block clear eth0 ha\n"
        "  kavonet if block clear eth0");
}

constexpr Word VERBS[] = {
    {"show", "Show the blocked features", build_show},
    {"set", "Block features", build_set},
    {"clear", "Let features use the interface again", build_clear},
};

} // namespace

void build_block(CLI::App &block, Session &session)
{
    add_words(block, session, VERBS,
              "  kavonet if block show eth0\n"
              "  kavonet if block set eth0 ha virtual\n"
              "  kavonet if block clear eth0");
}

} // namespace cli
