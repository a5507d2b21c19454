// kavonet bridge
#include "command.h"

namespace cli_test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::UnorderedElementsAre;

class BridgeCommand : public Command {
protected:
    // br0 over eth0, which is up, and lbr0 of the local LAN without a port, which is down.
    static void build()
    {
        shell("ip link add br0 type bridge; ip link set br0 up; ip link set eth0 master br0; ip link add lbr0 type "
              "bridge");
        write_ifcfg("br0", "DEVICE=br0\nTYPE=bridge\nPRIMARY=eth0\nONBOOT=yes\nBOOTPROTO=dhcp\n");
        write_ifcfg("lbr0", "TYPE=bridge\nPRIMARY=wlan0\nLOCAL_LAN=yes\nBOOTPROTO=static\nIPADDR=10.9.0.1\n"
                            "NETMASK=255.255.0.0\n");
        write_ifcfg("eth0", "DEVICE=eth0\nBRIDGE=br0\nONBOOT=yes\n# kept\n");
    }

    static std::vector<std::string> lines(const std::string &name)
    {
        return support::lines_of(support::read_file(ifcfg(name)));
    }
};

// ---- list

TEST_F(BridgeCommand, ListTellsBridgesAndTheirPorts)
{
    build();
    shell("ip link set eth0p master br0");
    const Json list(kavonet({"bridge", "list", "--json"}).out);
    ASSERT_EQ(2U, list.size());
    const Json br0 = list.named("br0");
    EXPECT_TRUE(br0["up"].yes());
    EXPECT_EQ("bridge", br0["role"].text());
    ASSERT_EQ(2U, br0["ports"].size());
    EXPECT_EQ("eth0", br0["ports"][0].text());
    EXPECT_EQ("eth0p", br0["ports"][1].text());
    const Json lbr0 = list.named("lbr0");
    EXPECT_FALSE(lbr0["up"].yes());
    EXPECT_EQ("local-lan", lbr0["role"].text());
    EXPECT_EQ(0U, lbr0["ports"].size());

    const auto table = support::lines_of(kavonet({"bridge", "list"}).out);
    ASSERT_EQ(3U, table.size());
    EXPECT_THAT(table[0], MatchesRegex("NAME +STATE +ROLE +PORTS"));
    EXPECT_THAT(table[1], MatchesRegex("br0 +up +bridge +eth0 eth0p"));
    EXPECT_THAT(table[2], MatchesRegex("lbr0 +down +bridge of the local LAN +-"));
}

TEST_F(BridgeCommand, ListOfNoneIsEmpty)
{
    EXPECT_EQ("[]\n", kavonet({"bridge", "list", "--json"}).out);
    const Result result = kavonet({"bridge", "list"});
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("", result.out);
}

// ---- show

TEST_F(BridgeCommand, ShowTellsWhatRunsAndWhatIsConfigured)
{
    build();
    const Json br0(kavonet({"bridge", "show", "br0", "--json"}).out);
    EXPECT_TRUE(br0["up"].yes());
    EXPECT_EQ("bridge", br0["role"].text());
    EXPECT_EQ("eth0", br0["peer"].text());
    EXPECT_EQ("eth0", br0["ports"][0].text());
    EXPECT_EQ("bridge", br0["configured"]["role"].text());
    EXPECT_EQ("eth0", br0["configured"]["peer"].text());
    EXPECT_TRUE(br0["configured"]["on_boot"].yes());
    EXPECT_FALSE(br0["configured"]["static"].yes());
    EXPECT_TRUE(br0["configured"]["address"].is_null());

    const Json port(kavonet({"bridge", "show", "eth0", "--json"}).out);
    EXPECT_EQ("port", port["role"].text());
    EXPECT_EQ("br0", port["peer"].text());
    EXPECT_EQ(0U, port["ports"].size());
    EXPECT_EQ("port", port["configured"]["role"].text());
    EXPECT_EQ("br0", port["configured"]["peer"].text());

    const Result table = kavonet({"bridge", "show", "eth0"});
    EXPECT_THAT(table.out,
                MatchesRegex("name +eth0\nstate +up\nrole +port of br0\nports +-\nconfigured +port of br0\n"));
}

