// The lab itself, and the reference appliance's units and scripts on it.
#include <string>

#include <gtest/gtest.h>
#include <syslog.h>

#include "support/commands.h"
#include "support/read_back.h"

using support::exists;
using support::read_file;
using support::run;
using support::wait_for;
using support::write_file;

namespace {

constexpr char INFO[] = "/etc/dhclient/ipv4/dhcpcd-eth0.info";
constexpr char OTHER_INFO[] = "/etc/dhclient/ipv4/dhcpcd-eth1.info";
constexpr char PID_FILE[] = "/etc/dhclient/ipv4/dhcpcd-eth0.pid";
constexpr char RESOLVER[] = "/etc/iproute2/config/resolv4.conf";
constexpr char SERVER[] = "/etc/lan-server.conf";

bool contains(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

std::string addresses(const std::string &interface)
{
    return run("/sbin/ip -4 -o address show dev " + interface).output;
}

class Lab : public testing::Test {
protected:
    void SetUp() override { server_ = read_file(SERVER); }

    // Every test finds the lab as it was started.
    void TearDown() override
    {
        run("systemctl stop dhclient@eth0 dhclient@eth1 ddnsd");
        run("rm -f /tmp/dhcpv4.leases.*; ip -4 address flush dev eth0; ip -4 address flush dev eth1");
        write_file(SERVER, server_);
        run("systemctl restart lan-server");
    }

    static void change_server(const std::string &lines)
    {
        write_file(SERVER, read_file(SERVER) + lines);
        const support::CommandResult result = run("systemctl restart lan-server");
        ASSERT_EQ(0, result.status) << result.output;
    }

    static void take_lease(const std::string &interface)
    {
        const support::CommandResult result = run("systemctl start dhclient@" + interface);
        ASSERT_EQ(0, result.status) << result.output;
        // The resolver file is the last thing that the client's script writes.
        const std::string info = "/etc/dhclient/ipv4/dhcpcd-" + interface + ".info";
        ASSERT_TRUE(wait_for([&] { return exists(info); })) << run("journalctl --no-pager -u dhclient@*").output;
        ASSERT_TRUE(wait_for([] { return run("flock /run/kavo-dhclient.lock true").status == 0; }));
    }

private:
    std::string server_;
};

TEST_F(Lab, RunsTheServiceManagerWithoutFailedUnits)
{
    EXPECT_EQ("running\n", run("systemctl is-system-running --wait").output) << run("systemctl --failed").output;
    EXPECT_EQ("active\n", run("systemctl is-active dbus.service").output);
    EXPECT_EQ(0, run("busctl status org.freedesktop.systemd1").status);
}

TEST_F(Lab, KeepsSyslogLinesInTheJournal)
{
    openlog("lab-test", 0, LOG_USER);
    syslog(LOG_ERR, "a line for the journal");
    closelog();
    EXPECT_TRUE(wait_for([] {
        return contains(run("journalctl --no-pager -t lab-test -p err -o cat").output, "a line for the journal\n");
    }));
}

TEST_F(Lab, HasTheKernelsOtherSettingsReadOnly)
{
    EXPECT_NE(0, run("echo 1 >/proc/sys/kernel/panic").status);
    EXPECT_EQ(0, run("echo 1 >/proc/sys/net/ipv4/conf/eth1/arp_ignore").status);
    EXPECT_EQ("1\n", read_file("/proc/sys/net/ipv4/conf/eth1/arp_ignore"));
    EXPECT_EQ(0, run("echo 0 >/proc/sys/net/ipv4/conf/eth1/arp_ignore").status);
}

TEST_F(Lab, GivesALease)
{
    take_lease("eth0");
    EXPECT_EQ("IPADDR=10.77.0.100\nNETMASK=255.255.255.0\nGATEWAY=10.77.0.1\nDNS=10.77.0.1\nDOMAIN=lab.test\n"
              "LEASETIME=3600\n",
              read_file(INFO));
    EXPECT_EQ("nameserver\t10.77.0.1\n", read_file(RESOLVER));
    EXPECT_TRUE(contains(addresses("eth0"), " inet 10.77.0.100/24 brd 10.77.0.255 ")) << addresses("eth0");
    EXPECT_TRUE(contains(run("ip -4 route show default").output, "default via 10.77.0.1 dev eth0 "));
    EXPECT_EQ("dhclient\n", run(std::string("cat /proc/$(cat ") + PID_FILE + ")/comm").output);
    EXPECT_TRUE(exists("/tmp/dhcpv4.leases.eth0"));
    EXPECT_EQ(0, run("arping -c 1 -w 10 -I eth0 10.77.0.1").status);
}

TEST_F(Lab, TakesTheLeaseAwayOnStop)
{
    take_lease("eth0");
    ASSERT_EQ(0, run("systemctl stop dhclient@eth0").status);
    EXPECT_TRUE(contains(addresses("eth0"), " inet 10.77.0.100/24 ")) << "it stays until the next change";
    EXPECT_TRUE(contains(addresses("eth0"), " valid_lft forever ")) << addresses("eth0");
    EXPECT_EQ("", run("ip -4 route show default").output);
    for (const char *file : {INFO, PID_FILE, RESOLVER})
        EXPECT_FALSE(exists(file)) << file;
}

TEST_F(Lab, KeepsOneCardsLeaseWhenTheOtherStops)
{
    take_lease("eth0");
    take_lease("eth1");
    EXPECT_TRUE(contains(read_file(OTHER_INFO), "IPADDR=10.77.0.101\n"));
    EXPECT_EQ("nameserver\t10.77.0.1\nnameserver\t10.77.0.1\n", read_file(RESOLVER));
    ASSERT_EQ(0, run("systemctl stop dhclient@eth0").status);
    EXPECT_EQ("nameserver\t10.77.0.1\n", read_file(RESOLVER));
    EXPECT_TRUE(contains(run("ip -4 route show default").output, "default via 10.77.0.1 dev eth1 "));
}

TEST_F(Lab, StartsTheClientWithoutAServer)
{
    ASSERT_EQ(0, run("systemctl stop lan-server").status);
    const support::CommandResult result = run("systemctl start dhclient@eth0");
    EXPECT_EQ(0, result.status) << result.output;
    EXPECT_EQ("active\n", run("systemctl is-active dhclient@eth0").output);
    EXPECT_FALSE(exists(INFO));
    ASSERT_EQ(0, run("systemctl start lan-server").status);
    EXPECT_TRUE(wait_for([] { return exists(INFO); }));
}

TEST_F(Lab, ReplacesTheStaticAddressByTheLease)
{
    ASSERT_EQ(0, run("ip address add 192.0.2.7/24 dev eth0").status);
    ASSERT_EQ(0, run("ip address add 192.0.2.8/24 dev eth0 label eth0:1").status);
    take_lease("eth0");
    EXPECT_FALSE(contains(addresses("eth0"), "192.0.2.7/")) << addresses("eth0");
    EXPECT_TRUE(contains(addresses("eth0"), "192.0.2.8/")) << "a labelled alias belongs to somebody else";
}

TEST_F(Lab, LeavesOutHostileValuesOfARealServer)
{
    change_server("dhcp-option=option:domain-name,\"a; touch /tmp/broken\"\n"
                  "dhcp-option=option:domain-search,x\n");
    take_lease("eth0");
    EXPECT_TRUE(contains(read_file(INFO), "IPADDR=10.77.0.100\n"));
    EXPECT_FALSE(contains(read_file(INFO), "DOMAIN")) << read_file(INFO);
    EXPECT_FALSE(exists("/tmp/broken"));
}

TEST_F(Lab, DoesNotFollowALinkInThePlaceOfTheLeaseFile)
{
    write_file("/root/precious", "as it was\n");
    ASSERT_EQ(0, run("ln -s /root/precious /tmp/dhcpv4.leases.eth0").status);
    take_lease("eth0");
    EXPECT_EQ("as it was\n", read_file("/root/precious"));
    EXPECT_EQ("regular file 600\n", run("stat -c '%F %a' /tmp/dhcpv4.leases.eth0").output);
}

TEST_F(Lab, ReloadsTheDynamicDnsDaemon)
{
    take_lease("eth0");
    ASSERT_EQ(0, run("systemctl start ddnsd").status);
    EXPECT_TRUE(wait_for(
        [] { return contains(run("journalctl --no-pager -u ddnsd -o cat").output, "publishing 10.77.0.100\n"); }));
    ASSERT_EQ(0,
              run("systemctl stop dhclient@eth0; ip -4 address flush dev eth0; ip address add 10.77.0.20/24 dev eth0")
                  .status);
    ASSERT_EQ(0, run("systemctl reload ddnsd").status);
    EXPECT_TRUE(wait_for(
        [] { return contains(run("journalctl --no-pager -u ddnsd -o cat").output, "publishing 10.77.0.20\n"); }));
    EXPECT_EQ("active\n", run("systemctl is-active ddnsd").output);
}

TEST_F(Lab, ReloadsTheLogsUnitForAnotherHostName)
{
    const auto log = [] { return run("journalctl --no-pager -t syslog-ng -o cat").output; };
    EXPECT_EQ("active\n", run("systemctl is-active syslog-ng").output);
    EXPECT_TRUE(contains(log(), "logging as kavo-lab\n"));
    ASSERT_EQ(0, run("hostname another").status);
    EXPECT_EQ(0, run("systemctl reload syslog-ng").status);
    EXPECT_TRUE(wait_for([&] { return contains(log(), "logging as another\n"); })) << log();
    ASSERT_EQ(0, run("hostname kavo-lab").status);
}

TEST_F(Lab, ReachesTheOtherSideOfTheCards)
{
    ASSERT_EQ(0, run("lan ip address add 10.77.0.50/24 dev lan0").status);
    ASSERT_EQ(0, run("ip link set eth0 up; ip address add 10.77.0.60/24 dev eth0").status);
    EXPECT_EQ(0, run("arping -c 1 -w 10 -I eth0 10.77.0.50").status);
    EXPECT_NE(0, run("arping -c 1 -w 1 -I eth0 10.77.0.51").status);
    EXPECT_EQ(0, run("lan ip address del 10.77.0.50/24 dev lan0").status);
}

} // namespace
