#include "addr_test.h"

#include <array>
#include <climits>

namespace {

constexpr char FILE_NAME[] = "net_sep_ip.cpp";
using Parts = std::array<int, 4>;

struct NetSepIp : AddrTest {
    Parts part{-7, -7, -7, -7};

    int read(const std::string &text)
    {
        clear();
        part = {-7, -7, -7, -7};
        return cKLIBISepIP(text.c_str(), part.data());
    }
};

TEST_F(NetSepIp, ReadsFourParts)
{
    const std::vector<std::pair<std::string, Parts>> cases = {
        {"1.2.3.4", {1, 2, 3, 4}},
        {"192.168.1.255", {192, 168, 1, 255}},
        {"0.0.0.0", {0, 0, 0, 0}},
        {"0xff.0XA.012.0", {255, 10, 10, 0}},
        {"010.1.1.1", {8, 1, 1, 1}},
        {"000.000.000.000", {0, 0, 0, 0}},
        {" 1. 2.\t3.\n4", {1, 2, 3, 4}},
        {"+1.-2.+3.-4", {1, -2, 3, -4}},
        {"256.999.1000.12345", {256, 999, 1000, 12345}},
        {".1.2.3", {0, 1, 2, 3}},
    };
    for (const auto &[text, parts] : cases) {
        EXPECT_EQ(4, read(text)) << text;
        EXPECT_EQ(parts, part) << text;
        EXPECT_EQ(NO_ERROR_SET, last_error()) << text;
    }
}

TEST_F(NetSepIp, CountsTheDotsBeforeABadPart)
{
    const std::vector<std::pair<std::string, int>> cases = {
        {"", 0},        {" ", 0},         {".", 1},        {"..", 0},      {"x.2.3.4", 0},
        {"1", 0},       {"1x.2.3.4", 0},  {"1 .2.3.4", 0}, {"1..2.3", 0},  {"1,2,3,4", 0},
        {"-", 0},       {"08.1.1.1", 0},  {"1.", 1},       {"1.2", 1},     {"1.x.3.4", 1},
        {"1.2..4", 1},  {"1.0xg.3.4", 1}, {"1.2/3.4", 1},  {"1.2.", 2},    {"1.2.3", 2},
        {"1.2.x.4", 2}, {"1.2.3..4", 2},  {"1.2.3 .4", 2}, {"1.2. .4", 2}, {"1.1234x.3.4", 1},
        {"1.2.3..", 2}, {"0x.1.2.3", 0},
    };
    for (const auto &[text, dots] : cases) {
        EXPECT_EQ(dots, read(text)) << text;
        EXPECT_EQ(bad_address(FILE_NAME, 27), last_error()) << text;
    }
}

TEST_F(NetSepIp, RefusesTextAfterTheFourthPart)
{
    for (const char *text : {"1.2.3.4x", "1.2.3.x", "1.2.3.4.", "1.2.3.4.5", "1.2.3.4 ", "1.2.3. ", "1.2.3.4/24",
                             "1.2.3.-", "1.2.3.09", "1.2.3.0xg", "1.2.3.4\n"}) {
        EXPECT_EQ(3, read(text)) << text;
        EXPECT_EQ(bad_address(FILE_NAME, 38), last_error()) << text;
    }
    EXPECT_EQ((Parts{1, 2, 3, 4}), part);
}

TEST_F(NetSepIp, AMissingFourthPartSetsNoCode)
{
    EXPECT_EQ(3, read("1.2.3."));
    EXPECT_EQ((Parts{1, 2, 3, -7}), part);
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetSepIp, StoresEachPartThatItReads)
{
    EXPECT_EQ(1, read("9.8x"));
    EXPECT_EQ((Parts{9, 8, -7, -7}), part);
    EXPECT_EQ(2, read("9.8.7"));
    EXPECT_EQ((Parts{9, 8, 7, -7}), part);
}

TEST_F(NetSepIp, HoldsNumbersTo32Bits)
{
    EXPECT_EQ(4, read("4294967297.1.1.1"));
    EXPECT_EQ(INT_MAX, part[0]);
    EXPECT_EQ(4, read("1.-4294967295.1.1"));
    EXPECT_EQ(INT_MIN, part[1]);
    EXPECT_EQ(4, read("1.1.0x100000001.1"));
    EXPECT_EQ(INT_MAX, part[2]);
    EXPECT_EQ(4, read("1.1.1.18446744073709551617"));
    EXPECT_EQ(INT_MAX, part[3]);
}

TEST_F(NetSepIp, LooksAt31Characters)
{
    const std::string zeros(31 - strlen("1.2.3.4"), '0');
    EXPECT_EQ(4, read("1.2.3." + zeros + "4"));
    EXPECT_EQ(4, part[3]);
    EXPECT_EQ(4, read("1.2.3." + zeros + "47 and more"));
    EXPECT_EQ(4, part[3]);
    // The cut falls right behind the third dot.
    EXPECT_EQ(3, read(std::string(25, '0') + "1.2.3.4"));
    EXPECT_EQ(4, read(std::string(24, '0') + "1.2.3.4"));
    EXPECT_EQ(0, read(std::string(100000, '1')));
}

TEST_F(NetSepIp, BytesAbove127AreNoWhiteSpaceOrDigits)
{
    EXPECT_EQ(0, read("\xa0"
                      "1.2.3.4"));
    EXPECT_EQ(3, read("1.2.3.4\xff"));
}

TEST_F(NetSepIp, LeavesTheTextAndNeighboursAlone)
{
    Buffer text(std::string("1.2.3.4"));
    Buffer parts(sizeof(Parts));
    EXPECT_EQ(4, cKLIBISepIP(text.text(), reinterpret_cast<int *>(parts.text())));
    EXPECT_EQ("1.2.3.4", text.str());
    EXPECT_TRUE(text.guarded());
    EXPECT_TRUE(parts.guarded());
}

TEST_F(NetSepIp, RefusesNull)
{
    EXPECT_EQ(-1, cKLIBISepIP(nullptr, part.data()));
    EXPECT_TRUE(is_bad_parameter_in(FILE_NAME));
    clear();
    EXPECT_EQ(-1, cKLIBISepIP("1.2.3.4", nullptr));
    EXPECT_TRUE(is_bad_parameter_in(FILE_NAME));
}

} // namespace
