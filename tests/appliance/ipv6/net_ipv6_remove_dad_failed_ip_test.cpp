#include "appliance/ipv6/ipv6_test.h"

namespace {

constexpr char FILE_NAME[] = "net_ipv6_remove_dad_failed_ip.cpp";
constexpr int ROOM = 4;

class Ipv6RemoveDadFailedIp : public Ipv6Test {
protected:
    void SetUp() override
    {
        Ipv6Test::SetUp();
        if (IsSkipped())
            return;
        record("/sbin/ip");
        memset(removed, 0x5a, sizeof removed);
    }

    static std::string row(int number, const char *flags, const char *name = "lan0")
    {
        char text[80];
        snprintf(text, sizeof text, "20010db80000000000000000%08x 02 %02x 00 %s %s\n", static_cast<unsigned>(number),
                 number % 129, flags, name);
        return text;
    }

    static std::string deleted(const std::string &address)
    {
        return "[/sbin/ip] [-6] [address] [del] [" + address + "] [dev] [lan0]";
    }

    int remove(int room = ROOM) { return KAVONetIPv6RemoveDADFailedIP("lan0", removed, room); }

    KAVOV6IPINFO removed[ROOM + 1];
};

TEST_F(Ipv6RemoveDadFailedIp, TakesOffExactlyTheDuplicates)
{
    plain_table(row(1, "80") + row(2, "88") + row(3, "c0") + row(4, "08") + row(5, "88", "lan1") + row(6, "c8"));
    EXPECT_EQ(3, remove());
    EXPECT_THAT(calls(), ElementsAre(deleted("2001:db8::2/2"), deleted("2001:db8::4/4"), deleted("2001:db8::6/6")));
    EXPECT_STREQ("2001:db8::2", removed[0].szAddr);
    EXPECT_EQ(2, removed[0].prefix);
    EXPECT_EQ(0x88U, removed[0].flags);
    EXPECT_STREQ("2001:db8::4", removed[1].szAddr);
    EXPECT_STREQ("2001:db8::6", removed[2].szAddr);
    EXPECT_EQ(0xc8U, removed[2].flags);
    EXPECT_EQ(0x5a, removed[3].szAddr[0]);
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(Ipv6RemoveDadFailedIp, WithoutDuplicatesThereIsNothingToDo)
{
    plain_table(row(1, "80") + row(2, "40"));
    EXPECT_EQ(0, remove());
    table("");
    EXPECT_EQ(0, remove());
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ(0x5a, removed[0].szAddr[0]);
}

TEST_F(Ipv6RemoveDadFailedIp, RemovesMoreThanItHasRoomFor)
{
    plain_table(row(1, "88") + row(2, "88") + row(3, "88"));
    EXPECT_EQ(3, remove(1));
    EXPECT_EQ(3U, calls().size());
    EXPECT_STREQ("2001:db8::1", removed[0].szAddr);
    EXPECT_EQ(0x5a, removed[1].szAddr[0]);
    EXPECT_EQ(3, remove(0));
    EXPECT_EQ(3, remove(-1));
    EXPECT_EQ(0x5a, removed[1].szAddr[0]);
}

TEST_F(Ipv6RemoveDadFailedIp, LooksAtMoreThanSixteen)
{
    std::string rows;
    for (int i = 1; i <= 40; ++i)
        rows += row(i, i > 38 ? "88" : "80");
    plain_table(rows);
    EXPECT_EQ(2, remove());
    EXPECT_THAT(calls(), ElementsAre(deleted("2001:db8::27/39"), deleted("2001:db8::28/40")));
    rows.clear();
    for (int i = 1; i <= 16; ++i)
        rows += row(i, "88");
    table(rows);
    EXPECT_EQ(16, remove());
    table(rows + row(17, "88"));
    EXPECT_EQ(17, remove());
}

TEST_F(Ipv6RemoveDadFailedIp, MemoryThatRunsOutIsAFailure)
{
    std::string rows;
    for (int i = 1; i <= 17; ++i)
        rows += row(i, "88");
    plain_table(rows);
    fail_call("calloc");
    EXPECT_EQ(-1, remove());
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_NO_SPACE));
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ(17, remove());
}

TEST_F(Ipv6RemoveDadFailedIp, TheTableMayChangeBetweenTheTwoReadings)
{
    std::string rows;
    for (int i = 1; i <= 20; ++i)
        rows += row(i, "88");
    plain_table(rows);
    static std::string more;
    more = rows + row(21, "88");
    support::on_call("calloc", [] { table(more); });
    EXPECT_EQ(20, remove());
    support::on_call("calloc", [] { table(row(1, "88")); });
    EXPECT_EQ(1, remove());
    table(rows);
    support::on_call("calloc", [] { unlink("/proc/net/if_inet6"); });
    EXPECT_EQ(-1, remove());
    EXPECT_EQ(unsigned{NET_ERR_OPEN_FAILED}, KLIBCErrGet());
}

TEST_F(Ipv6RemoveDadFailedIp, AnAddressThatStaysIsAFailure)
{
    plain_table(row(1, "88") + row(2, "88") + row(3, "88"));
    fail_call("KLIBCExecl", 2);
    EXPECT_EQ(-1, remove());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Fail to remove DAD fail ipv6 address, lan0:2001:db8::2/2"));
    EXPECT_THAT(calls(), ElementsAre(deleted("2001:db8::1/1")));
    EXPECT_STREQ("2001:db8::1", removed[0].szAddr);
    EXPECT_EQ(0x5a, removed[1].szAddr[0]);
}

TEST_F(Ipv6RemoveDadFailedIp, APrefixThatNoAddressHasIsAFailure)
{
    plain_table("20010db8000000000000000000000001 02 81 00 88 lan0\n");
    EXPECT_EQ(-1, remove());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Fail to remove DAD fail ipv6 address, lan0:2001:db8::1/129"));
    table("20010db8000000000000000000000001 02 ffffffff 00 88 lan0\n");
    EXPECT_EQ(-1, remove());
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(Ipv6RemoveDadFailedIp, AnUnreadableTableIsAFailure)
{
    plain_table();
    ASSERT_EQ(0, unlink("/proc/net/if_inet6"));
    EXPECT_EQ(-1, remove());
    EXPECT_EQ(unsigned{NET_ERR_OPEN_FAILED}, KLIBCErrGet());
}

TEST_F(Ipv6RemoveDadFailedIp, RefusesNullAndHostileArguments)
{
    EXPECT_EQ(-1, KAVONetIPv6RemoveDADFailedIP(nullptr, removed, ROOM));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    support::clear_error();
    EXPECT_EQ(-1, KAVONetIPv6RemoveDADFailedIP("lan0", nullptr, ROOM));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    for (const std::string &name : names) {
        support::clear_error();
        EXPECT_EQ(-1, KAVONetIPv6RemoveDADFailedIP(name.c_str(), removed, ROOM)) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
    EXPECT_THAT(calls(), IsEmpty());
}

} // namespace
