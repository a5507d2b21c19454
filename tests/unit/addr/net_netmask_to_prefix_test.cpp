#include "addr_test.h"

namespace {

using NetNetmaskToPrefix = AddrTest;

TEST_F(NetNetmaskToPrefix, CountsTheOneBits)
{
    const std::vector<std::pair<const char *, int>> cases = {
        {"255.255.255.0", 24}, {"0.0.0.0", 0}, {"255.255.255.255", 32}, {"128.0.0.0", 1},
        {"255.0.255.0", 16},   {"0.0.0.1", 1}, {"1.2.3.4", 5},          {"0xff.0.0.0", 8},
        {"0377.0.0.0", 8},     {"255", 8},     {"255.0x00ffff", 24},    {"4294967295", 32},
    };
    for (const auto &[text, bits] : cases)
        EXPECT_EQ(bits, KAVONetNetmaskToPrefix(text)) << text;
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetNetmaskToPrefix, RefusesOtherTextsWithoutACode)
{
    for (const char *text : {"", "x", "256.0.0.0", "255.255.255.0.0", "255.255.255.", "255..0.0", " 255.0.0.0", "-1",
                             "ffff::", "/24", "255.255.255.0/24", "4294967296"})
        EXPECT_EQ(-1, KAVONetNetmaskToPrefix(text)) << text;
    EXPECT_EQ(-1, KAVONetNetmaskToPrefix(std::string(100000, 'x').c_str()));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetNetmaskToPrefix, RefusesNull)
{
    EXPECT_EQ(-1, KAVONetNetmaskToPrefix(nullptr));
    EXPECT_TRUE(is_bad_parameter_in("net_netmask_to_prefix.cpp"));
}

} // namespace
