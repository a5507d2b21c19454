// One interface taken through its IPv6 modes for real, with a router and a DHCPv6 server on the other side: after each
// change the kernel, the files, the clients and the library agree.
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kavonetsdk/kavonetsdk.h"
#include "support/commands.h"
#include "support/read_back.h"

using support::all_output_of;
using support::exists;
using support::read_file;
using support::run;
using support::shell;
using support::wait_for;
using support::write_file;

namespace {

using Clock = std::chrono::steady_clock;

constexpr char IFCFG[] = "/etc/sysconfig/network-scripts/ifcfg-eth0";
constexpr char RESOLVER[] = "/etc/iproute2/config/resolv6.conf";
constexpr char STATIC_ADDRESS[] = "2001:db8:77::5";
constexpr char ROUTER[] = "2001:db8:77::1";
constexpr char OF_ROUTER[] = "2001:db8:77::ff:fe77:10/64"; // what eth0 makes of the router's prefix
constexpr char OF_SERVER[] = "2001:db8:77::100/128";
constexpr const char *MODES[] = {"auto", "off", "dhcp", "static", "auto_dhcp"};

// The kernel's IPv6 addresses that are good for use, each between blanks.
std::string kernel_addresses()
{
    return " " + all_output_of("ip -6 -o address show dev eth0 -tentative | awk '{ printf \"%s \", $4 }'");
}

bool kernel_has(const std::string &address)
{
    return kernel_addresses().find(" " + address + " ") != std::string::npos;
}

std::string value_of(const char *key)
{
    char value[64] = "";
    return KLIBCFileGetKeyValue(IFCFG, key, value, sizeof value, 0) == 1 ? value : "";
}

std::string kernel_switch(const std::string &which)
{
    return read_file("/proc/sys/net/ipv6/conf/eth0/" + which);
}

std::string active_clients()
{
    std::string types;
    for (const char *type : {"client", "info"}) {
        if (all_output_of(std::string("systemctl is-active dhclient6@eth0-") + type) == "active\n")
            types += std::string(types.empty() ? "" : " ") + type;
    }
    return types;
}

std::string default_routes()
{
    return all_output_of("ip -6 route show default dev eth0");
}

bool has_static_route()
{
    return default_routes().find(std::string("default via ") + ROUTER + " ") != std::string::npos;
}

std::string journal()
{
    return all_output_of("journalctl -n 60 --no-pager");
}

bool shows(const std::string &command, const std::string &text)
{
    return all_output_of(command).find(text) != std::string::npos;
}

// Another host on the network, with one address.
class OtherHost {
public:
    explicit OtherHost(const std::string &address)
    {
        shell("ip netns add other; lan ip link add otherp type veth peer name host; lan ip link set otherp master lan0 "
              "up; ip -netns lan link set host netns other; ip -netns other address add " +
              address + " dev host nodad; ip -netns other link set host up");
        // The network's switch passes nothing on before.
        EXPECT_TRUE(wait_for([] { return shows("lan ip -d link show dev otherp", "state forwarding"); }));
        EXPECT_TRUE(wait_for([] { return shows("ip -netns other link show dev host", "state UP"); }));
    }
    OtherHost(const OtherHost &) = delete;
    OtherHost &operator=(const OtherHost &) = delete;
    ~OtherHost() { run("lan ip link del otherp; ip netns del other"); }
};

class Ipv6 : public testing::Test {
protected:
    void SetUp() override
    {
        shell("ip link set eth0 up");
        write_file(IFCFG, "DEVICE=eth0\nONBOOT=yes\nBOOTPROTO=dhcp\n");
        ASSERT_EQ(0, set(KAVO_IPV6_OFF)) << journal();
    }

    static int set(int mode)
    {
        return mode == KAVO_IPV6_STATIC ? KAVONetIPv6ConfSet(mode, "eth0", STATIC_ADDRESS, 64, ROUTER)
                                        : KAVONetIPv6ConfSet(mode, "eth0", nullptr, 0, nullptr);
    }

