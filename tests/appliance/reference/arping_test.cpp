// arping with the filter for the appliance's own ports: first with a stock arping that answers as told, then on a real
// network.
#include <chrono>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "reference_files.h"
#include "support/private_root.h"
#include "support/read_back.h"

namespace {

using support::exists;
using support::write_file;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char ARPING[] = "/sbin/arping";
constexpr char STOCK[] = "/usr/bin/arping";

using Words = std::vector<std::string>;

// The usual probe, with what follows the address.
Words probe(const Words &more = {}, const std::string &interface = "eth0", const std::string &address = "192.0.2.9")
{
    Words words = {ARPING, "-D", "-q", "-w", "3", "-c", "3", "-I", interface, address};
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

class Arping : public support::PrivateRoot {
protected:
    static constexpr char ASKED[] = "[/usr/bin/arping] [-b] [-s] [0.0.0.0] [-w] [3] [-I] [eth0] [192.0.2.9]";

    void SetUp() override
    {
        PrivateRoot::SetUp();
        if (!IsSkipped())
            reference::install("/usr/sbin/arping");
    }

    // The stock arping says this and ends so.
    static void stock(const std::string &output, int status) { record(STOCK, status, output); }

    static std::string reply(const std::string &mac, const std::string &kind = "Unicast reply")
    {
        return kind + " from 192.0.2.9 [" + mac + "]  0.541ms";
    }

    // How the probe of two own ports ends when the stock arping says this.
    static int judged(const std::string &output, int status)
    {
        stock(output, status);
        return reference::run(probe({"-F", "02ab000000a0", "02ab000000a1"}));
    }

    // What it prints, with "=STATUS" behind.
    static std::string printed(const std::string &arguments)
    {
        return shell("status=0; /sbin/arping " + arguments + " 2>/dev/null || status=$?; echo \"=$status\"");
    }
};

TEST_F(Arping, IsTheStockOneWithoutAFilter)
{
    stock("said", 0);
    EXPECT_EQ("said\n=0\n", printed("-c 1 -w 10 -I eth0 host.test"));
    EXPECT_THAT(calls(), ElementsAre("[/usr/bin/arping] [-c] [1] [-w] [10] [-I] [eth0] [host.test]"));
    for (const int status : {1, 2, 7}) {
        stock("", status);
        EXPECT_EQ(status, reference::run({ARPING, "-U", "a b", "*", "$(id)", "-Fx"}));
        EXPECT_EQ("[/usr/bin/arping] [-U] [a b] [*] [$(id)] [-Fx]", calls().back());
        EXPECT_EQ(status, reference::run({ARPING}));
        EXPECT_EQ(status, reference::run(probe()));
    }
}

TEST_F(Arping, IsTheStockOneWithAnEmptyFilter)
{
    for (const int status : {0, 1, 2}) {
        stock("", status);
        EXPECT_EQ(status, reference::run(probe({"-F"})));
        EXPECT_EQ("[/usr/bin/arping] [-q] [-D] [-w] [3] [-c] [3] [-I] [eth0] [192.0.2.9]", calls().back());
        EXPECT_EQ(status, reference::run({ARPING, "-D", "-I", "eth0", "192.0.2.9", "-c", "2", "-F"}));
        EXPECT_EQ("[/usr/bin/arping] [-D] [-w] [2] [-c] [2] [-I] [eth0] [192.0.2.9]", calls().back());
    }
}

TEST_F(Arping, AsksInTheNameOfNobodyUntilTheTimeIsUp)
{
    EXPECT_EQ(0, judged("", 1));
    EXPECT_EQ(0, reference::run({ARPING, "-I", "eth0", "-D", "192.0.2.9", "-F", "02ab000000a0"}));
    EXPECT_EQ(0, reference::run({ARPING, "-D", "192.0.2.9", "-w", "7", "-c", "2", "-I", "-V", "-F", "02ab000000a0"}));
    EXPECT_THAT(calls(),
                ElementsAre(ASKED, ASKED, "[/usr/bin/arping] [-b] [-s] [0.0.0.0] [-w] [7] [-I] [-V] [192.0.2.9]"));
}

TEST_F(Arping, NobodyHasTheAddress)
{
    EXPECT_EQ(0,
              judged("ARPING 192.0.2.9 from 0.0.0.0 eth0\nSent 3 probes (3 broadcast(s))\nReceived 0 response(s)", 1));
    EXPECT_EQ(0, judged("", 0));
}

TEST_F(Arping, WhatTheOwnPortsAnswerDoesNotCount)
{
    EXPECT_EQ(0, judged(reply("02:AB:00:00:00:A0") + "\n" + reply("02:AB:00:00:00:A1") + "\n" +
                            reply("02:AB:00:00:00:A0", "Broadcast request") + "\nReceived 3 response(s)",
                        0));
    stock(reply("02:AB:00:00:00:A0"), 0);
    EXPECT_EQ(0, reference::run(probe({"-F", "02AB000000A0"})));
}

TEST_F(Arping, AnyOtherAnswerIsAConflict)
{
    for (const char *mac : {"02:AB:00:00:00:A2", "00:AB:00:00:00:A0", "A0:02:AB:00:00:00", "00:00:00:A0:02:AB"})
        EXPECT_EQ(1, judged(reply(mac), 0)) << mac;
    for (const char *kind : {"Broadcast reply", "Unicast request", "Broadcast request"})
        EXPECT_EQ(1, judged(reply("02:11:22:33:44:55", kind), 0)) << kind;
    EXPECT_EQ(1, judged("Unicast reply from 192.0.2.9 [02:11:22:33:44:55] for 192.0.2.1 for [02:AB:00:00:00:A0] "
                        "UNSOLICITED?",
                        0));
}

TEST_F(Arping, AnAnswerAfterThoseOfTheOwnPortsIsSeen)
{
    std::string answers;
    for (int i = 0; i < 30; ++i)
        answers += reply(i % 2 == 0 ? "02:AB:00:00:00:A0" : "02:AB:00:00:00:A1") + "\n";
    EXPECT_EQ(0, judged(answers, 0));
    EXPECT_EQ(1, judged(answers + reply("02:11:22:33:44:55"), 0));
}

TEST_F(Arping, AnAnswerEndsTheWaiting)
{
    script(STOCK, "echo '" + reply("02:11:22:33:44:55") + "'; exec sleep 1000");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(1, reference::run(probe({"-F", "02ab000000a0"})));
    EXPECT_GT(std::chrono::seconds(500), std::chrono::steady_clock::now() - start);
    EXPECT_EQ("", shell("pgrep -f '^sleep 1000$' || true"));
}

TEST_F(Arping, WhatIsNoAnswerIsPassedOver)
{
    EXPECT_EQ(0,
              judged("\n \nreply\nreply from 192.0.2.9 [02:11:22:33:44:55]\nWARNING: interface is ignored\n[*]\n\\n\n"
                     "$(touch /tmp/broken)",
                     1));
    EXPECT_FALSE(exists("/tmp/broken"));
}

TEST_F(Arping, EndsAsTheStockOneWhenThatFails)
{
    for (const int status : {2, 3, 126, 255}) {
        EXPECT_EQ(status, judged("", status));
        EXPECT_EQ(status, judged(reply("02:AB:00:00:00:A0"), status)) << "an own port has answered before";
        EXPECT_EQ(1, judged(reply("02:11:22:33:44:55"), status)) << "another host has answered before";
    }
    ASSERT_EQ(0, unlink(STOCK));
    EXPECT_EQ(127, reference::run(probe({"-F", "02ab000000a0"})));
    EXPECT_NE(0, reference::run(probe()));
}

TEST_F(Arping, SaysWhoAnsweredUnlessToldToBeQuiet)
{
    stock("ARPING 192.0.2.9 from 0.0.0.0 eth0\n" + reply("02:AB:00:00:00:A0") + "\n" + reply("02:11:22:33:44:55") +
              "\nReceived 2 response(s)",
          0);
    EXPECT_EQ("Unicast reply from 192.0.2.9 [02:11:22:33:44:55] 0.541ms\n=1\n",
              printed("-D -I eth0 192.0.2.9 -F 02ab000000a0"));
    EXPECT_EQ("=1\n", printed("-D -q -I eth0 192.0.2.9 -F 02ab000000a0"));
}

TEST_F(Arping, RefusesWhatItDoesNotUnderstand)
{
    stock("", 0);
    const std::vector<Words> lines = {
        {"-F"},
        {"-F", "02ab000000a0"},
        {"-D", "-F", "02ab000000a0"},
        {"-D", "-I", "eth0", "-F", "02ab000000a0"},
        {"-D", "192.0.2.9", "-F", "02ab000000a0"},
        {"-I", "eth0", "192.0.2.9", "-F", "02ab000000a0"}, // not without -D
        {"-D", "-I", "", "192.0.2.9", "-F", "02ab000000a0"},
        {"-D", "-I", "eth0", "", "-F", "02ab000000a0"},
        {"-D", "-b", "-I", "eth0", "192.0.2.9", "-F", "02ab000000a0"},
        {"-Dq", "-I", "eth0", "192.0.2.9", "-F", "02ab000000a0"},
        {"-D", "-I", "eth0", "192.0.2.9", "-w", "-F", "02ab000000a0"},
        {"-D", "-I", "eth0", "192.0.2.9", "-w", "-F"},
        {"-D", "-I", "eth0", "192.0.2.9", "-F", "02ab000000a0", "-c"},
        {"-D", "192.0.2.9", "-F", "-I", "eth0"},
    };
    for (const Words &words : lines) {
        Words line = {ARPING};
        line.insert(line.end(), words.begin(), words.end());
        EXPECT_EQ(2, reference::run(line)) << testing::PrintToString(words);
    }
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(Arping, RefusesNumbersThatAreNone)
{
    stock("", 0);
    for (const char *number : {"", "0", "-1", "+3", "3s", "0x3", " 3", "3\n", "99999", "1e3", "$(touch /tmp/broken)"}) {
        for (const char *option : {"-w", "-c"}) {
            EXPECT_EQ(2,
                      reference::run({ARPING, "-D", option, number, "-I", "eth0", "192.0.2.9", "-F", "02ab000000a0"}))
                << number;
        }
    }
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_FALSE(exists("/tmp/broken"));
}

TEST_F(Arping, RefusesAddressesThatAreNone)
{
    stock("", 0);
    for (const char *address : {"", "192.0.2", "192.0.2.", ".192.0.2.9", "192.0..9", "192.0.2.256", "192.0.2.9.1",
                                "192.0.2.09", "192.0.2.0x9", "192.0.2.9 ", "192.0.2.9\n", "-V", "host.test", "::1", "*",
                                "$(touch /tmp/broken)", "192.0.2.1111", ";id"})
        EXPECT_EQ(2, reference::run(probe({"-F", "02ab000000a0"}, "eth0", address))) << address;
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_FALSE(exists("/tmp/broken"));
    EXPECT_EQ(0, reference::run(probe({"-F", "02ab000000a0"}, "eth0", "0.0.0.0")));
    EXPECT_EQ(0, reference::run(probe({"-F", "02ab000000a0"}, "eth0", "223.255.255.255")));
}

TEST_F(Arping, RefusesHardwareAddressesThatAreNone)
{
    stock("", 0);
    for (const char *mac : {"", "02ab000000a", "02ab000000a00", "02ab000000ag", "02:ab:00:00:00:a0", "02ab000000a\n",
                            "************", "[0-9a-f]*[]*", "-F", "$(touch /tmp/broken)", "02ab000000a0 "}) {
        EXPECT_EQ(2, reference::run(probe({"-F", mac}))) << mac;
        EXPECT_EQ(2, reference::run(probe({"-F", "02ab000000a0", mac, "02ab000000a1"}))) << mac;
    }
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_FALSE(exists("/tmp/broken"));
}

TEST_F(Arping, TakesTheInterfacesNameAsItStands)
{
    stock("", 1);
    for (const char *name : {"$(touch /tmp/broken)", "`id`", "a'b", "*", "-F", "a b"}) {
        EXPECT_EQ(0, reference::run(probe({"-F", "02ab000000a0"}, name))) << name;
        EXPECT_EQ(std::string("[/usr/bin/arping] [-b] [-s] [0.0.0.0] [-w] [3] [-I] [") + name + "] [192.0.2.9]",
                  calls().back());
    }
    EXPECT_FALSE(exists("/tmp/broken"));
}

TEST_F(Arping, KeepsSixteenOwnPorts)
{
    Words words = {"-F"};
    std::string answers;
    for (int i = 10; i < 26; ++i) {
        words.push_back("02ab000000" + std::to_string(i));
        answers += reply("02:AB:00:00:00:" + std::to_string(i)) + "\n";
    }
    stock(answers, 0);
    EXPECT_EQ(0, reference::run(probe(words)));
    words.erase(words.begin() + 16);
    EXPECT_EQ(1, reference::run(probe(words)));
}

// ---- on a real network

class ArpingOnANetwork : public Arping {
protected:
    // The ports eth0 to eth3 of this appliance, and another host, all on one network.
    void SetUp() override
    {
        Arping::SetUp();
        if (IsSkipped())
            return;
        shell("ip netns add lan; ip -n lan link add lan0 type bridge forward_delay 0; ip -n lan link set lan0 up\n"
              "for i in 0 1 2 3; do\n"
              "  ip link add eth$i address 02:ab:00:00:00:a$i type veth peer name port$i netns lan\n"
              "  ip -n lan link set port$i master lan0 up; ip link set eth$i up\n"
              "done\n"
              "ip netns add other; ip -n other link add nic type veth peer name port9 netns lan\n"
              "ip -n lan link set port9 master lan0 up; ip -n other link set nic up\n"
              "until ip -n lan link show dev port9 | grep -q 'state UP'; do sleep 0.01; done");
    }

    void TearDown() override
    {
        if (!IsSkipped())
            shell("ip netns del lan; ip netns del other");
        Arping::TearDown();
    }

    static int asked()
    {
        return reference::run(probe({"-F", "02ab000000a0", "02ab000000a1", "02ab000000a2", "02ab000000a3"}));
    }
};

TEST_F(ArpingOnANetwork, AnotherHostIsFoundUntilItLeaves)
{
    shell("ip -n other address add 192.0.2.9/24 dev nic");
    EXPECT_EQ(1, asked());
    shell("ip -n other link set nic down");
    EXPECT_EQ(0, asked());
}

TEST_F(ArpingOnANetwork, OwnPortsAreNoOtherHost)
{
    // All four answer for the address of one: with three probes that is more than the stock arping would count.
    shell("ip address add 192.0.2.9/24 dev eth2");
    EXPECT_EQ(1, reference::run(probe({"-F"}))) << "they do answer";
    EXPECT_EQ(0, asked());
    shell("ip -n other address add 192.0.2.9/24 dev nic");
    EXPECT_EQ(1, asked()) << "but who else answers is found";
}

TEST_F(ArpingOnANetwork, AnInterfaceThatCannotAskIsABadOne)
{
    shell("ip link set eth0 down");
    EXPECT_EQ(2, asked());
    EXPECT_EQ(2, reference::run(probe({"-F", "02ab000000a0"}, "eth9")));
}

} // namespace
