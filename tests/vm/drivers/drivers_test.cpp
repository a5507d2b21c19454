// What an interface is, asked of the real bonding, 802.1Q and bridge drivers.
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "kavonetsdk/kavonetsdk.h"
#include "support/commands.h"
#include "support/read_back.h"

using support::shell;

namespace {

// Two dummy ports in a bond, a VLAN on a third and a bridge over a fourth.
class Drivers : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        shell("for i in 0 1 2 3; do ip link add eth9$i type dummy; done;"
              "ip link add bond0 type bond mode active-backup miimon 100;"
              "ip link set eth90 master bond0; ip link set eth91 master bond0;"
              "ip link add link eth92 name eth92.5 type vlan id 5;"
              "ip link add br9 type bridge; ip link set eth93 master br9;"
              "for i in eth90 eth91 eth92 eth92.5 eth93 bond0 br9; do ip link set $i up; done;"
              "ip address add 10.9.0.1/24 dev bond0; ip address add 10.9.5.1/24 dev eth92.5");
    }

    static bool listed(const char *name, unsigned int selector)
    {
        KAVONETIFENTRY entries[256];
        const int count = KLIBNetGetInterfaceInfo(entries, 256, selector);
        for (int i = 0; i < count; ++i) {
            if (strcmp(entries[i].szName, name) == 0)
                return true;
        }
        return false;
    }
};

TEST_F(Drivers, BondMembersAreKnown)
{
    EXPECT_EQ(1, KAVONetIfIsBondingPassive("eth90"));
    EXPECT_EQ(1, KAVONetIfIsBondingPassive("eth91"));
    EXPECT_EQ(0, KAVONetIfIsBondingPassive("eth92"));
    EXPECT_EQ(0, KAVONetIfIsBondingPassive("bond0"));
}

TEST_F(Drivers, ABondIsRead)
{
    KAVOLINKAGGROPT bond;
    ASSERT_EQ(0, KAVONetLinkAggrGet("bond0", &bond));
    EXPECT_EQ(4, bond.mode);
    ASSERT_EQ(2, bond.nSlave);
    EXPECT_STREQ("eth90", bond.szSlave[0]);
    EXPECT_STREQ("eth91", bond.szSlave[1]);
    ASSERT_EQ(0, KAVONetLinkAggrGet("eth92", &bond));
    EXPECT_EQ(0, bond.mode);
}

TEST_F(Drivers, EveryKernelModeIsRecognised)
{
    const struct {
        const char *kernel;
        int mode;
    } modes[] = {{"balance-rr", 5}, {"active-backup", 4}, {"balance-xor", 3},
                 {"802.3ad", 2},    {"balance-alb", 1},   {"broadcast", 0}};
    for (const auto &one : modes) {
        shell(std::string("ip link add bond7 type bond mode ") + one.kernel +
              "; ip link add dummy7 type dummy; ip link set dummy7 master bond7");
        KAVOLINKAGGROPT bond;
        EXPECT_EQ(0, KAVONetLinkAggrGet("bond7", &bond)) << one.kernel;
        EXPECT_EQ(one.mode, bond.mode) << one.kernel;
        EXPECT_EQ(1, bond.nSlave) << one.kernel;
        EXPECT_EQ(one.mode == 2 ? 1 : 0, bond.blNoPartner) << "nobody answers on a dummy";
        shell("ip link del bond7; ip link del dummy7");
    }
}

TEST_F(Drivers, VlansAreKnown)
{
    KLIBNETVLANINFO vlan;
    ASSERT_EQ(1, KLIBNetVlanGet("eth92.5", &vlan));
    EXPECT_STREQ("eth92.5", vlan.szIfname);
    EXPECT_STREQ("eth92", vlan.szRowDev);
    EXPECT_EQ(5, vlan.vlanId);
    EXPECT_EQ(0, KLIBNetVlanGet("eth92", &vlan));
    EXPECT_EQ(0, KLIBNetVlanGet("bond0", &vlan));
}

