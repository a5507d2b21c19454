#include "table_test.h"

namespace {

using support::last_error;
using support::NO_ERROR_SET;

constexpr char FILE_NAME[] = "net_is_port_range_used.cpp";

class NetIsPortRangeUsed : public TableTest {
protected:
    static bool used(int port, unsigned protocol = TCP) { return KAVONetIsPortRangeUsed(port, port, protocol) == 1; }
};

TEST_F(NetIsPortRangeUsed, FindsTcpInEveryState)
{
    for (const int family : {AF_INET, AF_INET6}) {
        const char *table = family == AF_INET ? "/proc/net/tcp" : "/proc/net/tcp6";
        const auto all = sockets::in_every_state(family, 5000);
        EXPECT_EQ(10U, all.size());
        for (const sockets::InState &in : all) {
            ASSERT_TRUE(sockets::states_with(in.state, table, in.port).contains(in.state)) << in.name << "\n"
                                                                                           << support::read_file(table);
            EXPECT_TRUE(used(in.port)) << in.name;
            EXPECT_FALSE(used(in.port, UDP)) << in.name;
        }
        shell("ss -K 2>/dev/null || true");
    }
}

TEST_F(NetIsPortRangeUsed, CountsTheLocalPortOnly)
{
    const auto pair = sockets::connected(AF_INET, 5000, 6000);
    EXPECT_TRUE(used(5000));
    EXPECT_TRUE(used(6000));
    tables(line(5000, 1));
    EXPECT_TRUE(used(5000));
    EXPECT_FALSE(used(0x1F90)) << "that is the other side's";
}

TEST_F(NetIsPortRangeUsed, FindsUdp)
{
    for (const int family : {AF_INET, AF_INET6}) {
        const auto plain = sockets::bound(family, SOCK_DGRAM, 7000);
        const auto connected = sockets::bound(family, SOCK_DGRAM, 7001);
        const auto other = sockets::address(family, 7000);
        ASSERT_EQ(0, connect(connected.fd(), other.get(), other.size));
        for (const unsigned protocol : {0U, 2U, 17U, 0xFFFFFFFFU}) {
            EXPECT_TRUE(used(7000, protocol)) << protocol;
            EXPECT_TRUE(used(7001, protocol)) << protocol;
            EXPECT_FALSE(used(7002, protocol)) << protocol;
        }
        EXPECT_FALSE(used(7000, TCP));
    }
}

TEST_F(NetIsPortRangeUsed, IncludesBothEnds)
{
    const auto listener = sockets::listening(AF_INET, 5000);
    EXPECT_EQ(1, KAVONetIsPortRangeUsed(5000, 5010, TCP));
    EXPECT_EQ(1, KAVONetIsPortRangeUsed(4990, 5000, TCP));
    EXPECT_EQ(0, KAVONetIsPortRangeUsed(5001, 5010, TCP));
    EXPECT_EQ(0, KAVONetIsPortRangeUsed(4990, 4999, TCP));
    EXPECT_EQ(1, KAVONetIsPortRangeUsed(INT_MIN, INT_MAX, TCP));
    EXPECT_EQ(1, KAVONetIsPortRangeUsed(-1, 65535, TCP));
}

TEST_F(NetIsPortRangeUsed, FindsNothingInARangeThatIsNone)
{
    const auto listener = sockets::listening(AF_INET, 5000);
    for (const auto &[lowest, highest] :
         {std::pair(5001, 4999), {5000, 4999}, {INT_MAX, INT_MIN}, {-2, -1}, {INT_MIN, INT_MIN}, {65536, INT_MAX}})
        EXPECT_EQ(0, KAVONetIsPortRangeUsed(lowest, highest, TCP)) << lowest << " " << highest;
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_TRUE(support::log_lines().empty());
}

TEST_F(NetIsPortRangeUsed, FindsNothingWithoutSockets)
{
    EXPECT_EQ(0, KAVONetIsPortRangeUsed(0, 65535, TCP));
    EXPECT_EQ(0, KAVONetIsPortRangeUsed(0, 65535, UDP));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_TRUE(support::log_lines().empty());
}

TEST_F(NetIsPortRangeUsed, ReadsEachTableOfTheProtocol)
{
    tables(line(1, 1), line(2, 1), line(3, 7), line(4, 7));
    for (const int port : {1, 2, 3, 4}) {
        EXPECT_EQ(port <= 2, used(port, TCP)) << port;
        EXPECT_EQ(port > 2, used(port, UDP)) << port;
    }
}

TEST_F(NetIsPortRangeUsed, PassesOverLinesOfAnotherForm)
{
    tables("\n"
           "  sl  local_address\n"
           "   0  0100007F:1388 0100007F:1F90 0A\n"
           "   x: 0100007F:1388 0100007F:1F90 0A\n"
           "   0: 0100007G:1388 0100007F:1F90 0A\n"
           "   0: 0100007F 1388 0100007F:1F90 0A\n"
           "   0: 0100007F:\n"
           "   0: :1388\n" +
           std::string("   0: ") + std::string(65, '0') + ":1388\n" + "   0: 0100007F:138");
    EXPECT_FALSE(used(0x1388));
    EXPECT_TRUE(used(0x138)) << "a last line without a newline";
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetIsPortRangeUsed, NeedsNoMoreOfALineThanTheLocalPort)
{
    tables("7:A:1388\n");
    EXPECT_TRUE(used(5000));
}

TEST_F(NetIsPortRangeUsed, ReadsALongLineInPieces)
{
    // The second piece begins behind 1023 characters.
    const std::string front(1023, ' ');
    tables(front + "0: 0100007F:1388 0100007F:1F90 0A\n");
    EXPECT_TRUE(used(5000));
    tables(front.substr(3) + "0: 0100007F:1388\n");
    EXPECT_FALSE(used(5000)) << "cut in the middle";
    tables("   0: 0100007F:1388" + std::string(5000, 'x') + "\n" + line(5001, 1));
    EXPECT_TRUE(used(5000));
    EXPECT_TRUE(used(5001));
}

TEST_F(NetIsPortRangeUsed, GoesOnWithoutATable)
{
    tables(line(5000, 10), line(6000, 10), line(5000, 7), line(6000, 7));
    ASSERT_EQ(0, unlink("/proc/net/tcp"));
    ASSERT_EQ(0, unlink("/proc/net/udp6"));
    EXPECT_TRUE(used(6000));
    EXPECT_EQ(LOG_ERR, support::logged_in(FILE_NAME, not_opened("tcp")));
    EXPECT_EQ(1U, support::log_lines().size());
    support::clear_log();
    EXPECT_TRUE(used(5000, UDP));
    EXPECT_TRUE(support::log_lines().empty()) << "what was found ends the search";
    EXPECT_FALSE(used(6000, UDP));
    EXPECT_EQ(LOG_ERR, support::logged_in(FILE_NAME, not_opened("udp6")));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetIsPortRangeUsed, FindsNothingWithoutAnyTable)
{
    plain_proc_net();
    unopenable("/proc/net/tcp6");
    EXPECT_EQ(0, KAVONetIsPortRangeUsed(0, 65535, TCP));
    EXPECT_EQ(LOG_ERR, support::logged_in(FILE_NAME, not_opened("tcp")));
    EXPECT_EQ(LOG_ERR, support::logged_in(FILE_NAME, not_opened("tcp6", ENXIO)));
    EXPECT_EQ(2U, support::log_lines().size());
}

TEST_F(NetIsPortRangeUsed, TakesATableThatCannotBeReadForAnEmptyOne)
{
    tables("", line(6000, 10));
    ASSERT_EQ(0, unlink("/proc/net/tcp"));
    ASSERT_EQ(0, mkdir("/proc/net/tcp", 0755));
    EXPECT_TRUE(used(6000));
    EXPECT_FALSE(used(6001));
}

} // namespace
