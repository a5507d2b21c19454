#include "appliance/mtu/mtu_test.h"

namespace {

constexpr char FILE_NAME[] = "net_get_mtu_setting.cpp";

class GetMtuSetting : public MtuTest {
protected:
    void SetUp() override
    {
        MtuTest::SetUp();
        if (IsSkipped())
            return;
        plain_sys();
        has_mtu("eth0", 1500);
        has_mtu("eth1", 1400);
        has_mtu("eth2", 9000);
    }

    static void ovs_interface(const std::string &name)
    {
        write_file("/sys/devices/virtual/net/" + name + "/ifindex", "1\n");
    }

    static void ovs_bond(const std::string &members)
    {
        ovs_interface("ovs_bond0");
        write_ifcfg("ovs_bond0", "SLAVE_LIST=" + members + "\nBOND_MODE=balance-slb\n");
    }
};

TEST_F(GetMtuSetting, OfAPortIsTheKernelsValue)
{
    EXPECT_EQ(1500, KAVOGetMTUSetting("eth0"));
    EXPECT_EQ(0, KAVOGetMTUSetting("none0"));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(GetMtuSetting, OfAnOpenVSwitchInterfaceIsItsPorts)
{
    ovs_interface("ovs_eth2");
    has_mtu("ovs_eth2", 1234);
    EXPECT_EQ(9000, KAVOGetMTUSetting("ovs_eth2"));
    has_mtu("ovs_eth1", 1234);
    EXPECT_EQ(1234, KAVOGetMTUSetting("ovs_eth1")); // without its folder it is a port
}

TEST_F(GetMtuSetting, OfAnInterfaceWithoutAPortIsAFailure)
{
    ovs_interface("ovs_");
    EXPECT_EQ(-1, KAVOGetMTUSetting("ovs_"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "get ovs origin interface error"));
}

TEST_F(GetMtuSetting, OfABondIsTheSmallestOfItsMembers)
{
    ovs_bond("eth2 eth1 eth0");
    EXPECT_EQ(1400, KAVOGetMTUSetting("ovs_bond0"));
    ovs_bond("eth2");
    EXPECT_EQ(9000, KAVOGetMTUSetting("ovs_bond0"));
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(GetMtuSetting, AMemberWithoutAnMtuIsTheSmallest)
{
    has_mtu("eth3", 0);
    ovs_bond("eth0 eth3");
    EXPECT_EQ(0, KAVOGetMTUSetting("ovs_bond0"));
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(GetMtuSetting, AMemberThatCannotBeAskedEndsTheWalk)
{
    ovs_bond("eth1 eth0");
    fail_call("socket", 3); // two members were looked for by then
    EXPECT_EQ(-1, KAVOGetMTUSetting("ovs_bond0"));
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to Get the MTU of eth0"));
}

TEST_F(GetMtuSetting, ABondWithoutMembersHasNone)
{
    ovs_bond("");
    EXPECT_EQ(-1, KAVOGetMTUSetting("ovs_bond0"));
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(GetMtuSetting, ABondThatCannotBeReadIsAFailure)
{
    ovs_interface("ovs_bond0");
    EXPECT_EQ(-1, KAVOGetMTUSetting("ovs_bond0"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to get OVS bond slave of ovs_bond0"));
}

TEST_F(GetMtuSetting, AFailedQueryIsLogged)
{
    fail_call("socket");
    EXPECT_EQ(-1, KAVOGetMTUSetting("eth0"));
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to get MTU of eth0"));
    clear();
    EXPECT_EQ(-1, KAVOGetMTUSetting(support::NAME_OF_17));
    EXPECT_EQ(LOG_ERR, logged_in("net_get_mtu.cpp", "interface name is too long"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, std::string("Failed to get MTU of ") + support::NAME_OF_17));
}

TEST_F(GetMtuSetting, NamesOfSixteenAreCut)
{
    has_mtu(support::NAME_OF_15, 1234);
    EXPECT_EQ(1234, KAVOGetMTUSetting(support::NAME_OF_16));
}

TEST_F(GetMtuSetting, RefusesNullAndHostileNames)
{
    EXPECT_EQ(-1, KAVOGetMTUSetting(nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    for (const std::string &name : support::hostile_names()) {
        support::clear_error();
        EXPECT_EQ(-1, KAVOGetMTUSetting(name.c_str())) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
}

} // namespace
