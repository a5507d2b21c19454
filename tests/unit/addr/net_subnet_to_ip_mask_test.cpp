#include "addr_test.h"

namespace {

constexpr char FILE_NAME[] = "net_subnet_to_ip_mask.cpp";
constexpr size_t NEEDED = sizeof "255.255.255.255/255.255.255.255";

struct NetSubnetToIpMask : AddrTest {
    // A refusal, with both texts as they were.
    static void refuses(const std::string &text, const Error &error)
    {
        clear();
        Buffer in(text);
        Buffer out(NEEDED, "before");
        EXPECT_EQ(-1, ErrKLIBSubnetToIpMask(in.text(), out.text())) << text;
        EXPECT_EQ(error, last_error()) << text;
        EXPECT_EQ("before", out.str()) << text;
        EXPECT_EQ(-1, ErrKLIBSubnetToIpMask(in.text(), nullptr)) << text;
        EXPECT_EQ(text, in.str());
        EXPECT_TRUE(in.guarded() && out.guarded()) << text;
    }
};

TEST_F(NetSubnetToIpMask, WritesNetworkAndMask)
{
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"192.168.1.77/24", "192.168.1.0/255.255.255.0"}, {"10.1.2.3/8", "10.0.0.0/255.0.0.0"},
        {"10.1.2.3/32", "10.1.2.3/255.255.255.255"},      {"255.255.255.255/32", "255.255.255.255/255.255.255.255"},
        {"255.255.255.255/1", "128.0.0.0/128.0.0.0"},     {"0.0.0.0/1", "0.0.0.0/128.0.0.0"},
        {"0x0a.012.3.4/0x10", "10.10.0.0/255.255.0.0"},   {"10.10.3.4/010", "10.0.0.0/255.0.0.0"},
        {"127.0.0.1/+8", "127.0.0.0/255.0.0.0"},          {"10.1.2.3/ 9", "10.0.0.0/255.128.0.0"},
        {".1.2.3/31", "0.1.2.2/255.255.255.254"},
    };
    for (const auto &[text, result] : cases) {
        Buffer in(text);
        Buffer out(NEEDED);
        EXPECT_EQ(0, ErrKLIBSubnetToIpMask(in.text(), out.text())) << text;
        EXPECT_EQ(result, out.str()) << text;
        EXPECT_EQ(text, in.str());
        EXPECT_TRUE(in.guarded() && out.guarded()) << text;

        for (const bool alias : {false, true}) {
            Buffer both(NEEDED, text);
            EXPECT_EQ(0, ErrKLIBSubnetToIpMask(both.text(), alias ? both.text() : nullptr)) << text;
            EXPECT_EQ(result, both.str()) << text;
            EXPECT_TRUE(both.guarded()) << text;
        }
        EXPECT_EQ(NO_ERROR_SET, last_error()) << text;
    }
}

TEST_F(NetSubnetToIpMask, RefusesATextWithoutASlash)
{
    for (const char *text : {"", "10.0.0.1", "10.0.0.1 24", "10.0.0.1\\24"})
        refuses(text, bad_parameter(FILE_NAME, 44));
}

TEST_F(NetSubnetToIpMask, RefusesWhatIsNotFourParts)
{
    for (const char *text : {"/24", "10/24", "10.0.0/24", "10..0.0/24", "a.b.c.d/24", "fe80::1/64"})
        refuses(text, bad_address("net_sep_ip.cpp", 27));
    for (const char *text : {"10.0.0.1 /24", "10.0.0.1.2/24", "10.0.0.x/24"})
        refuses(text, bad_address("net_sep_ip.cpp", 38));
    refuses("10.0.0./24", NO_ERROR_SET);
}

TEST_F(NetSubnetToIpMask, RefusesPartsThatAreNoOctets)
{
    for (const char *text : {"256.0.0.1/24", "1.256.0.1/24", "1.1.256.1/24", "1.1.1.256/24", "-1.1.1.1/24",
                             "4294967297.1.1.1/24", "256.1.1.1/24x", "256.1.1.1/99"})
        refuses(text, bad_address(FILE_NAME, 51));
}

TEST_F(NetSubnetToIpMask, RefusesTextAfterTheLength)
{
    for (const char *text : {"10.0.0.1/24x", "10.0.0.1/24 ", "10.0.0.1/24/8", "10.0.0.1/x", "10.0.0.1/255.0.0.0",
                             "10.0.0.1/08", "10.0.0.1//24", "10.0.0.1/99x"})
        refuses(text, bad_address(FILE_NAME, 57));
}

TEST_F(NetSubnetToIpMask, RefusesLengthsOutOfRange)
{
    for (const char *text :
         {"10.0.0.1/0", "10.0.0.1/33", "10.0.0.1/-1", "10.0.0.1/", "10.0.0.1/4294967320", "10.0.0.1/-4294967272",
          "10.0.0.1/18446744073709551640", "10.0.0.1/0x21", "10.0.0.1/0x100000018"})
        refuses(text, bad_address(FILE_NAME, 62));
}

TEST_F(NetSubnetToIpMask, LooksAt63Characters)
{
    const std::string head = "10.1.2.3/" + std::string(63 - strlen("10.1.2.3/") - 2, '0');
    Buffer whole(head + "10");
    Buffer cut(head + "10 and more");
    for (Buffer *text : {&whole, &cut}) {
        Buffer out(NEEDED);
        EXPECT_EQ(0, ErrKLIBSubnetToIpMask(text->text(), out.text()));
        EXPECT_EQ("10.0.0.0/255.0.0.0", out.str());
        EXPECT_TRUE(text->guarded() && out.guarded());
    }
    refuses(std::string(63, '1') + "/24", bad_parameter(FILE_NAME, 44));
    refuses(std::string(100000, '/'), bad_address("net_sep_ip.cpp", 27));
}

TEST_F(NetSubnetToIpMask, RefusesNull)
{
    Buffer out(NEEDED, "before");
    EXPECT_EQ(-1, ErrKLIBSubnetToIpMask(nullptr, out.text()));
    EXPECT_EQ(bad_parameter(FILE_NAME, 33), last_error());
    EXPECT_EQ("before", out.str());
}

} // namespace
