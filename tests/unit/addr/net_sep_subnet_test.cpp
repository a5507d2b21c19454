#include "addr_test.h"

#include <climits>

namespace {

constexpr char FILE_NAME[] = "net_sep_subnet.cpp";
constexpr unsigned BEFORE = 777;

struct NetSepSubnet : AddrTest {
    static void splits(const std::string &text, size_t size, const std::string &address, unsigned prefix)
    {
        clear();
        Buffer out(size);
        unsigned length = BEFORE;
        EXPECT_EQ(0, KAVONetSeperateSubnet(text.c_str(), out.text(), static_cast<int>(size), &length)) << text;
        EXPECT_EQ(address, out.str()) << text;
        EXPECT_EQ(prefix, length) << text;
        EXPECT_TRUE(out.guarded()) << text;
        EXPECT_EQ(NO_ERROR_SET, last_error()) << text;
        EXPECT_TRUE(support::log_lines().empty()) << text;
    }

    static void refuses(const std::string &text, size_t size, const Error &error)
    {
        clear();
        Buffer out(size, "-");
        unsigned length = BEFORE;
        EXPECT_EQ(-1, KAVONetSeperateSubnet(text.c_str(), out.text(), static_cast<int>(size), &length)) << text;
        EXPECT_EQ("-", out.str()) << text;
        EXPECT_EQ(BEFORE, length) << text;
        EXPECT_TRUE(out.guarded()) << text;
        EXPECT_EQ(error, last_error()) << text;
        ASSERT_EQ(1U, support::log_lines().size()) << text;
        EXPECT_EQ(LOG_ERR, support::log_lines()[0].level);
        const std::string &line = support::log_lines()[0].text;
        EXPECT_EQ(0U, line.find("net_sep_subnet.cpp:")) << line;
        EXPECT_NE(std::string::npos, line.find(" invalid subnet format: " + text)) << line;
    }
};

TEST_F(NetSepSubnet, SplitsAddressAndLength)
{
    splits("192.168.1.0/24", 20, "192.168.1.0", 24);
    splits("192.168.1.77/24", 20, "192.168.1.77", 24);
    splits("0.0.0.0/0", 20, "0.0.0.0", 0);
    splits("10.0.0.1/32", 20, "10.0.0.1", 32);
    splits("10.0.0.1/ 8", 20, "10.0.0.1", 8);
    splits("10.0.0.1/+8", 20, "10.0.0.1", 8);
    splits("10.0.0.1/-0", 20, "10.0.0.1", 0);
    splits("10.0.0.1/24x", 20, "10.0.0.1", 24);
    splits("10.0.0.1/0x10", 20, "10.0.0.1", 0); // decimal only: the "x10" is text after it
    splits("10.0.0.1/010", 20, "10.0.0.1", 10);
    splits("010.0.0.1/8", 20, "010.0.0.1", 8);
    splits(".1.2.3/8", 20, ".1.2.3", 8);
}

TEST_F(NetSepSubnet, TheAddressMustFitWhole)
{
    splits("1.2.3.4/8", 8, "1.2.3.4", 8);
    refuses("1.2.3.4/8", 7, NO_ERROR_SET);
    refuses("1.2.3.4/8", 2, NO_ERROR_SET);
    splits("223.255.255.255/32", 16, "223.255.255.255", 32);
    refuses("223.255.255.255/32", 15, NO_ERROR_SET);
    // The validator looks at the first 31 characters.
    splits("1.2.3." + std::string(40, '0') + "/8", 100, "1.2.3." + std::string(40, '0'), 8);
}

TEST_F(NetSepSubnet, TakesAnySizeThatTheCallerNames)
{
    Buffer out(20);
    unsigned length = BEFORE;
    EXPECT_EQ(0, KAVONetSeperateSubnet("1.2.3.4/8", out.text(), INT_MAX, &length));
    EXPECT_EQ("1.2.3.4", out.str());
}

TEST_F(NetSepSubnet, MayWriteOverItsInput)
{
    Buffer both(std::string("1.2.3.4/8"));
    unsigned length = BEFORE;
    EXPECT_EQ(0, KAVONetSeperateSubnet(both.text(), both.text(), static_cast<int>(both.size()), &length));
    EXPECT_EQ("1.2.3.4", both.str());
    EXPECT_EQ(8U, length);
    EXPECT_TRUE(both.guarded());
}

TEST_F(NetSepSubnet, RefusesOtherFormats)
{
    for (const char *text : {"", "/", "/24", "1.2.3.4", "1.2.3.4/", "1.2.3.4/ ", "1.2.3.4/x", "1.2.3.4/+", "1.2.3.4//8",
                             "1.2.3.4 /8", " 1.2.3.4/8", "0x1.2.3.4/8", "-1.2.3.4/8", "fe80::1/64", "1.2.3.4\\8"})
        refuses(text, 20, NO_ERROR_SET);
    refuses(std::string(5000, '1') + "/8", 20, NO_ERROR_SET);
}

TEST_F(NetSepSubnet, RefusesABadAddress)
{
    for (const char *text : {"1.2.3/8", "1.2.3./8", "1..2.3/8", "./8", "127.0.0.1/8", "224.0.0.0/4", "256.1.1.1/8",
                             "1/8", "4294967297.1.1.1/8", "127.0.0.1/99"})
        refuses(text, 20, bad_address("net_is_ip_addr.cpp", 20));
    refuses("1.2.3.256/8", 20, bad_address("net_is_ip_addr.cpp", 25));
}

TEST_F(NetSepSubnet, RefusesLengthsOutOfRange)
{
    for (const char *text : {"1.2.3.4/33", "1.2.3.4/-1", "1.2.3.4/4294967320", "1.2.3.4/-4294967272",
                             "1.2.3.4/18446744073709551640", "1.2.3.4/2147483648"})
        refuses(text, 30, NO_ERROR_SET);
}

TEST_F(NetSepSubnet, RefusesNullAndTinyBuffers)
{
    Buffer out(2, "-");
    unsigned length = BEFORE;
    EXPECT_EQ(-1, KAVONetSeperateSubnet(nullptr, out.text(), 20, &length));
    EXPECT_TRUE(is_bad_parameter_in(FILE_NAME));
    clear();
    EXPECT_EQ(-1, KAVONetSeperateSubnet("1.2.3.4/8", nullptr, 20, &length));
    EXPECT_TRUE(is_bad_parameter_in(FILE_NAME));
    clear();
    EXPECT_EQ(-1, KAVONetSeperateSubnet("1.2.3.4/8", out.text(), 2, nullptr));
    EXPECT_TRUE(is_bad_parameter_in(FILE_NAME));
    for (const int size : {1, 0, -1, INT_MIN}) {
        clear();
        EXPECT_EQ(-1, KAVONetSeperateSubnet("1.2.3.4/8", out.text(), size, &length));
        EXPECT_TRUE(is_bad_parameter_in(FILE_NAME));
    }
    EXPECT_EQ("-", out.str());
    EXPECT_TRUE(out.guarded());
    EXPECT_EQ(BEFORE, length);
}

} // namespace
