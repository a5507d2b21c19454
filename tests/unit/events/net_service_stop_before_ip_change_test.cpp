#include <gtest/gtest.h>

#include "kavonetsdk/event.h"
#include "support/log_capture.h"
#include "support/read_back.h"

TEST(ServiceStopBeforeIpChange, DoesNothingAndSucceeds)
{
    support::clear_error();
    support::clear_log();
    EXPECT_EQ(0, KLIBServiceStopBeforeIPChange());
    EXPECT_EQ(support::NO_ERROR_SET, support::last_error());
    EXPECT_TRUE(support::log_lines().empty());
}
