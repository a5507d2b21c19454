#include "table_test.h"

#include <chrono>

namespace {

using support::is_set_in;
using support::last_error;
using support::NO_ERROR_SET;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr char FILE_NAME[] = "net_get_port_used_in_range.cpp";
constexpr int UNTOUCHED = -77;

class NetGetPortUsedInRange : public TableTest {
protected:
    // The ports that are found; what lies beyond them must stay as it was.
    static std::vector<int> ports(int lowest, int highest, int protocol = TCP, int capacity = 64)
    {
        std::vector<int> array(static_cast<size_t>(capacity) + 1, UNTOUCHED);
        int count = capacity;
        EXPECT_EQ(0, KAVONetGetPortUsedInRange(array.data(), &count, lowest, highest, protocol));
        EXPECT_GE(count, 0);
        EXPECT_LE(count, capacity);
        for (size_t i = static_cast<size_t>(count); i < array.size(); ++i)
            EXPECT_EQ(UNTOUCHED, array[i]) << i;
        array.resize(static_cast<size_t>(count));
        return array;
    }
};

TEST_F(NetGetPortUsedInRange, FindsListenersOnly)
{
    for (const int family : {AF_INET, AF_INET6}) {
        const auto all = sockets::in_every_state(family, 5000);
        std::vector<int> listeners;
        for (const sockets::InState &in : all) {
            const auto states =
                sockets::states_with(in.state, family == AF_INET ? "/proc/net/tcp" : "/proc/net/tcp6", in.port);
            ASSERT_TRUE(states.contains(in.state)) << in.name;
            if (states.contains(10))
                listeners.push_back(in.port);
        }
        // The one that listens, and the listener that a connection is being made to.
        EXPECT_EQ(2U, listeners.size());
        EXPECT_THAT(ports(5000, 5099), testing::UnorderedElementsAreArray(listeners));
        EXPECT_THAT(ports(5000, 5099, UDP), IsEmpty());
    }
}

TEST_F(NetGetPortUsedInRange, ReportsAPortOfBothFamiliesOnce)
{
    const auto four = sockets::listening(AF_INET, 5000);
    const auto six = sockets::listening(AF_INET6, 5000);
    const auto other = sockets::listening(AF_INET6, 5001);
    EXPECT_THAT(ports(0, 65535), ElementsAre(5000, 5001));
}

TEST_F(NetGetPortUsedInRange, ReportsAPortOfSeveralAddressesOnce)
{
    const auto first = sockets::listening(AF_INET, 5000, "127.0.0.1");
    const auto second = sockets::listening(AF_INET, 5000, "127.0.0.2");
    EXPECT_EQ(2U, support::lines_of(support::read_file("/proc/net/tcp")).size() - 1);
    EXPECT_THAT(ports(0, 65535), ElementsAre(5000));
}

TEST_F(NetGetPortUsedInRange, FindsNoUdpSockets)
{
    const auto four = sockets::bound(AF_INET, SOCK_DGRAM, 7000);
    const auto six = sockets::bound(AF_INET6, SOCK_DGRAM, 7001);
    EXPECT_EQ(1, KAVONetIsPortRangeUsed(7000, 7000, UDP));
    EXPECT_THAT(ports(0, 65535, UDP), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetGetPortUsedInRange, GoesByTheStateForUdpToo)
{
    tables(line(1, 10), line(2, 10), line(3, 10) + line(4, 7), line(5, 10));
    for (const int protocol : {0, 2, 17, -1, INT_MIN})
        EXPECT_THAT(ports(0, 65535, protocol), ElementsAre(3, 5)) << protocol;
    EXPECT_THAT(ports(0, 65535), ElementsAre(1, 2));
}

TEST_F(NetGetPortUsedInRange, KeepsTheOrderOfDiscovery)
{
    tables(line(30, 10) + line(10, 10) + line(20, 1) + line(30, 10), line(25, 10) + line(10, 10) + line(5, 10));
    EXPECT_THAT(ports(0, 65535), ElementsAre(30, 10, 25, 5));
}

TEST_F(NetGetPortUsedInRange, IncludesBothEnds)
{
    tables(line(4999, 10) + line(5000, 10) + line(5005, 10) + line(5010, 10) + line(5011, 10));
    EXPECT_THAT(ports(5000, 5010), ElementsAre(5000, 5005, 5010));
    EXPECT_THAT(ports(5005, 5005), ElementsAre(5005));
    EXPECT_THAT(ports(INT_MIN, INT_MAX), ElementsAre(4999, 5000, 5005, 5010, 5011));
    EXPECT_THAT(ports(-10, 5000), ElementsAre(4999, 5000));
}

TEST_F(NetGetPortUsedInRange, FindsNothingInARangeThatIsNone)
{
    tables(line(5000, 10));
    EXPECT_THAT(ports(5001, 4999), IsEmpty());
    EXPECT_THAT(ports(INT_MAX, INT_MIN), IsEmpty());
    EXPECT_THAT(ports(-100, -1), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetGetPortUsedInRange, StopsWhenTheArrayIsFull)
{
    tables(line(1, 10) + line(2, 10) + line(3, 10), line(4, 10));
    EXPECT_THAT(ports(0, 65535, TCP, 3), ElementsAre(1, 2, 3));
    EXPECT_THAT(ports(0, 65535, TCP, 2), ElementsAre(1, 2));
    EXPECT_THAT(ports(3, 65535, TCP, 1), ElementsAre(3));
    EXPECT_THAT(ports(0, 65535, TCP, 4), ElementsAre(1, 2, 3, 4));
}

TEST_F(NetGetPortUsedInRange, TakesACapacityOfNothing)
{
    tables(line(1, 10));
    EXPECT_THAT(ports(0, 65535, TCP, 0), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetGetPortUsedInRange, WantsBothValuesOfALine)
{
    tables("   0: 0100007F:0001\n"
           "   0: 0100007F:0002 0100007F:1F90\n"
           "   0: 0100007F:0003 0100007F 0A\n"
           "   0: 0100007F:0004 :1F90 0A\n"
           "   0: 0100007F:0005 0100007F:1F90 x\n"
           "   0: 0100007F:0006 0100007F:1F90 0A\n"
           "   0: 0100007F:0007 0100007F:1F90 A what follows does not count\n"
           "   0: 0100007F:0008 0100007F:1F90 0AA\n"
           "   0: 0100007F:0009 0100007F:1F90 10\n"
           "   0: 0100007F:000A 0100007F:1F90 0A");
    EXPECT_THAT(ports(0, 65535), ElementsAre(6, 7, 10));
}

TEST_F(NetGetPortUsedInRange, TakesNumbersThatAreNoPortsAsTheyAre)
{
    tables(line(0x10050, 10) + line(0x50, 10) + line(0x10050, 10) + line(0, 10) + line(0xFFFF, 10));
    EXPECT_THAT(ports(0, INT_MAX), ElementsAre(0x10050, 0x50, 0, 0xFFFF));
    EXPECT_THAT(ports(0, 65535), ElementsAre(0x50, 0, 0xFFFF));
}

TEST_F(NetGetPortUsedInRange, GoesOnWithoutATable)
{
    const auto four = sockets::listening(AF_INET, 5000);
    const std::string table = support::read_file("/proc/net/tcp");
    plain_proc_net();
    support::write_file("/proc/net/tcp", table);
    EXPECT_THAT(ports(0, 65535), ElementsAre(5000));
    EXPECT_EQ(LOG_ERR, support::logged_in(FILE_NAME, not_opened("tcp6")));
    EXPECT_EQ(1U, support::log_lines().size());
    EXPECT_EQ(NO_ERROR_SET, last_error());
    support::clear_log();
    EXPECT_THAT(ports(0, 65535, UDP), IsEmpty());
    EXPECT_EQ(LOG_ERR, support::logged_in(FILE_NAME, not_opened("udp")));
    EXPECT_EQ(LOG_ERR, support::logged_in(FILE_NAME, not_opened("udp6")));
}

TEST_F(NetGetPortUsedInRange, LogsMissingTablesWhateverTheCapacity)
{
    tables(line(1, 10));
    ASSERT_EQ(0, unlink("/proc/net/tcp6"));
    EXPECT_THAT(ports(0, 65535, TCP, 0), IsEmpty());
    EXPECT_EQ(LOG_ERR, support::logged_in(FILE_NAME, not_opened("tcp6")));
    support::clear_log();
    EXPECT_THAT(ports(0, 65535, TCP, 1), ElementsAre(1));
    EXPECT_EQ(LOG_ERR, support::logged_in(FILE_NAME, not_opened("tcp6")));
}

TEST_F(NetGetPortUsedInRange, RefusesBadArguments)
{
    int port = UNTOUCHED;
    int count = 1;
    EXPECT_EQ(-1, KAVONetGetPortUsedInRange(nullptr, &count, 0, 65535, TCP));
    EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    EXPECT_EQ(1, count);
    support::clear_error();
    EXPECT_EQ(-1, KAVONetGetPortUsedInRange(&port, nullptr, 0, 65535, TCP));
    EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    for (const int capacity : {-1, INT_MIN}) {
        support::clear_error();
        count = capacity;
        EXPECT_EQ(-1, KAVONetGetPortUsedInRange(&port, &count, 0, 65535, TCP));
        EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
        EXPECT_EQ(capacity, count);
    }
    EXPECT_EQ(UNTOUCHED, port);
    EXPECT_TRUE(support::log_lines().empty());
}

TEST_F(NetGetPortUsedInRange, FindsEveryPortThereIs)
{
    std::string all;
    std::vector<int> expected;
    for (int round = 0; round < 2; ++round) {
        for (unsigned port = 0; port <= 0xFFFF; ++port)
            all += line(0xFFFF - port, 10);
    }
    for (int port = 0xFFFF; port >= 0; --port)
        expected.push_back(port);
    tables(all);
    EXPECT_EQ(expected, ports(0, 65535, TCP, 70000));
}

} // namespace
