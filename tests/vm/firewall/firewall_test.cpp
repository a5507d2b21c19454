// Firewall and traffic control follow an interface that gets another name: the appliance's tools with the real nft and tc,
// and the drivers behind them.
#include <cstring>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kavonetsdk/kavonetsdk.h"
#include "support/commands.h"
#include "support/read_back.h"

using support::all_output_of;
using support::read_file;
using support::shell;
using support::succeeds;
using support::write_file;
using testing::AllOf;
using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr char SAVED[] = "/etc/nftables.conf";
const std::string TRAFFIC = "/etc/kavo/tc/";

// ---- Rules of an interface, which is called NAME here, and much that only looks like it

constexpr char RULES[] = R"(table inet filter {
	counter eth0 {
	}

	set outside {
		type ifname
		elements = { "NAME" }
	}

	chain eth0 {
		iifname "NAME" accept comment "eth0"
		iifname "eth01" accept
		oifname != "NAME" drop
		iifname { "NAME", "eth0_elsewhere" } log prefix "eth0"
		iifname "NAME" counter name "eth0"
		iifname vmap { "NAME" : accept }
		iifname @outside return
		iifname "eth0*" accept
	}

	chain forward {
		jump eth0
	}
}
)";

// They need the cards.
constexpr char RULES_OF_CARDS[] = R"(table inet filter {
	chain input {
		iif "NAME" accept
		oif { "NAME", "eth01" } accept
	}
}
table netdev early {
	chain one {
		type filter hook ingress device "NAME" priority 0; policy accept;
	}

	chain two {
		type filter hook ingress devices = { NAME, eth01 } priority 0; policy accept;
	}
}
)";

// As people write them.
constexpr char RULES_BY_HAND[] = R"(#!/usr/sbin/nft -f
# The firewall of eth0: accept what comes from device eth0.
flush ruleset
define outside = NAME

table inet filter {
	chain other {
	}

	chain eth0 {
		iifname NAME accept comment "eth0"
		oifname != { NAME, eth01 } drop
		iifname $outside accept
		iifname vmap { NAME : jump other, eth01 : drop }
		iifname "NAME" log prefix "eth0"
	}

	chain forward { jump eth0; }
}
)";

constexpr char TRAFFIC_RULES[] = R"(qdisc replace dev NAME root handle 1: prio
filter add dev NAME parent 1: protocol all u32 match u32 0 0 flowid 1:1
qdisc add dev NAME ingress
filter add dev NAME parent ffff: protocol all matchall action mirred egress mirror dev eth01
)";

std::string with_name(std::string text, const std::string &name)
{
    const std::string called = "NAME";
    for (size_t at = text.find(called); at != std::string::npos; at = text.find(called, at + name.size()))
        text.replace(at, called.size(), name);
    return text;
}

// ---- Commands

std::string in_force()
{
    return all_output_of("nft list ruleset");
}

// With the numbers that the kernel gives to what is made.
std::string in_force_since()
{
    return all_output_of("nft -a list ruleset");
}

// Returns how the kernel's rules are listed then.
std::string put_in_force(const std::string &rules)
{
    write_file("/run/rules", "flush ruleset\n" + rules);
    shell("nft -f /run/rules");
    return in_force();
}

bool change_running(const std::string &from, const std::string &to)
{
    return succeeds("/usr/kavo/bin/kavofirewall --change-adapter " + from + " " + to);
}

bool change_saved(const std::string &from, const std::string &to)
{
    return succeeds("/usr/kavo/bin/kavofirewall --change-security-adapter " + from + " " + to);
}

class Firewall : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        const std::string root = KAVO_SOURCE_DIR "/appliance/root";
        for (const std::string program : {"/etc/rc.network", "/usr/kavo/bin/kavofirewall", "/usr/kavo/bin/tctool"}) {
            write_file(program, read_file(root + program), 0755);
            ASSERT_EQ(0, chmod(program.c_str(), 0755));
        }
    }

    void SetUp() override
    {
        if (access("/usr/sbin/nft", X_OK) != 0)
            GTEST_SKIP() << "there is no nft here (the package nftables, which lab/setup installs)";
        shell("rm -rf /etc/sysconfig /etc/kavo/tc /etc/nftables.conf; mkdir -p /etc/sysconfig/network-scripts;"
              "ip link add eth0 type veth peer name far0; ip link add eth01 type dummy;"
              "for card in eth0 far0 eth01; do ip link set $card up; done");
    }

    void TearDown() override
    {
        (void)succeeds("nft flush ruleset");
        for (const char *card : {"eth0", "eth01"})
            (void)succeeds(std::string("ip link del ") + card);
    }

    static void expect_traffic_control(const std::string &name)
    {
        EXPECT_EQ(with_name(TRAFFIC_RULES, name), read_file(TRAFFIC + name));
        EXPECT_THAT(all_output_of("tc qdisc show dev " + name),
                    AllOf(HasSubstr("qdisc prio 1:"), HasSubstr("ingress")));
        EXPECT_THAT(all_output_of("tc filter show dev " + name + " parent 1:"), HasSubstr("u32"));
        EXPECT_THAT(all_output_of("tc filter show dev " + name + " parent ffff:"),
                    AllOf(HasSubstr("matchall"), HasSubstr("eth01")));
    }

    static void expect_no_traffic_control(const std::string &name)
    {
        EXPECT_FALSE(support::exists(TRAFFIC + name));
        EXPECT_THAT(all_output_of("tc qdisc show dev " + name), Not(AnyOf(HasSubstr("prio"), HasSubstr("ingress"))));
    }
};

