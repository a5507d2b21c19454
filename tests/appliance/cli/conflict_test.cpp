// kavonet conflict
#include "command.h"

#include <unistd.h>

namespace cli_test {

using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class ConflictCommand : public Command {
protected:
    static constexpr char ARPING[] = "/sbin/arping";
    static constexpr int FOUND = 3;

    void SetUp() override
    {
        Command::SetUp();
        if (!IsSkipped())
            record(ARPING);
    }

    // Somebody else has these addresses; an answer takes that long.
    static void taken(const std::string &pattern, const std::string &seconds = "0")
    {
        script(ARPING,
               "record_call \"$0\" \"$@\"\nsleep " + seconds + "\ncase $9 in " + pattern + ") exit 1 ;; esac\nexit 0");
    }

    // "eth0 10.0.0.9" of every probe.
    static std::vector<std::string> probes()
    {
        return support::lines_of(shell(std::string("touch ") + support::RECORDED_CALLS +
                                       "; sed -n 's/.*\\[-I\\] \\[\\([^]]*\\)\\] "
                                       "\\[\\([^]]*\\)\\].*/\\1 \\2/p' " +
                                       support::RECORDED_CALLS));
    }
};

// ---- check

TEST_F(ConflictCommand, CheckOfAFreeAddress)
{
    const Result result = kavonet({"conflict", "check", "eth0", "10.0.0.9"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("10.0.0.9 is free: no other host on eth0 answers for it\n", result.out);
    EXPECT_EQ("", result.err);
    EXPECT_THAT(probes(), ElementsAre("eth0 10.0.0.9"));
    const Json json(kavonet({"conflict", "check", "eth0", "10.0.0.9", "--json"}).out);
    EXPECT_EQ("eth0", json["name"].text());
    EXPECT_EQ("10.0.0.9", json["address"].text());
    EXPECT_FALSE(json["conflict"].yes());
    EXPECT_FALSE(json["own"].yes());
}

TEST_F(ConflictCommand, CheckOfATakenAddress)
{
    taken("10.0.0.9");
    const Result result = kavonet({"conflict", "check", "eth0", "10.0.0.9"});
    EXPECT_EQ(FOUND, result.status);
    EXPECT_EQ("10.0.0.9 is taken: another host on eth0 answers for it\n", result.out);
    EXPECT_EQ("", result.err);
    const Result as_json = kavonet({"conflict", "check", "eth0", "10.0.0.9", "--json"});
    EXPECT_EQ(FOUND, as_json.status);
    EXPECT_TRUE(Json(as_json.out)["conflict"].yes());
}

TEST_F(ConflictCommand, CheckOfTheInterfacesOwnAddressAsksNobody)
{
    taken("*");
    const Result result = kavonet({"conflict", "check", "eth0", "10.0.0.5"});
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("10.0.0.5 is the address of eth0 itself; kavonet conflict scan asks whether another host has it too\n",
              result.out);
    const Json json(kavonet({"conflict", "check", "eth0", "10.0.0.5", "--json"}).out);
    EXPECT_FALSE(json["conflict"].yes());
    EXPECT_TRUE(json["own"].yes());
    EXPECT_THAT(probes(), IsEmpty());
}

TEST_F(ConflictCommand, CheckRefusesWhatIsNoAddress)
{
    const Result result = kavonet({"conflict", "check", "eth0", "10.0.0.300"});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.out);
    EXPECT_EQ("kavonet: cannot check 10.0.0.300 on eth0: malformed address, mask or prefix (0x1000, "
              "net_is_ip_addr.cpp:25)\n"
              "  what to do: give the address as A.B.C.D, for example 192.168.1.5\n",
              result.err);
    for (const char *address :
         {"", "10.0.0.9/24", "10.0.0", "010.0.0.9", "0x0a.0.0.9", " 10.0.0.9", "10.0.0.9 ", "10.0.0.9\n", "127.0.0.1",
          "224.0.0.1", "fe80::1", "host.test", "$(id)", "10.0.0.000000000000000000000000000000000000000000009"})
        EXPECT_EQ(1, kavonet({"conflict", "check", "eth0", address}).status) << address;
    EXPECT_THAT(probes(), IsEmpty());
}

TEST_F(ConflictCommand, CheckNeedsAnInterfaceThatCanAsk)
{
    const Result none = kavonet({"conflict", "check", "eth9", "10.0.0.9"});
    EXPECT_EQ(1, none.status);
    EXPECT_THAT(none.err, HasSubstr("there is no interface of that name"));
    shell("ip link set eth0p down");
    const Result unplugged = kavonet({"conflict", "check", "eth0", "10.0.0.9"});
    EXPECT_EQ(1, unplugged.status);
    EXPECT_EQ("kavonet: cannot check 10.0.0.9 on eth0: eth0 has no link\n"
              "  what to do: check the cable and what it is plugged into\n",
              unplugged.err);
    shell("ip link set eth0 down");
    const Result down = kavonet({"conflict", "check", "eth0", "10.0.0.9"});
    EXPECT_EQ(1, down.status);
    EXPECT_EQ("kavonet: cannot check 10.0.0.9 on eth0: eth0 is down\n"
              "  what to do: bring it up first: kavonet if up eth0\n",
              down.err);
    EXPECT_THAT(probes(), IsEmpty());
}

TEST_F(ConflictCommand, WithoutArpingNothingIsSaidToBeFree)
{
    ASSERT_EQ(0, unlink(ARPING));
    const Result check = kavonet({"conflict", "check", "eth0", "10.0.0.9", "--json"});
    EXPECT_EQ(1, check.status);
    EXPECT_EQ("", check.out);
    EXPECT_EQ("/sbin/arping cannot be run", Json(check.err)["error"]["reason"].text());
    const Result scan = kavonet({"conflict", "scan"});
    EXPECT_EQ(1, scan.status);
    EXPECT_EQ("", scan.out);
    EXPECT_THAT(scan.err, testing::StartsWith("kavonet: cannot ask the network: /sbin/arping cannot be run\n"));
}

TEST_F(ConflictCommand, CheckLeavesOutTheOwnPorts)
{
    kavonet({"conflict", "check", "eth0", "10.0.0.9"});
    EXPECT_THAT(calls(), ElementsAre(ContainsRegex("\\[10\\.0\\.0\\.9\\] \\[-F\\] \\[[0-9a-f]{12}\\]")));
    support::write_file("/etc/kavoinfo.conf", "arp_ignore=\"yes\"\n");
    kavonet({"conflict", "check", "eth0", "10.0.0.9"});
    EXPECT_THAT(calls().back(), testing::EndsWith("[10.0.0.9]"));
}

// ---- scan

TEST_F(ConflictCommand, ScanAsksForTheAddressOfEachInterfaceInUse)
{
    shell("ip address add 10.0.1.6/24 dev eth0p");
    add_card("eth1", "", false);
    const Result result = kavonet({"conflict", "scan"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_THAT(support::lines_of(result.out),
                UnorderedElementsAre("NAME   ADDRESS   CONFLICT  REASON", "eth0   10.0.0.5  no        -",
                                     "eth0p  10.0.1.6  no        -"));
    EXPECT_THAT(result.out, testing::StartsWith("NAME "));
    EXPECT_THAT(probes(), UnorderedElementsAre("eth0 10.0.0.5", "eth0p 10.0.1.6"));
}

TEST_F(ConflictCommand, ScanFindsTheTakenOnes)
{
    shell("ip address add 10.0.1.6/24 dev eth0p");
    taken("10.0.1.6");
    const Result result = kavonet({"conflict", "scan"});
    EXPECT_EQ(FOUND, result.status);
    EXPECT_THAT(result.out, ContainsRegex("\neth0 +10\\.0\\.0\\.5 +no +-\n"));
    EXPECT_THAT(result.out, ContainsRegex("\neth0p +10\\.0\\.1\\.6 +yes +another host answers for it\n"));
    EXPECT_EQ("", result.err);
    const Result as_json = kavonet({"conflict", "scan", "--json"});
    EXPECT_EQ(FOUND, as_json.status);
    const Json all(as_json.out);
    ASSERT_EQ(2U, all.size());
    EXPECT_EQ("10.0.0.5", all.named("eth0")["address"].text());
    EXPECT_FALSE(all.named("eth0")["conflict"].yes());
    EXPECT_TRUE(all.named("eth0")["reason"].is_null());
    EXPECT_TRUE(all.named("eth0p")["conflict"].yes());
    EXPECT_EQ("another host answers for it", all.named("eth0p")["reason"].text());
    EXPECT_TRUE(all.named("eth0p")["bond_member"].is_null());
}

TEST_F(ConflictCommand, ScanSaysWhatItCouldNotAsk)
{
    shell("ip link set eth0p down");
    add_card("eth1");
    const Result result = kavonet({"conflict", "scan"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_THAT(result.out, ContainsRegex("\neth0 +10\\.0\\.0\\.5 +- +no link\n"));
    EXPECT_THAT(result.out, ContainsRegex("\neth1 +- +- +no address\n"));
    const Json all(kavonet({"conflict", "scan", "--json"}).out);
    EXPECT_TRUE(all.named("eth0")["conflict"].is_null());
    EXPECT_EQ("no link", all.named("eth0")["reason"].text());
    EXPECT_TRUE(all.named("eth1")["address"].is_null());
    EXPECT_TRUE(all.named("eth1")["conflict"].is_null());
    EXPECT_EQ("no address", all.named("eth1")["reason"].text());
    EXPECT_THAT(probes(), IsEmpty());
}

TEST_F(ConflictCommand, ScanComparesTheMembersOfBonds)
{
    shell("ip address flush dev eth0p");
    add_card("bond0", "10.0.2.1/24");
    shell("until grep -q up /sys/class/net/bond0/operstate; do sleep 0.01; done");
    // The running kernel has no bonding driver, so its files stand elsewhere in the command's view of /sys.
    shell(
        "mkdir /tmp/sys; cp -a /sys/class/net /tmp/sys/net; rm /tmp/sys/net/bond0; mkdir -p "
        "/tmp/sys/net/bond0/bonding\n"
        "echo 'eth7 eth8' >/tmp/sys/net/bond0/bonding/slaves; echo 'active-backup 1' >/tmp/sys/net/bond0/bonding/mode\n"
        "mount --bind /tmp/sys/net /sys/class/net");
    write_ifcfg("bond0", "BOOTPROTO=static\nIPADDR=10.0.2.1\nNETMASK=255.255.255.0\n");
    write_ifcfg("eth8", "BOOTPROTO=static\nIPADDR=10.0.2.2\n");
    EXPECT_EQ(0, kavonet({"conflict", "scan"}).status);
    write_ifcfg("eth8", "BOOTPROTO=static\nIPADDR=10.0.2.1\n");
    const Result result = kavonet({"conflict", "scan"});
    EXPECT_EQ(FOUND, result.status) << result.err;
    EXPECT_THAT(result.out,
                ContainsRegex("\nbond0 +10\\.0\\.2\\.1 +yes +its member eth8 is configured with its address\n"));
    const Json bond = Json(kavonet({"conflict", "scan", "--json"}).out).named("bond0");
    EXPECT_TRUE(bond["conflict"].yes());
    EXPECT_EQ("eth8", bond["bond_member"].text());
    taken("10.0.2.1");
    EXPECT_THAT(kavonet({"conflict", "scan"}).out,
                HasSubstr("another host answers for it; its member eth8 is configured with its address\n"));
}

TEST_F(ConflictCommand, ScanOfNothing)
{
    shell("ip link set eth0 down; ip link set eth0p down");
    const Result result = kavonet({"conflict", "scan"});
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("", result.out);
    EXPECT_EQ("[]\n", kavonet({"conflict", "scan", "--json"}).out);
}

TEST_F(ConflictCommand, AFindingThatCannotBeWrittenIsAFailure)
{
    taken("*");
    EXPECT_EQ(1, kavonet({"conflict", "scan"}, {.output = "/dev/full"}).status);
    EXPECT_EQ(1, kavonet({"conflict", "check", "eth0", "10.0.0.9"}, {.closed_output = true}).status);
}

// ---- at a terminal

TEST_F(ConflictCommand, TheWaitShowsItsProgress)
{
    taken("10.0.1.6", "1.5");
    shell("ip address add 10.0.1.6/24 dev eth0p");
    const Result check = at_terminal({"conflict", "check", "eth0", "10.0.0.9"});
    EXPECT_EQ(0, check.status);
    EXPECT_THAT(check.out, ContainsRegex("\r\033\\[K[-|/\\\\] asking for 10\\.0\\.0\\.9 on eth0 \\(1 s\\)"));
    const Result scan = at_terminal({"conflict", "scan"});
    EXPECT_EQ(FOUND, scan.status);
    EXPECT_THAT(scan.out, ContainsRegex(" asking for 10\\.0\\.0\\.5 on eth0, [12] of 2 \\(1 s\\)"));
    EXPECT_THAT(scan.out, ContainsRegex(" asking for 10\\.0\\.1\\.6 on eth0p, [12] of 2 \\(1 s\\)"));
    EXPECT_THAT(scan.out, ContainsRegex("1 of 2.*2 of 2"));
    EXPECT_THAT(scan.out, HasSubstr("\033[31myes"));
    EXPECT_EQ("", kavonet({"conflict", "scan"}).err);
}

// ---- the command line

TEST_F(ConflictCommand, NeedsItsArguments)
{
    for (const std::vector<std::string> &words :
         std::vector<std::vector<std::string>>{{"conflict"},
                                               {"conflict", "check"},
                                               {"conflict", "check", "eth0"},
                                               {"conflict", "check", "", "10.0.0.9"},
                                               {"conflict", "check", "eth0", "10.0.0.9", "10.0.0.8"},
                                               {"conflict", "scan", "eth0"},
                                               {"conflict", "seek"}})
        EXPECT_EQ(2, kavonet(words).status) << testing::PrintToString(words);
    EXPECT_THAT(probes(), IsEmpty());
}

TEST_F(ConflictCommand, RefusesHostileNames)
{
    for (const char *name : {".", "..", "../eth0", "eth0 x", "eth0\n", "abcdefghijklmnop"})
        EXPECT_EQ(1, kavonet({"conflict", "check", name, "10.0.0.9"}).status) << name;
    EXPECT_THAT(probes(), IsEmpty());
}

} // namespace cli_test
