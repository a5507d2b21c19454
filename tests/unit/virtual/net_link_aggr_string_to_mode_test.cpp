#include <gtest/gtest.h>

#include "kavonetsdk/error.h"
#include "kavonetsdk/virtual.h"
#include "support/read_back.h"

TEST(LinkAggrStringToMode, IsTheOppositeOfNaming)
{
    for (int mode = 1; mode <= 8; ++mode)
        EXPECT_EQ(mode, KAVONetLinkAggrStringToMode(KAVONetLinkAggrModeToString(mode))) << mode;
    EXPECT_EQ(0, KAVONetLinkAggrStringToMode("unknown"));
}

TEST(LinkAggrStringToMode, WhatFollowsTheNameDoesNotCount)
{
    EXPECT_EQ(5, KAVONetLinkAggrStringToMode("balance-rr 0"));
    EXPECT_EQ(2, KAVONetLinkAggrStringToMode("802.3ad 4\n"));
    EXPECT_EQ(4, KAVONetLinkAggrStringToMode("active-backups"));
}

TEST(LinkAggrStringToMode, OtherTextsAreNoMode)
{
    support::clear_error();
    for (const char *text : {"", " balance-rr", "balance", "balance-r", "BALANCE-RR", "802.3", "broadcast 3", "5"})
        EXPECT_EQ(0, KAVONetLinkAggrStringToMode(text)) << text;
    EXPECT_EQ(support::NO_ERROR_SET, support::last_error());
}

TEST(LinkAggrStringToMode, RefusesNull)
{
    support::clear_error();
    EXPECT_EQ(0, KAVONetLinkAggrStringToMode(nullptr));
    EXPECT_EQ(NET_ERR_BAD_PARAMETER, static_cast<int>(support::last_error().code));
    EXPECT_EQ("net_link_aggr_string_to_mode.cpp", support::last_error().file);
}
