#include "stat_test.h"

namespace {

constexpr char FILE_NAME[] = "net_stat_get.cpp";

class NetStatGet : public StatTest {
protected:
    NetStatGet() { memset(&record, 0x5a, sizeof record); }

    bool untouched() const
    {
        NetStat marked;
        memset(&marked, 0x5a, sizeof marked);
        return memcmp(&marked, &record, sizeof record) == 0;
    }

    NetStat record;
};

TEST_F(NetStatGet, CopiesTheRecord)
{
    lines(line("eth1") + "eth0: 1 2 3 4 5 6 7 8 9 10\n" + line("eth2"));
    EXPECT_EQ(0, KLIBNetStatGetSingle("eth0", &record));
    EXPECT_EQ(1, record.nFlag);
    EXPECT_STREQ("eth0", record.szName);
    EXPECT_EQ(1, record.llRxBytes);
    EXPECT_EQ(2, record.llRxPackets);
    EXPECT_EQ(9, record.llTxBytes);
    EXPECT_EQ(10, record.llTxPackets);
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetStatGet, FindsARealCard)
{
    add_card("eth3");
    EXPECT_EQ(0, KLIBNetStatGetSingle("eth3", &record));
    EXPECT_STREQ("eth3", record.szName);
    EXPECT_EQ(-1, KLIBNetStatGetSingle("eth4", &record));
}

TEST_F(NetStatGet, BeginsWithZeroCounters)
{
    lines("eth0: x\n");
    EXPECT_EQ(0, KLIBNetStatGetSingle("eth0", &record));
    EXPECT_EQ(0, record.llRxBytes);
    EXPECT_EQ(0, record.llTxPackets);
    EXPECT_EQ(1, record.nFlag);
}

TEST_F(NetStatGet, ComparesWholeNames)
{
    lines(line("eth0") + line("eth10") + line("tap0"));
    for (const char *name : {"eth", "eth1", "eth00", "ETH0", "tap0", "eth0:"})
        EXPECT_EQ(-1, KLIBNetStatGetSingle(name, &record)) << name;
    EXPECT_TRUE(untouched());
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetStatGet, FindsACutNameOnlyByWhatIsLeftOfIt)
{
    lines(line("eth1234567890123"));
    EXPECT_EQ(-1, KLIBNetStatGetSingle("eth1234567890123", &record));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_EQ(0, KLIBNetStatGetSingle("eth123456789012", &record));
}

TEST_F(NetStatGet, LooksAtTheFirst256)
{
    std::string content;
    for (int i = 0; i < 257; ++i)
        content += line("eth" + std::to_string(i));
    lines(content);
    EXPECT_EQ(0, KLIBNetStatGetSingle("eth255", &record));
    EXPECT_EQ(-1, KLIBNetStatGetSingle("eth256", &record));
}

TEST_F(NetStatGet, RefusesBadArguments)
{
    EXPECT_EQ(-1, KLIBNetStatGetSingle(nullptr, &record));
    EXPECT_TRUE(is_bad_parameter_in(FILE_NAME));
    support::clear_error();
    EXPECT_EQ(-1, KLIBNetStatGetSingle("lo", nullptr));
    EXPECT_TRUE(is_bad_parameter_in(FILE_NAME));
    for (const char *name : {"", ".", "..", "a/b", "eth0\n", "eth 0"}) {
        support::clear_error();
        EXPECT_EQ(-1, KLIBNetStatGetSingle(name, &record)) << name;
        EXPECT_TRUE(is_bad_parameter_in(FILE_NAME)) << name;
    }
    EXPECT_TRUE(untouched());
}

TEST_F(NetStatGet, FailsWithoutMemory)
{
    lines(line("eth0"));
    fail_call("calloc");
    EXPECT_EQ(-1, KLIBNetStatGetSingle("eth0", &record));
    EXPECT_EQ(NET_ERR_OUT_OF_MEMORY, static_cast<int>(last_error().code));
    EXPECT_EQ("net_stat_init.cpp", last_error().file);
    EXPECT_TRUE(untouched());
}

TEST_F(NetStatGet, FailsWithoutTheTable)
{
    plain_proc_net();
    EXPECT_EQ(-1, KLIBNetStatGetSingle("eth0", &record));
    EXPECT_EQ(NET_ERR_OPEN_FAILED, static_cast<int>(last_error().code));
    EXPECT_EQ("net_stat_get_all.cpp", last_error().file);
    ASSERT_EQ(0, mkdir("/proc/net/dev", 0755));
    EXPECT_EQ(-1, KLIBNetStatGetSingle("eth0", &record));
    EXPECT_EQ(NET_ERR_BAD_FORMAT, static_cast<int>(last_error().code));
    EXPECT_TRUE(untouched());
}

} // namespace
