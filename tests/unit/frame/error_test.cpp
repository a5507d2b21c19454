#include "frame/error.h"

#include <thread>

#include <gtest/gtest.h>

#include "support/read_back.h"

using kavonet::bare_name;
using kavonet::fail;
using kavonet::fail_at;
using support::Error;
using support::last_error;

namespace {

TEST(Fail, RecordsTheStatement)
{
    support::clear_error();
    const int line = __LINE__ + 1;
    EXPECT_EQ(-1, fail(NET_ERR_OPEN_FAILED, -1));
    EXPECT_EQ((Error{NET_ERR_OPEN_FAILED, "error_test.cpp", line}), last_error());
}

TEST(Fail, GivesAnyResultBack)
{
    EXPECT_FALSE(fail(NET_ERR_BAD_PARAMETER, false));
    EXPECT_EQ(nullptr, fail<const char *>(NET_ERR_BAD_PARAMETER, nullptr));
    EXPECT_EQ(int64_t{1} << 40, fail(NET_ERR_BAD_PARAMETER, int64_t{1} << 40));
}

TEST(FailAt, RecordsTheGivenLine)
{
    support::clear_error();
    EXPECT_EQ(0, fail_at(173, NET_ERR_BAD_PARAMETER, 0));
    EXPECT_EQ((Error{NET_ERR_BAD_PARAMETER, "error_test.cpp", 173}), last_error());
}

TEST(FailAt, RecordsForItsThreadAlone)
{
    support::clear_error();
    std::thread([] {
        fail_at(5, NET_ERR_BAD_PARAMETER, 0);
        EXPECT_EQ((Error{NET_ERR_BAD_PARAMETER, "error_test.cpp", 5}), last_error());
    }).join();
    EXPECT_EQ(support::NO_ERROR_SET, last_error());
}

TEST(KeptFailure, OutlastsOtherFailures)
{
    fail_at(173, NET_ERR_BAD_PARAMETER, 0);
    const kavonet::KeptFailure kept;
    fail_at(5, NET_ERR_EXEC_FAILED, 0);
    kept.put_back();
    EXPECT_EQ((Error{NET_ERR_BAD_PARAMETER, "error_test.cpp", 173}), last_error());
}

TEST(BareName, LeavesTheFoldersOut)
{
    EXPECT_STREQ("a.cpp", bare_name("a.cpp"));
    EXPECT_STREQ("a.cpp", bare_name("/x/y/a.cpp"));
    EXPECT_STREQ("a.cpp", bare_name("../y/a.cpp"));
    EXPECT_STREQ("", bare_name("/x/"));
}

} // namespace
