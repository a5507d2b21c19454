// kavonet route
#include "command.h"

#include <unistd.h>

namespace cli_test {

using testing::HasSubstr;
using testing::StartsWith;

class RouteCommand : public Command {
protected:
    static std::string routes() { return shell("ip -4 route show"); }

    // A second card with a network of its own, whose cable is out.
    static void add_card_without_link()
    {
        add_card("eth1", "10.1.0.5/24");
        write_ifcfg("eth1", "DEVICE=eth1\nBOOTPROTO=static\nIPADDR=10.1.0.5\nNETMASK=255.255.255.0\n");
        shell("ip link set eth1p down; until grep -q down /sys/class/net/eth1/operstate; do sleep 0.01; done");
    }
};

TEST_F(RouteCommand, ShowListsTheKernelsRoutes)
{
    shell("ip route add default via 10.0.0.1 dev eth0 metric 7");
    const Json routes(kavonet({"route", "show", "--json"}).out);
    ASSERT_EQ(2U, routes.size());
    EXPECT_EQ("0.0.0.0/0", routes[0]["network"].text());
    EXPECT_EQ("10.0.0.1", routes[0]["gateway"].text());
    EXPECT_EQ("eth0", routes[0]["interface"].text());
    EXPECT_TRUE(routes[0]["source"].is_null());
    EXPECT_EQ(7, routes[0]["metric"].number());
    EXPECT_EQ("10.0.0.0/24", routes[1]["network"].text());
    EXPECT_TRUE(routes[1]["gateway"].is_null());
    EXPECT_EQ("10.0.0.5", routes[1]["source"].text());
    EXPECT_EQ(0, routes[1]["metric"].number());
    const Result table = kavonet({"route", "show"});
    EXPECT_THAT(table.out, testing::ContainsRegex("^NETWORK +GATEWAY +INTERFACE +SOURCE +METRIC\n"));
    EXPECT_THAT(table.out, testing::ContainsRegex("\ndefault +10\\.0\\.0\\.1 +eth0 +- +7\n"));
    EXPECT_THAT(table.out, testing::ContainsRegex("\n10\\.0\\.0\\.0/24 +- +eth0 +10\\.0\\.0\\.5 +0\n"));
}

TEST_F(RouteCommand, ShowOfOneInterfaceLeavesOutTheOthers)
{
    add_card("eth1", "10.1.0.5/24");
    const Json routes(kavonet({"route", "show", "eth1", "--json"}).out);
    ASSERT_EQ(1U, routes.size());
    EXPECT_EQ("10.1.0.0/24", routes[0]["network"].text());
    EXPECT_EQ("[]\n", kavonet({"route", "show", "eth0p", "--json"}).out);
    const Result missing = kavonet({"route", "show", "eth7"});
    EXPECT_EQ(1, missing.status);
    EXPECT_THAT(missing.err, StartsWith("kavonet: cannot show the routes of eth7: there is no interface of that name"));
}

TEST_F(RouteCommand, ShowHasARowForEachHopAndOnlyRoutesThatPacketsTake)
{
    add_card("eth1", "10.1.0.5/24");
    shell("ip route add 192.0.2.0/24 nexthop via 10.0.0.1 dev eth0 nexthop via 10.1.0.1 dev eth1;"
          "ip route add blackhole 198.51.100.0/24; ip route add 203.0.113.0/24 dev eth0 table 77");
    const std::string shown = kavonet({"route", "show"}).out;
    EXPECT_THAT(shown, testing::ContainsRegex("\n192\\.0\\.2\\.0/24 +10\\.0\\.0\\.1 +eth0 "));
    EXPECT_THAT(shown, testing::ContainsRegex("\n192\\.0\\.2\\.0/24 +10\\.1\\.0\\.1 +eth1 "));
    EXPECT_THAT(shown, testing::Not(HasSubstr("198.51.100")));
    EXPECT_THAT(shown, testing::Not(HasSubstr("203.0.113")));
}

TEST_F(RouteCommand, ShowHasRoomForThousands)
{
    std::string batch;
    for (int i = 0; i < 3000; ++i)
        batch +=
            "route add 172." + std::to_string(16 + i / 250) + "." + std::to_string(i % 250) + ".0/24 via 10.0.0.1\n";
    support::write_file("/tmp/batch", batch);
    shell("ip -batch /tmp/batch");
    EXPECT_EQ(3001U, Json(kavonet({"route", "show", "--json"}).out).size());
}

TEST_F(RouteCommand, ShowOfNothingIsEmpty)
{
    shell("ip address flush dev eth0");
    EXPECT_EQ("[]\n", kavonet({"route", "show", "--json"}).out);
    EXPECT_EQ("", kavonet({"route", "show"}).out);
}

TEST_F(RouteCommand, UnbindAndBindChangeTheRouteToTheOwnNetwork)
{
    Result result = kavonet({"route", "unbind", "eth0"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("eth0: 10.0.0.0/24 from 10.0.0.5 -> no route of its own\n", result.out);
    EXPECT_EQ("", routes());
    result = kavonet({"route", "bind", "eth0"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("eth0: no route of its own -> 10.0.0.0/24 from 10.0.0.5\n", result.out);
    EXPECT_EQ("10.0.0.0/24 dev eth0 scope link src 10.0.0.5 \n", routes());
    const Json change(kavonet({"route", "unbind", "eth0", "--json"}).out);
    EXPECT_EQ("eth0", change["name"].text());
    EXPECT_EQ("unbind", change["action"].text());
    EXPECT_EQ("10.0.0.5", change["before"]["routes"][0]["source"].text());
    EXPECT_EQ(0U, change["after"]["routes"].size());
}

TEST_F(RouteCommand, UnbindOfALease)
{
    write_ifcfg("eth0", "BOOTPROTO=dhcp\n");
    write_lease("eth0", "IPADDR=10.0.0.5\nNETMASK=255.255.255.0\n");
    EXPECT_EQ("eth0: 10.0.0.0/24 from 10.0.0.5 -> no route of its own\n", kavonet({"route", "unbind", "eth0"}).out);
    const Result result = kavonet({"route", "bind", "eth0"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, StartsWith("kavonet: cannot bind eth0: it is on DHCP, whose client sets its routes\n"
                                       "  what to do: restart the client: kavonet ipv4 dhcp eth0\n"));
}

TEST_F(RouteCommand, SaysWhyAnInterfaceCannotBeBound)
{
    const auto error_of = [](const std::string &name) {
        const Result result = kavonet({"route", "bind", name});
        EXPECT_EQ(1, result.status) << name;
        EXPECT_EQ("", result.out) << name;
        EXPECT_THAT(result.err, HasSubstr("\n  what to do: ")) << name;
        return result.err;
    };
    EXPECT_THAT(error_of("eth0p"), StartsWith("kavonet: cannot bind eth0p: no complete address is configured for it"));
    write_ifcfg("eth0p", "BOOTPROTO=dhcp\n");
    EXPECT_THAT(error_of("eth0p"), StartsWith("kavonet: cannot bind eth0p: it is on DHCP and has no lease"));
    shell("ip link set eth0 down");
    EXPECT_THAT(error_of("eth0"), StartsWith("kavonet: cannot bind eth0: eth0 is down, "));
    EXPECT_THAT(error_of("eth7"), StartsWith("kavonet: cannot bind eth7: there is no interface of that name"));
    for (const char *name : {"sixteen-letters-", "../eth0", "eth 0", "eth0\n"})
        EXPECT_THAT(error_of(name), HasSubstr("(0x0D00, ")) << name;
}

TEST_F(RouteCommand, ARouteThatTheKernelDoesNotHaveIsAFailure)
{
    shell("ip route del 10.0.0.0/24 dev eth0");
    record("/sbin/ip", 2);
    record("/sbin/route", 1);
    const Result result = kavonet({"route", "bind", "eth0", "-v"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("\nkavonet: cannot bind eth0: the kernel has no route of its own\n"));
    EXPECT_THAT(result.err, HasSubstr("cmd route add -net 10.0.0.0 netmask 255.255.255.0 dev eth0 failded"));
}

TEST_F(RouteCommand, CheckTakesTheRoutesOfInterfacesWithoutALinkAway)
{
    add_card_without_link();
    const Result result = kavonet({"route", "check"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("removed 10.1.0.0/24 on eth1\n", result.out);
    EXPECT_EQ("10.0.0.0/24 dev eth0 proto kernel scope link src 10.0.0.5 \n", routes());
    EXPECT_EQ("nothing to remove\n", kavonet({"route", "check"}).out);
    const Json change(kavonet({"route", "check", "--json"}).out);
    EXPECT_EQ("check", change["action"].text());
    EXPECT_EQ(1U, change["before"]["routes"].size());
    EXPECT_EQ(1U, change["after"]["routes"].size());
}

TEST_F(RouteCommand, CheckOfAnApplianceWithoutInterfacesFails)
{
    shell("ip link del eth0");
    const Result result = kavonet({"route", "check"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, StartsWith("kavonet: cannot check the routes: no interface is up\n"
                                       "  what to do: bring one up: kavonet if list\n"));
}

} // namespace cli_test
