#include "addr_test.h"

namespace {

using NetGetAddrType = AddrTest;

TEST_F(NetGetAddrType, TellsTheFamily)
{
    for (const char *text : {"10.0.0.1", "0.0.0.0", "255.255.255.255", "127.0.0.1"})
        EXPECT_EQ(2, KAVONetGetAddrType(text)) << text;
    for (const char *text : {"::", "::1", "fe80::1", "2001:db8:0:1:2:3:4:5", "::ffff:10.0.0.1", "FE80::ABCD"})
        EXPECT_EQ(10, KAVONetGetAddrType(text)) << text;
    for (const char *text : {"", " ", "x", "10.0.0", "10.0.0.256", "010.0.0.1", "0x0a.0.0.1", "10.0.0.1/8", "10.0.0.1 ",
                             "fe80::1/64", "fe80::1%eth0", ":::", "1::2::3", "12345::", "1:2:3:4:5:6:7", "\xff"})
        EXPECT_EQ(0, KAVONetGetAddrType(text)) << text;
    EXPECT_EQ(0, KAVONetGetAddrType(std::string(100000, ':').c_str()));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetGetAddrType, RefusesNull)
{
    EXPECT_EQ(0, KAVONetGetAddrType(nullptr));
    EXPECT_TRUE(is_bad_parameter_in("net_get_addr_type.cpp"));
}

} // namespace
