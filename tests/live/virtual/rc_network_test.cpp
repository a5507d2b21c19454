// The reference appliance's network script with the machine's own Open vSwitch: it starts the service, makes bridges and
// bonds of it, and keeps the list of bonds that the library reads.
#include "live/virtual/lab_side.h"

namespace virtual_test {

namespace {

constexpr char TABLE[] = "/sys/class/net/kavo_ovs_bonds";

class RcNetwork : public testing::Test {
protected:
    void SetUp() override
    {
        if (run("command -v ovs-vsctl ovs-vswitchd").status != 0)
            GTEST_SKIP() << "there is no Open vSwitch here (the package openvswitch-switch, which lab/setup installs)";
    }

    void TearDown() override
    {
        run("/etc/rc.network stop ovs_eth0 ovs_bond0 eth0 eth1; systemctl stop openvswitch-switch; "
            "rm -f /etc/sysconfig/network-scripts/ifcfg-*; ip link set eth0 up; ip link set eth1 up");
        restore();
    }

    static void write_ifcfg(const std::string &name, const std::string &content)
    {
        support::write_file(ifcfg(name), content);
    }
};

} // namespace

TEST_F(RcNetwork, MakesABridgeOfAPortAndTakesItAway)
{
    write_ifcfg("ovs_eth0", "BOOTPROTO=static\nIPADDR=10.77.0.50\nNETMASK=255.255.255.0\n");
    shell("/etc/rc.network start ovs_eth0");
    EXPECT_EQ(1, KLIBNetOVSIfIsMaster("ovs_eth0"));
    EXPECT_EQ(1, KLIBNetOVSIfIsSlave("eth0"));
    EXPECT_TRUE(reaches_the_server("ovs_eth0"));
    EXPECT_FALSE(support::exists(TABLE));
    shell("/etc/rc.network stop ovs_eth0");
    EXPECT_TRUE(wait_for([] { return KLIBNetOVSIfIsMaster("ovs_eth0") == 0; }));
    EXPECT_TRUE(wait_for([] { return KLIBNetOVSIfIsSlave("eth0") == 0; }));
}

TEST_F(RcNetwork, MakesABondAndKeepsTheListThatTheLibraryReads)
{
    write_ifcfg("ovs_bond0", "SLAVE_LIST=\"eth0 eth1\"\nBOND_MODE=ovs-active-backup\nBOOTPROTO=static\n"
                             "IPADDR=10.77.0.51\nNETMASK=255.255.255.0\n");
    shell("/etc/rc.network start ovs_bond0");
    EXPECT_EQ("ovs_bond0 eth0 eth1\n", support::read_file(TABLE));
    EXPECT_EQ(2, KLIBNetOVSIfIsMaster("ovs_bond0"));
    KAVOLINKAGGROPT bond;
    ASSERT_EQ(0, KAVONetLinkAggrGet("ovs_bond0", &bond));
    EXPECT_EQ(6, bond.mode);
    ASSERT_EQ(2, bond.nSlave);
    EXPECT_STREQ("eth0", bond.szSlave[0]);
    EXPECT_STREQ("eth1", bond.szSlave[1]);
    EXPECT_EQ(1, KAVONetIfIsBondingPassive("eth0"));
    EXPECT_EQ(1, KAVONetIfIsBondingPassive("eth1"));
    EXPECT_TRUE(reaches_the_server("ovs_bond0"));
    shell("/etc/rc.network stop ovs_bond0");
    EXPECT_FALSE(support::exists(TABLE));
    EXPECT_EQ(0, KAVONetIfIsBondingPassive("eth0"));
    EXPECT_TRUE(wait_for([] { return KLIBNetOVSIfIsMaster("ovs_bond0") == 0; }));
}

TEST_F(RcNetwork, AtTheStartOfTheMachineInterfacesListenToRoutersAsTheirFilesSay)
{
    const auto accept_ra = [](const std::string &name) { return "/proc/sys/net/ipv6/conf/" + name + "/accept_ra"; };
    write_ifcfg("eth0", "BOOTPROTO=none\n");
    write_ifcfg("eth1", "BOOTPROTO=none\nIPV6_ACCEPT_RA=0\n");
    for (const char *name : {"eth0", "eth1"})
        support::write_file(accept_ra(name), "1");
    shell("systemctl restart kavo-network.service");
    EXPECT_EQ("2\n", support::read_file(accept_ra("eth0")));
    EXPECT_EQ("0\n", support::read_file(accept_ra("eth1")));
    shell("systemctl stop kavo-network.service");
}

} // namespace virtual_test
