// kavonet ports
#include "command.h"

#include "appliance/diag/sockets.h"

namespace cli_test {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

// Where /proc is not whole, a sanitizer cannot look for leaks.
const Setting NO_LEAK_SEARCH = {.environment = {{"ASAN_OPTIONS", "detect_leaks=0"}}};

class PortsCommand : public Command {
protected:
    void SetUp() override
    {
        Command::SetUp();
        if (!IsSkipped())
            shell("ip link set lo up");
    }

    // The ports of a list.
    static std::vector<int> listed(std::vector<std::string> words, const Setting &setting = {})
    {
        words.insert(words.begin(), {"ports", "list", "--json"});
        const Result result = kavonet(words, setting);
        EXPECT_EQ(0, result.status) << result.err;
        EXPECT_EQ("", result.err);
        const Json list(result.out);
        std::vector<int> ports;
        for (size_t i = 0; i < list.size(); ++i) {
            const Json entry = list[static_cast<int>(i)];
            EXPECT_EQ("tcp", entry["protocol"].text());
            ports.push_back(static_cast<int>(entry["port"].number()));
        }
        return ports;
    }

    // An empty /proc/net, for the command too: what stands there otherwise is each process's own.
    static void empty_proc_net()
    {
        shell("mkdir /run/proc; mount --bind /proc /run/proc; mount -t tmpfs none /proc; ln -s /run/proc/self "
              "/proc/self; "
              "mkdir /proc/net");
    }
    void TearDown() override
    {
        shell("! mountpoint -q /run/proc || umount /proc /run/proc");
        Command::TearDown();
    }

