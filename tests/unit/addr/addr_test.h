// What the tests of the address functions share.
#pragma once

#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <syslog.h>

#include "kavonetsdk/addr.h"
#include "kavonetsdk/error.h"
#include "support/log_capture.h"
#include "support/read_back.h"

using support::Error;
using support::last_error;
using support::logged;
using support::NO_ERROR_SET;

// Each test begins with an empty record and log.
class AddrTest : public testing::Test {
protected:
    void SetUp() override { clear(); }

    static void clear()
    {
        support::clear_error();
        support::clear_log();
    }
};

inline Error bad_address(const char *file, int line)
{
    return {NET_ERR_BAD_ADDRESS, file, line};
}

inline Error bad_parameter(const char *file, int line)
{
    return {NET_ERR_BAD_PARAMETER, file, line};
}

// For refusals whose line is wherever the statement stands.
inline testing::AssertionResult is_bad_parameter_in(const char *file)
{
    const Error error = last_error();
    if (error.code == NET_ERR_BAD_PARAMETER && error.file == file && error.line > 0)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << error;
}

// A caller's buffer of an exact size, with bytes around it that nobody may write.
class Buffer {
public:
    explicit Buffer(size_t size, const std::string &content = "") : size_(size), bytes_(size + 2 * GUARD, '#')
    {
        memset(text(), '~', size);
        memcpy(text(), content.c_str(), content.size() < size ? content.size() + 1 : size);
    }
    explicit Buffer(const std::string &content) : Buffer(content.size() + 1, content) {}

    char *text() { return bytes_.data() + GUARD; }
    [[nodiscard]] size_t size() const { return size_; }
    std::string str() { return {text(), strnlen(text(), size_)}; }

    [[nodiscard]] bool guarded() const
    {
        const std::string guard(GUARD, '#');
        return std::string(bytes_.data(), GUARD) == guard && std::string(bytes_.data() + GUARD + size_, GUARD) == guard;
    }

private:
    static constexpr size_t GUARD = 64;
    size_t size_;
    std::vector<char> bytes_;
};