    // What the library says is what the kernel has.
    static void expect_library_sees(int count)
    {
        KAVOV6IPINFO addresses[16];
        ASSERT_EQ(count, KAVOLnxV6IPGet("eth0", addresses, 16)) << kernel_addresses();
        for (int i = 0; i < count; ++i) {
            const std::string text = std::string(addresses[i].szAddr) + "/" + std::to_string(addresses[i].prefix);
            // The kernel may still be looking for another host that has the link-local address.
            EXPECT_TRUE(wait_for([&] { return kernel_has(text); })) << text << " is not among" << kernel_addresses();
        }
    }

    static void expect_configured(int mode)
    {
        int found = -2;
        int prefix = 0;
        char address[46];
        char router[46];
        ASSERT_EQ(1, KAVONetIPv6ConfGet("eth0", &found, address, sizeof address, &prefix, router, sizeof router));
        EXPECT_EQ(mode, found);
        EXPECT_EQ(MODES[mode], value_of("IPV6INIT"));
        if (mode != KAVO_IPV6_STATIC)
            return;
        EXPECT_STREQ(STATIC_ADDRESS, address);
        EXPECT_EQ(64, prefix);
        EXPECT_STREQ(ROUTER, router);
    }

    static void expect_agreement(int mode)
    {
        expect_configured(mode);
        EXPECT_EQ(mode == KAVO_IPV6_OFF ? "1\n" : "0\n", kernel_switch("disable_ipv6"));
        if (mode != KAVO_IPV6_OFF) {
            EXPECT_EQ(mode == KAVO_IPV6_STATIC ? "0\n" : "2\n", kernel_switch("accept_ra"));
            EXPECT_EQ(mode == KAVO_IPV6_STATIC ? "0" : "1", value_of("IPV6_ACCEPT_RA"));
        }
        EXPECT_EQ(mode == KAVO_IPV6_DHCP ? "client" : mode == KAVO_IPV6_AUTO_DHCP ? "info" : "", active_clients());
        switch (mode) {
        case KAVO_IPV6_OFF:
            EXPECT_EQ(" ", kernel_addresses());
            EXPECT_EQ("", default_routes());
            expect_library_sees(0);
            break;
        case KAVO_IPV6_STATIC:
            // Its own address and the link-local one, and nothing else.
            EXPECT_TRUE(wait_for([] { return kernel_has(std::string(STATIC_ADDRESS) + "/64"); })) << kernel_addresses();
            EXPECT_TRUE(wait_for(has_static_route)) << default_routes();
            expect_library_sees(2);
            break;
        default:
            expect_dynamic(mode == KAVO_IPV6_DHCP);
        }
        const bool informed = mode == KAVO_IPV6_DHCP || mode == KAVO_IPV6_AUTO_DHCP;
        EXPECT_TRUE(wait_for([&] { return exists(RESOLVER) == informed; })) << journal();
    }

