// kavonet bond
#include "command.h"

#include <sys/stat.h>

namespace cli_test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// The driver's files as a script keeps them in the place of the kernel: "start" makes of the bond's files what the driver
// shows, "stop" takes it away.
class BondCommand : public Command {
protected:
    void SetUp() override
    {
        Command::SetUp();
        if (IsSkipped())
            return;
        add_card("eth1", "", true);
        add_card("eth2", "", true);
        write_ifcfg("eth1", "DEVICE=eth1\nBOOTPROTO=dhcp\n");
        write_ifcfg("eth2", "DEVICE=eth2\nBOOTPROTO=dhcp\n");
        plain_sys();
        support::write_file(MASTERS, "\n");
        script("/etc/rc.network", DRIVER);
        record("/usr/kavo/sbin/kavostoragecore");
    }

    static constexpr char MASTERS[] = "/sys/class/net/bonding_masters";
    static constexpr char DRIVER[] = R"(record_call "$0" "$@"
verb=$1 bond=$2
[ ! -e /run/slow ] || sleep 1.5
cd /etc/sysconfig/network-scripts
if [ "$verb" = stop ]; then
    rm -rf /sys/class/net/"$bond"
elif [ -e ifcfg-"$bond" ]; then
    mkdir -p /sys/class/net/"$bond"/bonding
    grep -lx MASTER="$bond" ifcfg-* | grep -v saved | sed 's/ifcfg-//' | tr '\n' ' ' >/sys/class/net/"$bond"/bonding/slaves
    case $(cat ifcfg-"$bond") in
        *mode=6*) mode='balance-alb 6' ;;
        *mode=4*) mode='802.3ad 4' ;;
        *mode=2*) mode='balance-xor 2' ;;
        *mode=1*) mode='active-backup 1' ;;
        *mode=0*) mode='balance-rr 0' ;;
    esac
    echo "$mode" >/sys/class/net/"$bond"/bonding/mode
fi
cd /sys/class/net
echo */bonding | sed 's,/bonding,,g; s/^\*$//' >bonding_masters)";

    static int create(const std::string &mode = "active-backup")
    {
        return kavonet({"bond", "create", "bond0", mode, "eth0", "eth1"}).status;
    }
};

