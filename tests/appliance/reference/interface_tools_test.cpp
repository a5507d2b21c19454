// The tools that are told when an interface changes: read-ahead, firewall, traffic control.
#include <string>

#include <gmock/gmock.h>

#include "reference_files.h"
#include "support/private_root.h"
#include "support/read_back.h"

namespace {

using support::read_file;
using support::write_file;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char STORAGE[] = "/usr/kavo/sbin/kavostoragecore";
constexpr char FIREWALL[] = "/usr/kavo/bin/kavofirewall";
constexpr char TRAFFIC[] = "/usr/kavo/bin/tctool";

class InterfaceTools : public support::PrivateRoot {
protected:
    void SetUp() override
    {
        PrivateRoot::SetUp();
        if (IsSkipped())
            return;
        for (const char *tool : {STORAGE, FIREWALL, TRAFFIC})
            reference::install(tool);
        record("/usr/bin/logger");
    }

    static std::string last_note()
    {
        const auto made = calls();
        return made.empty() ? "" : made.back();
    }
};

// ---- Read-ahead

class ReadAhead : public InterfaceTools {
protected:
    void SetUp() override
    {
        InterfaceTools::SetUp();
        if (IsSkipped())
            return;
        plain_sys();
        for (const char *device : {"md0", "dm-3", "sda"})
            write_file(file(device), "128\n");
    }

    static std::string file(const std::string &device) { return "/sys/block/" + device + "/queue/read_ahead_kb"; }

    static void link(const std::string &name, const std::string &speed)
    {
        write_file("/sys/class/net/" + name + "/speed", speed);
    }

