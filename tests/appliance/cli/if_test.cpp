// kavonet if
#include "command.h"

namespace cli_test {

using testing::HasSubstr;
using testing::Not;

class IfCommand : public Command {
protected:
    static bool is_up(const std::string &name)
    {
        return shell("ip link show " + name).find(",UP") != std::string::npos;
    }
    static std::string mac_of(const std::string &name)
    {
        return support::read_file("/sys/class/net/" + name + "/address");
    }
};

TEST_F(IfCommand, ListNamesEveryInterface)
{
    add_card("eth10", "", false);
    const Json list(kavonet({"if", "list", "--json"}).out);
    ASSERT_EQ(5U, list.size());
    std::vector<std::string> names;
    for (int i = 0; i < 5; ++i)
        names.push_back(list[i]["name"].text());
    EXPECT_THAT(names, testing::UnorderedElementsAre("eth0", "eth0p", "eth10", "eth10p", "lo"));

    const Json eth0 = list.named("eth0");
    EXPECT_TRUE(eth0["up"].yes());
    EXPECT_TRUE(eth0["link"].yes());
    EXPECT_FALSE(eth0["loopback"].yes());
    EXPECT_EQ(mac_of("eth0"), eth0["mac"].text() + "\n");
    EXPECT_EQ("10.0.0.5", eth0["address"].text());
    EXPECT_EQ("255.255.255.0", eth0["mask"].text());
    EXPECT_EQ(24, eth0["prefix"].number());

    const Json eth10 = list.named("eth10");
    EXPECT_FALSE(eth10["up"].yes());
    EXPECT_FALSE(eth10["link"].yes());
    EXPECT_TRUE(eth10["address"].is_null());
    EXPECT_TRUE(eth10["mask"].is_null());
    EXPECT_TRUE(eth10["prefix"].is_null());
    EXPECT_TRUE(list.named("lo")["loopback"].yes());
    EXPECT_TRUE(list.named("lo")["mac"].is_null());
}

TEST_F(IfCommand, ListOnAPipeIsAnAlignedTable)
{
    const Result result = kavonet({"if", "list"});
    EXPECT_EQ(0, result.status);
    const auto lines = support::lines_of(result.out);
    ASSERT_EQ(4U, lines.size());
    EXPECT_THAT(lines[0], testing::MatchesRegex("NAME +STATE +LINK +MAC +ADDRESS"));
    EXPECT_THAT(lines, testing::Contains(testing::MatchesRegex("eth0 +up +yes +[0-9a-f:]+ +10\\.0\\.0\\.5/24")));
    EXPECT_THAT(lines, testing::Contains(testing::MatchesRegex("eth0p +up +yes +[0-9a-f:]+ +-")));
    EXPECT_THAT(lines, testing::Contains(testing::MatchesRegex("lo +down +no +- +-")));
    for (const char *title : {"STATE", "LINK", "MAC", "ADDRESS"})
        EXPECT_EQ(' ', lines[1][lines[0].find(title) - 1]) << title;
}

TEST_F(IfCommand, ListOfAKindLeavesOutTheOthers)
{
    add_card("eth1", "", false);
    shell("ip link add br0 type bridge; ip link set br0 up; ip link set eth0p master br0");
    const auto names = [](const char *kind) {
        const Json list(kavonet({"if", "list", "--kind", kind, "--json"}).out);
        std::vector<std::string> found;
        for (size_t i = 0; i < list.size(); ++i)
            found.push_back(list[static_cast<int>(i)]["name"].text());
        return found;
    };
    EXPECT_THAT(names("all"), testing::UnorderedElementsAre("br0", "eth0", "eth0p", "eth1", "eth1p", "lo"));
    EXPECT_THAT(names("usable"), testing::UnorderedElementsAre("br0", "eth0"));
    EXPECT_THAT(names("usable-ppp"), testing::UnorderedElementsAre("br0", "eth0"));
    EXPECT_THAT(names("physical"), testing::UnorderedElementsAre("br0", "eth0", "eth0p"));
}

TEST_F(IfCommand, ListOfAKindByTheLocalLanMark)
{
    add_card("eth1", "", false);
    write_ifcfg("eth0", support::read_file(ifcfg("eth0")) + "LOCAL_LAN=yes\n");
    shell("ip link add br0 type bridge; ip link set br0 up; ip link add d1 type veth peer name d1p;"
          "ip link set d1 up; ip link set d1p up; ip link set d1p master br0");
    const auto names = [](const char *kind) {
        const Json list(kavonet({"if", "list", "--kind", kind, "--json"}).out);
        std::vector<std::string> found;
        for (size_t i = 0; i < list.size(); ++i)
            found.push_back(list[static_cast<int>(i)]["name"].text());
        return found;
    };
    EXPECT_THAT(names("standalone"), testing::UnorderedElementsAre("br0", "d1", "eth0", "eth0p"));
    EXPECT_THAT(names("local-lan"), testing::ElementsAre("eth0"));
    EXPECT_THAT(names("not-local-lan"), testing::UnorderedElementsAre("br0", "d1", "eth0p"));
    EXPECT_THAT(names("eth"), testing::UnorderedElementsAre("eth0", "eth0p"));
    EXPECT_TRUE(Json(kavonet({"if", "show", "eth0", "--json"}).out)["local_lan"].yes());
    EXPECT_FALSE(Json(kavonet({"if", "show", "eth1", "--json"}).out)["local_lan"].yes());
    EXPECT_THAT(kavonet({"if", "show", "eth0"}).out, testing::ContainsRegex("\nlocal LAN +yes\n"));
}

TEST_F(IfCommand, ListOfNothingIsEmpty)
{
    shell("ip link del eth0");
    EXPECT_EQ("[]\n", kavonet({"if", "list", "--kind", "usable", "--json"}).out);
    const Result table = kavonet({"if", "list", "--kind", "usable"});
    EXPECT_EQ(0, table.status);
    EXPECT_EQ("", table.out);
}

TEST_F(IfCommand, ListHasRoomForMoreThanAFewHundred)
{
    std::string batch;
    for (int i = 0; i < 1100; ++i)
        batch += "link add v" + std::to_string(i) + " type veth peer name w" + std::to_string(i) + "\n";
    batch += "addr add 10.1.0.1/24 dev v7\naddr add 10.2.0.1/25 dev w1099\n";
    support::write_file("/tmp/batch", batch);
    shell("ip -batch /tmp/batch");
    const Json list(kavonet({"if", "list", "--json"}).out);
    EXPECT_EQ(2203U, list.size());
    EXPECT_EQ("10.1.0.1", list.named("v7")["address"].text());
    EXPECT_EQ(25, list.named("w1099")["prefix"].number());
    EXPECT_EQ(mac_of("v1000"), list.named("v1000")["mac"].text() + "\n");
    EXPECT_EQ(2203U, Json(kavonet({"stat", "--json"}).out).size());
}

TEST_F(IfCommand, ShowTellsAllAboutOne)
{
    shell("ip link set eth0 mtu 1400");
    const Json eth0(kavonet({"if", "show", "eth0", "--json"}).out);
    EXPECT_EQ("eth0", eth0["name"].text());
    EXPECT_TRUE(eth0["up"].yes());
    EXPECT_EQ(1400, eth0["mtu"].number());
    EXPECT_EQ("static", eth0["configured"]["method"].text());
    EXPECT_EQ("10.0.0.5", eth0["configured"]["address"].text());
    EXPECT_EQ(0U, eth0["roles"].size());
    EXPECT_TRUE(eth0.has("speed"));
    EXPECT_TRUE(eth0.has("duplex"));

    const Result table = kavonet({"if", "show", "eth0"});
    EXPECT_THAT(table.out, testing::ContainsRegex("^name +eth0\n"));
    EXPECT_THAT(table.out, testing::ContainsRegex("\nconfigured +static 10\\.0\\.0\\.5/24\n"));
    EXPECT_THAT(table.out, testing::ContainsRegex("\nmtu +1400\n"));
}

TEST_F(IfCommand, ShowTellsRolesOfBridges)
{
    shell("ip link add br0 type bridge; ip link set eth0 master br0");
    EXPECT_EQ("bridge", Json(kavonet({"if", "show", "br0", "--json"}).out)["roles"][0]["kind"].text());
    EXPECT_EQ("bridge-port", Json(kavonet({"if", "show", "eth0", "--json"}).out)["roles"][0]["kind"].text());
    EXPECT_THAT(kavonet({"if", "show", "eth0"}).out, testing::ContainsRegex("role +port of a bridge\n"));
}

TEST_F(IfCommand, ShowOfAnInterfaceThatIsNotThere)
{
    const Result result = kavonet({"if", "show", "eth9"});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.out);
    EXPECT_THAT(result.err,
                testing::StartsWith("kavonet: cannot show eth9: there is no interface of that name (0x3600, "
                                    "net_get_if_info.cpp:55)\n  what to do: did you mean eth0?"));
}

