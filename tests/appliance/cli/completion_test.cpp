// kavonet completion
#include "command.h"

namespace cli_test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;

class Completion : public Command {
protected:
    void SetUp() override
    {
        Command::SetUp();
        if (!IsSkipped())
            support::write_file("/tmp/completion", kavonet({"completion", "bash"}).out);
    }

    // What the shell offers for the last of the words; each is given as the shell reads it.
    static std::vector<std::string> offered(const std::string &words)
    {
        support::write_file("/tmp/try", "cd /tmp; source /tmp/completion; COMP_WORDS=(kavonet " + words +
                                            "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _kavonet\n"
                                            "((${#COMPREPLY[@]} == 0)) || printf '%s\\n' \"${COMPREPLY[@]}\"\n");
        return support::lines_of(shell("bash /tmp/try"));
    }
};

TEST_F(Completion, OffersNounsVerbsAndOptions)
{
    const std::vector<std::string> first = offered("''");
    EXPECT_THAT(first, testing::IsSupersetOf(NOUNS));
    EXPECT_THAT(first, IsSupersetOf({"--help", "--json"}));
    EXPECT_THAT(offered("st"), ElementsAre("status", "stat"));
    EXPECT_THAT(offered("if ''"), IsSupersetOf({"list", "show", "up", "down", "bounce", "rename", "mac", "block"}));
    EXPECT_THAT(offered("if li"), ElementsAre("list"));
    EXPECT_THAT(offered("conflict ''"), IsSupersetOf({"check", "scan"}));
    EXPECT_THAT(offered("if block s"), ElementsAre("show", "set"));
    EXPECT_THAT(offered("if list --k"), ElementsAre("--kind"));
    EXPECT_THAT(offered("ipv4 dhcp eth0 --w"), ElementsAre("--wait"));
    EXPECT_THAT(offered("dns ''"), IsSupersetOf({"show", "set", "mode", "update"}));
    EXPECT_THAT(offered("gateway ''"), IsSupersetOf({"show", "set", "clear"}));
    EXPECT_THAT(offered("gateway set 10.0.0.1 --c"), ElementsAre("--conf"));
    EXPECT_THAT(offered("route ''"), IsSupersetOf({"show", "bind", "unbind", "check"}));
    EXPECT_THAT(offered("hostname s"), ElementsAre("show", "set"));
    EXPECT_THAT(offered("ports ''"), IsSupersetOf({"list", "check"}));
    EXPECT_THAT(offered("ports check 80 --u"), ElementsAre("--udp"));
    EXPECT_THAT(offered("dhcp pr"), ElementsAre("probe"));
    EXPECT_THAT(offered("ext"), ElementsAre("external-ip"));
    EXPECT_THAT(offered("reach host 80 --t"), ElementsAre("--timeout"));
    EXPECT_THAT(offered("ipv6 static eth0 2001:db8::5/64 --r"), ElementsAre("--router"));
    EXPECT_THAT(offered("pppoe st"), ElementsAre("start", "stop", "status"));
    EXPECT_THAT(offered("pppoe set eth0 user --k"), ElementsAre("--keep-password"));
    EXPECT_THAT(offered("relay set eth0 --o"), ElementsAre("--off"));
    EXPECT_THAT(offered("--json if li"), ElementsAre("list"));
    EXPECT_THAT(offered("alias ''"), IsSupersetOf({"list", "add", "delete", "apply", "unapply"}));
    EXPECT_THAT(offered("alias apply eth0 --s"), ElementsAre("--subnet"));
    EXPECT_THAT(offered("bridge ''"), IsSupersetOf({"list", "show", "set", "unset"}));
    EXPECT_THAT(offered("ovs s"), ElementsAre("show"));
    EXPECT_THAT(offered("nonsense x"), testing::IsEmpty());
}

