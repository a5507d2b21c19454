// The times that callers are told to reckon with.
#include <gtest/gtest.h>

#include "plugin/deliver.h"
#include "systemd/limits.h"

TEST(LimitsTest, ASubscriberHasHalfAMinute)
{
    EXPECT_EQ(30, kavo::SUBSCRIBER_SECONDS);
}

TEST(LimitsTest, AUnitIsWaitedForAsLongAsTheHeaderSays)
{
    EXPECT_EQ(10, kavo::CONNECT_SECONDS);
    EXPECT_EQ(25, kavo::CALL_SECONDS);
    EXPECT_EQ(100, kavo::JOB_SECONDS);
}