TEST_F(BridgeCommand, ShowOfAnInterfaceThatIsDownTellsTheConfigurationAlone)
{
    build();
    const Json lbr0(kavonet({"bridge", "show", "lbr0", "--json"}).out);
    EXPECT_FALSE(lbr0["up"].yes());
    EXPECT_TRUE(lbr0["role"].is_null());
    EXPECT_TRUE(lbr0["peer"].is_null());
    EXPECT_EQ("local-lan", lbr0["configured"]["role"].text());
    EXPECT_EQ("wlan0", lbr0["configured"]["peer"].text());
    EXPECT_FALSE(lbr0["configured"]["on_boot"].yes());
    EXPECT_TRUE(lbr0["configured"]["static"].yes());
    EXPECT_EQ("10.9.0.1", lbr0["configured"]["address"].text());
    EXPECT_EQ(16, lbr0["configured"]["prefix"].number());
}

TEST_F(BridgeCommand, ShowOfAPlainInterface)
{
    const Json eth0(kavonet({"bridge", "show", "eth0", "--json"}).out);
    EXPECT_EQ("none", eth0["role"].text());
    EXPECT_TRUE(eth0["peer"].is_null());
    EXPECT_EQ("none", eth0["configured"]["role"].text());
    const Json peer(kavonet({"bridge", "show", "eth0p", "--json"}).out);
    EXPECT_TRUE(peer["configured"]["role"].is_null());
    EXPECT_TRUE(peer["configured"]["on_boot"].is_null());
    EXPECT_THAT(kavonet({"bridge", "show", "eth0p"}).out, HasSubstr("not configured"));
    EXPECT_THAT(kavonet({"bridge", "show", "eth0"}).out, HasSubstr("outside any bridge"));
}

TEST_F(BridgeCommand, ShowOfAnInterfaceThatIsNotThere)
{
    const Result result = kavonet({"bridge", "show", "eth9"});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.out);
    EXPECT_THAT(result.err, testing::StartsWith("kavonet: cannot show eth9: there is no interface of that name"));
    write_ifcfg("eth9", "BRIDGE=br0\n");
    EXPECT_EQ("port", Json(kavonet({"bridge", "show", "eth9", "--json"}).out)["configured"]["role"].text());
}

// ---- set