TEST_F(Completion, OffersInterfacesWhereOneIsMeant)
{
    EXPECT_THAT(offered("if show ''"), ElementsAre("eth0", "eth0p", "lo"));
    EXPECT_THAT(offered("if show eth"), ElementsAre("eth0", "eth0p"));
    EXPECT_THAT(offered("stat l"), ElementsAre("lo"));
    EXPECT_THAT(offered("route bind ''"), ElementsAre("eth0", "eth0p", "lo"));
    EXPECT_THAT(offered("conflict check eth0"), ElementsAre("eth0", "eth0p"));
    EXPECT_THAT(offered("alias add eth"), ElementsAre("eth0", "eth0p"));
    EXPECT_THAT(offered("alias unapply --subnet 10.0.0.0/24 eth"), ElementsAre("eth0", "eth0p"));
    EXPECT_THAT(offered("alias delete eth"), testing::IsEmpty());
    EXPECT_THAT(offered("bridge unset eth"), ElementsAre("eth0", "eth0p"));
    EXPECT_THAT(offered("ovs show l"), ElementsAre("lo"));
    EXPECT_THAT(offered("dhcp probe l"), ElementsAre("lo"));
    EXPECT_THAT(offered("wake 02:11:22:33:44:55 l"), ElementsAre("lo"));
    EXPECT_THAT(offered("relay apply l"), ElementsAre("lo"));
    EXPECT_THAT(offered("ipv4 static -v eth0"), ElementsAre("eth0", "eth0p"));
    EXPECT_THAT(offered("if show eth0 eth"), testing::IsEmpty());
    EXPECT_THAT(offered("bond create bond0 802.3ad eth0 eth"), ElementsAre("eth0", "eth0p"));
    EXPECT_THAT(offered("bond create ''"), Not(testing::Contains("eth0"))) << "a new bond has a new name";
    EXPECT_THAT(offered("bond modify bond0 --mode balance-rr --add e"), ElementsAre("eth0", "eth0p"));
    EXPECT_THAT(offered("vlan create e"), ElementsAre("eth0", "eth0p"));
    EXPECT_THAT(offered("vlan create eth0 ''"), Not(testing::Contains("eth0")));
    EXPECT_THAT(offered("vlan delete l"), ElementsAre("lo"));
}

TEST_F(Completion, OffersTheValuesOfOptionsAndArguments)
{
    EXPECT_THAT(offered("if list --kind ''"), ElementsAre("all", "physical", "usable", "usable-ppp", "standalone",
                                                          "local-lan", "not-local-lan", "eth"));
    EXPECT_THAT(offered("if list --kind ph"), ElementsAre("physical"));
    EXPECT_THAT(offered("if list --kind = us"), ElementsAre("usable", "usable-ppp"));
    EXPECT_THAT(offered("dns mode ''"), ElementsAre("auto", "static"));
    EXPECT_THAT(offered("topology set ''"), ElementsAre("client", "bridge", "router", "unknown"));
    EXPECT_THAT(offered("if block set eth0 ''"), ElementsAre("ha", "aha", "virtual", "quentra"));
    EXPECT_THAT(offered("if block set eth0 ha v"), ElementsAre("virtual"));
    EXPECT_THAT(offered("bridge set br0 ''"), ElementsAre("bridge", "local-lan", "port"));
    EXPECT_THAT(offered("bridge set br0 port br0 --boot ''"), ElementsAre("yes", "no"));
    EXPECT_THAT(offered("bond create bond0 b"), ElementsAre("balance-alb", "balance-xor", "balance-rr"));
    EXPECT_THAT(offered("bond modify bond0 --mode = 8"), ElementsAre("802.3ad"));
}

TEST_F(Completion, OffersFilesWhereOneIsMeant)
{
    support::write_file("/tmp/names/a b.tar", "");
    support::write_file("/tmp/names/$(id>ran)", "");
    EXPECT_THAT(offered("backup ''"), IsSupersetOf({"export", "import"}));
    EXPECT_THAT(offered("backup export /tmp/names/a"), ElementsAre("/tmp/names/a b.tar"));
    EXPECT_THAT(offered("backup import --dry-run /tmp/names/"),
                testing::UnorderedElementsAre("/tmp/names/a b.tar", "/tmp/names/$(id>ran)"));
    EXPECT_THAT(offered("backup import --dr"), ElementsAre("--dry-run"));
    EXPECT_FALSE(support::exists("/tmp/ran"));
}

TEST_F(Completion, NeverRunsTheNameOfAnInterface)
{
    shell("ip link add '$(id>ran)' type veth peer name '`id>ran`'; ip link add 'a;b*' type veth peer name 'c&d'");
    EXPECT_THAT(offered("if show ''"), IsSupersetOf({"\\$\\(id\\>ran\\)", "\\`id\\>ran\\`", "a\\;b\\*", "c\\&d"}));
    EXPECT_FALSE(support::exists("/tmp/ran"));
}

TEST_F(Completion, IsNoJson)
{
    const Result result = kavonet({"completion", "bash", "--json"});
    EXPECT_EQ(2, result.status);
    EXPECT_EQ("", result.out);
    EXPECT_EQ("usage", Json(result.err)["error"]["kind"].text());
}

TEST_F(Completion, KnowsEveryVerbThatHelpLists)
{
    const std::string script = support::read_file("/tmp/completion");
    for (const char *place :
         {"kavonet status", "kavonet if rename", "kavonet if block clear", "kavonet ipv4 flush", "kavonet dns mode",
          "kavonet gateway clear", "kavonet route check", "kavonet hostname set", "kavonet topology set",
          "kavonet stat", "kavonet ipv6 auto-dhcp", "kavonet bond modify"})
        EXPECT_THAT(script, HasSubstr(std::string("[\"") + place + "\"]="));
    EXPECT_THAT(kavonet({"completion", "bash"}).err, testing::IsEmpty());
}

} // namespace cli_test
