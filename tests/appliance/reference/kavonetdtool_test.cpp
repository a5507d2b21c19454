// The tool that puts routes back after a change of an address.
#include <string>

#include "reference_files.h"
#include "support/private_root.h"
#include "support/read_back.h"

namespace {

using support::exists;
using support::write_file;

constexpr char TOOL[] = "/usr/kavo/sbin/kavonetdtool";

class Kavonetdtool : public support::PrivateRoot {
protected:
    void SetUp() override
    {
        PrivateRoot::SetUp();
        if (IsSkipped())
            return;
        reference::install(TOOL);
        shell("rm -f /etc/sysconfig/network-scripts/* /etc/sysconfig/network");
        add_card("eth0", "192.0.2.10/24");
        add_card("eth1");
        write_ifcfg("eth0", "DEVICE=eth0\nBOOTPROTO=static\nIPADDR=192.0.2.10\nNETMASK=255.255.255.0\n");
    }

    static int refresh_rules() { return reference::run({TOOL, "--refresh-static-route-rules", "-4"}); }

    static int refresh_gateway() { return reference::run({TOOL, "--refresh-gateway", "-4"}); }

    static std::string routes() { return shell("ip -4 route show"); }

    static bool has_route(const std::string &text) { return routes().find(text) != std::string::npos; }
};

TEST_F(Kavonetdtool, PutsTheRouteToTheOwnNetworkBack)
{
    shell("ip -4 route del 192.0.2.0/24 dev eth0");
    ASSERT_EQ("", routes());
    ASSERT_EQ(0, refresh_rules());
    EXPECT_EQ("192.0.2.0/24 dev eth0 proto kernel scope link src 192.0.2.10 \n", routes());
}

TEST_F(Kavonetdtool, LeavesOneRouteHoweverOftenItRuns)
{
    ASSERT_EQ(0, refresh_rules());
    ASSERT_EQ(0, refresh_rules());
    EXPECT_EQ("192.0.2.0/24 dev eth0 proto kernel scope link src 192.0.2.10 \n", routes());
}

TEST_F(Kavonetdtool, KeepsTheRoutesOfTwoCardsOnOneNetwork)
{
    shell("ip address add 192.0.2.11/24 dev eth1; ip -4 route del 192.0.2.0/24 dev eth0");
    write_ifcfg("eth1", "BOOTPROTO=dhcp\n");
    write_lease("eth1", "IPADDR=192.0.2.11\nNETMASK=255.255.255.0\n");
    ASSERT_EQ(0, refresh_rules());
    EXPECT_TRUE(has_route("dev eth0 proto kernel scope link src 192.0.2.10 ")) << routes();
    EXPECT_TRUE(has_route("dev eth1 proto kernel scope link src 192.0.2.11 ")) << routes();
}

TEST_F(Kavonetdtool, MakesNoRouteForAnAddressThatIsNotThere)
{
    write_ifcfg("eth0", "BOOTPROTO=static\nIPADDR=203.0.113.1\nNETMASK=255.255.255.0\n");
    write_ifcfg("eth9", "BOOTPROTO=static\nIPADDR=203.0.113.2\nNETMASK=255.255.255.0\n");
    const std::string before = routes();
    EXPECT_EQ(0, refresh_rules());
    EXPECT_EQ(before, routes());
}

TEST_F(Kavonetdtool, PassesOverWhatIsNoAddress)
{
    const std::string before = routes();
    for (const char *content :
         {"", "IPADDR=\nNETMASK=\n", "IPADDR=192.0.2.10\n", "IPADDR=192.0.2.10\nNETMASK=255.0.255.0\n",
          "IPADDR=$(touch /tmp/broken)\nNETMASK=255.255.255.0\n", "IPADDR=192.0.2.10\nNETMASK=`touch /tmp/broken`\n",
          "IPADDR=192.0.2.10; touch /tmp/broken\nNETMASK=255.255.255.0\n", "IPADDR=*\nNETMASK=*\n",
          "IPADDR=192.0.2.010\nNETMASK=255.255.255.0\n", "IPADDR=-h\nNETMASK=255.255.255.0\n"}) {
        write_ifcfg("eth0", content);
        EXPECT_EQ(0, refresh_rules()) << content;
        EXPECT_EQ(before, routes()) << content;
        EXPECT_FALSE(exists("/tmp/broken")) << content;
    }
}

TEST_F(Kavonetdtool, DoesNotTakeBackupsForInterfaces)
{
    record("/sbin/ip");
    shell("mv /etc/sysconfig/network-scripts/ifcfg-eth0 /etc/sysconfig/network-scripts/ifcfg-eth0.saved");
    write_file("/etc/sysconfig/network-scripts/ifcfg-eth0.tmp1", "IPADDR=192.0.2.10\nNETMASK=255.255.255.0\n");
    EXPECT_EQ(0, refresh_rules());
    EXPECT_TRUE(calls().empty());
}

TEST_F(Kavonetdtool, SetsTheConfiguredGateway)
{
    write_file("/etc/sysconfig/network", "GATEWAY=192.0.2.1\n");
    ASSERT_EQ(0, refresh_gateway());
    EXPECT_TRUE(has_route("default via 192.0.2.1 dev eth0")) << routes();
    write_file("/etc/sysconfig/network", "GATEWAY=\"192.0.2.2\"\n");
    ASSERT_EQ(0, refresh_gateway());
    EXPECT_TRUE(has_route("default via 192.0.2.2 dev eth0")) << routes();
    EXPECT_FALSE(has_route("192.0.2.1 dev")) << routes();
}

TEST_F(Kavonetdtool, SetsTheGatewaysOfLeases)
{
    shell("ip address add 198.51.100.9/24 dev eth1");
    write_ifcfg("eth1", "BOOTPROTO=dhcp\n");
    write_lease("eth1", "IPADDR=198.51.100.9\nNETMASK=255.255.255.0\nGATEWAY=198.51.100.1\n");
    ASSERT_EQ(0, refresh_gateway());
    EXPECT_TRUE(has_route("default via 198.51.100.1 dev eth1 metric ")) << routes();
}

TEST_F(Kavonetdtool, SaysWhenTheGatewayCannotBeSet)
{
    write_file("/etc/sysconfig/network", "GATEWAY=203.0.113.1\n");
    EXPECT_EQ(1, refresh_gateway());
}

TEST_F(Kavonetdtool, RunsNothingOfAHostileGateway)
{
    const std::string before = routes();
    for (const char *value :
         {"$(touch /tmp/broken)", "x; touch /tmp/broken", "-h", "192.0.2.1 metric 5", "192.0.2.300"}) {
        write_file("/etc/sysconfig/network", std::string("GATEWAY=") + value + "\n");
        EXPECT_EQ(0, refresh_gateway()) << value;
        EXPECT_EQ(before, routes()) << value;
        EXPECT_FALSE(exists("/tmp/broken")) << value;
    }
}

TEST_F(Kavonetdtool, RefusesWhatItDoesNotKnow)
{
    EXPECT_EQ(2, reference::run({TOOL}));
    EXPECT_EQ(2, reference::run({TOOL, "--refresh-gateway"}));
    EXPECT_EQ(2, reference::run({TOOL, "--refresh-gateway", "-6"}));
    EXPECT_EQ(2, reference::run({TOOL, "--refresh-everything", "-4"}));
    EXPECT_EQ(2, reference::run({TOOL, "--refresh-gateway", "-4", "-4"}));
    EXPECT_EQ(2, reference::run({TOOL, "", ""}));
}

} // namespace
