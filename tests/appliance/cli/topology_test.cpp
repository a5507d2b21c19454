// kavonet topology
#include "command.h"

namespace cli_test {

using testing::HasSubstr;

class TopologyCommand : public Command {
protected:
    static constexpr char SETTINGS[] = "/etc/kavoinfo.conf";
    static void support_topologies() { support::write_file(SETTINGS, "support_net_topology=\"yes\"\n"); }
};

TEST_F(TopologyCommand, ShowOfAnApplianceWithoutTheChoice)
{
    EXPECT_EQ("this appliance has no choice of topologies\n", kavonet({"topology", "show"}).out);
    EXPECT_EQ("{\"supported\":false,\"id\":null,\"name\":null,\"interface\":null}\n",
              kavonet({"topology", "show", "--json"}).out);
}

TEST_F(TopologyCommand, ShowTellsTopologyAndInterface)
{
    support::write_file(SETTINGS, "support_net_topology=\"yes\"\nnet_topology=\"BRIDGE\"\n");
    const Json topology(kavonet({"topology", "show", "--json"}).out);
    EXPECT_TRUE(topology["supported"].yes());
    EXPECT_EQ(2, topology["id"].number());
    EXPECT_EQ("bridge", topology["name"].text());
    EXPECT_EQ("br0", topology["interface"].text());
    EXPECT_THAT(kavonet({"topology", "show"}).out, testing::MatchesRegex("topology +bridge\ninterface +br0\n"));
}

TEST_F(TopologyCommand, SetStoresTheName)
{
    support_topologies();
    Result result = kavonet({"topology", "set", "router"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("topology: unknown -> router on eth0\n", result.out);
    EXPECT_THAT(support::read_file(SETTINGS), HasSubstr("net_topology=\"router\"\n"));
    const Json change(kavonet({"topology", "set", "bridge", "--json"}).out);
    EXPECT_EQ("set", change["action"].text());
    EXPECT_EQ("router", change["before"]["name"].text());
    EXPECT_EQ("bridge", change["after"]["name"].text());
    EXPECT_EQ("br0", change["after"]["interface"].text());
}

TEST_F(TopologyCommand, SetWithoutTheChoiceChangesNothing)
{
    const Result result = kavonet({"topology", "set", "router"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, testing::StartsWith("kavonet: cannot set the topology to router: this appliance has no "
                                                "choice of topologies\n  what to do: "));
    EXPECT_EQ("", support::read_file(SETTINGS));
}

TEST_F(TopologyCommand, SetKnowsTheNamesOnly)
{
    support_topologies();
    for (const char *name : {"", "ring", "ROUTER", "router\n"})
        EXPECT_EQ(2, kavonet({"topology", "set", name}).status) << name;
    EXPECT_EQ("support_net_topology=\"yes\"\n", support::read_file(SETTINGS));
}

TEST_F(TopologyCommand, WhoIsNotRootIsTold)
{
    support_topologies();
    const Result result = kavonet({"topology", "set", "router"}, {.user = 65534});
    if (result.status == 125)
        GTEST_SKIP() << "no other user here";
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("what to do: run it as root: only root may change"));
}

} // namespace cli_test
