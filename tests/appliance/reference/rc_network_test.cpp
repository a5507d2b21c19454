// The network script of the reference appliance, on what the running kernel has: ports and bridges. Bonds and VLANs are
// tried in the emulated machine.
#include <string>

#include <gmock/gmock.h>

#include "reference_files.h"
#include "support/private_root.h"
#include "support/read_back.h"

namespace {

using support::write_file;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr char SCRIPT[] = "/etc/rc.network";

class RcNetwork : public support::PrivateRoot {
protected:
    void SetUp() override
    {
        PrivateRoot::SetUp();
        if (IsSkipped())
            return;
        reference::install(SCRIPT);
        shell("rm -f /etc/sysconfig/network-scripts/* /etc/sysconfig/network");
        record("/usr/bin/logger");
        record("/usr/bin/systemctl");
        record("/usr/kavo/sbin/kavonetdtool");
        write_file("/run/systemd/system/here", "");
        write_file("/etc/kavoinfo.conf", "");
        for (const char *name : {"eth0", "eth1"})
            add_card(name, "", false);
    }

    static int rc(std::vector<std::string> words)
    {
        words.insert(words.begin(), SCRIPT);
        return reference::run(words);
    }

    static std::string addresses(const std::string &name)
    {
        return shell("ip -4 -o address show dev " + name + " | awk '{ print $4 }'");
    }

    static std::string link(const std::string &name) { return shell("ip -d link show " + name); }

    static bool exists(const std::string &name) { return support::exists("/sys/class/net/" + name); }

    // What the script wrote to the log.
    static std::vector<std::string> warnings()
    {
        std::vector<std::string> found;
        for (const std::string &call : calls()) {
            if (call.rfind("[/usr/bin/logger]", 0) == 0)
                found.push_back(call);
        }
        return found;
    }

