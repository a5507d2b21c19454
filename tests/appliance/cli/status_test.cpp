// kavonet status
#include "command.h"

#include <unistd.h>

namespace cli_test {

using testing::HasSubstr;

class StatusCommand : public Command {};

TEST_F(StatusCommand, TellsWhatIsInUseAndWhatIsDown)
{
    ASSERT_EQ(0, sethostname("nas1", 4));
    add_card("eth1", "", false);
    const Json status(kavonet({"status", "--json"}).out);
    EXPECT_EQ("nas1", status["host"].text());
    ASSERT_EQ(2U, status["interfaces"].size());
    const Json eth0 = status["interfaces"].named("eth0");
    EXPECT_TRUE(eth0["link"].yes());
    EXPECT_EQ("10.0.0.5", eth0["address"].text());
    EXPECT_EQ("static", eth0["configured"]["method"].text());
    EXPECT_EQ(1500, eth0["mtu"].number());
    EXPECT_EQ(0U, eth0["roles"].size());
    ASSERT_EQ(2U, status["down"].size());
    EXPECT_THAT((std::vector{status["down"][0].text(), status["down"][1].text()}),
                testing::UnorderedElementsAre("eth1", "eth1p"));

    const Result text = kavonet({"status"});
    EXPECT_EQ(0, text.status);
    EXPECT_THAT(text.out, testing::StartsWith("nas1: 2 in use, 2 with link, 2 down\n\nNAME "));
    EXPECT_THAT(text.out, testing::ContainsRegex("\neth0 +yes .* 1500 +10\\.0\\.0\\.5/24 +static 10\\.0\\.0\\.5/24 "));
    EXPECT_THAT(text.out, testing::ContainsRegex("\n\ndown: eth1p?, eth1p?\n$"));
}

TEST_F(StatusCommand, TellsGatewayAndNameServers)
{
    shell("rm -rf /etc/resolv.conf*; ip route add default via 10.0.0.1 dev eth0");
    support::write_file("/etc/resolv.conf", "nameserver\t10.0.0.1\nnameserver\t10.0.0.2\n");
    support::write_file("/etc/sysconfig/network", "GATEWAY=10.0.0.9\n");
    const Json status(kavonet({"status", "--json"}).out);
    EXPECT_EQ("10.0.0.1", status["gateway"]["gateway"].text());
    EXPECT_EQ("eth0", status["gateway"]["interface"].text());
    EXPECT_EQ("10.0.0.9", status["gateway"]["configured"].text());
    EXPECT_EQ("auto", status["dns"]["mode"].text());
    ASSERT_EQ(2U, status["dns"]["servers"].size());
    EXPECT_EQ("10.0.0.2", status["dns"]["servers"][1].text());
    EXPECT_EQ(0U, status["dns"]["static_servers"].size());
    EXPECT_THAT(kavonet({"status"}).out, HasSubstr("\n\ngateway: 10.0.0.1 on eth0 (10.0.0.9 configured)\n"
                                                   "dns: auto 10.0.0.1, 10.0.0.2\n"));
    support::write_file("/etc/sysconfig/network", "GATEWAY=10.0.0.1\n");
    EXPECT_THAT(kavonet({"status"}).out, HasSubstr("gateway: 10.0.0.1 on eth0\n"));
}

TEST_F(StatusCommand, OfAnApplianceWithoutGatewayAndNameServers)
{
    shell("rm -rf /etc/resolv.conf* /etc/sysconfig/network /etc/kavoinfo.conf");
    const Result text = kavonet({"status"});
    EXPECT_EQ(0, text.status) << text.err;
    EXPECT_THAT(text.out, HasSubstr("\n\ngateway: none\ndns: auto, no servers\n"));
    const Json status(kavonet({"status", "--json"}).out);
    EXPECT_TRUE(status["gateway"]["gateway"].is_null());
    EXPECT_EQ(0U, status["dns"]["servers"].size());
}

TEST_F(StatusCommand, OfAnApplianceWithoutInterfaces)
{
    shell("ip link del eth0");
    const Json status(kavonet({"status", "--json"}).out);
    EXPECT_EQ(0U, status["interfaces"].size());
    EXPECT_EQ(0, kavonet({"status"}).status);
    EXPECT_THAT(kavonet({"status"}).out, HasSubstr(": 0 in use, 0 with link, 0 down\n"));
}

} // namespace cli_test
