// One interface switched for real: the library, its files, the kernel, the DHCP client and an event subscriber agree at
// each step.
#include <cstdio>
#include <cstring>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

#include "kavonetsdk/kavonetsdk.h"
#include "support/commands.h"
#include "support/read_back.h"

using support::all_output_of;
using support::read_file;
using support::run;
using support::shell;
using support::wait_for;
using support::write_file;

namespace {

constexpr char IFCFG[] = "/etc/sysconfig/network-scripts/ifcfg-eth0";
constexpr char LEASE[] = "/etc/dhclient/ipv4/dhcpcd-eth0.info";
constexpr char EVENTS[] = "/run/live-events";

// The kernel's IPv4 addresses of eth0, "10.0.0.2/24", each on a line.
std::string kernel_addresses()
{
    return all_output_of("ip -o -4 address show dev eth0 | awk '{ print $4 }'");
}

std::string value_of(const char *path, const char *key)
{
    char value[64] = "";
    return KLIBCFileGetKeyValue(path, key, value, sizeof value, 0) == 1 ? value : "";
}

KAVONETINFO record(const char *name, bool is_static, const char *address = "", const char *mask = "")
{
    KAVONETINFO info = {};
    info.blStatic = is_static ? 1 : 0;
    snprintf(info.szName, sizeof info.szName, "%s", name);
    snprintf(info.szAddr, sizeof info.szAddr, "%s", address);
    snprintf(info.szMask, sizeof info.szMask, "%s", mask);
    return info;
}

bool client_runs()
{
    return all_output_of("systemctl is-active dhclient@eth0.service") == "active\n";
}

class Switch : public testing::Test {
protected:
    void SetUp() override
    {
        unlink(EVENTS);
        write_file("/usr/kavo/etc/plugins/net/ipv4_change/50-live",
                   std::string("#!/bin/sh\necho \"$1 $KAVO_ARG_IFNAME $KAVO_ARG_ORIGIN_ADDRESS $KAVO_ARG_NEW_ADDRESS "
                               "$KAVO_ARG_PREFIX_LENGTH $KAVO_ARG_IS_LINK $(ip -o -4 address show dev eth0 | grep -c "
                               "\"$KAVO_ARG_NEW_ADDRESS/\")\" >>") +
                       EVENTS + "\n",
                   0755);
    }
};

TEST_F(Switch, DhcpThenStaticThenDhcpAgain)
{
    // To DHCP, with a lease of the real server.
    const KAVONETINFO dhcp = record("eth0", false);
    ASSERT_EQ(0, KAVONetSetCard1(&dhcp, nullptr)) << all_output_of("journalctl -n 40 --no-pager");
    EXPECT_TRUE(client_runs());
    EXPECT_EQ("dhcp", value_of(IFCFG, "BOOTPROTO"));
    EXPECT_EQ("", value_of(IFCFG, "IPADDR"));
    ASSERT_TRUE(wait_for([] { return !value_of(LEASE, "IPADDR").empty(); }))
        << all_output_of("journalctl -n 60 --no-pager");
    const std::string leased = value_of(LEASE, "IPADDR");
    ASSERT_TRUE(wait_for([&] { return kernel_addresses().find(leased + "/") == 0; })) << kernel_addresses();
    EXPECT_EQ(1, BlKAVOLnxIsDHCP("eth0"));

    KAVONETIFENTRY entry;
    KAVONETINFO before;
    ASSERT_EQ(1, KAVONetIFGetInfo("eth0", &entry, &before));
    EXPECT_EQ(leased, entry.szAddr);
    EXPECT_EQ(leased, before.szAddr);
    EXPECT_EQ(0, before.blStatic);
    EXPECT_EQ(2, entry.nLink);

    // To a static address: the subscriber hears of it before the kernel changes.
    const KAVONETINFO fixed = record("eth0", true, "192.168.99.10", "255.255.255.0");
    ASSERT_EQ(0, KAVONetSetCard1(&fixed, &before)) << all_output_of("journalctl -n 40 --no-pager");
    EXPECT_EQ("192.168.99.10/24\n", kernel_addresses());
    EXPECT_FALSE(client_runs());
    EXPECT_EQ("static", value_of(IFCFG, "BOOTPROTO"));
    EXPECT_EQ("192.168.99.10", value_of(IFCFG, "IPADDR"));
    EXPECT_EQ("255.255.255.0", value_of(IFCFG, "NETMASK"));
    EXPECT_EQ("pre eth0 " + leased + " 192.168.99.10 24 true 0\n", read_file(EVENTS));
    char text[20];
    EXPECT_EQ(1, KAVOILnxGetIP("eth0", text, sizeof text));
    EXPECT_STREQ("192.168.99.10", text);
    EXPECT_EQ(1, KAVOILnxGetIPFromCfg("eth0", text, sizeof text));
    EXPECT_STREQ("192.168.99.10", text);

    // The same again changes nothing and tells nobody.
    unlink(EVENTS);
    ASSERT_EQ(0, KAVONetSetCard1(&fixed, &fixed));
    EXPECT_EQ("", read_file(EVENTS));
    EXPECT_EQ("192.168.99.10/24\n", kernel_addresses());

    // Only the prefix: no event.
    const KAVONETINFO wider = record("eth0", true, "192.168.99.10", "255.255.0.0");
    ASSERT_EQ(0, KAVONetSetCard1(&wider, &fixed));
    EXPECT_EQ("192.168.99.10/16\n", kernel_addresses());
    EXPECT_EQ("", read_file(EVENTS));

    // And back.
    ASSERT_EQ(0, KAVONetSetCard1(&dhcp, &wider));
    EXPECT_TRUE(client_runs());
    EXPECT_TRUE(wait_for([&] { return kernel_addresses().find(leased + "/") != std::string::npos; }))
        << kernel_addresses();
}

TEST_F(Switch, AliasesSurviveAStaticChange)
{
    const KAVONETINFO first = record("eth0", true, "192.168.99.20", "255.255.255.0");
    ASSERT_EQ(0, KAVONetSetCard1(&first, nullptr));
    shell("ip address add 192.168.77.1/24 dev eth0 label eth0:7");
    const KAVONETINFO second = record("eth0", true, "192.168.99.21", "255.255.255.0");
    ASSERT_EQ(0, KAVONetSetCard1(&second, &first));
    const std::string addresses = kernel_addresses();
    EXPECT_NE(std::string::npos, addresses.find("192.168.99.21/24")) << addresses;
    EXPECT_NE(std::string::npos, addresses.find("192.168.77.1/24")) << addresses;
    EXPECT_EQ(std::string::npos, addresses.find("192.168.99.20/24")) << addresses;
    run("ip address del 192.168.77.1/24 dev eth0");
}

TEST_F(Switch, AnUnknownInterfaceLeavesNothingBehind)
{
    // There is no such card: the DHCP client cannot run on it for long, and the static change cannot reach the kernel.
    const KAVONETINFO fixed = record("eth7", true, "192.168.99.30", "255.255.255.0");
    KAVONetSetCard1(&fixed, nullptr);
    for (const std::string &name : support::entries("/etc/sysconfig/network-scripts"))
        EXPECT_EQ(std::string::npos, name.find(".tmp")) << name;
    unlink("/etc/sysconfig/network-scripts/ifcfg-eth7");
}

TEST_F(Switch, ADdnsServiceHearsOfANewAddress)
{
    shell("systemctl start ddnsd");
    const KAVONETINFO first = record("eth0", true, "192.168.99.40", "255.255.255.0");
    ASSERT_EQ(0, KAVONetSetCard1(&first, nullptr));
    ASSERT_TRUE(wait_for([] {
        return all_output_of("journalctl -u ddnsd --no-pager").find("192.168.99.40") != std::string::npos;
    })) << all_output_of("journalctl -u ddnsd --no-pager");
    run("systemctl stop ddnsd");
}

} // namespace
