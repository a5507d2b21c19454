#include "addr_test.h"

#include <climits>

namespace {

using NetIsIpInRange = AddrTest;

TEST_F(NetIsIpInRange, V4)
{
    EXPECT_EQ(1, KLIBIsIpInRange("10.0.0.5", "10.0.0.1", "10.0.0.9", 2));
    EXPECT_EQ(1, KLIBIsIpInRange("10.0.0.1", "10.0.0.1", "10.0.0.9", 2));
    EXPECT_EQ(1, KLIBIsIpInRange("10.0.0.9", "10.0.0.1", "10.0.0.9", 2));
    EXPECT_EQ(1, KLIBIsIpInRange("10.0.0.5", "10.0.0.5", "10.0.0.5", 2));
    EXPECT_EQ(0, KLIBIsIpInRange("10.0.0.0", "10.0.0.1", "10.0.0.9", 2));
    EXPECT_EQ(0, KLIBIsIpInRange("10.0.0.10", "10.0.0.1", "10.0.0.9", 2));
    EXPECT_EQ(1, KLIBIsIpInRange("10.0.1.0", "10.0.0.9", "10.1.0.1", 2));
    // As unsigned numbers, across the sign bit.
    EXPECT_EQ(1, KLIBIsIpInRange("200.0.0.1", "100.0.0.1", "250.0.0.1", 2));
    EXPECT_EQ(0, KLIBIsIpInRange("50.0.0.1", "100.0.0.1", "250.0.0.1", 2));
    EXPECT_EQ(1, KLIBIsIpInRange("127.0.0.1", "0.0.0.0", "255.255.255.255", 2));
}

TEST_F(NetIsIpInRange, AReversedRangeIsTheSame)
{
    EXPECT_EQ(1, KLIBIsIpInRange("10.0.0.5", "10.0.0.9", "10.0.0.1", 2));
    EXPECT_EQ(1, KLIBIsIpInRange("10.0.0.9", "10.0.0.9", "10.0.0.1", 2));
    EXPECT_EQ(1, KLIBIsIpInRange("10.0.0.1", "10.0.0.9", "10.0.0.1", 2));
    EXPECT_EQ(0, KLIBIsIpInRange("10.0.0.10", "10.0.0.9", "10.0.0.1", 2));
    EXPECT_EQ(0, KLIBIsIpInRange("10.0.0.0", "10.0.0.9", "10.0.0.1", 2));
    EXPECT_EQ(1, KLIBIsIpInRange("fe80::5", "fe80::9", "fe80::1", 10));
    EXPECT_EQ(0, KLIBIsIpInRange("fe80::a", "fe80::9", "fe80::1", 10));
}

TEST_F(NetIsIpInRange, V6)
{
    EXPECT_EQ(1, KLIBIsIpInRange("2001:db8::5", "2001:db8::1", "2001:db8::9", 10));
    EXPECT_EQ(1, KLIBIsIpInRange("2001:db8::1", "2001:db8::1", "2001:db8::9", 10));
    EXPECT_EQ(1, KLIBIsIpInRange("2001:db8::9", "2001:db8::1", "2001:db8::9", 10));
    EXPECT_EQ(0, KLIBIsIpInRange("2001:db8::a", "2001:db8::1", "2001:db8::9", 10));
    EXPECT_EQ(1, KLIBIsIpInRange("2001:db8:0:1::", "2001:db8::ffff", "2001:db9::", 10));
    EXPECT_EQ(1, KLIBIsIpInRange("fe80::1", "::", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", 10));
    EXPECT_EQ(0, KLIBIsIpInRange("ff02::1", "::1", "fe80::", 10));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_TRUE(support::log_lines().empty());
}

TEST_F(NetIsIpInRange, RefusesTextsThatDoNotParse)
{
    for (const char *text :
         {"", "x", "10.0.0", "10.0.0.256", "010.0.0.5", "0x0a.0.0.5", " 10.0.0.5", "10.0.0.5 ", "::1"}) {
        EXPECT_EQ(-1, KLIBIsIpInRange(text, "10.0.0.1", "10.0.0.9", 2)) << text;
        EXPECT_EQ(-1, KLIBIsIpInRange("10.0.0.1", text, "10.0.0.9", 2)) << text;
        EXPECT_EQ(-1, KLIBIsIpInRange("10.0.0.1", "10.0.0.9", text, 2)) << text;
    }
    for (const char *text : {"", "x", "10.0.0.1", "fe80::1%eth0", "fe80::1/64", "1::2::3", "12345::"}) {
        EXPECT_EQ(-1, KLIBIsIpInRange(text, "::1", "::9", 10)) << text;
        EXPECT_EQ(-1, KLIBIsIpInRange("::1", text, "::9", 10)) << text;
        EXPECT_EQ(-1, KLIBIsIpInRange("::1", "::9", text, 10)) << text;
    }
    EXPECT_EQ(-1, KLIBIsIpInRange(std::string(100000, '1').c_str(), "10.0.0.1", "10.0.0.9", 2));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_TRUE(support::log_lines().empty());
}

TEST_F(NetIsIpInRange, LogsAnUnknownFamily)
{
    for (const int family : {0, 1, 3, -2, 11, INT_MAX, INT_MIN}) {
        clear();
        EXPECT_EQ(-1, KLIBIsIpInRange("10.0.0.5", "10.0.0.1", "10.0.0.9", family));
        EXPECT_EQ(LOG_ERR, logged(R"(net_is_ip_in_range\.cpp:[0-9]+ Unknown address family, )" +
                                  std::to_string(family) + R"(\.)"));
        EXPECT_EQ(NO_ERROR_SET, last_error());
    }
}

TEST_F(NetIsIpInRange, RefusesNull)
{
    for (int i = 0; i < 3; ++i) {
        clear();
        const char *texts[] = {"10.0.0.5", "10.0.0.1", "10.0.0.9"};
        texts[i] = nullptr;
        EXPECT_EQ(-1, KLIBIsIpInRange(texts[0], texts[1], texts[2], 2));
        EXPECT_TRUE(is_bad_parameter_in("net_is_ip_in_range.cpp"));
    }
}

} // namespace
