#include "stat_test.h"

#include <climits>

namespace {

constexpr char FILE_NAME[] = "net_stat_get_all.cpp";

class NetStatGetAll : public StatTest {
protected:
    // The names that are found; records beyond them stay as they were.
    std::vector<std::string> read(int max = 64)
    {
        records.assign(static_cast<size_t>(max) + 1, marked());
        result = KLIBNetStatGetAll(records.data(), max);
        std::vector<std::string> names;
        for (int i = 0; i < result; ++i)
            names.emplace_back(records[static_cast<size_t>(i)].szName);
        for (size_t i = result < 0 ? 0 : static_cast<size_t>(result); result >= 0 && i < records.size(); ++i)
            EXPECT_EQ(0, memcmp(&UNUSED, &records[i], sizeof UNUSED)) << i;
        return names;
    }

    static NetStat marked()
    {
        NetStat record;
        memset(&record, 0x5a, sizeof record);
        return record;
    }

    const NetStat UNUSED = marked();
    std::vector<NetStat> records;
    int result = -7;
};

TEST_F(NetStatGetAll, ReadsTheFourCounters)
{
    lines(line("  eth0"));
    EXPECT_THAT(read(), ElementsAre("eth0"));
    EXPECT_EQ(1, result);
    EXPECT_EQ(1, records[0].nFlag);
    EXPECT_EQ(101, records[0].llRxBytes);
    EXPECT_EQ(102, records[0].llRxPackets);
    EXPECT_EQ(109, records[0].llTxBytes);
    EXPECT_EQ(110, records[0].llTxPackets);
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetStatGetAll, ReadsTheRealTable)
{
    add_card("eth3", "192.0.2.1/24");
    shell("ip link set lo up; ping -c 2 -i 0.2 -W 1 127.0.0.1 >/dev/null || true");
    read();
    ASSERT_GE(result, 3);
    const std::string folder = "/sys/class/net/";
    for (int i = 0; i < result; ++i) {
        const NetStat &record = records[static_cast<size_t>(i)];
        EXPECT_TRUE(support::exists(folder + record.szName)) << record.szName;
        if (std::string(record.szName) == "lo") {
            EXPECT_EQ(support::read_file(folder + "lo/statistics/rx_bytes"), std::to_string(record.llRxBytes) + "\n");
            EXPECT_EQ(support::read_file(folder + "lo/statistics/tx_packets"),
                      std::to_string(record.llTxPackets) + "\n");
        }
    }
}

TEST_F(NetStatGetAll, ReadsLargeCounters)
{
    lines("eth0: 9223372036854775807 18446744073709551615 0 0 0 0 0 0 4294967296 -1 0\n");
    read();
    EXPECT_EQ(INT64_MAX, records[0].llRxBytes);
    EXPECT_EQ(INT64_MAX, records[0].llRxPackets) << "as much as a counter holds";
    EXPECT_EQ(4294967296, records[0].llTxBytes);
    EXPECT_EQ(-1, records[0].llTxPackets);
}

TEST_F(NetStatGetAll, NeedsNoBlanksAfterTheName)
{
    lines("\t eth0:1 2 3 4 5 6 7 8 9 10\n");
    EXPECT_THAT(read(), ElementsAre("eth0"));
    EXPECT_EQ(1, records[0].llRxBytes);
    EXPECT_EQ(10, records[0].llTxPackets);
}

TEST_F(NetStatGetAll, KeepsTheCountersThatALineDoesNotHave)
{
    const int64_t old = UNUSED.llRxBytes;
    lines("a0: x 2 3 4 5 6 7 8 9 10\nb0: 1\nc0: 1 2 3 4 5 6 7 8 x 10\nd0:\ne0: 1 2 3 4 5\n");
    EXPECT_THAT(read(), ElementsAre("a0", "b0", "c0", "d0", "e0"));
    EXPECT_EQ(old, records[0].llRxBytes);
    EXPECT_EQ(old, records[0].llTxPackets);
    EXPECT_EQ(1, records[1].llRxBytes);
    EXPECT_EQ(old, records[1].llRxPackets);
    EXPECT_EQ(2, records[2].llRxPackets);
    EXPECT_EQ(old, records[2].llTxBytes);
    EXPECT_EQ(old, records[2].llTxPackets);
    EXPECT_EQ(old, records[3].llRxBytes);
    EXPECT_EQ(2, records[4].llRxPackets);
    EXPECT_EQ(old, records[4].llTxBytes);
    for (int i = 0; i < result; ++i)
        EXPECT_EQ(1, records[static_cast<size_t>(i)].nFlag);
}

TEST_F(NetStatGetAll, SortsNaturally)
{
    lines(line("lo") + line("eth10") + line("eth2") + line("bond0") + line("eth1") + line("eth0"));
    EXPECT_THAT(read(), ElementsAre("bond0", "eth0", "eth1", "eth2", "eth10", "lo"));
}

TEST_F(NetStatGetAll, SortsWholeRecords)
{
    lines("eth2: 21 22 0 0 0 0 0 0 23 24\neth1: 11 12 0 0 0 0 0 0 13 14\n");
    EXPECT_THAT(read(), ElementsAre("eth1", "eth2"));
    EXPECT_EQ(11, records[0].llRxBytes);
    EXPECT_EQ(14, records[0].llTxPackets);
    EXPECT_EQ(21, records[1].llRxBytes);
    EXPECT_EQ(24, records[1].llTxPackets);
}

TEST_F(NetStatGetAll, KeepsTheKernelsOrderOfNamesWithTheSameNumber)
{
    lines(line("eth1") + line("eth0.20") + line("eth0") + line("eth0.3") + line("eth0p"));
    EXPECT_THAT(read(), ElementsAre("eth0.20", "eth0", "eth0.3", "eth0p", "eth1"));
}

TEST_F(NetStatGetAll, LeavesSomeInterfacesOut)
{
    lines(line("docker0") + line("tap1") + line("zelm3") + line("mon.wlan0") + line("wlan0mon.1") + line("tap") +
          line("dockerx") + line("  zelm") + line("\ttap0"));
    EXPECT_THAT(read(), IsEmpty());
    EXPECT_EQ(0, result);
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetStatGetAll, KeepsNamesThatOnlyLookLikeThem)
{
    lines(line("dock0") + line("eth0tap") + line("mon0") + line("ta0") + line("xdocker0") + line("xzelm") +
          line("zel0"));
    EXPECT_THAT(read(), ElementsAre("dock0", "eth0tap", "mon0", "ta0", "xdocker0", "xzelm", "zel0"));
}

TEST_F(NetStatGetAll, StopsWhenTheArrayIsFull)
{
    lines(line("eth2") + line("docker0") + line("eth1") + line("eth0"));
    EXPECT_THAT(read(2), ElementsAre("eth1", "eth2")) << "the first two of the kernel, sorted";
    EXPECT_EQ(2, result);
    EXPECT_THAT(read(1), ElementsAre("eth2"));
    EXPECT_THAT(read(3), ElementsAre("eth0", "eth1", "eth2"));
}

TEST_F(NetStatGetAll, EndsUnsortedAtALineOfAnotherForm)
{
    lines(line("eth2") + line("eth1") + "something else\n" + line("eth0"));
    EXPECT_THAT(read(), ElementsAre("eth2", "eth1"));
    EXPECT_EQ(2, result);
    EXPECT_EQ(NO_ERROR_SET, last_error());
    lines("\n" + line("eth0"));
    EXPECT_THAT(read(), IsEmpty());
    EXPECT_EQ(0, result);
}

TEST_F(NetStatGetAll, LooksAtNoLineBeyondAFullArray)
{
    lines(line("eth2") + line("eth1") + "something else\n");
    EXPECT_THAT(read(2), ElementsAre("eth1", "eth2"));
}

TEST_F(NetStatGetAll, SkipsTwoLinesWhateverTheyHold)
{
    table("eth7: 1 2\neth8: 1 2\n" + line("eth0"));
    EXPECT_THAT(read(), ElementsAre("eth0"));
    for (const char *content : {"", "one", "one\n", "one\ntwo\n"}) {
        table(content);
        EXPECT_THAT(read(), IsEmpty());
        EXPECT_EQ(0, result) << content;
    }
}

TEST_F(NetStatGetAll, CutsLongNames)
{
    lines(line("abcdefghijklmnopqrstuvwxyz") + line("eth123456789012"));
    EXPECT_THAT(read(), ElementsAre("abcdefghijklmno", "eth123456789012"));
    EXPECT_EQ(101, records[0].llRxBytes);
}

TEST_F(NetStatGetAll, TakesTheNameUpToTheFirstColon)
{
    lines(line("eth0:1") + line(""));
    EXPECT_THAT(read(), ElementsAre("", "eth0"));
    EXPECT_EQ(101, records[0].llRxBytes);
    EXPECT_EQ(1, records[1].llRxBytes);
}

TEST_F(NetStatGetAll, EndsAtALineThatIsTooLong)
{
    const std::string blanks(600, ' ');
    lines(line("eth2") + line("eth1") + "eth0: 1 2" + blanks + "3 4\n" + line("eth3"));
    EXPECT_THAT(read(), ElementsAre("eth2", "eth1", "eth0")) << "the rest of the long line has no colon";
    lines(line("eth2") + line("eth1") + std::string(600, 'x') + ": 1 2\n");
    EXPECT_THAT(read(), ElementsAre("eth2", "eth1"));
}

TEST_F(NetStatGetAll, ReadsALastLineWithoutNewline)
{
    lines(line("eth1") + "eth0: 1 2 3 4 5 6 7 8 9 10");
    EXPECT_THAT(read(), ElementsAre("eth0", "eth1"));
    EXPECT_EQ(10, records[0].llTxPackets);
}

TEST_F(NetStatGetAll, ReadsMoreThanAPage)
{
    std::string content;
    for (int i = 999; i >= 0; --i)
        content += line("eth" + std::to_string(i));
    lines(content);
    const std::vector<std::string> names = read(1000);
    ASSERT_EQ(1000U, names.size());
    for (size_t i = 0; i < names.size(); ++i)
        ASSERT_EQ("eth" + std::to_string(i), names[i]);
}

// ---- What is refused and what fails

TEST_F(NetStatGetAll, RefusesBadArguments)
{
    NetStat record = marked();
    EXPECT_EQ(-1, KLIBNetStatGetAll(nullptr, 1));
    EXPECT_TRUE(is_bad_parameter_in(FILE_NAME));
    for (const int max : {0, -1, INT_MIN}) {
        support::clear_error();
        EXPECT_EQ(-1, KLIBNetStatGetAll(&record, max)) << max;
        EXPECT_TRUE(is_bad_parameter_in(FILE_NAME));
    }
    EXPECT_EQ(0, memcmp(&UNUSED, &record, sizeof record));
}

TEST_F(NetStatGetAll, FailsWithoutTheTable)
{
    plain_proc_net();
    EXPECT_THAT(read(), IsEmpty());
    EXPECT_EQ(-1, result);
    EXPECT_EQ(NET_ERR_OPEN_FAILED, static_cast<int>(last_error().code));
    EXPECT_EQ(FILE_NAME, last_error().file);
    EXPECT_GT(last_error().line, 0);
}

TEST_F(NetStatGetAll, FailsWhenTheTableCannotBeRead)
{
    plain_proc_net();
    ASSERT_EQ(0, mkdir("/proc/net/dev", 0755));
    EXPECT_THAT(read(), IsEmpty());
    EXPECT_EQ(-1, result);
    EXPECT_EQ(NET_ERR_BAD_FORMAT, static_cast<int>(last_error().code));
    EXPECT_EQ(FILE_NAME, last_error().file);
    EXPECT_GT(last_error().line, 0);
}

} // namespace
