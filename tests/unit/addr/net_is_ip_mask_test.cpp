#include "addr_test.h"

namespace {

constexpr char FILE_NAME[] = "net_is_ip_mask.cpp";

using NetIsIpMask = AddrTest;

TEST_F(NetIsIpMask, AcceptsMasksAndRewritesThem)
{
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"255.255.255.0", "255.255.255.0"},  {"255.255.255.255", "255.255.255.255"}, {"128.0.0.0", "128.0.0.0"},
        {"0xff.255.255.0", "255.255.255.0"}, {"0377.0377.0370.00", "255.255.248.0"}, {" 255.+255. 0.-0", "255.255.0.0"},
        {"0x80.0.0.0", "128.0.0.0"},         {"255.255.255.000", "255.255.255.0"},
    };
    for (const auto &[text, canonical] : cases) {
        Buffer mask(text);
        EXPECT_EQ(1, BlKLIBIsIpMask(mask.text())) << text;
        EXPECT_EQ(canonical, mask.str());
        EXPECT_TRUE(mask.guarded()) << text;
        EXPECT_EQ(NO_ERROR_SET, last_error()) << text;
    }
}

TEST_F(NetIsIpMask, RefusalsNameThemselvesAndKeepTheText)
{
    for (const std::string text :
         {"", "0.0.0.0", "255.255.0.255", "0.255.255.255", "255.255.255.1", "256.0.0.0", "-1.255.255.0", "255.255.255.",
          "255.255.255", "255.255.255.0x", "255..255.0", ".255.255.0", "/24", "24", "ffff::", "4294967295.0.0.0",
          "255.255.255.0 ", "0xff.0xff.0xff.0xfd"}) {
        clear();
        Buffer mask(text);
        EXPECT_EQ(0, BlKLIBIsIpMask(mask.text())) << text;
        EXPECT_EQ(text, mask.str());
        EXPECT_TRUE(mask.guarded());
        EXPECT_EQ(bad_address(FILE_NAME, 17), last_error()) << text;
    }
}

TEST_F(NetIsIpMask, LooksAt31Characters)
{
    Buffer mask("255.255.255." + std::string(100, '0') + "7");
    EXPECT_EQ(1, BlKLIBIsIpMask(mask.text()));
    EXPECT_EQ("255.255.255.0", mask.str());
    EXPECT_TRUE(mask.guarded());
}

TEST_F(NetIsIpMask, RefusesNull)
{
    EXPECT_EQ(0, BlKLIBIsIpMask(nullptr));
    EXPECT_TRUE(is_bad_parameter_in(FILE_NAME));
}

} // namespace
