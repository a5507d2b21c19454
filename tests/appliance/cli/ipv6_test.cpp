// kavonet ipv6
#include "command.h"

#include <unistd.h>

namespace cli_test {

using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class Ipv6Command : public Command {
protected:
    void SetUp() override
    {
        Command::SetUp();
        if (IsSkipped())
            return;
        record("/usr/sbin/rdisc6");
        look_for_duplicates(false);
    }

    // The kernel takes its time for that.
    static void look_for_duplicates(bool yes)
    {
        support::write_file("/proc/sys/net/ipv6/conf/eth0/accept_dad", yes ? "1" : "0");
    }
    static void configure(const std::string &keys)
    {
        write_ifcfg("eth0", "DEVICE=eth0\nBOOTPROTO=static\nIPADDR=10.0.0.5\nNETMASK=255.255.255.0\n" + keys);
    }
    static std::string file() { return support::read_file(ifcfg("eth0")); }
    static std::string disabled() { return support::read_file("/proc/sys/net/ipv6/conf/eth0/disable_ipv6"); }
    static std::string global_addresses()
    {
        return shell("ip -6 -brief address show dev eth0 scope global | awk '{print $3}'");
    }
};

TEST_F(Ipv6Command, ShowTellsConfiguredAndLive)
{
    configure("IPV6INIT=static\nIPV6ADDR=2001:db8::7\nIPV6PREFIXLENG=64\nIPV6_DEFAULTGW=fe80::1\n");
    shell("ip -6 address flush dev eth0; ip -6 address add 2001:db8::9/56 dev eth0 nodad");
    const Json eth0(kavonet({"ipv6", "show", "eth0", "--json"}).out);
    EXPECT_EQ("eth0", eth0["name"].text());
    EXPECT_TRUE(eth0["up"].yes());
    EXPECT_EQ("static", eth0["configured"]["mode"].text());
    EXPECT_EQ("2001:db8::7", eth0["configured"]["address"].text());
    EXPECT_EQ(64, eth0["configured"]["prefix"].number());
    EXPECT_EQ("fe80::1", eth0["configured"]["router"].text());
    ASSERT_EQ(1U, eth0["live"].size());
    EXPECT_EQ("2001:db8::9", eth0["live"][0]["address"].text());
    EXPECT_EQ(56, eth0["live"][0]["prefix"].number());
    EXPECT_FALSE(eth0["live"][0]["link_local"].yes());
    EXPECT_EQ("valid", eth0["live"][0]["state"].text());
    EXPECT_THAT(kavonet({"ipv6", "show", "eth0"}).out,
                ContainsRegex("\neth0 +up +static 2001:db8::7/64 +fe80::1 +2001:db8::9/56\n"));
}

TEST_F(Ipv6Command, ShowOfMoreAddressesThanUsual)
{
    std::string batch;
    for (int i = 1; i <= 40; ++i)
        batch += "ip -6 address add 2001:db8::" + std::to_string(i) + "/64 dev eth0 nodad;";
    shell(batch);
    EXPECT_LE(40U, Json(kavonet({"ipv6", "show", "eth0", "--json"}).out)["live"].size());
}

TEST_F(Ipv6Command, ShowOfAllIsAnArrayOfThoseInUse)
{
    configure("IPV6INIT=auto_dhcp\n");
    const Json all(kavonet({"ipv6", "show", "--json"}).out);
    ASSERT_EQ(2U, all.size());
    EXPECT_EQ("auto-dhcp", all.named("eth0")["configured"]["mode"].text());
    EXPECT_TRUE(all.named("eth0p")["configured"]["mode"].is_null()) << "it has no file";
    EXPECT_TRUE(all.named("eth0p")["configured"]["prefix"].is_null());
    EXPECT_THAT(kavonet({"ipv6", "show"}).out, ContainsRegex("\neth0p +up +not configured +- +fe80:"));
}

TEST_F(Ipv6Command, OffTurnsIpv6Off)
{
    shell("ip -6 address add 2001:db8::9/64 dev eth0 nodad");
    const Result result = kavonet({"ipv6", "off", "eth0"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("eth0: IPv6 not configured (2001:db8::9/64 in force) -> off\n", result.out);
    EXPECT_THAT(file(), HasSubstr("IPV6INIT=\"off\"\n"));
    EXPECT_EQ("1\n", disabled());
    EXPECT_EQ("", shell("ip -6 address show dev eth0"));
}

TEST_F(Ipv6Command, AutoListensAndAsks)
{
    configure("IPV6INIT=off\n");
    const Json change(kavonet({"ipv6", "auto", "eth0", "--json"}).out);
    EXPECT_EQ("eth0", change["name"].text());
    EXPECT_EQ("auto", change["action"].text());
    EXPECT_EQ("off", change["before"]["configured"]["mode"].text());
    EXPECT_EQ("auto", change["after"]["configured"]["mode"].text());
    EXPECT_THAT(file(), HasSubstr("IPV6INIT=\"auto\"\nIPV6_ACCEPT_RA=\"1\"\n"));
    EXPECT_EQ("0\n", disabled());
    EXPECT_THAT(calls(), ElementsAre("[/usr/sbin/rdisc6] [-q] [-n] [eth0] [-r] [1] [-w] [0]"));
}

TEST_F(Ipv6Command, AutoWaitsForAnAddress)
{
    // A router that the solicitation wakes.
    script("/usr/sbin/rdisc6", "(sleep 0.3; ip -6 address add 2001:db8::77/64 dev eth0 nodad) >/dev/null 2>&1 &");
    const Result result = kavonet({"ipv6", "auto", "eth0", "--wait", "20"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("eth0: IPv6 not configured (no address in force) -> auto (2001:db8::77/64 in force)\n", result.out);
}

TEST_F(Ipv6Command, AutoFailsWithoutAnAddressInTime)
{
    const Result result = kavonet({"ipv6", "auto", "eth0", "--wait", "0.2"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err,
                StartsWith("kavonet: eth0 is in IPv6 mode auto, but has no address yet: none within 0.2 s\n"));
    EXPECT_THAT(file(), HasSubstr("IPV6INIT=\"auto\"\n"));
}

TEST_F(Ipv6Command, AutoDhcpStartsTheInformationClient)
{
    const Result result = kavonet({"ipv6", "auto-dhcp", "eth0"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("eth0: IPv6 not configured (no address in force) -> auto-dhcp (no address in force)\n", result.out);
    EXPECT_THAT(file(), HasSubstr("IPV6INIT=\"auto_dhcp\"\n"));
    EXPECT_THAT(calls(), ElementsAre(HasSubstr("[start] [dhclient6@eth0-info.service]")));
}

TEST_F(Ipv6Command, DhcpStartsTheClient)
{
    const Result result = kavonet({"ipv6", "dhcp", "eth0"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("eth0: IPv6 not configured (no address in force) -> dhcp (no address in force)\n", result.out);
    EXPECT_THAT(file(), HasSubstr("IPV6INIT=\"dhcp\"\n"));
    EXPECT_THAT(calls(), ElementsAre(HasSubstr("[start] [dhclient6@eth0-client.service]")));
}

TEST_F(Ipv6Command, DhcpWhoseClientDoesNotStart)
{
    script("/usr/kavo/bin/unit", "[ \"$1\" != start ]");
    configure("IPV6INIT=off\n");
    const Result result = kavonet({"ipv6", "dhcp", "eth0"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, StartsWith("kavonet: cannot give eth0 IPv6 mode dhcp: "));
    EXPECT_THAT(file(), HasSubstr("IPV6INIT=off\n"));
    EXPECT_EQ("1\n", disabled());
}

TEST_F(Ipv6Command, StaticChangesFileAndKernel)
{
    subscribe("net/ipv6_change");
    const Result result = kavonet({"ipv6", "static", "eth0", "2001:db8::5/64", "--router", "fe80::1"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("eth0: IPv6 not configured (no address in force) -> static 2001:db8::5/64\n", result.out);
    EXPECT_THAT(file(), HasSubstr("IPV6INIT=\"static\"\nIPV6ADDR=\"2001:db8::5\"\nIPV6PREFIXLENG=\"64\"\n"
                                  "IPV6_DEFAULTGW=\"fe80::1\"\n"));
    EXPECT_EQ("2001:db8::5/64\n", global_addresses());
    EXPECT_THAT(shell("ip -6 route show default"), HasSubstr("default via fe80::1 dev eth0"));
    EXPECT_THAT(events(), ElementsAre(HasSubstr("NEW_ADDRESS=2001:db8::5")));
}

TEST_F(Ipv6Command, StaticOfAnAddressThatAnotherHostHas)
{
    look_for_duplicates(true);
    shell("ip -6 address add 2001:db8::5/64 dev eth0p nodad");
    const std::string before = file();
    const Result result = kavonet({"ipv6", "static", "eth0", "2001:db8::5/64"});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.out);
    EXPECT_THAT(result.err,
                StartsWith("kavonet: cannot give eth0 the IPv6 address 2001:db8::5/64: another host has that address "
                           "already\n"));
    EXPECT_EQ(before + "IPV6_ACCEPT_RA=\"0\"\n", file());
    EXPECT_EQ("", global_addresses());
}

TEST_F(Ipv6Command, AnAddressThatTheKernelDidNotTakeIsAFailure)
{
    record("/sbin/ip", 2);
    const Result result = kavonet({"ipv6", "static", "eth0", "2001:db8::5/64"});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.out);
    EXPECT_THAT(result.err, StartsWith("kavonet: eth0 is configured with the IPv6 address 2001:db8::5/64, but that is "
                                       "not in force: "));
}

TEST_F(Ipv6Command, StaticRefusesWhatTheLibraryWouldRefuseTooLate)
{
    const std::string before = file();
    for (const char *address :
         {"2001:db8::5", "2001:db8::5/", "2001:db8::5/129", "2001:db8::5/-1", "2001:db8::5/64x", "/64", "10.0.0.5/24",
          "fe80::1%eth0/64", "2001:db8:::5/64", "2001:db8::5/64/64", " 2001:db8::5/64", "2001:db8::5 /64", "fe80::5/64",
          "febf::1/10", "2001:db8::5\n/64", "0000:0000:0000:0000:0000:0000:0000:0000:0000:5/64"}) {
        const Result result = kavonet({"ipv6", "static", "eth0", address});
        EXPECT_EQ(1, result.status) << address;
        EXPECT_THAT(result.err, HasSubstr("what to do: give an IPv6 address and its prefix length")) << address;
    }
    for (const char *router : {"2001:db8:1::1", "fe80::1/64", "fe80::1%eth0", "10.0.0.1", "none"})
        EXPECT_EQ(1, kavonet({"ipv6", "static", "eth0", "2001:db8::5/64", "--router", router}).status) << router;
    EXPECT_EQ(before, file());
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(Ipv6Command, FlushTakesTheAddressesOffAndKeepsTheMode)
{
    configure("IPV6INIT=auto\n");
    shell("ip -6 address add 2001:db8::9/64 dev eth0 nodad");
    const Result result = kavonet({"ipv6", "flush", "eth0"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("eth0: IPv6 auto (2001:db8::9/64 in force) -> auto (no address in force)\n", result.out);
    EXPECT_EQ("", global_addresses());
    EXPECT_EQ("0\n", disabled());
    EXPECT_THAT(file(), HasSubstr("IPV6INIT=auto\n"));
}

TEST_F(Ipv6Command, AnInterfaceThatIsDownOrMissing)
{
    shell("ip link set eth0 down");
    const std::string before = file();
    for (const std::vector<std::string> &words : std::vector<std::vector<std::string>>{
             {"off"}, {"auto"}, {"dhcp"}, {"auto-dhcp"}, {"flush"}, {"static", "2001:db8::5/64"}}) {
        std::vector<std::string> line = {"ipv6", words[0], "eth0"};
        line.insert(line.end(), words.begin() + 1, words.end());
        const Result down = kavonet(line);
        EXPECT_EQ(1, down.status);
        EXPECT_THAT(down.err, HasSubstr("the interface is down\n  what to do: kavonet if up eth0"));
        line[2] = "eth9";
        EXPECT_THAT(kavonet(line).err, HasSubstr("there is no interface of that name"));
    }
    EXPECT_EQ(before, file());
    EXPECT_FALSE(support::exists(ifcfg("eth9")));
    EXPECT_EQ(0, kavonet({"ipv6", "show", "eth0"}).status);
    EXPECT_EQ(1, kavonet({"ipv6", "show", "eth9"}).status);
}

TEST_F(Ipv6Command, OnlyRootMayChange)
{
    const Result result = kavonet({"ipv6", "off", "eth0"}, {.user = 65534});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("what to do: run it as root"));
}

TEST_F(Ipv6Command, RefusesOtherWords)
{
    for (const std::vector<std::string> &words :
         std::vector<std::vector<std::string>>{{"ipv6", "on", "eth0"},
                                               {"ipv6", "auto"},
                                               {"ipv6", "static", "eth0"},
                                               {"ipv6", "off", "eth0", "--wait", "1"},
                                               {"ipv6", "auto", "eth0", "--wait", "-1"},
                                               {"ipv6", "auto", "eth0", "--wait", "x"}})
        EXPECT_EQ(2, kavonet(words).status) << testing::PrintToString(words);
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(Ipv6Command, AnInterruptWaitsForTheChangeAndTheNextCommandGoesOn)
{
    const Result result =
        at_terminal({"ipv6", "static", "eth0", "2001:db8::5/64"}, {.prompt = "(1 s)", .typed = "\x03"});
    EXPECT_EQ(130, result.status);
    EXPECT_THAT(result.out, ContainsRegex("giving eth0 the IPv6 address 2001:db8::5/64 \\(1 s\\)"));
    EXPECT_THAT(result.out, HasSubstr("kavonet: finishing the change first; press Ctrl-C again to stop at once"));
    EXPECT_THAT(result.out, HasSubstr("-> static 2001:db8::5/64"));
    EXPECT_THAT(file(), HasSubstr("IPV6INIT=\"static\"\n"));
    const Result next = kavonet({"ipv6", "auto", "eth0"});
    EXPECT_EQ(0, next.status) << next.err;
    EXPECT_EQ("eth0: IPv6 static 2001:db8::5/64 -> auto (no address in force)\n", next.out);
}

TEST_F(Ipv6Command, WhatASecondInterruptLeavesTheNextCommandHandles)
{
    // Killed outright while it waits for the kernel's verdict: the address is there, the keys are not.
    shell(KAVO_BUILD_DIR "/bin/kavonet ipv6 static eth0 2001:db8::5/64 >/dev/null 2>&1 & "
                         "for i in $(seq 1200); do "
                         "! ip -6 -o address show dev eth0 | grep -q 2001:db8::5 || break; sleep 0.05; done; "
                         "kill -KILL $! || true; wait $! || true");
    EXPECT_EQ("2001:db8::5/64\n", global_addresses());
    const Result next = kavonet({"ipv6", "static", "eth0", "2001:db8::6/64"});
    EXPECT_EQ(0, next.status) << next.err;
    EXPECT_EQ("2001:db8::6/64\n", global_addresses());
}

} // namespace cli_test
