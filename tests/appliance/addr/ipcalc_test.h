// What the tests of the two functions that ask ipcalc share: a recorder in its place.
#pragma once

#include <csignal>
#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <syslog.h>
#include <unistd.h>

#include "kavonetsdk/addr.h"
#include "kavonetsdk/error.h"
#include "support/log_capture.h"
#include "support/private_root.h"
#include "support/read_back.h"

class IpcalcTest : public support::PrivateRoot {
protected:
    using Function = int(const char *word, char *out, size_t size);

    explicit IpcalcTest(Function *function) : function_(function) {}

    // Asks into a buffer of `size` bytes that holds "before", and gives what it holds then.
    std::string ask(size_t size = 64, const char *word = "192.168.1.5/24")
    {
        std::vector<char> bytes(GUARD + size + GUARD, '#');
        char *out = bytes.data() + GUARD;
        strncpy(out, "before", size);
        const auto descriptors = support::open_descriptors();
        result = function_(word, out, size);
        EXPECT_EQ(descriptors, support::open_descriptors());
        EXPECT_EQ(std::string(GUARD, '#'), std::string(bytes.data(), GUARD));
        EXPECT_EQ(std::string(GUARD, '#'), std::string(out + size, GUARD));
        return {out, strnlen(out, size)};
    }

    void refuses(const char *word, char *out, size_t size, const char *file)
    {
        support::clear_error();
        EXPECT_EQ(-1, function_(word, out, size));
        EXPECT_EQ(NET_ERR_BAD_PARAMETER, static_cast<int>(support::last_error().code));
        EXPECT_EQ(file, support::last_error().file);
        EXPECT_GT(support::last_error().line, 0);
    }

    int result = -7;

private:
    static constexpr size_t GUARD = 32;
    Function *function_;
};
