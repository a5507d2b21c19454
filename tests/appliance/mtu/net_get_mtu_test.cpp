#include "appliance/mtu/mtu_test.h"

namespace {

constexpr char FILE_NAME[] = "net_get_mtu.cpp";

using GetMtu = MtuTest;

TEST_F(GetMtu, GivesTheKernelsValue)
{
    add_card("lan0");
    EXPECT_EQ(1500, KAVOGetMTU("lan0"));
    shell("ip link set lan0 mtu 9000");
    EXPECT_EQ(9000, KAVOGetMTU("lan0"));
    EXPECT_EQ(65536, KAVOGetMTU("lo"));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(GetMtu, AnUnknownInterfaceHasZero)
{
    EXPECT_EQ(0, KAVOGetMTU("none0"));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(GetMtu, AFailedSocketIsAFailure)
{
    fail_call("socket");
    EXPECT_EQ(-1, KAVOGetMTU("lo"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(GetMtu, NamesOfSixteenAreCutAndLongerOnesRefused)
{
    has_mtu(support::NAME_OF_15, 1234);
    EXPECT_EQ(1234, KAVOGetMTU(support::NAME_OF_15));
    EXPECT_EQ(1234, KAVOGetMTU(support::NAME_OF_16));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(-1, KAVOGetMTU(support::NAME_OF_17));
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "interface name is too long"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(GetMtu, RefusesNullAndHostileNames)
{
    EXPECT_EQ(-1, KAVOGetMTU(nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    for (const std::string &name : support::hostile_names()) {
        support::clear_error();
        EXPECT_EQ(-1, KAVOGetMTU(name.c_str())) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
    EXPECT_EQ(0, support::ioctl_calls());
}

} // namespace
