// A password that the user gives: never an argument, which every process may read.
#pragma once

#include <cstddef>
#include <string>

namespace cli {

// A password in memory; it is overwritten when it is no longer needed.
class Password {
public:
    Password() = default;
    Password(const Password &) = delete;
    Password &operator=(const Password &) = delete;
    ~Password();

    // Reads one line from standard input: at a terminal after the prompt, which goes to standard error, and without echo.
    // False with a reason when there is none, when more follows it or when it does not fit. An interrupt ends the process, the
    // terminal as it was.
    bool read(const std::string &prompt, std::string &reason);

    [[nodiscard]] const char *c_str() const { return text_; }
    [[nodiscard]] size_t length() const { return length_; }

private:
    char text_[1024] = "";
    size_t length_ = 0;
};

} // namespace cli
