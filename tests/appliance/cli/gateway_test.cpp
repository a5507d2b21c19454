// kavonet gateway
#include "command.h"

#include <unistd.h>

namespace cli_test {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class GatewayCommand : public Command {
protected:
    static constexpr char FILE[] = "/etc/sysconfig/network";

    void SetUp() override
    {
        Command::SetUp();
        if (!IsSkipped())
            support::write_file(FILE, "NETWORKING=yes\n");
    }

    static std::string default_route() { return shell("ip -4 route show default"); }
};

TEST_F(GatewayCommand, ShowTellsTheKernelsAndTheConfiguredOne)
{
    EXPECT_EQ("{\"gateway\":null,\"interface\":null,\"configured\":null}\n",
              kavonet({"gateway", "show", "--json"}).out);
    shell("ip route add default via 10.0.0.1 dev eth0");
    support::write_file(FILE, "GATEWAY=10.0.0.2\n");
    const Json gateway(kavonet({"gateway", "show", "--json"}).out);
    EXPECT_EQ("10.0.0.1", gateway["gateway"].text());
    EXPECT_EQ("eth0", gateway["interface"].text());
    EXPECT_EQ("10.0.0.2", gateway["configured"].text());
    EXPECT_THAT(kavonet({"gateway", "show"}).out,
                testing::MatchesRegex("gateway +10\\.0\\.0\\.1\ninterface +eth0\nconfigured +10\\.0\\.0\\.2\n"));
}

TEST_F(GatewayCommand, ShowOfTheConfiguredOneAlone)
{
    EXPECT_EQ("", kavonet({"gateway", "show", "--conf"}).out);
    EXPECT_EQ("{\"configured\":null}\n", kavonet({"gateway", "show", "--conf", "--json"}).out);
    support::write_file(FILE, "GATEWAY=10.0.0.2\n");
    EXPECT_EQ("10.0.0.2\n", kavonet({"gateway", "show", "--conf"}).out);
    EXPECT_EQ("{\"configured\":\"10.0.0.2\"}\n", kavonet({"gateway", "show", "--conf", "--json"}).out);
}

TEST_F(GatewayCommand, ShowWithoutTheFileTellsThatNoneIsConfigured)
{
    ASSERT_EQ(0, unlink(FILE));
    const Result result = kavonet({"gateway", "show", "--json"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_TRUE(Json(result.out)["configured"].is_null());
}

TEST_F(GatewayCommand, SetReplacesTheDefaultRoute)
{
    shell("ip route add default via 10.0.0.1 dev eth0");
    const Result result = kavonet({"gateway", "set", "10.0.0.9"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("gateway: 10.0.0.1 on eth0 -> 10.0.0.9 on eth0\n", result.out);
    EXPECT_THAT(default_route(), StartsWith("default via 10.0.0.9 dev eth0"));
    EXPECT_EQ("NETWORKING=yes\n", support::read_file(FILE));
    const Json change(kavonet({"gateway", "set", "10.0.0.1", "--json"}).out);
    EXPECT_EQ("set", change["action"].text());
    EXPECT_EQ("10.0.0.9", change["before"]["gateway"].text());
    EXPECT_EQ("10.0.0.1", change["after"]["gateway"].text());
    EXPECT_EQ("eth0", change["after"]["interface"].text());
}

TEST_F(GatewayCommand, SetThatTheKernelRefusesTellsWhatIsGone)
{
    shell("ip route add default via 10.0.0.1 dev eth0");
    const Result result = kavonet({"gateway", "set", "192.0.2.1"});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.out);
    EXPECT_THAT(result.err, testing::ContainsRegex("^kavonet: cannot set the default gateway to 192\\.0\\.2\\.1: the "
                                                   "kernel did not take the route, and the former one is gone "
                                                   "\\(0x2A00, net_[a-z_]+\\.cpp:[0-9]+\\)\n"));
    EXPECT_THAT(result.err, HasSubstr("\n  what to do: kavonet gateway set 10.0.0.1 puts it back; "));
    EXPECT_EQ("", default_route());
    EXPECT_EQ(0, kavonet({"gateway", "set", "10.0.0.1"}).status);
}

TEST_F(GatewayCommand, SetRefusesWhatIsNoAddressAndKeepsTheRoute)
{
    shell("ip route add default via 10.0.0.1 dev eth0");
    record("/sbin/route");
    for (const char *address :
         {"", "10.0.0.300", "gateway.lab.test", "10.0.0.9\n", " 10.0.0.9", "010.0.0.9", "0x0a.0.0.9",
          "10.0.0.9 dev eth1", "0.0.0.0", "127.0.0.1", "224.0.0.1", "2001:db8::1", "10.0.0.9/24"}) {
        for (const bool configured : {false, true}) {
            std::vector<std::string> words = {"gateway", "set", address};
            if (configured)
                words.emplace_back("--conf");
            const Result result = kavonet(words);
            EXPECT_EQ(1, result.status) << address;
            EXPECT_THAT(result.err, HasSubstr(": it is no IPv4 address")) << address;
            EXPECT_THAT(result.err, HasSubstr("\n  what to do: give four decimal numbers")) << address;
        }
    }
    for (const char *option : {"-net", "--help-me"})
        EXPECT_EQ(2, kavonet({"gateway", "set", option}).status);
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(default_route(), StartsWith("default via 10.0.0.1 "));
    EXPECT_EQ("NETWORKING=yes\n", support::read_file(FILE));
}

TEST_F(GatewayCommand, ARouteThatTheKernelDoesNotHaveIsAFailure)
{
    shell("ip route add default via 10.0.0.1 dev eth0");
    record("/sbin/route"); // which ends well and does nothing
    Result result = kavonet({"gateway", "set", "10.0.0.9"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, StartsWith("kavonet: cannot set the default gateway to 10.0.0.9: the kernel still has "
                                       "10.0.0.1 on eth0\n"));
    result = kavonet({"gateway", "clear"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err,
                StartsWith("kavonet: cannot clear the default gateway: the kernel still has 10.0.0.1 on eth0\n"));
}

TEST_F(GatewayCommand, ClearTakesTheDefaultRouteAway)
{
    shell("ip route add default via 10.0.0.1 dev eth0");
    EXPECT_EQ("gateway: 10.0.0.1 on eth0 -> none\n", kavonet({"gateway", "clear"}).out);
    EXPECT_EQ("", default_route());
    const Result result = kavonet({"gateway", "clear"});
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("gateway: none -> none\n", result.out);
}

TEST_F(GatewayCommand, ClearTellsOfADefaultRouteThatIsLeft)
{
    add_card("eth1", "10.1.0.5/24");
    shell(
        "ip route add default via 10.0.0.1 dev eth0 metric 102; ip route add default via 10.1.0.1 dev eth1 metric 103");
    EXPECT_EQ("gateway: 10.0.0.1 on eth0 -> 10.1.0.1 on eth1\n", kavonet({"gateway", "clear"}).out);
}

TEST_F(GatewayCommand, TheConfiguredOneIsSetAndCleared)
{
    shell("ip route add default via 10.0.0.1 dev eth0");
    EXPECT_EQ("configured gateway: none -> 10.0.0.9\n", kavonet({"gateway", "set", "10.0.0.9", "--conf"}).out);
    EXPECT_EQ("NETWORKING=yes\nGATEWAY=10.0.0.9\n", support::read_file(FILE));
    EXPECT_THAT(default_route(), StartsWith("default via 10.0.0.1 "));
    const Json change(kavonet({"gateway", "clear", "--conf", "--json"}).out);
    EXPECT_EQ("clear", change["action"].text());
    EXPECT_EQ("10.0.0.9", change["before"]["configured"].text());
    EXPECT_TRUE(change["after"]["configured"].is_null());
    EXPECT_EQ("10.0.0.1", change["after"]["gateway"].text());
    EXPECT_EQ("NETWORKING=yes\n", support::read_file(FILE));
}

TEST_F(GatewayCommand, TheConfiguredOneNeedsItsFile)
{
    ASSERT_EQ(0, unlink(FILE));
    const Result result = kavonet({"gateway", "set", "10.0.0.9", "--conf"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, StartsWith("kavonet: cannot set the configured gateway to 10.0.0.9: a file could not be "
                                       "opened or created (0x0900, "));
    EXPECT_THAT(result.err, HasSubstr("\n  what to do: there is no /etc/sysconfig/network: make one with touch "
                                      "/etc/sysconfig/network\n"));
    EXPECT_FALSE(support::exists(FILE));
    EXPECT_EQ("configured gateway: none -> none\n", kavonet({"gateway", "clear", "--conf"}).out);
}

TEST_F(GatewayCommand, WhoIsNotRootIsTold)
{
    shell("ip route add default via 10.0.0.1 dev eth0");
    for (const std::vector<std::string> &words : std::vector<std::vector<std::string>>{
             {"gateway", "set", "10.0.0.9"}, {"gateway", "clear"}, {"gateway", "set", "10.0.0.9", "--conf"}}) {
        const Result result = kavonet(words, {.user = 65534});
        if (result.status == 125)
            GTEST_SKIP() << "no other user here";
        EXPECT_EQ(1, result.status) << words[1];
        EXPECT_THAT(result.err, HasSubstr("what to do: run it as root: only root may change")) << words[1];
    }
    EXPECT_THAT(default_route(), StartsWith("default via 10.0.0.1 "));
    EXPECT_EQ(0, kavonet({"gateway", "show"}, {.user = 65534}).status);
}

} // namespace cli_test
