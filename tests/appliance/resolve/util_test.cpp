// The reader of the kernel's default route, through the two functions that publish it.
#include "appliance/resolve/route_test.h"

#include <cstring>

namespace {

constexpr char FILE_NAME[] = "util.cpp";
constexpr char UNKNOWN[] = "Unknow kernel routing table format, errno=[Success/0]";

class Util : public RouteTest {
protected:
    void expect_route(const std::string &gateway, const std::string &interface)
    {
        read_both(0);
        EXPECT_EQ(gateway, gateway_);
        EXPECT_EQ(interface, interface_);
        EXPECT_THAT(log_lines(), IsEmpty());
        EXPECT_EQ(NO_ERROR_SET, last_error());
    }

    void expect_none() { expect_route(BEFORE, BEFORE); }

    void expect_unknown_format()
    {
        read_both(-1);
        EXPECT_STREQ(BEFORE, gateway_);
        EXPECT_STREQ(BEFORE, interface_);
        EXPECT_EQ(2U, log_lines().size());
        EXPECT_EQ(LOG_ERR, logged_in_file(FILE_NAME, UNKNOWN));
        EXPECT_EQ(NO_ERROR_SET, last_error());
    }

    static std::string with_name(const std::string &name) { return name + (DEFAULT + strlen("eth0")); }

private:
    static constexpr char BEFORE[] = "before";

    void read_both(int result)
    {
        clear();
        strcpy(gateway_, BEFORE);
        strcpy(interface_, BEFORE);
        EXPECT_EQ(result, KAVONetDefaultGatewayGet(gateway_, sizeof gateway_));
        EXPECT_EQ(result, KAVONetDefaultGatewayInterfaceGet(interface_, sizeof interface_));
    }

