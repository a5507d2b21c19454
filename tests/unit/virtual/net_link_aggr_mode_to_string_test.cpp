#include <climits>

#include <gtest/gtest.h>

#include "kavonetsdk/virtual.h"

TEST(LinkAggrModeToString, NamesEveryMode)
{
    constexpr const char *NAMES[] = {"unknown",    "balance-alb",       "802.3ad",     "balance-xor", "active-backup",
                                     "balance-rr", "ovs-active-backup", "balance-slb", "balance-tcp"};
    for (int mode = 0; mode <= 8; ++mode)
        EXPECT_STREQ(NAMES[mode], KAVONetLinkAggrModeToString(mode)) << mode;
}

TEST(LinkAggrModeToString, OtherNumbersAreUnknown)
{
    for (const int mode : {9, 100, -1, INT_MAX, INT_MIN})
        EXPECT_STREQ("unknown", KAVONetLinkAggrModeToString(mode)) << mode;
}
