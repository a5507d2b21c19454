#include "addr_test.h"

namespace {

using NetIsPrivateIp = AddrTest;

TEST_F(NetIsPrivateIp, PrivateNetworksFromFirstToLastAddress)
{
    for (const char *text :
         {"10.0.0.0", "10.255.255.255", "127.0.0.0", "127.255.255.255", "169.254.0.0", "169.254.255.255", "172.16.0.0",
          "172.31.255.255", "192.168.0.0", "192.168.255.255", "012.1.1.1", "0xc0.0xa8.1.1"})
        EXPECT_EQ(1, KAVONetIsPrivateIP(text)) << text;
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetIsPrivateIp, TheAddressesAroundThemAreNot)
{
    for (const char *text : {"9.255.255.255", "11.0.0.0", "126.255.255.255", "128.0.0.0", "169.253.255.255",
                             "169.255.0.0", "172.15.255.255", "172.32.0.0", "192.167.255.255", "192.169.0.0", "0.0.0.0",
                             "255.255.255.255", "8.8.8.8", "010.1.1.1", "100.64.0.1", "224.0.0.1"})
        EXPECT_EQ(0, KAVONetIsPrivateIP(text)) << text;
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetIsPrivateIp, OtherTextsAreNot)
{
    for (const char *text : {"", "10", "10.0.0", "10..0.1", "x", "fe80::1"}) {
        clear();
        EXPECT_EQ(0, KAVONetIsPrivateIP(text)) << text;
        EXPECT_EQ(bad_address("net_sep_ip.cpp", 27), last_error()) << text;
    }
    for (const char *text : {"10.0.0.1x", "10.0.0.1/8", "10.0.0.1.1"}) {
        clear();
        EXPECT_EQ(0, KAVONetIsPrivateIP(text)) << text;
        EXPECT_EQ(bad_address("net_sep_ip.cpp", 38), last_error()) << text;
    }
    clear();
    for (const char *text : {"10.0.0.", "10.256.0.1", "10.0.0.-1", "-246.0.0.1", "266.0.0.1", "4294967306.0.0.1"})
        EXPECT_EQ(0, KAVONetIsPrivateIP(text)) << text;
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetIsPrivateIp, RefusesNull)
{
    EXPECT_EQ(-1, KAVONetIsPrivateIP(nullptr));
    EXPECT_TRUE(is_bad_parameter_in("net_is_private_ip.cpp"));
}

} // namespace
