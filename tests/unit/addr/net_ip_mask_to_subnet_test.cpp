#include "addr_test.h"

namespace {

constexpr char FILE_NAME[] = "net_ip_mask_to_subnet.cpp";
constexpr size_t NEEDED = sizeof "255.255.255.255/32";

struct NetIpMaskToSubnet : AddrTest {
    // A refusal, with both texts as they were.
    static void refuses(const std::string &text, const Error &error)
    {
        clear();
        Buffer in(text);
        Buffer out(NEEDED, "before");
        EXPECT_EQ(-1, ErrKLIBIpMaskToSubnet(in.text(), out.text())) << text;
        EXPECT_EQ(error, last_error()) << text;
        EXPECT_EQ("before", out.str()) << text;
        EXPECT_EQ(-1, ErrKLIBIpMaskToSubnet(in.text(), nullptr)) << text;
        EXPECT_EQ(text, in.str());
        EXPECT_TRUE(in.guarded() && out.guarded()) << text;
    }
};

TEST_F(NetIpMaskToSubnet, WritesNetworkAndLength)
{
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"10.1.2.3/255.0.0.0", "10.0.0.0/8"},
        {"192.168.1.77/255.255.255.0", "192.168.1.0/24"},
        {"255.255.255.255/255.255.255.255", "255.255.255.255/32"},
        {"255.255.255.255/128.0.0.0", "128.0.0.0/1"},
        {"0.0.0.0/255.255.0.0", "0.0.0.0/16"},
        {"0x0a.012.3.4/0xff.0377.0.0", "10.10.0.0/16"},
        {"127.0.0.1/255.255.255.254", "127.0.0.0/31"},
        {"10.1.2.3/ 255.+255.0.-0", "10.1.0.0/16"},
        {".1.2.3/255.255.255.0", "0.1.2.0/24"},
    };
    for (const auto &[text, result] : cases) {
        Buffer in(text);
        Buffer out(NEEDED);
        EXPECT_EQ(0, ErrKLIBIpMaskToSubnet(in.text(), out.text())) << text;
        EXPECT_EQ(result, out.str()) << text;
        EXPECT_EQ(text, in.str());
        EXPECT_TRUE(in.guarded() && out.guarded()) << text;

        for (const bool alias : {false, true}) {
            Buffer both(text.size() + 1, text);
            EXPECT_EQ(0, ErrKLIBIpMaskToSubnet(both.text(), alias ? both.text() : nullptr)) << text;
            EXPECT_EQ(result, both.str()) << text;
            EXPECT_TRUE(both.guarded()) << text;
        }
        EXPECT_EQ(NO_ERROR_SET, last_error()) << text;
    }
}

TEST_F(NetIpMaskToSubnet, RefusesATextWithoutASlash)
{
    for (const char *text : {"", "10.0.0.1", "10.0.0.1 255.0.0.0"})
        refuses(text, bad_parameter(FILE_NAME, 28));
}

TEST_F(NetIpMaskToSubnet, RefusesABadAddress)
{
    for (const char *text :
         {"/255.0.0.0", "10/255.0.0.0", "10.0.0/255.0.0.0", "10.0.0./255.0.0.0", "10..0.1/255.0.0.0", "x/255.0.0.0",
          "10.0.0.1 /255.0.0.0", "256.0.0.1/255.0.0.0", "1.-1.1.1/255.0.0.0", "1.1.256.1/255.0.0.0",
          "1.1.1.256/255.0.0.0", "4294967297.1.1.1/255.0.0.0", "/", "256.0.0.1/x"})
        refuses(text, bad_address(FILE_NAME, 35));
}

TEST_F(NetIpMaskToSubnet, RefusesABadMask)
{
    for (const char *text : {"10.0.0.1/", "10.0.0.1/8", "10.0.0.1/255.0.0", "10.0.0.1//255.0.0.0", "10.0.0.1/x.0.0.0"})
        refuses(text, bad_address("net_sep_ip.cpp", 27));
    for (const char *text : {"10.0.0.1/255.0.0.0x", "10.0.0.1/255.0.0.0/8", "10.0.0.1/255.0.0.0 "})
        refuses(text, bad_address("net_sep_ip.cpp", 38));
    for (const char *text : {"10.0.0.1/256.0.0.0", "10.0.0.1/-1.0.0.0", "10.0.0.1/255.255.255.4294967297"})
        refuses(text, bad_address("net_cal_mask.cpp", 27));
    for (const char *text : {"10.0.0.1/255.0.255.0", "10.0.0.1/0.0.0.255", "10.0.0.1/0.0.0.1"})
        refuses(text, bad_address("net_cal_mask.cpp", 37));
    refuses("10.0.0.1/0.0.0.0", NO_ERROR_SET);
    refuses("10.0.0.1/255.0.0.", NO_ERROR_SET);
}

TEST_F(NetIpMaskToSubnet, LongTexts)
{
    Buffer both("10.1.2.3/255.255." + std::string(100, '0') + ".0");
    EXPECT_EQ(-1, ErrKLIBIpMaskToSubnet(both.text(), nullptr)); // the third part does not end within 31 characters
    EXPECT_EQ(bad_address("net_sep_ip.cpp", 27), last_error());
    Buffer cut("10.1.2." + std::string(100, '0') + "3/255.255.255." + std::string(100, '0'));
    EXPECT_EQ(0, ErrKLIBIpMaskToSubnet(cut.text(), nullptr));
    EXPECT_EQ("10.1.2.0/24", cut.str());
    EXPECT_TRUE(cut.guarded());
    refuses(std::string(100000, '1') + "/255.0.0.0", bad_address(FILE_NAME, 35));
}

TEST_F(NetIpMaskToSubnet, RefusesNull)
{
    Buffer out(NEEDED, "before");
    EXPECT_EQ(-1, ErrKLIBIpMaskToSubnet(nullptr, out.text()));
    EXPECT_EQ(bad_parameter(FILE_NAME, 17), last_error());
    EXPECT_EQ("before", out.str());
}

} // namespace