TEST_F(BridgeCommand, SetWritesABridge)
{
    const Result result = kavonet({"bridge", "set", "br0", "bridge", "eth0", "--dhcp"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("br0: not configured -> bridge over eth0; it takes effect at the next start of the network\n",
              result.out);
    EXPECT_THAT(lines("br0"),
                UnorderedElementsAre("DEVICE=br0", "TYPE=bridge", "PRIMARY=eth0", "ONBOOT=yes", "BOOTPROTO=dhcp"));
}

TEST_F(BridgeCommand, SetWritesABridgeOfTheLocalLanWithAnAddress)
{
    const Result result = kavonet(
        {"bridge", "set", "lbr0", "local-lan", "wlan0", "--static", "192.168.5.1/24", "--boot", "no", "--json"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_THAT(lines("lbr0"),
                UnorderedElementsAre("DEVICE=lbr0", "TYPE=bridge", "PRIMARY=wlan0", "LOCAL_LAN=yes", "ONBOOT=no",
                                     "BOOTPROTO=static", "IPADDR=192.168.5.1", "NETMASK=255.255.255.0"));
    const Json change(result.out);
    EXPECT_EQ("lbr0", change["name"].text());
    EXPECT_EQ("set", change["action"].text());
    EXPECT_TRUE(change["before"]["role"].is_null());
    EXPECT_EQ("local-lan", change["after"]["role"].text());
    EXPECT_EQ("wlan0", change["after"]["peer"].text());
    EXPECT_FALSE(change["after"]["on_boot"].yes());
    EXPECT_EQ("192.168.5.1", change["after"]["address"].text());
}

TEST_F(BridgeCommand, SetOfAPortKeepsTheRestAndACopy)
{
    const std::string before = support::read_file(ifcfg("eth0"));
    const Result result = kavonet({"bridge", "set", "eth0", "port", "br0"});
    EXPECT_EQ("eth0: outside any bridge -> port of br0; it takes effect at the next start of the network\n",
              result.out);
    EXPECT_EQ(before, support::read_file(ifcfg("eth0") + ".saved"));
    EXPECT_THAT(support::read_file(ifcfg("eth0")), testing::AllOf(HasSubstr("BRIDGE=br0\n"), HasSubstr("IPADDR=")));
}

TEST_F(BridgeCommand, SetIsNotMisunderstood)
{
    for (const std::vector<std::string> &words : std::vector<std::vector<std::string>>{
             {"bridge", "set"},
             {"bridge", "set", "br0"},
             {"bridge", "set", "br0", "bridge"},
             {"bridge", "set", "br0", "bridge", ""},
             {"bridge", "set", "", "bridge", "eth0"},
             {"bridge", "set", "br0", "none", "eth0"},
             {"bridge", "set", "br0", "bond", "eth0"},
             {"bridge", "set", "br0", "bridge", "eth0", "--boot", "no"},
             {"bridge", "set", "br0", "bridge", "eth0", "--dhcp", "--boot", "maybe"},
             {"bridge", "set", "br0", "bridge", "eth0", "--dhcp", "--static", "10.0.0.1/8"}}) {
        const Result result = kavonet(words);
        EXPECT_EQ(2, result.status) << testing::PrintToString(words);
        EXPECT_EQ("", result.out);
    }
    EXPECT_FALSE(support::exists(ifcfg("br0")));
}

TEST_F(BridgeCommand, SetRefusesNamesAndAddressesThatAreNone)
{
    for (const char *name : {"sixteen-letters-", "fifteen-letters-and-more", "..", "eth 0", "eth0\n", "a/b"}) {
        Result result = kavonet({"bridge", "set", name, "bridge", "eth0"});
        EXPECT_EQ(1, result.status) << name;
        EXPECT_THAT(result.err, HasSubstr("what to do: ")) << name;
        result = kavonet({"bridge", "set", "br0", "bridge", name});
        EXPECT_EQ(1, result.status) << name;
    }
    for (const char *address : {"10.0.0.300/24", "10.0.0.1", "10.0.0.1/33", "010.0.0.1/8", "10.0.0.1/8 x", "x"}) {
        const Result result = kavonet({"bridge", "set", "br0", "bridge", "eth0", "--static", address});
        EXPECT_EQ(1, result.status) << address;
        EXPECT_THAT(result.err, testing::StartsWith("kavonet: cannot configure br0 as bridge with eth0: ")) << address;
    }
    EXPECT_THAT(support::entries("/etc/sysconfig/network-scripts"), ElementsAre("ifcfg-eth0"));
}

// ---- unset

TEST_F(BridgeCommand, UnsetMakesAPlainInterfaceOfAPort)
{
    build();
    const Result result = kavonet({"bridge", "unset", "eth0"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("eth0: port of br0 -> outside any bridge; it takes effect at the next start of the network\n",
              result.out);
    EXPECT_THAT(lines("eth0"), UnorderedElementsAre("DEVICE=eth0", "ONBOOT=yes", "# kept", "BOOTPROTO=dhcp"));
}

TEST_F(BridgeCommand, UnsetKeepsTheAddressOrTakesTheGivenOne)
{
    write_ifcfg("eth0", "BRIDGE=br0\nBOOTPROTO=static\nIPADDR=10.1.1.1\nNETMASK=255.0.0.0\n");
    EXPECT_EQ(0, kavonet({"bridge", "unset", "eth0"}).status);
    EXPECT_THAT(lines("eth0"), UnorderedElementsAre("DEVICE=eth0", "ONBOOT=yes", "BOOTPROTO=static", "IPADDR=10.1.1.1",
                                                    "NETMASK=255.0.0.0"));
    write_ifcfg("eth0", "BRIDGE=br0\nBOOTPROTO=static\nIPADDR=10.1.1.1\nNETMASK=255.0.0.0\n");
    EXPECT_EQ(0, kavonet({"bridge", "unset", "eth0", "--static", "10.2.2.2/16"}).status);
    EXPECT_THAT(lines("eth0"), UnorderedElementsAre("DEVICE=eth0", "ONBOOT=yes", "BOOTPROTO=static", "IPADDR=10.2.2.2",
                                                    "NETMASK=255.255.0.0"));
    write_ifcfg("eth0", "BRIDGE=br0\nBOOTPROTO=static\nIPADDR=10.1.1.1\nNETMASK=255.0.0.0\n");
    EXPECT_EQ(0, kavonet({"bridge", "unset", "eth0", "--dhcp"}).status);
    EXPECT_THAT(lines("eth0"), UnorderedElementsAre("DEVICE=eth0", "ONBOOT=yes", "BOOTPROTO=dhcp"));
}

TEST_F(BridgeCommand, UnsetTakesTheKeysOfABridgeAway)
{
    build();
    const Json change(kavonet({"bridge", "unset", "lbr0", "--json"}).out);
    EXPECT_EQ("unset", change["action"].text());
    EXPECT_EQ("local-lan", change["before"]["role"].text());
    EXPECT_EQ("none", change["after"]["role"].text());
    EXPECT_THAT(lines("lbr0"),
                UnorderedElementsAre("DEVICE=lbr0", "BOOTPROTO=static", "IPADDR=10.9.0.1", "NETMASK=255.255.0.0"));
}

TEST_F(BridgeCommand, UnsetLeavesAloneWhatIsInNoBridge)
{
    const std::string before = support::read_file(ifcfg("eth0"));
    for (const char *name : {"eth0", "eth0p", "eth9", "..", "sixteen-letters-"}) {
        const Result result = kavonet({"bridge", "unset", name});
        EXPECT_EQ(1, result.status) << name;
        EXPECT_THAT(result.err, HasSubstr("what to do: ")) << name;
    }
    EXPECT_THAT(kavonet({"bridge", "unset", "eth0"}).err,
                HasSubstr("it is configured as no bridge and no port of one"));
    EXPECT_EQ(before, support::read_file(ifcfg("eth0")));
    EXPECT_THAT(support::entries("/etc/sysconfig/network-scripts"), ElementsAre("ifcfg-eth0"));
}

TEST_F(BridgeCommand, WhoIsNotRootIsTold)
{
    build();
    for (const std::vector<std::string> &words :
         std::vector<std::vector<std::string>>{{"bridge", "set", "eth0", "port", "br1"}, {"bridge", "unset", "eth0"}}) {
        const Result result = kavonet(words, {.user = 65534});
        if (result.status == 125)
            GTEST_SKIP() << "no other user here";
        EXPECT_EQ(1, result.status);
        EXPECT_THAT(result.err, HasSubstr("what to do: run it as root: only root may change"));
    }
    EXPECT_THAT(lines("eth0"), testing::Contains("BRIDGE=br0"));
}

TEST_F(BridgeCommand, FilesDoNotCommandTheTerminal)
{
    write_ifcfg("eth0", "BRIDGE=x\033[31m\xFF\n");
    const Result result = kavonet({"bridge", "show", "eth0"});
    EXPECT_THAT(result.out, testing::Not(HasSubstr("\033")));
    EXPECT_THAT(result.out, HasSubstr("x\\x1b[31m\\xff"));
    EXPECT_EQ("x\033[31m\xEF\xBF\xBD",
              Json(kavonet({"bridge", "show", "eth0", "--json"}).out)["configured"]["peer"].text());
    EXPECT_THAT(kavonet({"bridge", "unset", "eth0"}).out, testing::Not(HasSubstr("\033")));
}

} // namespace cli_test