    static void expect_dynamic(bool from_server)
    {
        EXPECT_TRUE(wait_for([] { return kernel_has(OF_ROUTER); })) << kernel_addresses() << journal();
        EXPECT_TRUE(wait_for([=] { return kernel_has(OF_SERVER) == from_server; })) << kernel_addresses() << journal();
        EXPECT_FALSE(kernel_has(std::string(STATIC_ADDRESS) + "/64")) << kernel_addresses();
        EXPECT_TRUE(wait_for([] { return default_routes().find("proto ra") != std::string::npos; }))
            << default_routes();
        expect_library_sees(from_server ? 3 : 2);
    }
};

// A walk that takes each of the twenty ways from one mode to another once.
TEST_F(Ipv6, EveryModeToEveryOther)
{
    constexpr int WALK[] = {1, 0, 1, 2, 1, 3, 1, 4, 0, 2, 0, 3, 0, 4, 2, 3, 2, 4, 3, 4, 1};
    bool taken[5][5] = {};
    int mode = KAVO_IPV6_OFF;
    for (const int next : WALK) {
        if (next == mode)
            continue;
        SCOPED_TRACE(std::string("from ") + MODES[mode] + " to " + MODES[next]);
        ASSERT_EQ(0, set(next)) << journal();
        expect_agreement(next);
        taken[mode][next] = true;
        mode = next;
    }
    for (int from = 0; from < 5; ++from) {
        for (int to = 0; to < 5; ++to)
            EXPECT_TRUE(from == to || taken[from][to]) << "from " << MODES[from] << " to " << MODES[to];
    }
}

TEST_F(Ipv6, EveryModeAgainAfterItself)
{
    for (int mode = 0; mode < 5; ++mode) {
        SCOPED_TRACE(MODES[mode]);
        ASSERT_EQ(0, set(mode)) << journal();
        ASSERT_EQ(0, set(mode)) << journal();
        expect_agreement(mode);
    }
}

TEST_F(Ipv6, AStaticAddressThatAnotherHostHasIsTakenOffAgain)
{
    const OtherHost other(std::string(STATIC_ADDRESS) + "/64");
    const std::string before = read_file(IFCFG);
    EXPECT_EQ(1, set(KAVO_IPV6_STATIC)) << journal();
    EXPECT_EQ("", all_output_of(std::string("ip -6 -o address show dev eth0 to ") + STATIC_ADDRESS));
    EXPECT_EQ(before + "IPV6_ACCEPT_RA=\"0\"\n", read_file(IFCFG));
    EXPECT_EQ("1\n", kernel_switch("disable_ipv6")) << "IPv6 was off before";
    EXPECT_TRUE(wait_for([] { return shows("journalctl --no-pager", "ipv6 dad fail, ip:2001:db8:77::5, pxleng:64"); }))
        << journal();
}

TEST_F(Ipv6, AnAddressOfTheServerThatAnotherHostHasIsTakenOffAgain)
{
    ASSERT_EQ(0, set(KAVO_IPV6_AUTO));
    const OtherHost other("2001:db8:77::100/64");
    EXPECT_EQ(1, set(KAVO_IPV6_DHCP)) << journal();
    EXPECT_EQ("", all_output_of("ip -6 -o address show dev eth0 to 2001:db8:77::100"));
    EXPECT_EQ("", active_clients());
    EXPECT_EQ("auto", value_of("IPV6INIT"));
    EXPECT_EQ("0\n", kernel_switch("disable_ipv6")) << "IPv6 was on before";
}

TEST_F(Ipv6, ARouterOfAnotherSubnetIsRefused)
{
    EXPECT_EQ(3, KAVONetIPv6ConfSet(KAVO_IPV6_STATIC, "eth0", STATIC_ADDRESS, 64, "2001:db8:78::1"));
    EXPECT_EQ("", value_of("IPV6_DEFAULTGW"));
    EXPECT_EQ("1\n", kernel_switch("disable_ipv6"));
    EXPECT_EQ(2, KAVONetIPv6ConfSet(KAVO_IPV6_STATIC, "eth0", "fe80::5", 64, nullptr));
}

TEST_F(Ipv6, ALinkLocalRouterWorks)
{
    const std::string router =
        shell("lan ip -6 -o address show dev lan0 scope link | awk '{ sub(/\\/.*/, \"\", $4); printf $4 }'");
    ASSERT_EQ(0, KAVONetIPv6ConfSet(KAVO_IPV6_STATIC, "eth0", STATIC_ADDRESS, 64, router.c_str())) << journal();
    EXPECT_NE(std::string::npos, default_routes().find("default via " + router)) << default_routes();
    EXPECT_EQ(router, value_of("IPV6_DEFAULTGW"));
}

TEST_F(Ipv6, DhcpWithoutAServerHasItsClientGoOn)
{
    shell("systemctl stop lan-server");
    EXPECT_EQ(0, set(KAVO_IPV6_DHCP)) << journal();
    EXPECT_EQ("client", active_clients());
    EXPECT_FALSE(kernel_has(OF_SERVER));
    shell("systemctl start lan-server");
    EXPECT_TRUE(wait_for([] { return kernel_has(OF_SERVER); })) << journal();
}

TEST_F(Ipv6, AClientThatCannotRunLeavesIpv6Off)
{
    shell("mv /etc/dhclient/dhclient6-script /tmp/script; mv /usr/kavo/libexec/dhclient6 /tmp/life");
    EXPECT_EQ(-1, set(KAVO_IPV6_DHCP));
    EXPECT_EQ("1\n", kernel_switch("disable_ipv6"));
    EXPECT_EQ("off", value_of("IPV6INIT"));
    EXPECT_EQ(-1, set(KAVO_IPV6_AUTO_DHCP));
    EXPECT_EQ("1\n", kernel_switch("disable_ipv6"));
    shell("mv /tmp/script /etc/dhclient/dhclient6-script; mv /tmp/life /usr/kavo/libexec/dhclient6; systemctl "
          "reset-failed");
}

TEST_F(Ipv6, TheProgramThatAsksForARouterIsThere)
{
    ASSERT_EQ(0, set(KAVO_IPV6_AUTO));
    EXPECT_TRUE(wait_for([] { return shows("/usr/sbin/rdisc6 -q -n eth0 -r 1 -w 3000", "2001:db8:77::/64"); }));
}

TEST_F(Ipv6, AtStartEachInterfaceListensAsItIsConfigured)
{
    write_file("/etc/sysconfig/network-scripts/ifcfg-eth1", "DEVICE=eth1\nIPV6INIT=static\n");
    write_file(IFCFG, "DEVICE=eth0\nIPV6INIT=auto\n");
    for (const char *card : {"eth0", "eth1"})
        write_file(std::string("/proc/sys/net/ipv6/conf/") + card + "/accept_ra", "1");
    EXPECT_EQ(0, KAVONetIpv6Init());
    EXPECT_EQ("2\n", kernel_switch("accept_ra"));
    EXPECT_EQ("0\n", read_file("/proc/sys/net/ipv6/conf/eth1/accept_ra"));
    EXPECT_EQ("1", value_of("IPV6_ACCEPT_RA"));
}

TEST_F(Ipv6, TheCommandSaysTheSame)
{
    EXPECT_NE(std::string::npos, all_output_of("kavonet ipv6 auto eth0 --wait 90").find(OF_ROUTER));
    expect_agreement(KAVO_IPV6_AUTO);
    EXPECT_NE(std::string::npos, all_output_of("kavonet ipv6 show eth0").find(OF_ROUTER));
    EXPECT_NE(std::string::npos,
              shell("kavonet ipv6 static eth0 2001:db8:77::5/64 --router 2001:db8:77::1").find("-> static 2001:db8"));
    expect_agreement(KAVO_IPV6_STATIC);
    EXPECT_EQ("eth0: IPv6 static 2001:db8:77::5/64 -> off\n", all_output_of("kavonet ipv6 off eth0"));
    expect_agreement(KAVO_IPV6_OFF);
}

// Broken off by a terminal's Ctrl-C in the middle of a change, the command leaves nothing that the next one stumbles over.
TEST_F(Ipv6, AnInterruptedCommandIsFollowedByAnyOther)
{
    for (const char *line : {"static eth0 2001:db8:77::5/64", "dhcp eth0", "auto-dhcp eth0"}) {
        SCOPED_TRACE(line);
        // The change is in the middle as soon as IPv6 is on. A job of the shell is deaf to the key otherwise.
        const std::string output =
            all_output_of(std::string("env --default-signal=INT kavonet ipv6 ") + line +
                          " >/run/interrupted 2>&1 & for i in $(seq 1200); do "
                          "! grep -qx 0 /proc/sys/net/ipv6/conf/eth0/disable_ipv6 || break; sleep 0.05; done; "
                          "kill -INT $!; wait $!; cat /run/interrupted");
        EXPECT_NE(std::string::npos, output.find("-> ")) << output;
        ASSERT_EQ(0, set(KAVO_IPV6_AUTO));
        expect_agreement(KAVO_IPV6_AUTO);
        ASSERT_EQ(0, set(KAVO_IPV6_OFF));
        expect_agreement(KAVO_IPV6_OFF);
    }
}

} // namespace