TEST_F(IfCommand, BadNamesAreRefusedAndTouchNothing)
{
    for (const char *verb : {"show", "up", "down", "bounce", "mac"}) {
        for (const char *name : {"sixteen-letters-", "eth0/../eth0", "..", "eth 0", "eth0\n"}) {
            const Result result = kavonet({"if", verb, name});
            EXPECT_EQ(1, result.status) << verb << name;
            EXPECT_THAT(result.err, HasSubstr("what to do: ")) << verb << name;
        }
    }
    EXPECT_TRUE(is_up("eth0"));
}

TEST_F(IfCommand, ALongNameIsNotCutToThatOfAnotherInterface)
{
    shell("ip link add fifteen-letters type veth peer name other; ip link set fifteen-letters up");
    EXPECT_EQ(1, kavonet({"if", "down", "fifteen-letters-and-more"}).status);
    EXPECT_TRUE(is_up("fifteen-letters"));
    EXPECT_EQ(0, kavonet({"if", "down", "fifteen-letters"}).status);
    EXPECT_FALSE(is_up("fifteen-letters"));
}

TEST_F(IfCommand, DownUpAndBounceSwitchTheInterface)
{
    Result result = kavonet({"if", "down", "eth0"});
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("eth0: up -> down\n", result.out);
    EXPECT_FALSE(is_up("eth0"));

    result = kavonet({"if", "up", "eth0", "--json"});
    const Json change(result.out);
    EXPECT_EQ("up", change["action"].text());
    EXPECT_FALSE(change["before"]["up"].yes());
    EXPECT_TRUE(change["after"]["up"].yes());
    EXPECT_TRUE(is_up("eth0"));

    EXPECT_EQ("eth0: up -> down -> up\n", kavonet({"if", "bounce", "eth0"}).out);
    EXPECT_TRUE(is_up("eth0"));
    shell("ip link set eth0 down");
    EXPECT_EQ("eth0: down -> up\n", kavonet({"if", "bounce", "eth0"}).out);
    EXPECT_EQ("eth0: up -> up\n", kavonet({"if", "up", "eth0"}).out);
}

