// MTUs set for real: on cards, on a bond of the bonding driver, and on VLANs over both.
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "kavonetsdk/kavonetsdk.h"
#include "support/commands.h"
#include "support/read_back.h"

using support::read_file;
using support::shell;
using support::write_file;

namespace {

constexpr char SETTINGS[] = "/etc/kavoinfo.conf";

// Veth cards (10 Gbit/s), a tap (10 Mbit/s), a bond of two cards, a VLAN on a card and one on the bond.
class Mtu : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        shell("for i in 0 1 2; do ip link add eth7$i type veth peer name peer7$i; ip link set eth7$i up;"
              "  ip link set peer7$i up mtu 9000; done;"
              "ip link add bond7 type bond mode active-backup miimon 100;"
              "for i in 1 2; do ip link set eth7$i down; ip link set eth7$i master bond7; done; ip link set bond7 up;"
              "ip link add link eth70 name eth70.5 type vlan id 5; ip link set eth70.5 up;"
              "ip link add link bond7 name bond7.6 type vlan id 6; ip link set bond7.6 up;"
              "ip tuntap add mode tap name tap7; ip link set tap7 up");
    }

    void SetUp() override { write_file(SETTINGS, "name=\"value\"\n"); }

    static std::string kernel_mtu(const std::string &name) { return read_file("/sys/class/net/" + name + "/mtu"); }

    static bool is_up(const std::string &name)
    {
        return (std::stoi(read_file("/sys/class/net/" + name + "/flags"), nullptr, 16) & 1) != 0;
    }
};

TEST_F(Mtu, OfACard)
{
    EXPECT_EQ(0, KAVONetSetMTUValue("4000", "eth70"));
    EXPECT_EQ("4000\n", kernel_mtu("eth70"));
    EXPECT_EQ(4000, KAVOGetMTU("eth70"));
    EXPECT_EQ("name=\"value\"\neth70_mtu=\"4000\"\n", read_file(SETTINGS));
    EXPECT_TRUE(is_up("eth70"));
}

// The kernel refuses a VLAN more than its parent has, so this works only in the right order.
TEST_F(Mtu, OfAVlanRaisesItsParentFirst)
{
    ASSERT_EQ(0, KAVONetSetMTUEth("1500", "eth70"));
    EXPECT_NE(0, system("ip link set eth70.5 mtu 6000 2>/dev/null"));
    EXPECT_EQ(0, KAVONetSetMTUValue("6000", "eth70.5"));
    EXPECT_EQ("6000\n", kernel_mtu("eth70"));
    EXPECT_EQ("6000\n", kernel_mtu("eth70.5"));
    EXPECT_TRUE(is_up("eth70"));
    EXPECT_TRUE(is_up("eth70.5"));
    EXPECT_EQ("name=\"value\"\neth70_mtu=\"6000\"\neth70.5_mtu=\"6000\"\n", read_file(SETTINGS));
}

// The driver passes a bond's MTU on to its members.
TEST_F(Mtu, OfABondIsItsMembersToo)
{
    EXPECT_EQ(0, KAVONetSetMTUValue("7000", "bond7"));
    EXPECT_EQ("7000\n", kernel_mtu("bond7"));
    EXPECT_EQ("7000\n", kernel_mtu("eth71"));
    EXPECT_EQ("7000\n", kernel_mtu("eth72"));
    EXPECT_TRUE(is_up("bond7"));
    EXPECT_EQ("name=\"value\"\nbond7_mtu=\"7000\"\n", read_file(SETTINGS));
}

TEST_F(Mtu, OfAVlanOnABondRaisesTheBondFirst)
{
    ASSERT_EQ(0, KAVONetSetMTUEth("1500", "bond7"));
    EXPECT_EQ(0, KAVONetSetMTUValue("8000", "bond7.6"));
    EXPECT_EQ("8000\n", kernel_mtu("eth71"));
    EXPECT_EQ("8000\n", kernel_mtu("bond7"));
    EXPECT_EQ("8000\n", kernel_mtu("bond7.6"));
    EXPECT_EQ("name=\"value\"\nbond7_mtu=\"8000\"\nbond7.6_mtu=\"8000\"\n", read_file(SETTINGS));
}

TEST_F(Mtu, AJumboMtuOfASlowLinkIsOnlyKept)
{
    EXPECT_EQ(0, KAVONetSetMTUValue("9000", "tap7"));
    EXPECT_EQ("1500\n", kernel_mtu("tap7"));
    EXPECT_EQ("name=\"value\"\ntap7_mtu=\"9000\"\n", read_file(SETTINGS));
    EXPECT_EQ(0, KAVONetSetMTUValue("1400", "tap7"));
    EXPECT_EQ("1400\n", kernel_mtu("tap7"));
}

// Open vSwitch is known by the interface's name and its ifcfg file alone.
TEST_F(Mtu, OfAnOpenVSwitchBondItIsEveryMembers)
{
    shell("ip link add ovs_bond9 type dummy; for i in 4 5; do ip link add eth7$i type veth peer name peer7$i;"
          "ip link set eth7$i up; ip link set peer7$i up mtu 9000; done");
    write_file("/etc/sysconfig/network-scripts/ifcfg-ovs_bond9", "SLAVE_LIST=eth74 eth75\nBOND_MODE=balance-slb\n");
    EXPECT_EQ(0, KAVONetSetMTUValue("5000", "ovs_bond9"));
    EXPECT_EQ("5000\n", kernel_mtu("eth74"));
    EXPECT_EQ("5000\n", kernel_mtu("eth75"));
    EXPECT_EQ(5000, KAVOGetMTUSetting("ovs_bond9"));
    EXPECT_EQ("name=\"value\"\nbond9_mtu=\"5000\"\neth74_mtu=\"5000\"\neth75_mtu=\"5000\"\n", read_file(SETTINGS));
}

TEST_F(Mtu, WhatTheKernelRefusesLeavesTheCardUp)
{
    ASSERT_EQ(0, KAVONetSetMTUEth("1500", "eth70"));
    EXPECT_EQ(-1, KAVONetSetMTUValue("70000", "eth70"));
    EXPECT_EQ("1500\n", kernel_mtu("eth70"));
    EXPECT_TRUE(is_up("eth70"));
}

} // namespace
