#include "noun.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "text.h"

namespace cli {

#define NOUN(name, summary) void noun_##name(CLI::App &noun, Session &session);
#include "nouns.inc"
#undef NOUN

namespace {

// A noun as the user types it: its parts are joined by a dash, which no name of a function can hold.
template <size_t Size> struct TypedName {
    char text[Size];

    consteval TypedName(const char (&name)[Size]) { std::replace_copy(name, name + Size, text, '_', '-'); }
};

template <TypedName Name> constexpr const char *typed_name()
{
    return Name.text;
}

constexpr Word NOUNS[] = {
#define NOUN(name, summary) {typed_name<#name>(), summary, noun_##name},
#include "nouns.inc"
#undef NOUN
};

void add_common_options(CLI::App &app, Session &session)
{
    app.add_flag("--json", session.json, "Print JSON, errors included");
    app.add_flag("-v,--verbose", session.verbose, "Show the library's log lines on standard error");
}

void set_examples(CLI::App &app, const char *examples)
{
    app.footer(std::string("Examples:\n") + examples);
}

} // namespace

std::span<const Word> nouns()
{
    return NOUNS;
}

void add_words(CLI::App &app, Session &session, std::span<const Word> words, const char *examples)
{
    const char *typed = session.take_word();
    app.require_subcommand(1);
    for (const Word &word : words) {
        // The options of this place, and its help, can only stand before the word.
        if (strcmp(word.name, typed) == 0) {
            word.build(*app.add_subcommand(word.name, word.summary), session);
            return;
        }
    }
    session.forget_words();
    add_common_options(app, session);
    set_examples(app, examples);
    for (const Word &word : words)
        word.build(*app.add_subcommand(word.name, word.summary), session);
}

void set_action(CLI::App &verb, Session &session, std::function<int()> action, const char *examples)
{
    add_common_options(verb, session);
    if (examples != nullptr)
        set_examples(verb, examples);
    verb.final_callback([&session, chosen = std::move(action)] { session.run = chosen; });
}

CLI::Option *add_name(CLI::App &verb, const char *argument, std::string &name, const char *summary)
{
    CLI::Option *option = verb.add_option(argument, name, summary)->type_name("");
    // An empty name is most often a variable that a script has not set; it must not stand for "all".
    option->check([](const std::string &given) { return given.empty() ? std::string("is empty") : std::string(); });
    return option;
}

CLI::Option *add_interface(CLI::App &verb, std::string &interface, const char *summary)
{
    return add_name(verb, INTERFACE_ARGUMENT, interface, summary);
}

void build_show(CLI::App &verb, Session &session, const Show &show)
{
    const auto interface = std::make_shared<std::string>();
    add_interface(verb, *interface, show.summary);
    set_action(
        verb, session,
        [&session, &show, interface] { return interface->empty() ? show.all(session) : show.one(session, *interface); },
        show.examples);
}

CLI::Option *add_file(CLI::App &verb, std::string &file, const char *summary)
{
    return add_name(verb, FILE_ARGUMENT, file, summary);
}

CLI::Option *restrict_to(CLI::Option *option, const std::string &words)
{
    option->type_name(words);
    option->check([words](const std::string &value) {
        const auto allowed = split_words(words);
        const bool found = std::find(allowed.begin(), allowed.end(), value) != allowed.end();
        return found ? std::string() : value + " is none of " + words;
    });
    return option;
}

std::vector<std::string> split_words(const std::string &words)
{
    std::vector<std::string> result;
    for (size_t begin = 0; begin <= words.size();) {
        const size_t end = std::min(words.find('|', begin), words.size());
        if (end > begin)
            result.push_back(words.substr(begin, end - begin));
        begin = end + 1;
    }
    return result;
}

CLI::Option *restrict_to_seconds(CLI::Option *option, double least, double most)
{
    return option->check([least, most](const std::string &text) {
        const double seconds = seconds_of(text);
        // Written so that what is no number fails too.
        if (seconds >= least && seconds <= most)
            return std::string();
        return formatted("%s is no number of seconds from %g to %g", text.c_str(), least, most);
    });
}

double seconds_of(const std::string &text)
{
    // Plain decimal numbers only; strtod would take "0x10", "inf" and blanks too.
    if (text.find_first_not_of("0123456789.") != std::string::npos)
        return NAN;
    char *end = nullptr;
    const double seconds = strtod(text.c_str(), &end);
    return end != text.c_str() && *end == '\0' ? seconds : NAN;
}

CLI::Option *restrict_to_port(CLI::Option *option)
{
    return option->check([](const std::string &text) {
        return port_of(text) != 0 ? std::string() : text + " is no port from 1 to 65535";
    });
}

int port_of(const std::string &text)
{
    constexpr size_t DIGITS = 5;
    if (text.empty() || text.size() > DIGITS || text.find_first_not_of("0123456789") != std::string::npos)
        return 0;
    const int port = static_cast<int>(strtol(text.c_str(), nullptr, 10));
    return port <= LAST_PORT ? port : 0;
}

} // namespace cli
