// Bridges of the kernel, and one configured, built, used and taken apart again.
#include <cstring>

#include "live/virtual/lab_side.h"

namespace virtual_test {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;

namespace {

KLIBNETBRIDGEINFO bridge(int32_t role, const char *name, const char *peer)
{
    KLIBNETBRIDGEINFO info{};
    info.type = role;
    snprintf(info.szIfname, sizeof info.szIfname, "%s", name);
    snprintf(info.szPeer, sizeof info.szPeer, "%s", peer);
    return info;
}

bool same(const KLIBNETBRIDGEINFO &a, const KLIBNETBRIDGEINFO &b)
{
    return memcmp(&a, &b, sizeof a) == 0;
}

KAVONETINFO dhcp(const char *name)
{
    KAVONETINFO ip{};
    ip.blOnBoot = 1;
    snprintf(ip.szName, sizeof ip.szName, "%s", name);
    return ip;
}

class Bridge : public testing::Test {
protected:
    void TearDown() override { restore(); }
};

} // namespace

TEST_F(Bridge, RolesPortsAndKindsAreTheKernels)
{
    shell("ip link add br0 type bridge; ip link set eth0 up master br0; ip link set br0 up; ip link add lbr0 type "
          "bridge; "
          "ip link add gbr0 type bridge; ip link set gbr0 up; ip link set eth1 up");
    support::write_file(ifcfg("br0"), "TYPE=bridge\nPRIMARY=eth0\n");
    support::write_file(ifcfg("lbr0"), "TYPE=bridge\nPRIMARY=eth1\nLOCAL_LAN=yes\n");
    support::write_file(ifcfg("eth0"), "BRIDGE=br0\n");

    EXPECT_EQ(1, KLIBNetBridgeIfIsMaster("br0"));
    EXPECT_EQ(0, KLIBNetBridgeIfIsMaster("eth0"));
    EXPECT_EQ(1, KLIBNetBridgeIfIsSlave("eth0"));
    EXPECT_EQ(0, KLIBNetBridgeIfIsSlave("eth1"));
    EXPECT_THAT(ports("br0"), ElementsAre("eth0"));
    EXPECT_THAT(ports("lbr0"), IsEmpty());
    EXPECT_THAT(bridges(NET_BRIDGE_MASTER), ElementsAre("br0"));
    EXPECT_THAT(bridges(NET_BRIDGE_LOCAL_LAN), ElementsAre("lbr0"));

    KLIBNETBRIDGEINFO info{};
    EXPECT_EQ(2, KLIBNETGetBridgeInfo("br0", &info));
    EXPECT_TRUE(same(bridge(2, "br0", "eth0"), info)) << info.szPeer;
    EXPECT_EQ(4, KLIBNETGetBridgeInfo("eth0", &info));
    EXPECT_TRUE(same(bridge(4, "eth0", "br0"), info)) << info.szPeer;
    EXPECT_EQ(1, KLIBNETGetBridgeInfo("eth1", &info));
    EXPECT_EQ(0, KLIBNETGetBridgeInfo("lbr0", &info)) << "it is down";
    shell("ip link set lbr0 up");
    EXPECT_EQ(3, KLIBNETGetBridgeInfo("lbr0", &info));
    EXPECT_TRUE(same(bridge(3, "lbr0", "eth1"), info)) << info.szPeer;
    EXPECT_THAT(usable(), testing::AllOf(Contains("br0"), Contains("eth1"), Not(Contains("eth0"))));

    // A port that is taken out is as any other interface at once.
    shell("ip link set eth0 nomaster");
    EXPECT_EQ(0, KLIBNetBridgeIfIsSlave("eth0"));
    EXPECT_THAT(ports("br0"), IsEmpty());
    EXPECT_EQ(1, KLIBNETGetBridgeInfo("eth0", nullptr));
    EXPECT_THAT(usable(), Contains("eth0"));
}

TEST_F(Bridge, IsConfiguredBuiltUsedAndUndone)
{
    // Into the configuration.
    const std::string plain = support::read_file(ifcfg("eth0"));
    const KLIBNETBRIDGEINFO wanted = bridge(2, "br0", "eth0");
    const KLIBNETBRIDGEINFO port = bridge(4, "eth0", "br0");
    const KAVONETINFO by_dhcp = dhcp("br0");
    ASSERT_EQ(0, KAVONetSetBridgeConfig(&by_dhcp, &wanted));
    ASSERT_EQ(0, KAVONetSetBridgeConfig(nullptr, &port));
    EXPECT_EQ(plain, support::read_file(ifcfg("eth0") + ".saved"));
    KLIBNETBRIDGEINFO read{};
    KAVONETINFO ip{};
    EXPECT_EQ(0, KAVONetGetBridgeConfig("br0", &ip, &read));
    EXPECT_TRUE(same(wanted, read));
    EXPECT_EQ(1, ip.blOnBoot);
    EXPECT_EQ(0, ip.blStatic);
    EXPECT_EQ(1, KAVONetIsIfBridgeType("br0", 2));
    EXPECT_EQ(1, KAVONetIsIfBridgeType("eth0", 1)) << "ports read as outside any bridge";

    // Built from it, with an address of the real server over the bridge.
    shell("primary=$(sed -n 's/^PRIMARY=//p' " + ifcfg("br0") +
          "); ip link add br0 type bridge forward_delay 0; ip link set $primary up master br0; ip link set br0 up; "
          "systemctl start dhclient@br0");
    KAVONETIFENTRY entry{};
    EXPECT_TRUE(wait_for([&] { return KAVONetIFGetInfo("br0", &entry, &ip) == 1 && entry.szAddr[0] != '\0'; }))
        << run("journalctl --no-pager -n 40").output;
    EXPECT_EQ(0U, std::string(entry.szAddr).find("10.77.0.")) << entry.szAddr;
    EXPECT_EQ(2, entry.nLink);
    EXPECT_TRUE(reaches_the_server("br0"));
    EXPECT_EQ(2, KLIBNETGetBridgeInfo("br0", &read));
    EXPECT_TRUE(same(wanted, read));
    EXPECT_EQ(4, KLIBNETGetBridgeInfo("eth0", &read));
    EXPECT_TRUE(same(port, read));

    // And undone.
    const KAVONETINFO eth0 = dhcp("eth0");
    const KLIBNETBRIDGEINFO none = bridge(1, "br0", "");
    ASSERT_EQ(0, KAVONetDisableBridgeSlave(&eth0));
    ASSERT_EQ(0, KAVONetSetBridgeConfig(nullptr, &none));
    EXPECT_THAT(lines("eth0"), UnorderedElementsAre("DEVICE=eth0", "ONBOOT=yes", "BOOTPROTO=dhcp"));
    EXPECT_THAT(lines("br0"), UnorderedElementsAre("DEVICE=br0", "ONBOOT=yes", "BOOTPROTO=dhcp"));
    EXPECT_EQ(1, KAVONetIsIfBridgeType("eth0", 4)) << "plain interfaces read as ports";
    shell("systemctl stop dhclient@br0; ip link del br0; ip address add 10.77.0.60/24 dev eth0");
    EXPECT_EQ(1, KLIBNETGetBridgeInfo("eth0", &read));
    EXPECT_THAT(bridges(NET_BRIDGE_MASTER), IsEmpty());
    EXPECT_TRUE(reaches_the_server("eth0"));
}

TEST_F(Bridge, TheCommandDoesTheSame)
{
    EXPECT_EQ("br0: not configured -> bridge over eth0; it takes effect at the next start of the network\n",
              shell("kavonet bridge set br0 bridge eth0 --dhcp"));
    shell("kavonet bridge set eth0 port br0; ip link add br0 type bridge; ip link set eth0 up master br0; "
          "ip link set br0 up");
    EXPECT_EQ("[{\"name\":\"br0\",\"up\":true,\"role\":\"bridge\",\"ports\":[\"eth0\"]}]\n",
              shell("kavonet bridge list --json"));
    EXPECT_THAT(
        shell("kavonet bridge show eth0 --json"),
        testing::HasSubstr("\"role\":\"port\",\"peer\":\"br0\",\"ports\":[],\"configured\":{\"role\":\"port\","));
    shell("kavonet bridge unset eth0; kavonet bridge unset br0");
    EXPECT_THAT(lines("eth0"), UnorderedElementsAre("DEVICE=eth0", "ONBOOT=yes", "BOOTPROTO=dhcp"));
    EXPECT_THAT(lines("br0"), UnorderedElementsAre("DEVICE=br0", "ONBOOT=yes", "BOOTPROTO=dhcp"));
}

} // namespace virtual_test
