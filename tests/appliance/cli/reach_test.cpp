// kavonet reach
#include "host_commands.h"

#include <chrono>

namespace cli_test {

using support::write_file;
using testing::HasSubstr;

class ReachCommand : public HostCommand {
protected:
    static Json reached(std::vector<std::string> words, int status)
    {
        words.insert(words.begin(), {"reach", "--json"});
        const Result result = kavonet(words);
        EXPECT_EQ(status, result.status);
        EXPECT_EQ("", result.err);
        return Json(result.out);
    }
};

TEST_F(ReachCommand, AnswersByItsExitStatus)
{
    const auto listener = sockets::listening(AF_INET, 5000);
    write_file("/etc/hosts", "127.0.0.1 storage.lan\n");
    const Json yes = reached({"storage.lan", "5000"}, 0);
    EXPECT_EQ("storage.lan", yes["host"].text());
    EXPECT_EQ(5000, yes["port"].number());
    EXPECT_TRUE(yes["reachable"].yes());
    EXPECT_EQ(5, yes["timeout"].number());
    const Json no = reached({"127.0.0.1", "5001", "--timeout", "2"}, 1);
    EXPECT_FALSE(no["reachable"].yes());
    EXPECT_EQ(2, no["timeout"].number());
}

TEST_F(ReachCommand, IsASentenceForPeople)
{
    const auto listener = sockets::listening(AF_INET6, 5000);
    const Result yes = kavonet({"reach", "::1", "5000"});
    EXPECT_EQ(0, yes.status);
    EXPECT_EQ("::1 port 5000 accepts connections\n", yes.out);
    const Result no = kavonet({"reach", "127.0.0.1", "5000"});
    EXPECT_EQ(1, no.status);
    EXPECT_EQ("127.0.0.1 port 5000 does not accept connections: refused, or no answer within 5 s\n", no.out);
    EXPECT_EQ("", no.err);
}

TEST_F(ReachCommand, WaitsAsLongAsItIsTold)
{
    const auto filtered = sockets::listening(AF_INET, 5000);
    sockets::deafen(filtered);
    for (const char *timeout : {"1", "1.0"}) {
        const auto start = std::chrono::steady_clock::now();
        reached({"127.0.0.1", "5000", "--timeout", timeout}, 1);
        const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        EXPECT_GE(took, 1);
        EXPECT_LT(took, 11);
    }
    EXPECT_EQ(2, reached({"127.0.0.1", "5000", "--timeout=1.5"}, 1)["timeout"].number()) << "whole seconds";
}

TEST_F(ReachCommand, ShowsProgress)
{
    const auto filtered = sockets::listening(AF_INET, 5000);
    sockets::deafen(filtered);
    const Result result = at_terminal({"reach", "127.0.0.1", "5000", "--timeout", "3"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.out, testing::ContainsRegex(" connecting to 127\\.0\\.0\\.1 port 5000 \\([0-9]+ s\\)"));
    EXPECT_THAT(result.out, HasSubstr("no answer within 3 s"));
}

TEST_F(ReachCommand, ReachesAHostThatOnlyNetbiosKnows)
{
    const auto listener = sockets::listening(AF_INET, 5000, "127.0.0.5");
    netbios("127.0.0.5 printer<00>\n");
    reached({"printer", "5000"}, 0);
    reached({"printer", "5001"}, 1);
}

TEST_F(ReachCommand, TellsAHostThatNobodyKnows)
{
    const Result result = kavonet({"reach", "nobody.lan", "80"});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.out);
    EXPECT_EQ("kavonet: cannot reach nobody.lan: no name server knows an address of it\n"
              "  what to do: check the spelling, and the name servers in /etc/resolv.conf\n",
              result.err);
    const Result json = kavonet({"reach", "nobody", "80", "--json"});
    EXPECT_EQ("", json.out);
    EXPECT_THAT(Json(json.err)["error"]["reason"].text(), HasSubstr("nor NetBIOS"));
}

TEST_F(ReachCommand, EchoesHostileNamesSafely)
{
    write_file("/etc/hosts", "");
    netbios("127.0.0.9 x\033y<00>\n");
    EXPECT_THAT(kavonet({"reach", "x\033y", "80", "--timeout", "1"}).out,
                testing::StartsWith("x\\x1by port 80 does not accept connections"));
}

} // namespace cli_test
