#include "iface_test.h"

namespace {

constexpr char FILE_NAME[] = "net_if_is_link.cpp";

class NetIfIsLink : public IfaceTest {
protected:
    // An Open vSwitch bond and its members as its file names them.
    static void ovs_bond(const std::string &name, const std::string &members)
    {
        card(name);
        write_ifcfg(name, "SLAVE_LIST=\"" + members + "\"\nBOND_MODE=\"balance-slb\"\n");
    }
};

TEST_F(NetIfIsLink, AsksTheKernel)
{
    card("eth0");
    EXPECT_EQ(1, KAVONetIfIsLink("eth0"));
    set_carrier("eth0", false);
    EXPECT_EQ(0, KAVONetIfIsLink("eth0"));
    shell("ip link set eth0 down");
    EXPECT_EQ(0, KAVONetIfIsLink("eth0"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetIfIsLink, FailsOnAnUnknownInterface)
{
    EXPECT_EQ(-1, KAVONetIfIsLink("eth7"));
    EXPECT_EQ(LOG_INFO, logged("net_if_is_link", "Cannot get link status of the eth7: No such device"));
    EXPECT_EQ(LOG_INFO, logged("net_if_is_link", "get link status failed on eth7"));
    EXPECT_EQ(2U, support::log_lines().size());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetIfIsLink, FailsWithoutASocket)
{
    card("eth0");
    fail_call("socket");
    EXPECT_EQ(-1, KAVONetIfIsLink("eth0"));
    EXPECT_EQ(LOG_ERR, logged("net_if_is_link", "Cannot open control socket"));
    EXPECT_EQ(LOG_INFO, logged("net_if_is_link", "get link status failed on eth0"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

// ---- Open vSwitch

TEST_F(NetIfIsLink, AsksThePortOfAnOpenVSwitchInterface)
{
    card("eth0");
    card("ovs_eth0");
    EXPECT_EQ(1, KAVONetIfIsLink("ovs_eth0"));
    set_carrier("eth0", false);
    EXPECT_EQ(0, KAVONetIfIsLink("ovs_eth0"));
    shell("ip link delete eth0");
    EXPECT_EQ(-1, KAVONetIfIsLink("ovs_eth0"));
    EXPECT_EQ(LOG_INFO, logged("net_if_is_link", "Cannot get link status of the eth0: No such device"));
    EXPECT_EQ(LOG_INFO, logged("net_if_is_link", "get link status failed on eth0"));
}

TEST_F(NetIfIsLink, FailsOnAnOpenVSwitchInterfaceWithoutPortName)
{
    card("ovs_");
    EXPECT_EQ(-1, KAVONetIfIsLink("ovs_"));
    EXPECT_EQ(LOG_ERR, logged("net_if_is_link", "get ovs origin interface error"));
}

TEST_F(NetIfIsLink, AsksTheKernelForANameThatOnlyLooksLikeOpenVSwitch)
{
    EXPECT_EQ(-1, KAVONetIfIsLink("ovs_eth0"));
    EXPECT_EQ(LOG_INFO, logged("net_if_is_link", "get link status failed on ovs_eth0"));
}

TEST_F(NetIfIsLink, HasALinkWhenAMemberOfTheBondHasOne)
{
    card("eth0");
    card("eth1");
    ovs_bond("ovs_bond0", "eth0 eth1");
    EXPECT_EQ(1, KAVONetIfIsLink("ovs_bond0"));
    set_carrier("eth0", false);
    EXPECT_EQ(1, KAVONetIfIsLink("ovs_bond0"));
    set_carrier("eth1", false);
    EXPECT_EQ(0, KAVONetIfIsLink("ovs_bond0"));
    set_carrier("eth0", true);
    EXPECT_EQ(1, KAVONetIfIsLink("ovs_bond0"));
}

TEST_F(NetIfIsLink, GivesTheFirstErrorOfAMember)
{
    card("eth0");
    card("eth1");
    card("eth2");
    ovs_bond("ovs_bond0", "eth0 eth1 eth2");
    set_carrier("eth0", false);
    // The first questions tell that the members exist; then the second member fails.
    int asked = 0;
    support::answer_ioctl([&asked](int, unsigned long request, void *argument) {
        const auto *record = static_cast<ifreq *>(argument);
        if (request == SIOCGIFFLAGS && strcmp(record->ifr_name, "eth1") == 0 && ++asked == 2) {
            errno = EPERM;
            return -1;
        }
        return support::ASK_KERNEL;
    });
    EXPECT_EQ(-1, KAVONetIfIsLink("ovs_bond0"));
    EXPECT_EQ(2, asked);
    EXPECT_EQ(LOG_INFO, logged("net_if_is_link", "Cannot get link status of the eth1: Operation not permitted"));
    EXPECT_EQ(LOG_INFO, logged("net_if_is_link", "get link status failed on eth1"));
}

TEST_F(NetIfIsLink, LooksNoFurtherThanAMemberWithALink)
{
    card("eth0");
    card("eth1");
    ovs_bond("ovs_bond0", "eth0 eth1");
    int asked = 0;
    support::answer_ioctl([&asked](int, unsigned long request, void *argument) {
        const auto *record = static_cast<ifreq *>(argument);
        asked += request == SIOCGIFFLAGS && strcmp(record->ifr_name, "eth1") == 0 ? 1 : 0;
        return support::ASK_KERNEL;
    });
    EXPECT_EQ(1, KAVONetIfIsLink("ovs_bond0"));
    EXPECT_EQ(1, asked) << "only when the bond was read";
}

TEST_F(NetIfIsLink, FailsOnABondWithoutMembers)
{
    ovs_bond("ovs_bond0", "");
    EXPECT_EQ(-1, KAVONetIfIsLink("ovs_bond0"));
    write_ifcfg("ovs_bond0", "SLAVE_LIST=\"eth7 eth8\"\nBOND_MODE=\"balance-slb\"\n");
    EXPECT_EQ(-1, KAVONetIfIsLink("ovs_bond0"));
}

TEST_F(NetIfIsLink, FailsOnABondThatCannotBeRead)
{
    card("ovs_bond0");
    EXPECT_EQ(-1, KAVONetIfIsLink("ovs_bond0"));
    EXPECT_EQ(LOG_ERR, logged("net_if_is_link", "Failed to get OVS bond slave of ovs_bond0"));
}

TEST_F(NetIfIsLink, EndsOnABondThatListsItself)
{
    card("eth0");
    ovs_bond("ovs_bond0", "ovs_bond0 eth0");
    EXPECT_EQ(1, KAVONetIfIsLink("ovs_bond0"));
    ovs_bond("ovs_bond1", "ovs_bond2");
    ovs_bond("ovs_bond2", "ovs_bond1");
    EXPECT_EQ(1, KAVONetIfIsLink("ovs_bond1"));
    EXPECT_EQ(1, KAVONetIfIsLink("ovs_bond2"));
}

// ---- What is refused

TEST_F(NetIfIsLink, RefusesWhatIsNoName)
{
    EXPECT_EQ(-1, KAVONetIfIsLink(nullptr));
    EXPECT_TRUE(is_bad_parameter_in(FILE_NAME));
    std::vector<const char *> names = HOSTILE_NAMES;
    names.push_back(NAME_OF_16);
    for (const char *name : names) {
        forget();
        EXPECT_EQ(-1, KAVONetIfIsLink(name)) << name;
        EXPECT_TRUE(is_bad_parameter_in(FILE_NAME)) << name;
    }
}

TEST_F(NetIfIsLink, TakesANameOf15Characters)
{
    card(NAME_OF_15);
    EXPECT_EQ(1, KAVONetIfIsLink(NAME_OF_15));
}

} // namespace
