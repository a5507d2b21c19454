// What holds for every command: help, usage errors, failures, output that cannot be written.
#include "command.h"

namespace cli_test {

using testing::HasSubstr;
using testing::Not;

TEST_F(Command, WithoutANounPrintsHelpToStandardErrorAndIsMisused)
{
    const Result result = kavonet({});
    EXPECT_EQ(2, result.status);
    EXPECT_EQ("", result.out);
    EXPECT_THAT(result.err, HasSubstr("Usage: kavonet [OPTIONS] SUBCOMMAND"));
    for (const std::string &noun : NOUNS)
        EXPECT_THAT(result.err, testing::ContainsRegex("\n  " + noun + " ")) << noun;
}

TEST_F(Command, WithoutAVerbPrintsTheHelpOfTheNoun)
{
    const Result result = kavonet({"if"});
    EXPECT_EQ(2, result.status);
    EXPECT_THAT(result.err, HasSubstr("Usage: kavonet if [OPTIONS] SUBCOMMAND"));
    EXPECT_EQ(2, kavonet({"if", "block"}).status);
    EXPECT_THAT(kavonet({"if", "block"}).err, HasSubstr("Usage: kavonet if block [OPTIONS] SUBCOMMAND"));
}

// The words that may follow, as help lists them.
std::vector<std::string> subcommands(const std::string &help)
{
    std::vector<std::string> found;
    const size_t begin = help.find("\nSubcommands:\n");
    if (begin == std::string::npos)
        return found;
    for (const std::string &line :
         support::lines_of(help.substr(begin + 2, help.find("\n\n", begin + 1) - begin - 2))) {
        if (line.rfind("  ", 0) == 0 && line[2] != ' ')
            found.push_back(line.substr(2, line.find(' ', 2) - 2));
    }
    return found;
}

// Asks for the help of these words, and of every word that may follow. Returns how many places that were.
int expect_help(std::vector<std::string> words)
{
    std::string path = "kavonet";
    for (const std::string &word : words)
        path += " " + word;
    words.emplace_back("--help");
    const Result result = kavonet(words);
    words.pop_back();
    EXPECT_EQ(0, result.status) << path;
    EXPECT_EQ("", result.err) << path;
    EXPECT_THAT(result.out, HasSubstr("Usage: " + path + " "));
    EXPECT_THAT(result.out, HasSubstr("--json")) << path;
    int places = 1;
    for (const std::string &word : subcommands(result.out)) {
        words.push_back(word);
        places += expect_help(words);
        words.pop_back();
    }
    return places;
}

TEST_F(Command, HelpOfEveryNounAndVerbGoesToStandardOutput)
{
    EXPECT_EQ(NOUNS, subcommands(kavonet({"--help"}).out));
    EXPECT_EQ((std::vector<std::string>{"show", "static", "dhcp", "flush"}),
              subcommands(kavonet({"ipv4", "--help"}).out));
    EXPECT_GE(expect_help({}), 60);
    EXPECT_THAT(kavonet({"--help"}).out, HasSubstr("Examples:\n  kavonet status\n"));
    EXPECT_THAT(kavonet({"ipv4", "static", "--help"}).out, HasSubstr("  kavonet ipv4 static eth0 192.168.1.5/24\n"));
}

TEST_F(Command, PrintsItsVersion)
{
    const Result result = kavonet({"--version"});
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(result.out, testing::MatchesRegex("kavonet [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(Command, UnknownWordsSuggestTheNearest)
{
    EXPECT_EQ("kavonet: \"kavonet sttus\" is unknown\n"
              "  what to do: did you mean \"kavonet status\"? kavonet --help lists what there is\n",
              kavonet({"sttus"}).err);
    EXPECT_THAT(kavonet({"if", "lst"}).err, HasSubstr("did you mean \"kavonet if list\"?"));
    EXPECT_THAT(kavonet({"if", "block", "sett"}).err, HasSubstr("did you mean \"kavonet if block set\"?"));
    EXPECT_THAT(kavonet({"quite-different"}).err, Not(HasSubstr("did you mean")));
    for (const char *word : {"sttus", "quite-different", "", "-", "--nonsense", "-x"})
        EXPECT_EQ(2, kavonet({word}).status) << word;
}

TEST_F(Command, UsageErrorsAreTwoAndChangeNothing)
{
    const std::vector<std::vector<std::string>> misuses = {{"if", "show"},
                                                           {"if", "show", "eth0", "eth1"},
                                                           {"if", "show", ""},
                                                           {"if", "down", "eth0", "--nonsense"},
                                                           {"if", "list", "--kind"},
                                                           {"if", "list", "--kind", "other"},
                                                           {"if", "rename", "eth0"},
                                                           {"if", "block", "set", "eth0"},
                                                           {"if", "block", "set", "eth0", "other"},
                                                           {"ipv4", "show", ""},
                                                           {"ipv4", "static", "eth0"},
                                                           {"ipv4", "static", "eth0", "10.0.0.6"},
                                                           {"ipv4", "static", "eth0", "10.0.0.6/24", "255.255.255.0"},
                                                           {"ipv4", "dhcp", "eth0", "--wait", "-1"},
                                                           {"ipv4", "dhcp", "eth0", "--wait", "soon"},
                                                           {"ipv4", "dhcp", "eth0", "--wait", "nan"},
                                                           {"ipv4", "dhcp", "eth0", "--wait", "3601"},
                                                           {"ipv4", "dhcp", "eth0", "--wait", ""},
                                                           {"dns", "set"},
                                                           {"dns", "mode"},
                                                           {"dns", "mode", "other"},
                                                           {"dns", "show", "eth0"},
                                                           {"gateway", "set"},
                                                           {"gateway", "set", "10.0.0.1", "10.0.0.2"},
                                                           {"gateway", "clear", "10.0.0.1"},
                                                           {"route", "bind"},
                                                           {"route", "bind", ""},
                                                           {"route", "show", ""},
                                                           {"hostname", "set"},
                                                           {"hostname", "set", "nas1", "nas2"},
                                                           {"topology", "set"},
                                                           {"stat", ""},
                                                           {"stat", "--watch=0"},
                                                           {"stat", "--watch=x"},
                                                           {"stat", "--watch=nan"},
                                                           {"stat", "--watch=1s"},
                                                           {"ports", "list", ""},
                                                           {"ports", "list", "0"},
                                                           {"ports", "list", "65536"},
                                                           {"ports", "list", "-1"},
                                                           {"ports", "list", "--udp"},
                                                           {"ports", "check"},
                                                           {"ports", "check", "2-1"},
                                                           {"ports", "check", "1-"},
                                                           {"ports", "check", "1-2-3"},
                                                           {"ports", "check", "1-65536"},
                                                           {"ports", "check", "ssh"},
                                                           {"ports", "check", "0x50"},
                                                           {"ports", "check", " 80"},
                                                           {"dhcp", "probe"},
                                                           {"dhcp", "probe", ""},
                                                           {"reach", "host"},
                                                           {"reach", "", "80"},
                                                           {"reach", "host", ""},
                                                           {"reach", "host", "0"},
                                                           {"reach", "host", "65536"},
                                                           {"reach", "host", "65616"},
                                                           {"reach", "host", "http"},
                                                           {"reach", "host", "80", "--timeout", "0"},
                                                           {"reach", "host", "80", "--timeout", "3601"},
                                                           {"reach", "host", "80", "--timeout", "x"},
                                                           {"lookup"},
                                                           {"lookup", ""},
                                                           {"lookup", "a", "b"},
                                                           {"wake"},
                                                           {"wake", ""},
                                                           {"wake", "02:11:22:33:44"},
                                                           {"wake", "02:11:22:33:44:5g"},
                                                           {"wake", "02:11:22:33:44-55"},
                                                           {"wake", "02.11.22.33.44.55"},
                                                           {"wake", "0211223344556"},
                                                           {"wake", "02:11:22:33:44:55", ""},
                                                           {"wake", "00:00:00:00:00:00"},
                                                           {"wake", "ff:ff:ff:ff:ff:ff"},
                                                           {"wake", "01:00:5e:00:00:01"},
                                                           {"external-ip", "eth0"},
                                                           {"external_ip"}};
    const std::string before = support::read_file(ifcfg("eth0"));
    for (const auto &words : misuses) {
        const Result result = kavonet(words);
        EXPECT_EQ(2, result.status) << testing::PrintToString(words);
        EXPECT_EQ("", result.out) << testing::PrintToString(words);
        EXPECT_THAT(result.err, testing::StartsWith("kavonet: ")) << testing::PrintToString(words);
        EXPECT_THAT(result.err, HasSubstr("\n  what to do: ")) << testing::PrintToString(words);
    }
    EXPECT_EQ(before, support::read_file(ifcfg("eth0")));
    EXPECT_THAT(shell("ip link show eth0"), HasSubstr(",UP"));
    EXPECT_THAT(calls(), testing::IsEmpty());
}

TEST_F(Command, ErrorsAreJsonWhenAskedFor)
{
    Json error = Json(kavonet({"if", "lst", "--json"}).err)["error"];
    EXPECT_EQ("usage", error["kind"].text());
    EXPECT_EQ("\"kavonet if lst\" is unknown", error["message"].text());
    EXPECT_THAT(error["advice"].text(), HasSubstr("kavonet if list"));
    EXPECT_TRUE(error["code"].is_null());

    const Result failed = kavonet({"--json", "if", "show", "eth7"});
    EXPECT_EQ(1, failed.status);
    EXPECT_EQ("", failed.out);
    error = Json(failed.err)["error"];
    EXPECT_EQ("failed", error["kind"].text());
    EXPECT_EQ("cannot show eth7", error["message"].text());
    EXPECT_EQ("there is no interface of that name", error["reason"].text());
    EXPECT_EQ("0x3600", error["code"].text());
    EXPECT_EQ("NET_ERR_IOCTL_FAILED", error["name"].text());
    EXPECT_EQ("net_get_if_info.cpp", error["file"].text());
    EXPECT_EQ(55, error["line"].number());
    EXPECT_THAT(error["advice"].text(), HasSubstr("did you mean eth0?"));
}

TEST_F(Command, JsonIsTakenInEveryPlace)
{
    const std::string expected = kavonet({"if", "list", "--json"}).out;
    EXPECT_EQ(3U, Json(expected).size());
    EXPECT_EQ(expected, kavonet({"if", "--json", "list"}).out);
    EXPECT_EQ(expected, kavonet({"--json", "if", "list"}).out);
}

TEST_F(Command, NamesOfInterfacesMayBeWordsOfTheCommand)
{
    add_card("list", "", false);
    add_card("stat", "", false);
    EXPECT_EQ("list", Json(kavonet({"if", "show", "list", "--json"}).out)["name"].text());
    EXPECT_EQ("stat", Json(kavonet({"stat", "stat", "--json"}).out)["name"].text());
    shell("ip link add -- -x type veth peer name xp || ip link add name -x type veth peer name xp");
    EXPECT_EQ("-x", Json(kavonet({"if", "show", "--json", "--", "-x"}).out)["name"].text());
}

TEST_F(Command, VerboseShowsTheLogLinesOfTheLibrary)
{
    const std::vector<std::string> failing = {"ipv4", "show", "eth0p"};
    EXPECT_EQ("", kavonet(failing).err);
    std::vector<std::string> verbose = failing;
    verbose.emplace_back("-v");
    const Result result = kavonet(verbose);
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(result.err, testing::ContainsRegex("kavonet: BlKAVOLnxIsDHCP\\([0-9]+\\) Get BOOTPROTO failed"));
    EXPECT_THAT(result.out, Not(HasSubstr("BOOTPROTO")));
}

TEST_F(Command, WhoIsNotRootIsTold)
{
    const Result result = kavonet({"if", "down", "eth0"}, {.user = 65534});
    if (result.status == 125)
        GTEST_SKIP() << "no other user here";
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("kavonet: cannot take eth0 down: the library gave no error code\n"
              "  what to do: run it as root: only root may change the network configuration\n",
              result.err);
    EXPECT_THAT(shell("ip link show eth0"), HasSubstr(",UP"));
    EXPECT_EQ(0, kavonet({"if", "list"}, {.user = 65534}).status);
}

// ---- Output that cannot be written

TEST_F(Command, AFullDiskIsAFailure)
{
    for (const std::vector<std::string> &words :
         std::vector<std::vector<std::string>>{{"if", "list"}, {"if", "list", "--json"}, {"--help"}, {"--version"}}) {
        const Result result = kavonet(words, {.output = "/dev/full"});
        EXPECT_EQ(1, result.status);
        EXPECT_EQ("kavonet: cannot write the output: No space left on device\n", result.err);
    }
}

TEST_F(Command, AClosedOutputIsAFailureAndTakesNoOtherFile)
{
    const Result result = kavonet({"if", "list"}, {.closed_output = true});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("kavonet: cannot write the output: Bad file descriptor\n", result.err);
}

TEST_F(Command, AReaderThatHasGoneNeedsNoMessage)
{
    const Result result = kavonet({"if", "list"}, {.unread_output = true});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.err);
}

} // namespace cli_test
