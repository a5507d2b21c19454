// What the command says when something fails.
#pragma once

#include <string>

#include "session.h"

namespace cli {

// A failure as the command describes it. The error record of the calling thread, where a library call left one, gives code,
// meaning and place; what is filled in here wins over it.
struct Failure {
    std::string what;        // "cannot bring eth0 up"
    std::string reason{};    // why, where the command knows better than the code
    std::string advice{};    // what to do, likewise
    bool needs_root = false; // only root may do this
};

// What to do where nothing better is known.
inline constexpr char NO_CODE_ADVICE[] = "run it again with -v, which shows the library's log lines";

// Empties the calling thread's error record, so that a later one belongs to the calls in between.
void forget_error();

// Keeps the calling thread's error record over calls that are made to explain it.
class KeptError {
public:
    KeptError();
    KeptError(const KeptError &) = delete;
    KeptError &operator=(const KeptError &) = delete;
    ~KeptError();

private:
    unsigned code_;
    const char *file_; // a name in the record lives as long as the program
    int line_;
};

// Reports a failure on standard error, as text or JSON, and returns FAILED.
int fail(const Session &session, const Failure &failure);

// The same for a failure that has to do with one interface: tells apart that it does not exist.
int fail_on(const Session &session, const std::string &interface, Failure failure);

// Reports a command line that is not understood and returns USAGE.
int misused(const Session &session, const std::string &what, const std::string &advice);

} // namespace cli
