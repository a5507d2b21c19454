// Runs the built command as a process, on pipes or at a terminal, and reads what it said.
#pragma once

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json-c/json.h>

#include "support/private_root.h"
#include "support/read_back.h"

namespace cli_test {

// Every noun as it is typed, in the order of help.
inline const std::vector<std::string> NOUNS = [] {
    std::vector<std::string> nouns = {
#define NOUN(name, summary) #name,
#include "../../../cli/nouns.inc"
#undef NOUN
    };
    for (std::string &noun : nouns)
        std::replace(noun.begin(), noun.end(), '_', '-');
    return nouns;
}();

using Environment = std::map<std::string, std::string>;

struct Result {
    int status = -1; // its exit status, 128 + n when signal n ended it
    std::string out;
    std::string err;
};

// What runs otherwise than usual.
struct Setting {
    Environment environment{};
    const char *input = nullptr;   // what standard input holds
    const char *output = nullptr;  // a file that is opened for standard output
    bool closed_output = false;    // standard output is closed
    bool unread_output = false;    // standard output is a pipe that nobody reads
    unsigned user = 0;             // whose process it is
    int interrupt_after_lines = 0; // an interrupt is sent after so many lines of output
};

Result kavonet(const std::vector<std::string> &arguments, const Setting &setting = {});

// The same at a terminal of 24 lines and 80 columns, which is its standard input, output and error. `typed` is typed when
// it has shown `prompt`.
struct Terminal {
    Environment environment{};
    std::string prompt{};
    std::string typed{};
};
Result at_terminal(const std::vector<std::string> &arguments, const Terminal &terminal = {});

// JSON text, read strictly; a failure of the test and null when it is none.
class Json {
public:
    explicit Json(const std::string &line);

    // A member; an element. Null when there is none.
    [[nodiscard]] Json operator[](const char *key) const;
    [[nodiscard]] Json operator[](int index) const;
    // The element of an array whose "name" it is.
    [[nodiscard]] Json named(const std::string &name) const;
    [[nodiscard]] size_t size() const;
    [[nodiscard]] bool is_null() const { return value_ == nullptr; }
    [[nodiscard]] bool has(const char *key) const;
    [[nodiscard]] std::string text() const;
    [[nodiscard]] long long number() const;
    [[nodiscard]] bool yes() const;

private:
    explicit Json(json_object *value) : value_(value) {}
    std::shared_ptr<json_object> root_;
    json_object *value_ = nullptr;
};

// A private appliance with the card eth0 (10.0.0.5/24, up, configured) and its peer eth0p, and units that all requests
// succeed for.
class Command : public support::PrivateRoot {
protected:
    void SetUp() override;
};

} // namespace cli_test
