#include "addr_test.h"

namespace {

using NetIsSameSubnet = AddrTest;

TEST_F(NetIsSameSubnet, V4)
{
    EXPECT_EQ(1, KAVONetIsSameSubnet("10.1.1.1", "10.1.1.254", "255.255.255.0"));
    EXPECT_EQ(0, KAVONetIsSameSubnet("10.1.1.1", "10.1.2.1", "255.255.255.0"));
    EXPECT_EQ(1, KAVONetIsSameSubnet("10.1.1.1", "10.1.2.1", "255.255.0.0"));
    EXPECT_EQ(1, KAVONetIsSameSubnet("10.1.1.1", "200.1.2.1", "0.0.0.0"));
    EXPECT_EQ(1, KAVONetIsSameSubnet("10.1.1.1", "10.1.1.1", "255.255.255.255"));
    EXPECT_EQ(0, KAVONetIsSameSubnet("10.1.1.1", "10.1.1.2", "255.255.255.255"));
    EXPECT_EQ(1, KAVONetIsSameSubnet("10.1.1.1", "10.2.1.1", "255.0.255.0")); // masks with holes are masks here
    EXPECT_EQ(0, KAVONetIsSameSubnet("0.0.0.0", "128.0.0.0", "128.0.0.0"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetIsSameSubnet, V6)
{
    EXPECT_EQ(1, KAVONetIsSameSubnet("2001:db8::1", "2001:db8::2", "ffff:ffff:ffff:ffff::"));
    EXPECT_EQ(0, KAVONetIsSameSubnet("2001:db8::1", "2001:db8:0:1::1", "ffff:ffff:ffff:ffff::"));
    EXPECT_EQ(1, KAVONetIsSameSubnet("2001:db8::1", "fe80::2", "::"));
    EXPECT_EQ(0, KAVONetIsSameSubnet("::1", "::2", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"));
    EXPECT_EQ(1, KAVONetIsSameSubnet("::2", "::3", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:fffe"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetIsSameSubnet, TheFamiliesMustAgree)
{
    EXPECT_EQ(0, KAVONetIsSameSubnet("10.1.1.1", "::1", "255.255.255.0"));
    EXPECT_EQ(0, KAVONetIsSameSubnet("::1", "10.1.1.1", "0.0.0.0"));
    EXPECT_EQ(0, KAVONetIsSameSubnet("10.1.1.1", "10.1.1.1", "::"));
    EXPECT_EQ(0, KAVONetIsSameSubnet("::1", "::1", "0.0.0.0"));
    EXPECT_EQ(0, KAVONetIsSameSubnet("::ffff:10.1.1.1", "10.1.1.1", "0.0.0.0"));
}

TEST_F(NetIsSameSubnet, OtherTextsAreNotTheSame)
{
    for (const char *text :
         {"", "x", "10.1.1", "10.1.1.256", "010.1.1.1", " 10.1.1.1", "10.1.1.1/24", "fe80::1%eth0", ":::"}) {
        EXPECT_EQ(0, KAVONetIsSameSubnet(text, "10.1.1.1", "0.0.0.0")) << text;
        EXPECT_EQ(0, KAVONetIsSameSubnet("10.1.1.1", text, "0.0.0.0")) << text;
        EXPECT_EQ(0, KAVONetIsSameSubnet("10.1.1.1", "10.1.1.1", text)) << text;
        EXPECT_EQ(0, KAVONetIsSameSubnet(text, text, text)) << text;
    }
    EXPECT_EQ(0, KAVONetIsSameSubnet(std::string(100000, ':').c_str(), "::1", "::"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetIsSameSubnet, RefusesNull)
{
    for (int i = 0; i < 3; ++i) {
        clear();
        const char *texts[] = {"10.1.1.1", "10.1.1.1", "255.255.255.0"};
        texts[i] = nullptr;
        EXPECT_EQ(0, KAVONetIsSameSubnet(texts[0], texts[1], texts[2]));
        EXPECT_EQ(bad_parameter("net_is_same_subnet.cpp", 83), last_error());
    }
}

} // namespace
