#include "appliance/ipv6/ipv6_test.h"

namespace {

constexpr char FILE_NAME[] = "net_lnx_v6_ip_get.cpp";
constexpr int ROOM = 4;

class LnxV6IpGet : public Ipv6Test {
protected:
    void SetUp() override
    {
        Ipv6Test::SetUp();
        memset(found, 0x5a, sizeof found);
    }

    int get(const std::string &name = "eth0", int room = ROOM) { return KAVOLnxV6IPGet(name.c_str(), found, room); }

    static bool is_zero(const KAVOV6IPINFO &info)
    {
        const KAVOV6IPINFO zero{};
        return memcmp(&zero, &info, sizeof info) == 0;
    }

    KAVOV6IPINFO found[ROOM + 1];
};

TEST_F(LnxV6IpGet, GivesTheInterfacesRowsInTheKernelsOrder)
{
    plain_table("00000000000000000000000000000001 01 80 10 80       lo\n"
                "fe80000000000000021122fffe334455 02 40 20 80     eth0\n"
                "20010db8000000000000000000000001 03 40 00 80    eth00\n"
                "20010db8000000000000000000000005 02 30 00 c8     eth0\n");
    EXPECT_EQ(2, get());
    EXPECT_STREQ("fe80::211:22ff:fe33:4455", found[0].szAddr);
    EXPECT_EQ(64, found[0].prefix);
    EXPECT_EQ(0x20U, found[0].scope);
    EXPECT_EQ(0x80U, found[0].flags);
    EXPECT_STREQ("2001:db8::5", found[1].szAddr);
    EXPECT_EQ(48, found[1].prefix);
    EXPECT_EQ(0U, found[1].scope);
    EXPECT_EQ(0xc8U, found[1].flags);
    EXPECT_TRUE(is_zero(found[2]));
    EXPECT_TRUE(is_zero(found[3]));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(LnxV6IpGet, ReadsTheRealTable)
{
    add_card("lan0");
    shell("ip -6 address add 2001:db8::5/56 dev lan0 nodad");
    KAVOV6IPINFO all[16];
    const int count = KAVOLnxV6IPGet("lan0", all, 16);
    ASSERT_GE(count, 1);
    bool seen = false;
    for (int i = 0; i < count; ++i)
        seen |= strcmp(all[i].szAddr, "2001:db8::5") == 0 && all[i].prefix == 56;
    EXPECT_TRUE(seen);
}

TEST_F(LnxV6IpGet, CountsMoreThanItHasRoomFor)
{
    std::string rows;
    for (int i = 0; i < 6; ++i)
        rows += "20010db800000000000000000000000" + std::to_string(i) + " 02 40 00 80 eth0\n";
    plain_table(rows);
    EXPECT_EQ(6, get());
    EXPECT_STREQ("2001:db8::3", found[3].szAddr);
    EXPECT_EQ(0x5a, found[4].szAddr[0]); // beyond the room
    EXPECT_EQ(6, get("eth0", 1));
}

TEST_F(LnxV6IpGet, AnInterfaceWithoutAddressesHasNone)
{
    plain_table("20010db8000000000000000000000001 02 40 00 80 eth1\n");
    EXPECT_EQ(0, get());
    for (int i = 0; i < ROOM; ++i)
        EXPECT_TRUE(is_zero(found[i]));
    plain_table("");
    EXPECT_EQ(0, get());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(LnxV6IpGet, ReadsTheNumbersBehindALongIndexToo)
{
    plain_table("20010db8000000000000000000000001 1ff 40 00 80 eth0\n");
    EXPECT_EQ(1, get());
    EXPECT_EQ(64, found[0].prefix);
    EXPECT_EQ(0x80U, found[0].flags);
}

TEST_F(LnxV6IpGet, ARowWithAnIndexOfFourDigitsIsNotCounted)
{
    plain_table("20010db8000000000000000000000001 1000 40 00 80 eth0\n"
                "20010db8000000000000000000000002 10000 40 00 80 eth0\n"
                "20010db8000000000000000000000003 fff 40 00 80 eth0\n");
    EXPECT_EQ(1, get());
    EXPECT_STREQ("2001:db8::3", found[0].szAddr);
    EXPECT_TRUE(is_zero(found[1]));
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(LnxV6IpGet, PassesOverBrokenRows)
{
    plain_table("\n"
                "short\n"
                "20010db8000000000000000000000001 02 40 00 80\n"
                "20010db8000000000000000000000001 02 zz 00 80 eth0\n"
                "20010db8000000000000000000000001\n"
                "20010db8000000000000000000000002 02 40 00 80 eth0");
    EXPECT_EQ(1, get());
    EXPECT_STREQ("2001:db8::2", found[0].szAddr);
    EXPECT_TRUE(is_zero(found[1]));
}

TEST_F(LnxV6IpGet, AnAddressThatDoesNotParseIsOnlyLogged)
{
    plain_table("20010db80000000000000000000000zz 02 40 00 80 eth0\n"
                "20010db8000000000000000000000002 02 40 00 80 eth0\n");
    EXPECT_EQ(2, get());
    EXPECT_EQ(LOG_ERR, support::logged("net_lnx_v6_ip_get\\.cpp:[0-9]+ inet_pton failed\\. .*"));
    EXPECT_STREQ("2001:db8::2", found[1].szAddr);
}

TEST_F(LnxV6IpGet, ALineTooShortForAnAddressIsLoggedWhoeverItsDeviceIs)
{
    for (const char *row : {"\n", "short\n", "2001", "20010db800000000000000000000000\n",
                            "20010db80000000000000000000000zz 02 40 00 80 eth1\n"}) {
        clear();
        // What the line before left behind it is not read.
        plain_table(std::string("20010db8000000000000000000000001 02 40 00 80 eth0\n") + row);
        EXPECT_EQ(1, get()) << row;
        EXPECT_EQ(1U, log_lines().size()) << row;
        EXPECT_EQ(LOG_ERR, support::logged("net_lnx_v6_ip_get\\.cpp:[0-9]+ inet_pton failed\\. .*")) << row;
    }
    clear();
    plain_table("20010db8000000000000000000000001\n");
    EXPECT_EQ(0, get());
    EXPECT_THAT(log_lines(), IsEmpty()) << "a whole address without numbers is passed over";
}

TEST_F(LnxV6IpGet, AMissingTableIsAFailure)
{
    plain_table("");
    ASSERT_EQ(0, unlink("/proc/net/if_inet6"));
    EXPECT_EQ(-1, get());
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OPEN_FAILED));
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Fail to open [/proc/net/if_inet6], errno=[2/No such file or directory]"));
    EXPECT_TRUE(is_zero(found[0]));
}

TEST_F(LnxV6IpGet, RefusesNullAndHostileArguments)
{
    const auto expect_refused = [](const char *name, KAVOV6IPINFO *records, int room) {
        support::clear_error();
        EXPECT_EQ(-1, KAVOLnxV6IPGet(name, records, room)) << (name == nullptr ? "null" : name);
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    };
    expect_refused(nullptr, found, ROOM);
    expect_refused("eth0", nullptr, ROOM);
    expect_refused("eth0", found, 0);
    expect_refused("eth0", found, -1);
    for (const std::string &name : support::hostile_names())
        expect_refused(name.c_str(), found, ROOM);
    expect_refused(support::NAME_OF_16, found, ROOM);
    EXPECT_EQ(0x5a, found[0].szAddr[0]);
    plain_table(std::string("20010db8000000000000000000000001 02 40 00 80 ") + support::NAME_OF_15 + "\n");
    EXPECT_EQ(1, get(support::NAME_OF_15));
}

} // namespace