TEST_F(Drivers, VlansAreListed)
{
    // The longest name that the kernel takes fills its column of the list.
    shell("ip link add link eth92 name eth92longer.409 type vlan id 409");
    KLIBNETVLANINFO *vlans = nullptr;
    int32_t count = 0;
    ASSERT_EQ(0, KLIBNetVlanEnum(&vlans, &count));
    ASSERT_EQ(2, count);
    EXPECT_STREQ("eth92.5", vlans[0].szIfname);
    EXPECT_STREQ("eth92", vlans[0].szRowDev);
    EXPECT_EQ(5, vlans[0].vlanId);
    EXPECT_STREQ("eth92longer.409", vlans[1].szIfname);
    EXPECT_STREQ("eth92", vlans[1].szRowDev);
    EXPECT_EQ(409, vlans[1].vlanId);
    free(vlans);
    shell("ip link del eth92longer.409");
}

TEST_F(Drivers, TheEthListHoldsMembersAndParentsButNoVlans)
{
    KAVONETIFENTRY entries[256];
    const int count = KLIBNetEthEnum(entries, 256);
    std::string names;
    for (int i = 0; i < count; ++i)
        names += std::string(entries[i].szName) + " ";
    EXPECT_NE(std::string::npos, names.find("eth90 eth91 eth92 eth93 ")) << names;
    EXPECT_EQ(std::string::npos, names.find("eth92.5")) << names;
}

TEST_F(Drivers, TheWholeListLeavesOutMembersOnly)
{
    KAVONETIFENTRY entries[256];
    const int count = KLIBNetInterfaceEnum(entries, 256, 0);
    std::string names = " ";
    for (int i = 0; i < count; ++i)
        names += std::string(entries[i].szName) + " ";
    for (const char *name : {" bond0 ", " br9 ", " eth92 ", " eth92.5 "})
        EXPECT_NE(std::string::npos, names.find(name)) << names;
    for (const char *name : {" lo ", " eth90 ", " eth91 ", " eth93 "})
        EXPECT_EQ(std::string::npos, names.find(name)) << names;
}

TEST_F(Drivers, BridgesAndTheirPortsAreKnown)
{
    EXPECT_EQ(1, KLIBNetBridgeIfIsMaster("br9"));
    EXPECT_EQ(0, KLIBNetBridgeIfIsMaster("eth93"));
    EXPECT_EQ(1, KLIBNetBridgeIfIsSlave("eth93"));
    EXPECT_EQ(0, KLIBNetBridgeIfIsSlave("br9"));
}

TEST_F(Drivers, TheUsableListLeavesOutMembersAndVlanParents)
{
    EXPECT_TRUE(listed("bond0", NET_IF_SEL_USABLE));
    EXPECT_TRUE(listed("eth92.5", NET_IF_SEL_USABLE));
    EXPECT_TRUE(listed("br9", NET_IF_SEL_USABLE));
    EXPECT_FALSE(listed("eth90", NET_IF_SEL_USABLE)) << "a bond member";
    EXPECT_FALSE(listed("eth92", NET_IF_SEL_USABLE)) << "a VLAN's parent";
    EXPECT_FALSE(listed("eth93", NET_IF_SEL_USABLE)) << "a bridge port";
}

TEST_F(Drivers, ThePhysicalListLeavesOutMastersAndVlans)
{
    EXPECT_TRUE(listed("eth92", NET_IF_SEL_PHYSICAL));
    EXPECT_TRUE(listed("eth93", NET_IF_SEL_PHYSICAL));
    EXPECT_FALSE(listed("bond0", NET_IF_SEL_PHYSICAL));
    EXPECT_FALSE(listed("eth92.5", NET_IF_SEL_PHYSICAL));
    EXPECT_FALSE(listed("eth90", NET_IF_SEL_PHYSICAL));
}

TEST_F(Drivers, ABondAnswersWithItsFirstMembersAddress)
{
    shell("ip link add eth0 type dummy; ip link set eth0 address 02:00:00:00:00:0a; ip link add bond5 type bond;"
          "ip link set eth0 master bond5");
    char mac[18] = "";
    EXPECT_EQ(0, KLIBNetGetMacAddrByInterface("bond5", mac, sizeof mac, 1));
    EXPECT_STREQ("02:00:00:00:00:0a", mac);
    shell("ip link del bond5; ip link del eth0");
}

} // namespace
