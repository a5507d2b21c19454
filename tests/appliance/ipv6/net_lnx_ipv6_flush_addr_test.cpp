#include "appliance/ipv6/ipv6_test.h"

namespace {

constexpr char FILE_NAME[] = "net_lnx_ipv6_flush_addr.cpp";

class LnxIpv6FlushAddr : public Ipv6Test {
protected:
    void SetUp() override
    {
        Ipv6Test::SetUp();
        if (IsSkipped())
            return;
        add_card("lan0");
        write_ifcfg("lan0", "DEVICE=lan0\nIPV6INIT=auto\n");
    }
};

TEST_F(LnxIpv6FlushAddr, TakesTheKernelsAddressesAway)
{
    shell("ip -6 address add 2001:db8::5/64 dev lan0 nodad");
    EXPECT_EQ(0, KAVOLnxIPv6FlushAddr("lan0"));
    EXPECT_EQ("", shell("ip -6 -o address show dev lan0 to 2001:db8::/32"));
    EXPECT_EQ("0\n", read_file(switch_of("lan0")));
    EXPECT_EQ("DEVICE=lan0\nIPV6INIT=auto\n", read_file(ifcfg("lan0")));
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(LnxIpv6FlushAddr, StaysOffWhereItIsConfiguredOff)
{
    for (const char *off : {"off", "OFF", "Off"}) {
        write_ifcfg("lan0", std::string("IPV6INIT=") + off + "\n");
        shell("ip -6 address flush dev lan0; echo 0 >/proc/sys/net/ipv6/conf/lan0/disable_ipv6");
        EXPECT_EQ(0, KAVOLnxIPv6FlushAddr("lan0")) << off;
        EXPECT_EQ("1\n", read_file(switch_of("lan0"))) << off;
        EXPECT_EQ(0, support::waits());
    }
}

TEST_F(LnxIpv6FlushAddr, OtherModesAndNoneTurnItOnAgain)
{
    for (const char *line : {"", "IPV6INIT=\n", "IPV6INIT=static\n", "IPV6INIT=offline\n"}) {
        write_ifcfg("lan0", std::string("DEVICE=lan0\n") + line);
        EXPECT_EQ(0, KAVOLnxIPv6FlushAddr("lan0")) << line;
        EXPECT_EQ("0\n", read_file(switch_of("lan0"))) << line;
    }
}

TEST_F(LnxIpv6FlushAddr, AModeThatCannotBeReadIsAFailure)
{
    const std::string message = "Failed to get key [IPV6INIT] in [" + ifcfg("lan0") + "]";
    fail_call("KLIBCFileGetKeyValue");
    EXPECT_EQ(-1, KAVOLnxIPv6FlushAddr("lan0"));
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, message));
    EXPECT_STREQ("fault.c", KLIBCErrorGetFile());
    clear();
    unlink(ifcfg("lan0").c_str());
    EXPECT_EQ(-1, KAVOLnxIPv6FlushAddr("lan0"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, message));
    EXPECT_EQ("0\n", read_file(switch_of("lan0")));
}

TEST_F(LnxIpv6FlushAddr, ASwitchThatRefusesIsAFailure)
{
    plain_switches("lan0");
    ASSERT_EQ(0, unlink(switch_of("lan0").c_str()));
    ASSERT_EQ(0, rmdir("/proc/sys/net/ipv6/conf/lan0"));
    EXPECT_EQ(-1, KAVOLnxIPv6FlushAddr("lan0"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to disable IPv6 on [lan0]"));
}

TEST_F(LnxIpv6FlushAddr, AnInterfaceThatCannotBeTurnedOnAgainIsAFailure)
{
    plain_switches("lan0");
    // The interface goes down between the two: the second look for it is the one that turns it on.
    int looks = 0;
    support::on_call("KLIBCModuleIsLoad", [&] {
        if (++looks == 2)
            shell("ip link set lan0 down");
    });
    EXPECT_EQ(-1, KAVOLnxIPv6FlushAddr("lan0"));
    EXPECT_EQ(2, looks);
    EXPECT_EQ("1\n", read_file(switch_of("lan0")));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to enable IPv6 on [lan0]"));
}

TEST_F(LnxIpv6FlushAddr, RefusesNullAndHostileNames)
{
    EXPECT_EQ(-1, KAVOLnxIPv6FlushAddr(nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    for (const std::string &name : names) {
        support::clear_error();
        EXPECT_EQ(-1, KAVOLnxIPv6FlushAddr(name.c_str())) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
}

} // namespace