    static Json checked(std::vector<std::string> words, int status, const Setting &setting = {})
    {
        words.insert(words.begin(), {"ports", "check", "--json"});
        const Result result = kavonet(words, setting);
        EXPECT_EQ(status, result.status);
        EXPECT_EQ("", result.err);
        return Json(result.out);
    }
};

// ---- list

TEST_F(PortsCommand, ListsTheListenersInOrderAndEachOnce)
{
    EXPECT_THAT(listed({}), IsEmpty());
    const auto high = sockets::listening(AF_INET, 65535);
    const auto low = sockets::listening(AF_INET6, 1);
    const auto ipv4 = sockets::listening(AF_INET, 5000);
    const auto ipv6 = sockets::listening(AF_INET6, 5000);
    const auto pair = sockets::connected(AF_INET, 5001, 5002);
    EXPECT_THAT(listed({}), ElementsAre(1, 5000, 5002, 65535));
    EXPECT_THAT(listed({"5000-5010"}), ElementsAre(5000, 5002));
    EXPECT_THAT(listed({"5002"}), ElementsAre(5002));
    EXPECT_THAT(listed({"5001"}), IsEmpty()) << "a connection does not listen";
}

TEST_F(PortsCommand, ListIsATableForPeople)
{
    const Result none = kavonet({"ports", "list", "5000-5010"});
    EXPECT_EQ(0, none.status);
    EXPECT_EQ("TCP ports 5000-5010: none listens\n", none.out);
    const auto listener = sockets::listening(AF_INET, 445);
    EXPECT_THAT(support::lines_of(kavonet({"ports", "list"}).out),
                ElementsAre(MatchesRegex("PORT +PROTOCOL"), MatchesRegex(" 445 +tcp *")));
}

// ---- check

TEST_F(PortsCommand, CheckAnswersByItsExitStatus)
{
    const Json free = checked({"5000-5010"}, 0);
    EXPECT_EQ("tcp", free["protocol"].text());
    EXPECT_EQ(5000, free["lowest"].number());
    EXPECT_EQ(5010, free["highest"].number());
    EXPECT_FALSE(free["used"].yes());
    EXPECT_EQ(0U, free["listening"].size());

    const auto second = sockets::listening(AF_INET6, 5005);
    const auto first = sockets::listening(AF_INET, 5010);
    const Json taken = checked({"5000-5010"}, 1);
    EXPECT_TRUE(taken["used"].yes());
    ASSERT_EQ(2U, taken["listening"].size());
    EXPECT_EQ(5005, taken["listening"][0].number());
    EXPECT_EQ(5010, taken["listening"][1].number());
    checked({"5006-5009"}, 0);
    checked({"5010"}, 1);
    checked({"5011-65535"}, 0);
    checked({"5010", "--udp"}, 0);
}

TEST_F(PortsCommand, CheckCountsConnectionsToo)
{
    const auto pair = sockets::connected(AF_INET, 5001, 6001);
    const Json taken = checked({"5000-5010"}, 1);
    EXPECT_TRUE(taken["used"].yes());
    EXPECT_EQ(0U, taken["listening"].size());
}

TEST_F(PortsCommand, CheckOfUdp)
{
    const auto socket = sockets::bound(AF_INET6, SOCK_DGRAM, 53);
    EXPECT_EQ("udp", checked({"--udp", "53"}, 1)["protocol"].text());
    checked({"--udp", "54"}, 0);
    checked({"53"}, 0);
}

TEST_F(PortsCommand, CheckIsASentenceForPeople)
{
    EXPECT_EQ("TCP ports 5000-5010: free\n", kavonet({"ports", "check", "5000-5010"}).out);
    const auto one = sockets::listening(AF_INET, 5000);
    const auto two = sockets::listening(AF_INET, 5001);
    const Result result = kavonet({"ports", "check", "5000-5010"});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("TCP ports 5000-5010: in use; listening: 5000, 5001\n", result.out);
    EXPECT_EQ("", result.err);
    const auto udp = sockets::bound(AF_INET, SOCK_DGRAM, 53);
    EXPECT_EQ("UDP port 53: in use\n", kavonet({"ports", "check", "53", "--udp"}).out);
}

TEST_F(PortsCommand, AnyUserMayAsk)
{
    const auto listener = sockets::listening(AF_INET, 5000);
    const Result result = kavonet({"ports", "check", "5000"}, {.user = 65534});
    if (result.status == 125)
        GTEST_SKIP() << "no other user here";
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("TCP port 5000: in use; listening: 5000\n", result.out);
}

// ---- failures

TEST_F(PortsCommand, WhatCannotBeToldIsNotCalledFree)
{
    empty_proc_net();
    for (const std::vector<std::string> &words :
         std::vector<std::vector<std::string>>{{"ports", "check", "5000"}, {"ports", "list"}}) {
        const Result result = kavonet(words, NO_LEAK_SEARCH);
        EXPECT_EQ(1, result.status);
        EXPECT_EQ("", result.out);
        EXPECT_THAT(result.err,
                    HasSubstr(": /proc/net/tcp cannot be read\n  what to do: check that /proc is mounted\n"));
    }
    const Result udp = kavonet({"ports", "check", "5000", "--udp", "--json"}, NO_LEAK_SEARCH);
    EXPECT_EQ(1, udp.status);
    EXPECT_EQ("/proc/net/udp cannot be read", Json(udp.err)["error"]["reason"].text());
    EXPECT_EQ("cannot check UDP port 5000", Json(udp.err)["error"]["message"].text());
}

TEST_F(PortsCommand, AMachineWithoutIpv6IsAnOrdinaryOne)
{
    empty_proc_net();
    support::write_file("/proc/net/tcp",
                        "   0: 0100007F:1388 00000000:0000 0A 00000000:00000000 00:00000000 00000000     0    "
                        "    0 1 1 0000000000000000 100 0 0 10 0\n");
    EXPECT_THAT(listed({}, NO_LEAK_SEARCH), ElementsAre(5000));
    checked({"5000"}, 1, NO_LEAK_SEARCH);
    checked({"5001"}, 0, NO_LEAK_SEARCH);
}

TEST_F(PortsCommand, ANegativeAnswerThatCannotBeWrittenIsAFailureToo)
{
    const auto listener = sockets::listening(AF_INET, 5000);
    const Result result = kavonet({"ports", "check", "5000"}, {.output = "/dev/full"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("cannot write the output: No space left on device"));
}

} // namespace cli_test