TEST_F(BondCommand, CreateMakesABond)
{
    subscribe("net/ifname_change");
    const Result result = kavonet({"bond", "create", "bond0", "active-backup", "eth1", "eth0"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("bond0: no bond -> active-backup of eth0, eth1\n", result.out);
    EXPECT_EQ("", result.err);
    // The first in order of name, not the first that was typed, gives the bond its address.
    const std::string file = support::read_file(ifcfg("bond0"));
    EXPECT_THAT(file, HasSubstr("IPADDR=10.0.0.5\n"));
    EXPECT_THAT(file, HasSubstr("BONDING_OPTS=\"mode=1 use_carrier=0 miimon=100 updelay=100\"\n"));
    EXPECT_THAT(support::read_file(ifcfg("eth1")), HasSubstr("MASTER=bond0\nSLAVE=yes\n"));
    EXPECT_THAT(events(), ElementsAre(HasSubstr("net/ifname_change pre IFNAME_0=bond0 "),
                                      HasSubstr("net/ifname_change post IFNAME_0=bond0 ")));
}

TEST_F(BondCommand, CreateKnowsEveryMode)
{
    for (const char *mode : {"balance-alb", "802.3ad", "balance-xor", "active-backup", "balance-rr"}) {
        const Json change(kavonet({"bond", "create", "bond0", mode, "eth0", "eth1", "--json"}).out);
        EXPECT_EQ("bond0", change["name"].text());
        EXPECT_EQ("create", change["action"].text());
        EXPECT_TRUE(change["before"].is_null());
        EXPECT_EQ(mode, change["after"]["mode"].text());
        EXPECT_EQ("eth1", change["after"]["members"][1].text());
        EXPECT_EQ(0, kavonet({"bond", "delete", "bond0"}).status);
    }
    EXPECT_EQ(2, kavonet({"bond", "create", "bond0", "balance-tlb", "eth0", "eth1"}).status);
    EXPECT_EQ(2, kavonet({"bond", "create", "bond0", "balance-slb", "eth0", "eth1"}).status);
    EXPECT_EQ(2, kavonet({"bond", "create", "bond0", "4", "eth0", "eth1"}).status);
}

TEST_F(BondCommand, CreateRefusesWhatCannotWorkBeforeAnythingRuns)
{
    ASSERT_EQ(0, create());
    unlink(support::RECORDED_CALLS);
    const std::string before = support::read_file(ifcfg("eth2"));
    const struct {
        std::vector<std::string> words;
        const char *message;
    } refusals[] = {
        {{"bond0", "802.3ad", "eth1", "eth2"}, "cannot create the bond bond0: there is a bond of that name\n"},
        {{"eth2", "802.3ad", "eth1", "eth2p"}, "cannot create the bond eth2: there is an interface of that name\n"},
        {{"bond1", "802.3ad", "eth2"}, "cannot create the bond bond1: a bond needs at least two members\n"},
        {{"bond1", "802.3ad", "eth2", "eth2"}, "cannot create the bond bond1: eth2 is given twice"},
        {{"bond1", "802.3ad", "eth2", "eth7"},
         "cannot create the bond bond1: there is no interface of that name (0x3600, "},
        {{"bond1", "802.3ad", "eth2", "lo"}, "cannot create the bond bond1: lo is the loopback\n"},
        {{"bond1", "802.3ad", "eth2", "../eth2"},
         "cannot create the bond bond1: there is no interface of that name (0x0D00, "},
        {{"../b", "802.3ad", "eth2", "eth2p"}, "cannot create the bond ../b: a name or number that is not allowed"},
        {{"abcdefghijklmnop", "802.3ad", "eth2", "eth2p"},
         "cannot create the bond abcdefghijklmnop: a name or number that is not allowed"},
    };
    for (const auto &refusal : refusals) {
        std::vector<std::string> words = {"bond", "create"};
        words.insert(words.end(), refusal.words.begin(), refusal.words.end());
        const Result result = kavonet(words);
        EXPECT_EQ(1, result.status);
        EXPECT_THAT(result.err, StartsWith(std::string("kavonet: ") + refusal.message));
    }
    EXPECT_THAT(calls(), testing::IsEmpty());
    EXPECT_EQ(before, support::read_file(ifcfg("eth2")));
}

TEST_F(BondCommand, WhatTheKernelDidNotTakeIsAFailure)
{
    record("/etc/rc.network", 1);
    const Result result = kavonet({"bond", "create", "bond0", "802.3ad", "eth0", "eth1"});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.out);
    EXPECT_EQ(
        "kavonet: bond0 is configured as 802.3ad of eth0, eth1, but that is not in force: the kernel has no bond\n"
        "  what to do: journalctl -t rc.network shows what the network script said\n",
        result.err);
}

TEST_F(BondCommand, ACreationThatFailsIsPutBack)
{
    const std::string before = support::read_file(ifcfg("eth0"));
    unlink(ifcfg("eth1").c_str());
    support::write_file(ifcfg("eth1") + "/folder", ""); // no file that could be written
    const Result result = kavonet({"bond", "create", "bond0", "802.3ad", "eth0", "eth1"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, StartsWith("kavonet: cannot create the bond bond0: a file could not be opened or created"));
    EXPECT_EQ(before, support::read_file(ifcfg("eth0")));
    EXPECT_FALSE(support::exists(ifcfg("bond0")));
}

TEST_F(BondCommand, ListTellsModesPartnersAndMembers)
{
    EXPECT_EQ(0, Json(kavonet({"bond", "list", "--json"}).out).size());
    EXPECT_EQ("", kavonet({"bond", "list"}).out);
    ASSERT_EQ(0, create("802.3ad"));
    support::write_file("/sys/class/net/bond1/bonding/slaves", "\n");
    support::write_file(MASTERS, "bond0 bond1\n");
    const Json bonds(kavonet({"bond", "list", "--json"}).out);
    ASSERT_EQ(1U, bonds.size());
    EXPECT_EQ("802.3ad", bonds.named("bond0")["mode"].text());
    EXPECT_FALSE(bonds.named("bond0")["partner"].yes());
    EXPECT_EQ("eth0", bonds.named("bond0")["members"][0].text());
    EXPECT_THAT(kavonet({"bond", "list"}).out,
                testing::ContainsRegex("\nbond0 +802\\.3ad +no +eth0, eth1\n1 more without members\n$"));
}

TEST_F(BondCommand, ListOfBondsThatCannotBeReadFails)
{
    ASSERT_EQ(0, create());
    unlink("/sys/class/net/bond0/bonding/mode");
    const Result result = kavonet({"bond", "list"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, StartsWith("kavonet: cannot list the bonds: a file could not be opened or created (0x0900, "
                                       "net_link_aggr_get.cpp:"));
}

TEST_F(BondCommand, ShowTellsOfEachMember)
{
    ASSERT_EQ(0, create());
    const Json bond(kavonet({"bond", "show", "bond0", "--json"}).out);
    EXPECT_EQ("active-backup", bond["mode"].text());
    EXPECT_TRUE(bond["partner"].is_null());
    EXPECT_EQ(2U, bond["members"].size());
    EXPECT_TRUE(bond["ports"].named("eth0")["link"].yes());
    EXPECT_EQ(10000, bond["ports"].named("eth1")["speed"].number());
    EXPECT_THAT(kavonet({"bond", "show", "bond0"}).out,
                testing::ContainsRegex("^bond0: active-backup\n.*\neth0 +up +(yes|up|link).*10000 Mbit/s full\n"));
    const Result none = kavonet({"bond", "show", "eth2"});
    EXPECT_EQ(1, none.status);
    EXPECT_THAT(none.err, StartsWith("kavonet: cannot show the bond eth2: it is no bond\n"));
}

TEST_F(BondCommand, ModifyChangesModeAndMembers)
{
    ASSERT_EQ(0, create());
    Result result = kavonet({"bond", "modify", "bond0", "--mode", "802.3ad"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("bond0: active-backup of eth0, eth1 -> 802.3ad of eth0, eth1\n", result.out);
    result = kavonet({"bond", "modify", "bond0", "--add", "eth2", "--remove", "eth0"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("bond0: 802.3ad of eth0, eth1 -> 802.3ad of eth1, eth2\n", result.out);
    EXPECT_THAT(support::read_file(ifcfg("eth0")), Not(HasSubstr("MASTER")));
    EXPECT_THAT(support::read_file(ifcfg("eth2")), HasSubstr("MASTER=bond0\n"));
    const Json change(kavonet({"bond", "modify", "bond0", "--mode=balance-rr", "--json"}).out);
    EXPECT_EQ("modify", change["action"].text());
    EXPECT_EQ("802.3ad", change["before"]["mode"].text());
    EXPECT_EQ("balance-rr", change["after"]["mode"].text());
}

TEST_F(BondCommand, ModifyToTheSameRunsNothing)
{
    ASSERT_EQ(0, create());
    unlink(support::RECORDED_CALLS);
    EXPECT_EQ(0, kavonet({"bond", "modify", "bond0", "--mode", "active-backup"}).status);
    EXPECT_THAT(calls(), testing::IsEmpty());
}

TEST_F(BondCommand, ModifyRefusesWhatCannotWork)
{
    ASSERT_EQ(0, create());
    unlink(support::RECORDED_CALLS);
    EXPECT_EQ(2, kavonet({"bond", "modify", "bond0"}).status);
    EXPECT_EQ(2, kavonet({"bond", "modify", "bond0", "--mode", "fast"}).status);
    EXPECT_EQ(2, kavonet({"bond", "modify", "bond0", "--add", "eth2", "eth2p"}).status);
    EXPECT_THAT(kavonet({"bond", "modify", "bond0", "--remove", "eth0"}).err,
                HasSubstr("a bond needs at least two members"));
    EXPECT_THAT(kavonet({"bond", "modify", "bond0", "--remove", "eth2"}).err, HasSubstr("eth2 is no member of it"));
    EXPECT_THAT(kavonet({"bond", "modify", "bond0", "--add", "eth0"}).err, HasSubstr("eth0 is given twice"));
    EXPECT_THAT(kavonet({"bond", "modify", "eth2", "--add", "eth0"}).err, HasSubstr("it is no bond"));
    EXPECT_THAT(calls(), testing::IsEmpty());
}

TEST_F(BondCommand, DeleteGivesTheFirstMemberItsSettingsBack)
{
    ASSERT_EQ(0, create());
    const Result result = kavonet({"bond", "delete", "bond0"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("bond0: active-backup of eth0, eth1 -> no bond\n", result.out);
    EXPECT_FALSE(support::exists(ifcfg("bond0")));
    EXPECT_THAT(support::read_file(ifcfg("eth0")), HasSubstr("IPADDR=10.0.0.5\n"));
    ASSERT_EQ(0, create());
    const Json change(kavonet({"bond", "delete", "bond0", "--json"}).out);
    EXPECT_EQ("delete", change["action"].text());
    EXPECT_EQ("active-backup", change["before"]["mode"].text());
    EXPECT_TRUE(change["after"].is_null());
}

TEST_F(BondCommand, DeleteOfWhatIsNoBond)
{
    for (const char *name : {"eth2", "bond7", "../bond0"}) {
        const Result result = kavonet({"bond", "delete", name});
        EXPECT_EQ(1, result.status) << name;
        EXPECT_THAT(result.err, StartsWith(std::string("kavonet: cannot delete the bond ") + name + ": "));
    }
    EXPECT_THAT(calls(), testing::IsEmpty());
}

TEST_F(BondCommand, ADeletionThatTheKernelDidNotMakeIsAFailure)
{
    ASSERT_EQ(0, create());
    record("/etc/rc.network");
    const Result result = kavonet({"bond", "delete", "bond0"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("the kernel has active-backup of eth0, eth1\n"));
}

TEST_F(BondCommand, ShowsItsStepsAsTheyGo)
{
    support::write_file("/run/slow", "");
    script("/usr/kavo/etc/plugins/net/ifname_change/50-slow", "sleep 1.5");
    const Result result = at_terminal({"bond", "create", "bond0", "active-backup", "eth0", "eth1"});
    EXPECT_EQ(0, result.status);
    const auto step = [&](const std::string &text, size_t from) {
        const size_t found = result.out.find("creating bond0 of eth0, eth1: " + text + " (", from);
        EXPECT_NE(std::string::npos, found) << text << " in " << result.out;
        return found == std::string::npos ? from : found;
    };
    size_t at = step("telling 50-slow", 0);
    at = step("taking the interfaces down", at);
    at = step("bringing the interfaces up", at);
    step("telling 50-slow", at);
    EXPECT_THAT(result.out, testing::EndsWith("bond0: no bond -> active-backup of eth0, eth1\r\n"));
}

} // namespace cli_test
