#include <climits>
#include <cstdint>
#include <string>

#include <gtest/gtest.h>
#include <syslog.h>

#include "kavonetsdk/ipv6.h"
#include "support/log_capture.h"
#include "support/read_back.h"

namespace {

constexpr char NOT_AN_ADDRESS[] = "net_ipv6_is_same_subnet\\.cpp:[0-9]+ Invalid network address: ";

class Ipv6IsSameSubnet : public testing::Test {
protected:
    void SetUp() override { clear(); }
    void TearDown() override { EXPECT_EQ(support::NO_ERROR_SET, support::last_error()) << "this one sets no code"; }

    static void clear()
    {
        support::clear_error();
        support::clear_log();
    }
};

TEST_F(Ipv6IsSameSubnet, ComparesTheFirstBits)
{
    EXPECT_EQ(1, KAVONetIPv6IsSameSubnet("2001:db8::1", "2001:db8::ffff", 64));
    EXPECT_EQ(0, KAVONetIPv6IsSameSubnet("2001:db8::1", "2001:db8:0:1::1", 64));
    EXPECT_EQ(1, KAVONetIPv6IsSameSubnet("2001:db8::1", "2001:db8:0:1::1", 63));
    EXPECT_EQ(1, KAVONetIPv6IsSameSubnet("febf:ffff::1", "fe80::1", 10));
    EXPECT_EQ(0, KAVONetIPv6IsSameSubnet("fec0::1", "fe80::1", 10));
    EXPECT_TRUE(support::log_lines().empty());
}

TEST_F(Ipv6IsSameSubnet, EveryPrefixSeesExactlyItsBits)
{
    // Two addresses that differ in one bit are in one subnet exactly when the prefix ends before it.
    for (int bit = 0; bit < 128; ++bit) {
        std::string other;
        for (int group = 0; group < 8; ++group) {
            char text[8];
            snprintf(text, sizeof text, "%x%s", group == bit / 16 ? 0x8000 >> bit % 16 : 0, group < 7 ? ":" : "");
            other += text;
        }
        for (int prefix = 0; prefix <= 128; ++prefix)
            ASSERT_EQ(prefix <= bit ? 1 : 0,
                      KAVONetIPv6IsSameSubnet("::", other.c_str(), static_cast<unsigned>(prefix)))
                << other << "/" << prefix;
    }
}

TEST_F(Ipv6IsSameSubnet, PrefixNoughtTakesAnyTwo)
{
    EXPECT_EQ(1, KAVONetIPv6IsSameSubnet("::", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", 0));
}

TEST_F(Ipv6IsSameSubnet, PrefixOf128WantsTheSameAddressHoweverWritten)
{
    EXPECT_EQ(1, KAVONetIPv6IsSameSubnet("2001:DB8:0:0::1", "2001:db8::1", 128));
    EXPECT_EQ(0, KAVONetIPv6IsSameSubnet("2001:db8::2", "2001:db8::1", 128));
    EXPECT_EQ(1, KAVONetIPv6IsSameSubnet("::ffff:10.0.0.1", "::ffff:a00:1", 128));
}

TEST_F(Ipv6IsSameSubnet, BadArgumentsAreDifferentAndLogged)
{
    struct {
        const char *a, *b;
        unsigned prefix;
    } const bad[] = {{nullptr, "::1", 64}, {"::1", nullptr, 64},     {nullptr, nullptr, 200},
                     {"::1", "::1", 129},  {"::1", "::1", UINT_MAX}, {"none", "::1", 129}};
    for (const auto &arguments : bad) {
        clear();
        EXPECT_EQ(0, KAVONetIPv6IsSameSubnet(arguments.a, arguments.b, arguments.prefix));
        EXPECT_EQ(1U, support::log_lines().size());
        EXPECT_EQ(LOG_ERR, support::logged("net_ipv6_is_same_subnet\\.cpp:[0-9]+ Bad parameter\\."));
    }
}

TEST_F(Ipv6IsSameSubnet, TextsThatAreNoAddressAreAFailure)
{
    for (const char *text : {"",
                             " ",
                             "1",
                             "10.0.0.1",
                             "fe80::1%lo",
                             "fe80::1%1",
                             "fe80::1/64",
                             " ::1",
                             "::1 ",
                             "::1\n",
                             ":",
                             ":::",
                             "1::2::3",
                             "1:2:3:4:5:6:7",
                             "1:2:3:4:5:6:7:8:9",
                             "12345::",
                             "g::1",
                             "2001:db8:",
                             "::ffff:10.0.0",
                             "::ffff:10.0.0.256",
                             "::ffff:10.0.0.1.1",
                             "[::1]",
                             "0000:0000:0000:0000:0000:0000:0000:00001"}) {
        clear();
        EXPECT_EQ(-1, KAVONetIPv6IsSameSubnet(text, "::1", 64)) << text;
        EXPECT_EQ(1U, support::log_lines().size());
        EXPECT_EQ(LOG_ERR, support::logged(std::string(NOT_AN_ADDRESS) + "(.|\n)*")) << text;
        EXPECT_EQ(-1, KAVONetIPv6IsSameSubnet("::1", text, 0)) << text;
    }
    clear();
    EXPECT_EQ(-1, KAVONetIPv6IsSameSubnet("first", "second", 64));
    EXPECT_EQ(LOG_ERR, support::logged(std::string(NOT_AN_ADDRESS) + "first"));
    EXPECT_EQ(1U, support::log_lines().size());
    EXPECT_EQ(-1, KAVONetIPv6IsSameSubnet(std::string(100'000, ':').c_str(), "::1", 64));
}

} // namespace