    static void write_static(const std::string &name, const std::string &address, const std::string &more = "")
    {
        write_ifcfg(name,
                    "DEVICE=" + name + "\nBOOTPROTO=static\nIPADDR=" + address + "\nNETMASK=255.255.255.0\n" + more);
    }
};

TEST_F(RcNetwork, StartsAStaticPort)
{
    write_static("eth0", "10.1.0.1");
    EXPECT_EQ(0, rc({"start", "eth0"}));
    EXPECT_EQ("10.1.0.1/24\n", addresses("eth0"));
    EXPECT_THAT(link("eth0"), HasSubstr(",UP"));
    EXPECT_THAT(link("eth1"), Not(HasSubstr(",UP")));
    EXPECT_THAT(warnings(), IsEmpty());
    EXPECT_THAT(calls(), testing::Contains("[/usr/kavo/sbin/kavonetdtool] [--refresh-gateway] [-4]"));
}

TEST_F(RcNetwork, AStartReplacesTheMainAddressAndLeavesAliases)
{
    shell("ip address add 10.9.0.1/16 dev eth0; ip address add 10.8.0.1/16 dev eth0 label eth0:1");
    write_static("eth0", "\"10.1.0.1\"");
    EXPECT_EQ(0, rc({"start", "eth0"}));
    EXPECT_EQ("10.8.0.1/16\n10.1.0.1/24\n", addresses("eth0"));
    EXPECT_EQ(0, rc({"start", "eth0"}));
    EXPECT_EQ("10.8.0.1/16\n10.1.0.1/24\n", addresses("eth0"));
}

TEST_F(RcNetwork, StartsTheClientOfAPortOnDhcp)
{
    write_ifcfg("eth0", "BOOTPROTO=dhcp\nIPV6INIT=dhcp\n");
    EXPECT_EQ(0, rc({"start", "eth0"}));
    EXPECT_THAT(calls(), testing::IsSupersetOf({"[/usr/bin/systemctl] [start] [dhclient@eth0.service]",
                                                "[/usr/bin/systemctl] [start] [dhclient6@eth0-client.service]"}));
    EXPECT_EQ("", addresses("eth0"));
}

TEST_F(RcNetwork, APortWithoutAMethodHasNoAddress)
{
    shell("ip address add 10.9.0.1/16 dev eth0");
    write_ifcfg("eth0", "BOOTPROTO=none\nIPADDR=10.1.0.1\nNETMASK=255.255.255.0\n");
    EXPECT_EQ(0, rc({"start", "eth0"}));
    EXPECT_EQ("", addresses("eth0"));
    EXPECT_THAT(link("eth0"), HasSubstr(",UP"));
}

TEST_F(RcNetwork, StopsAPort)
{
    write_static("eth0", "10.1.0.1");
    ASSERT_EQ(0, rc({"start", "eth0"}));
    EXPECT_EQ(0, rc({"stop", "eth0"}));
    EXPECT_EQ("", addresses("eth0"));
    EXPECT_THAT(link("eth0"), Not(HasSubstr(",UP")));
    EXPECT_THAT(calls(), testing::Contains("[/usr/bin/systemctl] [--quiet] [stop] [dhclient@eth0.service]"));
}

TEST_F(RcNetwork, WhatIsNotConfiguredOrNotThereIsLeftAlone)
{
    EXPECT_EQ(0, rc({"start", "eth0"}));
    EXPECT_THAT(link("eth0"), Not(HasSubstr(",UP")));
    EXPECT_EQ(0, rc({"stop", "eth7"}));
    write_static("eth7", "10.1.0.7");
    EXPECT_EQ(1, rc({"start", "eth7"}));
    EXPECT_THAT(warnings(), ElementsAre(HasSubstr("eth7: there is no such interface")));
}

TEST_F(RcNetwork, SetsTheStoredMtu)
{
    write_static("eth0", "10.1.0.1");
    write_file("/etc/kavoinfo.conf", "eth0_mtu=\"1400\"\neth00mtu=\"1300\"\n");
    EXPECT_EQ(0, rc({"start", "eth0"}));
    EXPECT_THAT(link("eth0"), HasSubstr("mtu 1400"));
    write_file("/etc/kavoinfo.conf", "eth0_mtu=\"1400 address 00:00:00:00:00:01\"\n");
    shell("ip link set eth0 mtu 1500");
    EXPECT_EQ(0, rc({"start", "eth0"}));
    EXPECT_THAT(link("eth0"), HasSubstr("mtu 1500"));
}

TEST_F(RcNetwork, SetsWhatIpv6IsToBe)
{
    write_static("eth0", "10.1.0.1", "IPV6INIT=static\nIPV6ADDR=2001:db8::5\nIPV6PREFIXLENG=64\n");
    EXPECT_EQ(0, rc({"start", "eth0"}));
    EXPECT_THAT(shell("ip -6 -o address show dev eth0"), HasSubstr("2001:db8::5/64"));
    EXPECT_EQ("0\n", support::read_file("/proc/sys/net/ipv6/conf/eth0/accept_ra"));
    write_static("eth0", "10.1.0.1", "IPV6INIT=AUTO\n");
    EXPECT_EQ(0, rc({"start", "eth0"}));
    EXPECT_EQ("2\n", support::read_file("/proc/sys/net/ipv6/conf/eth0/accept_ra"));
    write_static("eth0", "10.1.0.1", "IPV6INIT=auto\nIPV6_ACCEPT_RA=0\n");
    EXPECT_EQ(0, rc({"start", "eth0"}));
    EXPECT_EQ("0\n", support::read_file("/proc/sys/net/ipv6/conf/eth0/accept_ra"));
    write_static("eth0", "10.1.0.1", "IPV6INIT=off\n");
    EXPECT_EQ(0, rc({"start", "eth0"}));
    EXPECT_EQ("1\n", support::read_file("/proc/sys/net/ipv6/conf/eth0/disable_ipv6"));
}

TEST_F(RcNetwork, BuildsABridgeOfItsPortsAndTakesItAway)
{
    write_static("br0", "10.1.0.1", "TYPE=bridge\nPRIMARY=eth0\n");
    write_ifcfg("eth0", "BRIDGE=br0\n");
    write_ifcfg("eth1", "BRIDGE=br0\n");
    EXPECT_EQ(0, rc({"start"}));
    EXPECT_EQ("10.1.0.1/24\n", addresses("br0"));
    EXPECT_THAT(link("eth0"), HasSubstr("master br0"));
    EXPECT_THAT(link("eth1"), HasSubstr("master br0"));
    EXPECT_EQ(0, rc({"start", "eth1", "br0"})) << "once more changes nothing";
    EXPECT_EQ("10.1.0.1/24\n", addresses("br0"));
    EXPECT_EQ(0, rc({"stop", "br0"}));
    EXPECT_FALSE(exists("br0"));
    EXPECT_TRUE(exists("eth0"));
    EXPECT_THAT(warnings(), IsEmpty());
}

TEST_F(RcNetwork, APortJoinsItsRunningBridge)
{
    write_ifcfg("br0", "TYPE=bridge\nBOOTPROTO=none\n");
    write_ifcfg("eth0", "BRIDGE=br0\nBOOTPROTO=static\nIPADDR=10.1.0.1\nNETMASK=255.255.255.0\n");
    EXPECT_EQ(0, rc({"start", "eth0"}));
    EXPECT_EQ("", addresses("eth0")) << "a port's address would be its bridge's";
    EXPECT_EQ(0, rc({"start", "br0"}));
    EXPECT_THAT(link("eth0"), HasSubstr("master br0"));
    EXPECT_EQ(0, rc({"stop", "eth0"}));
    EXPECT_THAT(link("eth0"), Not(HasSubstr("master")));
    EXPECT_EQ(0, rc({"start", "eth0"}));
    EXPECT_THAT(link("eth0"), HasSubstr("master br0"));
}

TEST_F(RcNetwork, WithoutNamesEverythingStartsPortsFirst)
{
    script("/usr/sbin/ip", "record_call \"$0\" \"$@\"");
    script("/sbin/ip", "record_call \"$0\" \"$@\"");
    write_ifcfg("aaa0", "TYPE=bridge\nPRIMARY=eth1\n");
    write_static("eth0", "10.1.0.1");
    write_ifcfg("eth1", "BOOTPROTO=none\n");
    write_ifcfg("eth0.saved", "BOOTPROTO=static\n");
    write_ifcfg("eth0.tmp12", "BOOTPROTO=static\n");
    EXPECT_EQ(0, rc({"start"}));
    std::vector<std::string> order;
    for (const std::string &call : calls()) {
        if (call.find("[link]") != std::string::npos)
            order.push_back(call.substr(call.find("[link]")));
    }
    EXPECT_THAT(order,
                ElementsAre("[link] [set] [dev] [eth0] [up]", "[link] [set] [dev] [eth1] [up]",
                            "[link] [add] [name] [aaa0] [type] [bridge]", "[link] [set] [dev] [eth1] [master] [aaa0]",
                            "[link] [set] [dev] [eth1] [up]", "[link] [set] [dev] [aaa0] [up]"));
}

TEST_F(RcNetwork, TellsABondAndItsMembersToTheKernel)
{
    script("/usr/sbin/ip", "record_call \"$0\" \"$@\"");
    write_ifcfg("bond0",
                "BONDING_OPTS=\"mode=4 use_carrier=0 miimon=100 updelay=100 lacp_rate=fast type=x mode=;reboot * "
                "primary=-x\"\nBOOTPROTO=none\n");
    write_ifcfg("eth0", "MASTER=bond0\nSLAVE=yes\n");
    write_ifcfg("eth1", "MASTER=bond0\n");
    rc({"start", "bond0"});
    EXPECT_THAT(calls(),
                testing::Contains("[/usr/sbin/ip] [link] [add] [name] [bond0] [type] [bond] [mode] [4] [use_carrier] "
                                  "[0] [miimon] [100] [updelay] [100] [lacp_rate] [fast]"));
    EXPECT_THAT(calls(), testing::Contains("[/usr/sbin/ip] [link] [set] [dev] [eth0] [master] [bond0]"));
    EXPECT_THAT(calls(), Not(testing::Contains("[/usr/sbin/ip] [link] [set] [dev] [eth1] [master] [bond0]")));
    EXPECT_THAT(warnings(), testing::SizeIs(4)) << "each option that bonds do not have";
}

TEST_F(RcNetwork, TellsAVlanToTheKernel)
{
    script("/usr/sbin/ip", "record_call \"$0\" \"$@\"");
    write_ifcfg("eth0.7", "VLAN_ROW_DEVICE=eth0\nVLAN_ID=7\nBOOTPROTO=none\n");
    EXPECT_EQ(0, rc({"start", "eth0.7"}));
    EXPECT_THAT(calls(), testing::IsSupersetOf(
                             {"[/usr/sbin/ip] [link] [set] [dev] [eth0] [up]",
                              "[/usr/sbin/ip] [link] [add] [link] [eth0] [name] [eth0.7] [type] [vlan] [id] [7]"}));
    for (const char *id : {"0", "4095", "-1", "x", "7 up", ""}) {
        write_ifcfg("eth0.7", std::string("VLAN_ROW_DEVICE=eth0\nVLAN_ID=") + id + "\n");
        EXPECT_EQ(1, rc({"start", "eth0.7"})) << id;
    }
}

TEST_F(RcNetwork, NothingInAFileIsRun)
{
    const std::string bad = "$(touch /run/ran)`touch /run/ran`;touch /run/ran";
    for (const char *key : {"IPADDR", "NETMASK", "BOOTPROTO", "TYPE", "PRIMARY", "BRIDGE", "MASTER", "VLAN_ROW_DEVICE",
                            "VLAN_ID", "BONDING_OPTS", "IPV6INIT", "IPV6ADDR", "IPV6PREFIXLENG", "SLAVE_LIST"}) {
        write_static("eth0", "10.1.0.1",
                     std::string("IPV6INIT=static\n") + key + "=" + bad + "\n" + key + "2=" + bad + "\n");
        rc({"start", "eth0"});
        rc({"start"});
        rc({"stop", "eth0"});
        EXPECT_FALSE(support::exists("/run/ran")) << key;
    }
    write_file("/etc/kavoinfo.conf", "eth0_mtu=\"" + bad + "\"\n");
    write_static("eth0", "10.1.0.1");
    EXPECT_EQ(0, rc({"start", "eth0"}));
    EXPECT_FALSE(support::exists("/run/ran"));
}

TEST_F(RcNetwork, MalformedAddressesAreRefused)
{
    for (const char *address : {"", "10.1.0.256", "10.1.0", "010.1.0.1", "10.1.0.1/8", "-1.1.1.1", "10.1.0.1 dev lo"}) {
        write_static("eth0", address);
        EXPECT_EQ(1, rc({"start", "eth0"})) << address;
        EXPECT_EQ("", addresses("eth0")) << address;
    }
    for (const char *mask : {"255.0.255.0", "0.0.0.0", "24", ""}) {
        write_ifcfg("eth0", std::string("BOOTPROTO=static\nIPADDR=10.1.0.1\nNETMASK=") + mask + "\n");
        EXPECT_EQ(1, rc({"start", "eth0"})) << mask;
    }
    EXPECT_EQ("", addresses("lo").substr(0, addresses("lo").find("127"))) << "nothing but its own";
}

TEST_F(RcNetwork, WrongCallsAreRefused)
{
    for (const std::vector<std::string> &words : std::vector<std::vector<std::string>>{{},
                                                                                       {"restart", "eth0"},
                                                                                       {"stop"},
                                                                                       {"start", ""},
                                                                                       {"start", "../eth0"},
                                                                                       {"start", "-x"},
                                                                                       {"stop", "eth0;x"},
                                                                                       {"start", "eth0", "a b"},
                                                                                       {"start", "abcdefghijklmnop"}})
        EXPECT_EQ(2, rc(words));
    EXPECT_THAT(calls(), IsEmpty());
}

} // namespace
