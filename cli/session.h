// One run of the command: what was asked for, and how what comes of it leaves the process.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace cli {

// What the process ends with; scripts depend on these.
enum ExitCode { DONE = 0, FAILED = 1, USAGE = 2, FOUND = 3 };

struct Session {
    bool json = false;
    bool verbose = false;
    // The chosen command; it returns an ExitCode.
    std::function<int()> run;

    // The words that the user typed and that have not been looked at yet, with a null at the end.
    char **words = nullptr;

    // The next of them; empty when there is none.
    const char *take_word() { return words == nullptr || *words == nullptr ? "" : *words++; }
    void forget_words() { words = nullptr; }
};

// Whether control sequences may go to the descriptor: it is a terminal and not a dumb one.
bool is_smart_terminal(int fd);
// The same, and the user wants colours.
bool wants_colours(int fd);

// Makes sure that the descriptors 0 to 2 are open: a file opened later must not take the place of standard output.
// False when that cannot be done.
bool secure_standard_files();

// Writes to standard output. DONE, or FAILED with a message (none when the reader has gone away).
int print(std::string_view text);
// Closes standard output; a file system may report only then that it is full.
int finish_output(int result);
// Writes to standard error; nobody is left to tell when that fails.
void print_error(std::string_view text);

} // namespace cli
