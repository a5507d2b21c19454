// What the files of the nouns share: how a noun puts its verbs into the command line.
#pragma once

#include <functional>
#include <span>
#include <string>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include "session.h"

namespace cli {

// A word of the command line that others may follow: a noun or a verb.
struct Word {
    const char *name;
    const char *summary;
    void (*build)(CLI::App &app, Session &session);
};

// All nouns, in the order of help.
std::span<const Word> nouns();

// Adds the words that may follow, one of which must. When the user has typed one of them right here, only that one is
// added: making the whole command line takes longer than most commands do.
void add_words(CLI::App &app, Session &session, std::span<const Word> words, const char *examples);

// Ends a verb: what it does when it is chosen. Examples are whole command lines, one a line; null for none.
void set_action(CLI::App &verb, Session &session, std::function<int()> action, const char *examples = nullptr);

// A name that a verb takes, and that must not be empty.
CLI::Option *add_name(CLI::App &verb, const char *argument, std::string &name, const char *summary);

// The interface that a verb is about. Completion offers the interfaces for it.
inline constexpr char INTERFACE_ARGUMENT[] = "IF";
CLI::Option *add_interface(CLI::App &verb, std::string &interface,
                           const char *summary = "The interface, for example eth0");

// The verb "show": of one interface, or of all when none is named.
struct Show {
    int (*one)(const Session &session, const std::string &name);
    int (*all)(const Session &session);
    const char *summary; // of its argument
    const char *examples;
};
void build_show(CLI::App &verb, Session &session, const Show &show);

// The file that a verb reads or writes. Completion offers files for it.
inline constexpr char FILE_ARGUMENT[] = "FILE";
CLI::Option *add_file(CLI::App &verb, std::string &file, const char *summary);

// An option whose values are words, given as "one|two|three": help shows them, completion offers them, others are refused.
CLI::Option *restrict_to(CLI::Option *option, const std::string &words);

// The words of such a text.
std::vector<std::string> split_words(const std::string &words);

// An option whose value is a number of seconds within limits.
CLI::Option *restrict_to_seconds(CLI::Option *option, double least, double most);

// Such a number, once it has been let through.
double seconds_of(const std::string &text);

// An option whose value is a port.
inline constexpr int LAST_PORT = 65535;
CLI::Option *restrict_to_port(CLI::Option *option);

// Such a number; 0 for a text that is none.
int port_of(const std::string &text);

} // namespace cli