TEST_F(Firewall, RulesInForceGetTheNewNameAndNothingElseChanges)
{
    const std::string expected = put_in_force(with_name(RULES, "eth0.100"));
    const std::string before = put_in_force(with_name(RULES, "eth0"));
    ASSERT_THAT(before, HasSubstr("iifname \"eth0\" accept comment \"eth0\"\n"));
    ASSERT_THAT(expected, HasSubstr("iifname \"eth0.100\" accept comment \"eth0\"\n"));

    EXPECT_TRUE(change_running("eth0", "eth0.100"));
    EXPECT_EQ(expected, in_force());
    const std::string since = in_force_since();
    EXPECT_TRUE(change_running("eth0", "eth0.100"));
    EXPECT_EQ(since, in_force_since()) << "the second time there is nothing to do";
    EXPECT_TRUE(change_running("eth0.100", "eth0"));
    EXPECT_EQ(before, in_force());
}

TEST_F(Firewall, RulesOfOtherInterfacesAreLeftAlone)
{
    put_in_force(with_name(RULES, "eth1"));
    write_file(SAVED, with_name(RULES_BY_HAND, "eth1") + "# no newline behind this");
    const std::string since = in_force_since();
    const std::string saved = read_file(SAVED);
    EXPECT_TRUE(change_running("eth0", "eth0.100"));
    EXPECT_TRUE(change_saved("eth0", "eth0.100"));
    EXPECT_EQ(since, in_force_since());
    EXPECT_EQ(saved, read_file(SAVED));
}

TEST_F(Firewall, RulesThatHoldTheCardsThemselvesGetTheNewOne)
{
    shell("ip link add link eth0 name eth0.100 type vlan id 100");
    const std::string expected = put_in_force(with_name(RULES_OF_CARDS, "eth0.100"));
    const std::string before = put_in_force(with_name(RULES_OF_CARDS, "eth0"));
    ASSERT_NE(expected, before);
    EXPECT_TRUE(change_running("eth0", "eth0.100"));
    EXPECT_EQ(expected, in_force());
    EXPECT_TRUE(change_running("eth0.100", "eth0"));
    EXPECT_EQ(before, in_force());
}

TEST_F(Firewall, RulesThatTheKernelRefusesLeaveTheOldOnes)
{
    put_in_force(with_name(RULES_OF_CARDS, "eth0"));
    const std::string since = in_force_since();
    EXPECT_FALSE(change_running("eth0", "eth0.200")) << "there is no such card";
    EXPECT_EQ(since, in_force_since());
}

TEST_F(Firewall, SavedRulesOfAnyHandGetTheNewName)
{
    write_file(SAVED, with_name(RULES_BY_HAND, "eth0"), 0755);
    shell(std::string("nft --check --file ") + SAVED);
    EXPECT_TRUE(change_saved("eth0", "eth0.100"));
    EXPECT_EQ(with_name(RULES_BY_HAND, "eth0.100"), read_file(SAVED));
    shell(std::string("nft --check --file ") + SAVED);
    EXPECT_TRUE(change_saved("eth0", "eth0.100"));
    EXPECT_EQ(with_name(RULES_BY_HAND, "eth0.100"), read_file(SAVED));
    EXPECT_TRUE(change_saved("eth0.100", "eth0"));
    EXPECT_EQ(with_name(RULES_BY_HAND, "eth0"), read_file(SAVED));
}

TEST_F(Firewall, AVlanTakesRulesAndTrafficControlAlongAndGivesThemBack)
{
    write_file("/etc/sysconfig/network-scripts/ifcfg-eth0",
               "DEVICE=eth0\nONBOOT=yes\nBOOTPROTO=static\nIPADDR=10.6.0.1\nNETMASK=255.255.255.0\n");
    write_file("/etc/kavoinfo.conf", "eth0_mtu=\"1500\"\n");
    shell("/etc/rc.network start eth0");
    const std::string expected = put_in_force(with_name(RULES, "eth0.100"));
    const std::string before = put_in_force(with_name(RULES, "eth0"));
    write_file(SAVED, with_name(RULES_BY_HAND, "eth0"));
    write_file(TRAFFIC + "eth0", with_name(TRAFFIC_RULES, "eth0"));
    shell("tc -batch " + TRAFFIC + "eth0");
    expect_traffic_control("eth0");

    KAVONETINFO info = {};
    info.blStatic = 1;
    strcpy(info.szAddr, "10.6.0.1");
    strcpy(info.szMask, "255.255.255.0");
    ASSERT_EQ(0, KLIBNetVlanCreate("eth0", 100, &info));
    EXPECT_EQ(expected, in_force());
    EXPECT_EQ(with_name(RULES_BY_HAND, "eth0.100"), read_file(SAVED));
    expect_traffic_control("eth0.100");
    expect_no_traffic_control("eth0");

    ASSERT_EQ(0, KLIBNetVlanRemove("eth0.100"));
    EXPECT_EQ(before, in_force());
    EXPECT_EQ(with_name(RULES_BY_HAND, "eth0"), read_file(SAVED));
    expect_traffic_control("eth0");
    EXPECT_FALSE(support::exists(TRAFFIC + "eth0.100"));
}

TEST_F(Firewall, TrafficControlThatMovedHasNothingMoreToDo)
{
    write_file(TRAFFIC + "eth0", with_name(TRAFFIC_RULES, "eth0"));
    shell("tc -batch " + TRAFFIC + "eth0; ip link add link eth0 name eth0.100 type vlan id 100");
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(succeeds("/usr/kavo/bin/tctool -change_interface eth0 eth0.100"));
        expect_traffic_control("eth0.100");
        expect_no_traffic_control("eth0");
    }
}

} // namespace
