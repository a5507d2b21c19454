#include "appliance/ipv6/ipv6_test.h"

namespace {

constexpr char FILE_NAME[] = "net_lnx_ipv6_proc_action.cpp";
constexpr int ROUND = 500'000; // microseconds
constexpr char SETTLED[] = "fe80000000000000021122fffe334455 02 40 20 80 lan0\n";
constexpr char TENTATIVE[] = "fe80000000000000021122fffe334455 02 40 20 c0 lan0\n";

class LnxIpv6ProcAction : public Ipv6Test {
protected:
    void SetUp() override
    {
        Ipv6Test::SetUp();
        if (IsSkipped())
            return;
        add_card("lan0");
        plain_table();
        plain_switches("lan0");
    }

    static int disable() { return KAVOLnxIPv6ProcAction("lan0", 1); }
    static int enable() { return KAVOLnxIPv6ProcAction("lan0", 0); }

    // Rounds that enabling waits while the table holds this.
    static int rounds(const std::string &content)
    {
        table(content);
        support::clear_waits();
        EXPECT_EQ(0, enable());
        EXPECT_EQ(support::waits() * ROUND, support::waited());
        return support::waits();
    }
};

TEST_F(LnxIpv6ProcAction, WritesTheSwitch)
{
    table(SETTLED);
    EXPECT_EQ(0, disable());
    EXPECT_EQ("1\n", read_file(switch_of("lan0")));
    EXPECT_EQ(0, enable());
    EXPECT_EQ("0\n", read_file(switch_of("lan0")));
    EXPECT_EQ(0, KAVOLnxIPv6ProcAction("lan0", -1));
    EXPECT_EQ("1\n", read_file(switch_of("lan0")));
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(LnxIpv6ProcAction, TurningItOffDoesNotWait)
{
    table(TENTATIVE);
    EXPECT_EQ(0, disable());
    EXPECT_EQ(0, support::waits());
}

TEST_F(LnxIpv6ProcAction, TurningItOnWaitsForTheLinkLocalAddress)
{
    const std::string global = "20010db8000000000000000000000005 02 40 00 ";
    EXPECT_EQ(0, rounds(SETTLED));
    EXPECT_EQ(10, rounds(""));
    EXPECT_EQ(10, rounds(TENTATIVE));
    EXPECT_EQ(10, rounds(SETTLED + std::string(TENTATIVE)));
    EXPECT_EQ(0, rounds(global + "c0 lan0\n"));                                   // tentative, but not link-local
    EXPECT_EQ(0, rounds("fe80000000000000021122fffe334455 02 40 20 88 lan0\n"));  // a duplicate settles too
    EXPECT_EQ(10, rounds("fe80000000000000021122fffe334455 02 40 20 c0 lan1\n")); // another's
    EXPECT_EQ("0\n", read_file(switch_of("lan0")));
}

TEST_F(LnxIpv6ProcAction, TheWaitEndsWithTheAddress)
{
    support::on_wait([] {
        if (support::waits() == 2)
            table(TENTATIVE);
        if (support::waits() == 5)
            table(SETTLED);
    });
    EXPECT_EQ(0, enable());
    EXPECT_EQ(5, support::waits());
    EXPECT_EQ(5 * ROUND, support::waited());
}

TEST_F(LnxIpv6ProcAction, MoreThanSixteenAddressesEndTheWait)
{
    std::string settled;
    for (int i = 0; i < 16; ++i)
        settled += SETTLED;
    EXPECT_EQ(0, rounds(settled + SETTLED));
    EXPECT_EQ(0, rounds(settled + TENTATIVE));  // the 17th is not looked at
    EXPECT_EQ(10, rounds(TENTATIVE + settled)); // one of the first 16
}

TEST_F(LnxIpv6ProcAction, AnUnreadableTableEndsTheWait)
{
    ASSERT_EQ(0, unlink("/proc/net/if_inet6"));
    EXPECT_EQ(0, enable());
    EXPECT_EQ(0, support::waits());
}

TEST_F(LnxIpv6ProcAction, ASwitchThatCannotBeOpenedIsAFailure)
{
    ASSERT_EQ(0, unlink(switch_of("lan0").c_str()));
    ASSERT_EQ(0, rmdir("/proc/sys/net/ipv6/conf/lan0"));
    EXPECT_EQ(-1, disable());
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "open file " + switch_of("lan0") + " failed"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_EQ(-1, enable());
    EXPECT_EQ(0, support::waits());
}

TEST_F(LnxIpv6ProcAction, ASwitchThatRefusesIsAFailure)
{
    ASSERT_EQ(0, unlink(switch_of("lan0").c_str()));
    ASSERT_EQ(0, symlink("/dev/full", switch_of("lan0").c_str()));
    EXPECT_EQ(-1, disable());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "write file " + switch_of("lan0") + " failed"));
    EXPECT_EQ(-1, enable());
    EXPECT_EQ(0, support::waits());
}

TEST_F(LnxIpv6ProcAction, InterfacesThatAreNotUsableAreLeftAlone)
{
    shell("ip link set lan0 down");
    EXPECT_EQ(-1, disable());
    EXPECT_EQ(-1, KAVOLnxIPv6ProcAction("none0", 1));
    EXPECT_EQ(-1, KAVOLnxIPv6ProcAction("lo", 1));
    EXPECT_EQ("x", read_file(switch_of("lan0")));
}

TEST_F(LnxIpv6ProcAction, RefusesNullAndHostileNames)
{
    EXPECT_EQ(-1, KAVOLnxIPv6ProcAction(nullptr, 1));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    for (const std::string &name : names) {
        support::clear_error();
        EXPECT_EQ(-1, KAVOLnxIPv6ProcAction(name.c_str(), 1)) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
}

TEST_F(LnxIpv6ProcAction, TurnsTheKernelOffAndOn)
{
    ASSERT_EQ(0, umount2("/proc/sys/net/ipv6/conf", MNT_DETACH));
    table(SETTLED);
    EXPECT_EQ(0, disable());
    EXPECT_EQ("1\n", read_file(switch_of("lan0")));
    EXPECT_EQ("", shell("ip -6 -o address show dev lan0"));
    EXPECT_EQ(0, enable());
    EXPECT_EQ("0\n", read_file(switch_of("lan0")));
}

} // namespace
