#include "kavonetsdk/diag.h"

#include <cstring>

#include <gtest/gtest.h>
#include <syslog.h>

#include "kavonetsdk/error.h"
#include "support/faults.h"
#include "support/log_capture.h"
#include "support/read_back.h"

using support::last_error;
using support::logged;

namespace {

class NetStatInit : public testing::Test {
protected:
    void SetUp() override
    {
        support::clear_error();
        support::clear_log();
    }
    void TearDown() override { support::clear_faults(); }
};

TEST_F(NetStatInit, GivesZeroedRecordsWithTheFlag)
{
    for (const unsigned int count : {1U, 2U, 256U, 5000U}) {
        NetStat *records = KLIBNetStatInit(count);
        ASSERT_NE(nullptr, records) << count;
        NetStat expected{};
        expected.nFlag = 1;
        for (unsigned int i = 0; i < count; ++i) {
            ASSERT_EQ(0, memcmp(&expected, &records[i], sizeof expected)) << i;
            memset(&records[i], 0xff, sizeof records[i]); // all of it belongs to the caller
        }
        KLIBNetStatFree(records);
    }
    EXPECT_EQ(support::NO_ERROR_SET, last_error());
    EXPECT_TRUE(support::log_lines().empty());
}

TEST_F(NetStatInit, RefusesNone)
{
    EXPECT_EQ(nullptr, KLIBNetStatInit(0));
    EXPECT_EQ(NET_ERR_BAD_PARAMETER, static_cast<int>(last_error().code));
    EXPECT_EQ("net_stat_init.cpp", last_error().file);
    EXPECT_GT(last_error().line, 0);
    EXPECT_EQ(LOG_ERR, logged("net_stat_init\\.cpp:[0-9]+ Invaild Argument \\(0 != nItem\\)=\\[0\\]\n"));
}

TEST_F(NetStatInit, FailsWithoutMemory)
{
    support::fail_call("calloc");
    EXPECT_EQ(nullptr, KLIBNetStatInit(4));
    EXPECT_EQ(NET_ERR_OUT_OF_MEMORY, static_cast<int>(last_error().code));
    EXPECT_EQ("net_stat_init.cpp", last_error().file);
    EXPECT_GT(last_error().line, 0);
    EXPECT_TRUE(support::log_lines().empty());
}

} // namespace