    static std::string tuned()
    {
        EXPECT_EQ(0, reference::run({STORAGE, "--volume-readahead-set"}));
        EXPECT_EQ(read_file(file("md0")), read_file(file("dm-3")));
        EXPECT_EQ("128\n", read_file(file("sda"))) << "plain disks are no volumes";
        return read_file(file("md0"));
    }
};

TEST_F(ReadAhead, FollowsTheFastestLink)
{
    link("eth0", "1000\n");
    EXPECT_EQ("1024\n", tuned());
    link("eth1", "2500\n");
    EXPECT_EQ("4096\n", tuned());
    link("bond0", "20000\n");
    link("eth2", "-1\n");
    link("eth3", "many\n");
    EXPECT_EQ("12288\n", tuned());
    EXPECT_THAT(last_note(), HasSubstr("2 volumes read 12288 kB ahead"));
}

TEST_F(ReadAhead, OfAContainerIsTheMachinesAroundIt)
{
    write_file("/run/systemd/container", "lab");
    link("eth0", "10000\n");
    EXPECT_EQ("128\n", tuned());
    EXPECT_THAT(last_note(), HasSubstr("nothing to do"));
}

TEST_F(ReadAhead, WithoutVolumesThereIsNothingToDo)
{
    shell("rm -r /sys/block");
    EXPECT_EQ(0, reference::run({STORAGE, "--volume-readahead-set"}));
    EXPECT_EQ(2, reference::run({STORAGE}));
    EXPECT_EQ(2, reference::run({STORAGE, "--volume-readahead-set", "x"}));
}

// ---- Firewall

constexpr char RULES[] = "table inet filter {\n"
                         "\tchain input {\n"
                         "\t\tiifname \"eth0\" accept comment \"eth0\"\n"
                         "\t\tiifname { \"eth0\", \"eth0.5\", \"xeth0\" } drop\n"
                         "\t\tlog prefix \"eth0\"\n"
                         "\t}\n"
                         "}\n";
constexpr char CHANGED[] = "table inet filter {\n"
                           "\tchain input {\n"
                           "\t\tiifname \"eth0.10\" accept comment \"eth0\"\n"
                           "\t\tiifname { \"eth0.10\", \"eth0.5\", \"xeth0\" } drop\n"
                           "\t\tlog prefix \"eth0\"\n"
                           "\t}\n"
                           "}\n";

class Firewall : public InterfaceTools {
protected:
    // An nft that has these rules and keeps what it is given.
    static void rules_in_force(const std::string &rules)
    {
        write_file("/run/rules", rules);
        script("/usr/sbin/nft", "case $1 in list) cat /run/rules ;; *) cat >/run/given ;; esac");
    }
};

TEST_F(Firewall, RulesInForceGetTheNewNameInOneTransaction)
{
    rules_in_force(RULES);
    EXPECT_EQ(0, reference::run({FIREWALL, "--change-adapter", "eth0", "eth0.10"}));
    EXPECT_EQ(std::string("flush ruleset\n") + CHANGED, read_file("/run/given"));
}

TEST_F(Firewall, SavedRulesGetTheNewName)
{
    write_file("/etc/nftables.conf", std::string("#!/usr/sbin/nft -f\n") + RULES, 0750);
    EXPECT_EQ(0, reference::run({FIREWALL, "--change-security-adapter", "eth0", "eth0.10"}));
    EXPECT_EQ(std::string("#!/usr/sbin/nft -f\n") + CHANGED, read_file("/etc/nftables.conf"));
    EXPECT_EQ("750\n", shell("stat -c %a /etc/nftables.conf"));
    EXPECT_EQ("nftables.conf\n", shell("ls /etc | grep nftables.conf"));
}

TEST_F(Firewall, WithoutRulesForItThereIsNothingToDo)
{
    rules_in_force("table inet filter {\n\tiifname \"eth1\" accept\n}\n");
    EXPECT_EQ(0, reference::run({FIREWALL, "--change-adapter", "eth0", "eth0.10"}));
    EXPECT_FALSE(support::exists("/run/given"));
    EXPECT_THAT(last_note(), HasSubstr("nothing to do"));
    shell("rm -f /etc/nftables.conf");
    EXPECT_EQ(0, reference::run({FIREWALL, "--change-security-adapter", "eth0", "eth0.10"}));
    EXPECT_FALSE(support::exists("/etc/nftables.conf"));
}

TEST_F(Firewall, RulesThatAreRefusedAreAFailure)
{
    write_file("/run/rules", RULES);
    script("/usr/sbin/nft", "case $1 in list) cat /run/rules ;; *) exit 1 ;; esac");
    EXPECT_EQ(1, reference::run({FIREWALL, "--change-adapter", "eth0", "eth0.10"}));
}

TEST_F(Firewall, WrongCallsAreRefused)
{
    rules_in_force(RULES);
    for (const std::vector<std::string> &words :
         std::vector<std::vector<std::string>>{{"--change-adapter"},
                                               {"--change-adapter", "eth0"},
                                               {"--change-adapter", "eth0", "a/b"},
                                               {"--change-adapter", "eth0\" accept", "eth1"},
                                               {"--other", "eth0", "eth1"}}) {
        std::vector<std::string> all = words;
        all.insert(all.begin(), FIREWALL);
        EXPECT_EQ(2, reference::run(all));
    }
    EXPECT_FALSE(support::exists("/run/given"));
}

// ---- Traffic control

class Traffic : public InterfaceTools {
protected:
    void SetUp() override
    {
        InterfaceTools::SetUp();
        if (IsSkipped())
            return;
        record("/usr/sbin/tc");
        write_file("/etc/kavo/tc/eth0", "qdisc replace dev eth0 root tbf rate 1mbit burst 10k latency 50ms\n"
                                        "filter add dev eth0 parent 1: flowid 1:1\n"
                                        "filter add dev eth0.5 parent 1:\n");
    }
};

TEST_F(Traffic, RulesMoveToTheNewNameAndComeIntoForce)
{
    add_card("eth0");
    add_card("eth9");
    EXPECT_EQ(0, reference::run({TRAFFIC, "-change_interface", "eth0", "eth9"}));
    EXPECT_FALSE(support::exists("/etc/kavo/tc/eth0"));
    EXPECT_EQ("qdisc replace dev eth9 root tbf rate 1mbit burst 10k latency 50ms\n"
              "filter add dev eth9 parent 1: flowid 1:1\n"
              "filter add dev eth0.5 parent 1:\n",
              read_file("/etc/kavo/tc/eth9"));
    EXPECT_THAT(calls(), ElementsAre("[/usr/sbin/tc] [qdisc] [del] [dev] [eth0] [root]",
                                     "[/usr/sbin/tc] [-batch] [/etc/kavo/tc/eth9]"));
}

TEST_F(Traffic, OfAnInterfaceThatIsNotThereYetTheRulesWait)
{
    EXPECT_EQ(0, reference::run({TRAFFIC, "-change_interface", "eth0", "eth0.10"}));
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(read_file("/etc/kavo/tc/eth0.10"), HasSubstr("dev eth0.10 root"));
}

TEST_F(Traffic, WithoutRulesThereIsNothingToDo)
{
    EXPECT_EQ(0, reference::run({TRAFFIC, "-change_interface", "eth1", "eth1.10"}));
    EXPECT_THAT(last_note(), HasSubstr("eth1 has no rules: nothing to do"));
}

TEST_F(Traffic, FailuresAndWrongCallsAreTold)
{
    record("/usr/sbin/tc", 1);
    add_card("eth9");
    EXPECT_EQ(1, reference::run({TRAFFIC, "-change_interface", "eth0", "eth9"}));
    EXPECT_EQ(2, reference::run({TRAFFIC, "-change_interface", "eth0"}));
    EXPECT_EQ(2, reference::run({TRAFFIC, "-change_interface", "eth0", "../x"}));
    EXPECT_EQ(2, reference::run({TRAFFIC, "-other", "eth0", "eth1"}));
}

} // namespace
