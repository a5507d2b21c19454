// What the tests of the interface counters share: a table of interfaces as the test writes it.
#pragma once

#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "kavonetsdk/diag.h"
#include "kavonetsdk/error.h"
#include "support/faults.h"
#include "support/log_capture.h"
#include "support/private_root.h"
#include "support/read_back.h"

using support::Error;
using support::fail_call;
using support::last_error;
using support::NO_ERROR_SET;
using testing::ElementsAre;
using testing::IsEmpty;

inline constexpr char HEADER[] =
    "Inter-|   Receive                                                |  Transmit\n"
    " face |bytes    packets errs drop fifo frame compressed multicast|bytes    packets errs drop fifo colls carrier "
    "compressed\n";

class StatTest : public support::PrivateRoot {
protected:
    void SetUp() override
    {
        PrivateRoot::SetUp();
        if (!IsSkipped() && !HasFatalFailure())
            descriptors_ = support::open_descriptors();
    }

    void TearDown() override
    {
        if (!IsSkipped() && !HasFatalFailure()) {
            EXPECT_EQ(descriptors_, support::open_descriptors());
        }
        PrivateRoot::TearDown();
    }

    // The table of interfaces holds just this from now on.
    static void table(const std::string &content)
    {
        if (!plain_)
            plain_proc_net();
        plain_ = true;
        support::write_file("/proc/net/dev", content);
    }

    static void lines(const std::string &content) { table(HEADER + content); }

    // An ordinary line with numbers that tell the columns apart.
    static std::string line(const std::string &name)
    {
        return name + ": 101 102 103 104 105 106 107 108 109 110 111 112 113 114 115 116\n";
    }

    static int is_bad_parameter_in(const std::string &file)
    {
        const Error error = last_error();
        return error.code == NET_ERR_BAD_PARAMETER && error.file == file && error.line > 0 ? 1 : 0;
    }

    StatTest() { plain_ = false; }

private:
    static inline bool plain_ = false;
    std::vector<std::string> descriptors_;
};