TEST_F(IfCommand, RenameGivesAnotherName)
{
    add_card("eth1", "", false);
    const Result result = kavonet({"if", "rename", "eth1", "eth2"});
    EXPECT_EQ("eth1 -> eth2\n", result.out) << result.err;
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(shell("ls /sys/class/net"), HasSubstr("eth2"));
    const Json change(kavonet({"if", "rename", "eth2", "eth3", "--json"}).out);
    EXPECT_EQ("eth2", change["before"]["name"].text());
    EXPECT_EQ("eth3", change["after"]["name"].text());
}

TEST_F(IfCommand, RenameSaysWhyItFails)
{
    add_card("eth1", "", false);
    Result result = kavonet({"if", "rename", "eth0", "eth2"});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("kavonet: cannot rename eth0 to eth2: eth0 is up\n"
              "  what to do: take it down first: kavonet if down eth0\n",
              result.err);
    result = kavonet({"if", "rename", "eth1", "eth0"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("there is already an interface eth0\n"));
    EXPECT_THAT(kavonet({"if", "rename", "eth5", "eth6"}).err, HasSubstr("there is no interface of that name"));
}

TEST_F(IfCommand, AFailureWithoutACodePointsToTheLogLines)
{
    shell("ip link set eth0 down");
    const Result result = kavonet({"if", "rename", "eth0", "seventeen-letters"});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("kavonet: cannot rename eth0 to seventeen-letters: the library gave no error code\n"
              "  what to do: run it again with -v, which shows the library's log lines\n",
              result.err);
    EXPECT_THAT(kavonet({"if", "rename", "eth0", "seventeen-letters", "-v"}).err,
                HasSubstr("interface name is too long\n"));
}

TEST_F(IfCommand, MacPrintsTheAddressAlone)
{
    const Result result = kavonet({"if", "mac", "eth0"});
    EXPECT_EQ(0, result.status);
    EXPECT_EQ(mac_of("eth0"), result.out);
    EXPECT_EQ(mac_of("eth0"), Json(kavonet({"if", "mac", "eth0", "--json"}).out)["mac"].text() + "\n");
}

TEST_F(IfCommand, MacSaysWhyThereIsNone)
{
    EXPECT_THAT(kavonet({"if", "mac", "lo"}).err, HasSubstr("it is no built-in port, and none stands behind it\n"));
    support::write_file("/etc.defaults/kavoinfo.conf", "support_dual_head=\"yes\"\n");
    const Result result = kavonet({"if", "mac", "eth0"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("two controllers"));
    EXPECT_THAT(result.err, HasSubstr("--local"));
    EXPECT_EQ(mac_of("eth0"), kavonet({"if", "mac", "eth0", "--local"}).out);
}

// ---- block

TEST_F(IfCommand, BlocksAreSetShownAndCleared)
{
    EXPECT_EQ("eth0: nothing\n", kavonet({"if", "block", "show", "eth0"}).out);
    EXPECT_EQ("eth0: nothing -> ha virtual\n", kavonet({"if", "block", "set", "eth0", "virtual", "ha"}).out);
    const std::string file = support::read_file(ifcfg("eth0"));
    EXPECT_THAT(file, HasSubstr("BLOCK_HA=\"yes\""));
    EXPECT_THAT(file, HasSubstr("BLOCK_VIRTUAL=\"yes\""));
    EXPECT_THAT(file, HasSubstr("BLOCK_CNT=\"2\""));

    Json shown(kavonet({"if", "block", "show", "eth0", "--json"}).out);
    ASSERT_EQ(2U, shown["blocked"].size());
    EXPECT_EQ("ha", shown["blocked"][0].text());
    EXPECT_EQ("virtual", shown["blocked"][1].text());

    EXPECT_EQ("eth0: ha virtual -> virtual\n", kavonet({"if", "block", "clear", "eth0", "ha"}).out);
    const Json change(kavonet({"if", "block", "clear", "eth0", "--json"}).out);
    EXPECT_EQ("clear", change["action"].text());
    EXPECT_EQ(1U, change["before"]["blocked"].size());
    EXPECT_EQ(0U, change["after"]["blocked"].size());
    EXPECT_THAT(support::read_file(ifcfg("eth0")), HasSubstr("BLOCK_CNT=\"0\""));
}

TEST_F(IfCommand, BlocksOfAnInterfaceWithoutConfiguration)
{
    for (const char *verb : {"show", "clear"}) {
        const Result result = kavonet({"if", "block", verb, "eth0p"});
        EXPECT_EQ(1, result.status);
        EXPECT_THAT(result.err, HasSubstr("kavonet: cannot read the blocks of eth0p: "));
    }
    EXPECT_EQ(1, kavonet({"if", "block", "set", "eth0p", "ha"}).status);
    EXPECT_FALSE(support::exists(ifcfg("eth0p")));
    EXPECT_EQ(1, kavonet({"if", "block", "set", "../ifcfg-eth0", "ha"}).status);
    EXPECT_THAT(support::read_file(ifcfg("eth0")), Not(HasSubstr("BLOCK")));
}

} // namespace cli_test
