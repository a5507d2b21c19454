// What is different at a terminal: colours and progress.
#include "command.h"

#include <chrono>

namespace cli_test {

using testing::HasSubstr;
using testing::Not;

class AtATerminal : public Command {
protected:
    static void start_slowly() { script("/usr/kavo/bin/unit", "[ \"$1\" != start ] || sleep 3"); }
};

TEST_F(AtATerminal, TablesAreColoured)
{
    const Result result = at_terminal({"if", "list"});
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(result.out, HasSubstr("\033[32mup"));
    EXPECT_THAT(result.out, HasSubstr("eth0"));
    EXPECT_THAT(at_terminal({"if", "show", "eth0"}).out, HasSubstr("\033["));
}

TEST_F(AtATerminal, NobodyIsColouredAgainstTheirWill)
{
    const Environment plain[] = {{{"NO_COLOR", "1"}}, {{"TERM", "dumb"}}, {{"TERM", ""}}};
    for (const Environment &environment : plain) {
        const Result result = at_terminal({"if", "list"}, {.environment = environment});
        EXPECT_EQ(0, result.status);
        EXPECT_THAT(result.out, HasSubstr("eth0"));
        EXPECT_THAT(result.out, Not(HasSubstr("\033"))) << testing::PrintToString(environment);
    }
    // An empty NO_COLOR says nothing.
    EXPECT_THAT(at_terminal({"if", "list"}, {.environment = {{"NO_COLOR", ""}}}).out, HasSubstr("\033["));
}

TEST_F(AtATerminal, JsonIsNeverColoured)
{
    EXPECT_THAT(at_terminal({"if", "list", "--json"}).out, Not(HasSubstr("\033")));
}

TEST_F(AtATerminal, APipeGetsNoControlCharacters)
{
    for (const std::vector<std::string> &words : std::vector<std::vector<std::string>>{{"if", "list"},
                                                                                       {"if", "show", "eth0"},
                                                                                       {"status"},
                                                                                       {"stat"},
                                                                                       {"ipv4", "show"},
                                                                                       {"dns", "show"},
                                                                                       {"gateway", "show"},
                                                                                       {"route", "show"},
                                                                                       {"hostname", "show"},
                                                                                       {"topology", "show"},
                                                                                       {"--help"}})
        EXPECT_THAT(kavonet(words, {.environment = {{"TERM", "xterm"}}}).out,
                    Not(testing::ContainsRegex("[\001-\011\013-\037]")));
}

TEST_F(AtATerminal, WhatTakesLongShowsItsProgress)
{
    start_slowly();
    const Result result = at_terminal({"ipv4", "dhcp", "eth0"});
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(result.out, testing::ContainsRegex("\r\033\\[K[-|/\\\\] starting DHCP on eth0 \\([0-9]+ s\\)"));
    // It is gone before the result is printed.
    EXPECT_THAT(result.out, testing::ContainsRegex("\\([0-9]+ s\\)\r\033\\[Keth0: static"));
}

TEST_F(AtATerminal, SlowReloadsShowTheirProgress)
{
    script("/usr/kavo/bin/unit", "[ \"$1\" != reload ] || sleep 3");
    EXPECT_THAT(at_terminal({"hostname", "set", "nas2"}).out,
                testing::ContainsRegex("\r\033\\[K[-|/\\\\] setting the host name to nas2 \\([0-9]+ s\\)"));
    EXPECT_THAT(at_terminal({"dns", "set", "10.0.0.7"}).out,
                testing::ContainsRegex("\r\033\\[K[-|/\\\\] changing the name servers \\([0-9]+ s\\)"));
}

TEST_F(AtATerminal, WhatIsQuickShowsNoProgress)
{
    // A busy machine may take long even for this, which then is not quick.
    for (int attempt = 0; attempt < 5; ++attempt) {
        const auto start = std::chrono::steady_clock::now();
        const std::string out = at_terminal({"ipv4", "dhcp", "eth0"}).out;
        if (std::chrono::steady_clock::now() - start < std::chrono::seconds(1)) {
            EXPECT_THAT(out, Not(HasSubstr("starting DHCP")));
            return;
        }
    }
    GTEST_SKIP() << "nothing is quick on this machine";
}

TEST_F(AtATerminal, ProgressStaysOutOfPipesLogLinesAndDumbTerminals)
{
    start_slowly();
    EXPECT_EQ("", kavonet({"ipv4", "dhcp", "eth0"}).err);
    EXPECT_THAT(at_terminal({"ipv4", "dhcp", "eth0", "-v"}).out, Not(HasSubstr("starting DHCP")));
    EXPECT_THAT(at_terminal({"ipv4", "dhcp", "eth0"}, {.environment = {{"TERM", "dumb"}}}).out,
                Not(HasSubstr("starting DHCP")));
}

TEST_F(AtATerminal, AFailureFollowsTheProgressOnALineOfItsOwn)
{
    script("/usr/kavo/bin/unit", "[ \"$1\" != start ] || { sleep 3; exit 1; }");
    const Result result = at_terminal({"ipv4", "dhcp", "eth0"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.out, testing::ContainsRegex("\r\033\\[Kkavonet: cannot put eth0 on DHCP: "));
}

} // namespace cli_test