    char gateway_[32];
    char interface_[32];
};

TEST_F(Util, FindsTheDefaultRouteAmongTheOthers)
{
    table(std::string(HEADER) + SUBNET + DEFAULT);
    expect_route("192.168.1.1", "eth0");
}

TEST_F(Util, TakesTheFirstOfSeveral)
{
    table(std::string(HEADER) + SUBNET + "bond0\t00000000\tFE00000A\t0003\t0\t0\t100\t00000000\t0\t0\t0\n" + DEFAULT);
    expect_route("10.0.0.254", "bond0");
}

TEST_F(Util, ReadsTheLinesAsTheKernelPadsThem)
{
    const auto padded = [](std::string line) {
        line.pop_back();
        line.resize(127, ' ');
        return line + "\n";
    };
    table(padded(HEADER) + padded(SUBNET) + padded(DEFAULT));
    expect_route("192.168.1.1", "eth0");
}

TEST_F(Util, ATableWithoutRoutesHasNone)
{
    for (const std::string &content : {std::string(HEADER), std::string(HEADER) + SUBNET, std::string()}) {
        table(content);
        expect_none();
    }
}

TEST_F(Util, TheFirstLineIsNeverARoute)
{
    table(DEFAULT);
    expect_none();
    table(std::string("anything\n") + DEFAULT);
    expect_route("192.168.1.1", "eth0");
}

TEST_F(Util, ADefaultRouteIsUpAndHasAGateway)
{
    for (const char *flags : {"0000", "0001", "0002", "0004", "FFFC", "8001", "8002"}) {
        table(std::string(HEADER) + "eth0\t00000000\t0101A8C0\t" + flags + "\t0\t0\t0\t00000000\t0\t0\t0\n");
        expect_none();
    }
    for (const char *flags : {"0003", "0007", "FFFF", "0x3", "3"}) {
        table(std::string(HEADER) + "eth0\t00000000\t0101A8C0\t" + flags + "\t0\t0\t0\t00000000\t0\t0\t0\n");
        expect_route("192.168.1.1", "eth0");
    }
}

TEST_F(Util, ADefaultRouteHasNeitherDestinationNorMask)
{
    const std::string others[] = {"eth1\t00000001\t0101A8C0\t0003\t0\t0\t0\t00000000\t0\t0\t0\n",
                                  "eth1\t80000000\t0101A8C0\t0003\t0\t0\t0\t00000000\t0\t0\t0\n",
                                  "eth1\t00000000\t0101A8C0\t0003\t0\t0\t0\t00000080\t0\t0\t0\n",
                                  "eth1\t00000000\t0101A8C0\t0003\t0\t0\t0\tFFFFFFFF\t0\t0\t0\n"};
    for (const std::string &other : others) {
        table(HEADER + other);
        expect_none();
        table(HEADER + other + DEFAULT);
        expect_route("192.168.1.1", "eth0");
    }
}

TEST_F(Util, ALineNeedsAllElevenFields)
{
    const std::string broken[] = {"eth0\n",
                                  "eth0\t00000000\n",
                                  "eth0\t00000000\t0101A8C0\t0003\t0\t0\t0\t00000000\t0\t0\n",
                                  "eth0\t00000000\t0101A8C0\t0003\t0\t0\t0\t00000000\t0\t0\t\n",
                                  "eth0\t00000000\t0101A8C0\t0003\t0\t0\t0\t00000000\t0\tx\t0\n",
                                  "eth0\t00000000\t0101A8C0\t0003\t0\tx\t0\t00000000\t0\t0\t0\n",
                                  "eth0\tzzzzzzzz\t0101A8C0\t0003\t0\t0\t0\t00000000\t0\t0\t0\n",
                                  "eth0\t00000000\t192.168.1.1\t0003\t0\t0\t0\t00000000\t0\t0\t0\n",
                                  "\n",
                                  "   \t \n"};
    for (const std::string &line : broken) {
        SCOPED_TRACE(line);
        table(HEADER + line);
        expect_unknown_format();
        table(HEADER + line + DEFAULT);
        expect_unknown_format();
        table(std::string(HEADER) + SUBNET + line);
        expect_unknown_format();
        // What stands behind the default route is not read.
        table(std::string(HEADER) + DEFAULT + line);
        expect_route("192.168.1.1", "eth0");
    }
}

TEST_F(Util, ATableThatEndsWithinALineIsOfUnknownFormat)
{
    const std::string line = DEFAULT;
    // The last field's only digit must be there; the newline need not.
    for (size_t length = 1; length < line.size() - 1; ++length) {
        table(HEADER + line.substr(0, length));
        expect_unknown_format();
    }
    table(HEADER + line.substr(0, line.size() - 1));
    expect_route("192.168.1.1", "eth0");
}

TEST_F(Util, TextBehindTheFieldsIsLetThrough)
{
    table(std::string(HEADER) + "eth0 00000000 0101A8C0 0003 0 0 0 00000000 0 0 0 more\n");
    expect_route("192.168.1.1", "eth0");
    table(std::string(HEADER) + "  eth0 00000000 0101A8C0 0003 0 0 0 00000000 0 0 0");
    expect_route("192.168.1.1", "eth0");
}

TEST_F(Util, NamesUpToFifteenCharactersAreRead)
{
    table(HEADER + with_name(support::NAME_OF_15));
    expect_route("192.168.1.1", support::NAME_OF_15);
}

TEST_F(Util, LongerNamesAreNoneAndAreNotTakenForNumbers)
{
    // Of the last two, the rest behind the fifteenth character reads as a number.
    for (const std::string &name : {std::string(support::NAME_OF_16), std::string(200, 'x'),
                                    std::string("abcdefghijklmno0"), std::string("abcdefghijklmno00000000")}) {
        table(HEADER + with_name(name));
        expect_unknown_format();
    }
    table(std::string(HEADER) + "abcdefghijklmno0 0 3 0003 0 0 0 0 0 0 0 0\n");
    expect_unknown_format();
}

TEST_F(Util, HugeNumbersHarmNothing)
{
    const std::string huge(40, 'F');
    table(HEADER + ("eth1\t" + huge + "\t0101A8C0\t0003\t0\t0\t0\t00000000\t0\t0\t0\n") +
          ("eth1\t00000000\t0101A8C0\t0003\t0\t0\t0\t" + huge + "\t0\t0\t0\n") + DEFAULT);
    expect_route("192.168.1.1", "eth0");
    const std::string nines(40, '9');
    table(HEADER + ("eth0\t00000000\t0101A8C0\t0003\t" + nines + "\t4294967295\t-" + nines +
                    "\t00000000\t2147483648\t" + nines + "\t" + nines + "\n"));
    expect_route("192.168.1.1", "eth0");
    for (const std::string &gateway : {std::string("100000000"), huge}) {
        table(HEADER + ("eth0\t00000000\t" + gateway + "\t0003\t0\t0\t0\t00000000\t0\t0\t0\n"));
        expect_route("255.255.255.255", "eth0");
    }
}

TEST_F(Util, LinesLongerThanTheBufferAreReadInPieces)
{
    std::string line = DEFAULT;
    line.pop_back();
    // The route stands in the first piece.
    table(HEADER + line + std::string(400, ' ') + "\n");
    expect_route("192.168.1.1", "eth0");
    // A piece that is no route makes the table unknown, wherever it was cut.
    for (const size_t length : {256U, 300U, 4096U, 100'000U}) {
        table(HEADER + std::string(length, 'x') + "\n" + DEFAULT);
        expect_unknown_format();
        table(std::string(length, 'x') + "\n" + DEFAULT); // the header
        expect_unknown_format();
    }
    table(std::string(254, 'x') + "\n" + DEFAULT);
    expect_route("192.168.1.1", "eth0");
}

TEST_F(Util, BinaryLinesHarmNothing)
{
    std::string all;
    for (int c = 0; c < 256; ++c)
        all += static_cast<char>(c);
    table(HEADER + all + "\n" + DEFAULT);
    expect_unknown_format();
    table(HEADER + std::string(300, '\0') + "\n" + DEFAULT);
    expect_unknown_format();
    table(std::string("\0\n", 2) + DEFAULT);
    expect_route("192.168.1.1", "eth0");
    table(std::string(HEADER) + "eth0\t00000000\t0101A8C0\t0003\t0\t0" + std::string(1, '\0') +
          "\t0\t00000000\t0\t0\t0\n");
    expect_unknown_format();
    table(HEADER + with_name("\xff\xfe\x80"));
    expect_route("192.168.1.1", "\xff\xfe\x80");
}

TEST_F(Util, AMissingTableIsAFailure)
{
    table("");
    ASSERT_EQ(0, unlink(TABLE));
    char text[16] = "before";
    EXPECT_EQ(-1, KAVONetDefaultGatewayGet(text, sizeof text));
    EXPECT_STREQ("before", text);
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_ERR,
              logged_in_file(FILE_NAME, "Failed to open /proc/net/route, errno=[No such file or directory/2]"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(Util, ATableThatCannotBeReadIsAFailure)
{
    table("");
    ASSERT_EQ(0, unlink(TABLE));
    ASSERT_EQ(0, mkdir(TABLE, 0755));
    char text[16] = "before";
    EXPECT_EQ(-1, KAVONetDefaultGatewayInterfaceGet(text, sizeof text));
    EXPECT_STREQ("before", text);
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_READ_FAILED));
}

TEST_F(Util, AnOlderErrorIsNotShown)
{
    table(std::string(HEADER) + "broken\n");
    errno = EPERM;
    char text[16];
    EXPECT_EQ(-1, KAVONetDefaultGatewayGet(text, sizeof text));
    EXPECT_EQ(LOG_ERR, logged_in_file(FILE_NAME, UNKNOWN));
}

TEST_F(Util, ReadsTheKernelsOwnTable)
{
    expect_none();
    add_card("lan0", "198.51.100.5/24");
    expect_none();
    shell("/bin/ip route add default via 198.51.100.1 dev lan0");
    expect_route("198.51.100.1", "lan0");
    shell("/bin/ip route del default; /bin/ip route add default dev lan0");
    expect_none(); // it has no gateway
}

} // namespace
