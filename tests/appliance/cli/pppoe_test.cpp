// kavonet pppoe
#include "command.h"

#include <csignal>

#include <sys/stat.h>
#include <unistd.h>

namespace cli_test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class PppoeCommand : public Command {
protected:
    static constexpr char CLIENT_FILE[] = "/etc/ppp/pppoe.conf";
    static constexpr char SECRETS[] = "/etc/ppp/pap-secrets";
    static constexpr char SETTINGS[] = "/etc/kavoinfo.conf";

    // The client's scripts keep a process that is called as the real one.
    void SetUp() override
    {
        Command::SetUp();
        if (IsSkipped())
            return;
        shell("rm -rf /etc/ppp; mkdir /etc/ppp; cp /bin/sleep /usr/sbin/pppoe-connect");
        support::write_file(CLIENT_FILE,
                            "# the client\nETH=eth9\nUSER='nobody'\nDEFAULTROUTE=no\nMTU=1412\nDEMAND=no\n");
        support::write_file(SECRETS, "'nobody'\t*\tolder\n", 0600);
        support::write_file(SETTINGS, "pppoe_enable=\"no\"\n");
        script("/usr/sbin/pppoe-start",
               "record_call \"$0\" \"$@\"\n/usr/sbin/pppoe-connect 300 </dev/null >/dev/null 2>&1 &\n"
               "echo $! >/run/connect.pid");
        script("/usr/sbin/pppoe-stop", "record_call \"$0\" \"$@\"\nkill $(cat /run/connect.pid)");
        record("/usr/sbin/pppoe-status", 0, "ppp0      Link encap:Point-to-Point Protocol");
    }

    void TearDown() override
    {
        const std::string pid = IsSkipped() ? "" : support::read_file("/run/connect.pid");
        if (!pid.empty())
            kill(std::stoi(pid), SIGKILL);
        Command::TearDown();
    }

    static Result set(const char *password, std::vector<std::string> more = {})
    {
        std::vector<std::string> words = {"pppoe", "set", "eth0", "user@example.net"};
        words.insert(words.end(), more.begin(), more.end());
        return kavonet(words, {.input = password});
    }

    static std::string settings() { return support::read_file(SETTINGS); }
    static std::string secrets() { return support::read_file(SECRETS); }
};

TEST_F(PppoeCommand, ShowTellsEverythingButThePassword)
{
    const Result result = kavonet({"pppoe", "show"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_THAT(result.out, testing::ContainsRegex("\neth9 +nobody +set +1412 +no\n"));
    const Result json = kavonet({"pppoe", "show", "--json"});
    const Json shown(json.out);
    EXPECT_EQ("eth9", shown["interface"].text());
    EXPECT_EQ("nobody", shown["user"].text());
    EXPECT_EQ("1412", shown["mtu"].text());
    EXPECT_TRUE(shown["password_set"].yes());
    EXPECT_FALSE(shown["default_route"].yes());
    EXPECT_THAT(result.out + result.err + json.out + json.err, Not(HasSubstr("older")));
}

TEST_F(PppoeCommand, ShowOfSettingsWithoutAUser)
{
    support::write_file(CLIENT_FILE, "ETH=eth9\n");
    const Json shown(kavonet({"pppoe", "show", "--json"}).out);
    EXPECT_TRUE(shown["user"].is_null());
    EXPECT_TRUE(shown["mtu"].is_null());
    EXPECT_FALSE(shown["password_set"].yes());
    EXPECT_THAT(kavonet({"pppoe", "show"}).out, testing::ContainsRegex("\neth9 +- +- +- +no\n"));
}

TEST_F(PppoeCommand, ShowOfHostileTextIsPrintable)
{
    support::write_file(CLIENT_FILE, "ETH=\x1b[2J\nUSER='\x1b]0;x\xff'\n");
    support::write_file(SECRETS, "'\x1b]0;x\xff' * x\n", 0600);
    EXPECT_THAT(kavonet({"pppoe", "show"}).out, HasSubstr("\\x1b[2J"));
    EXPECT_EQ("\x1b]0;x\xef\xbf\xbd", Json(kavonet({"pppoe", "show", "--json"}).out)["user"].text());
}

TEST_F(PppoeCommand, ShowWithoutSettingsSaysWhatToDo)
{
    unlink(CLIENT_FILE);
    const Result result = kavonet({"pppoe", "show"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("cannot show the PPPoE settings"));
    EXPECT_THAT(result.err, HasSubstr("kavonet pppoe set"));
}

TEST_F(PppoeCommand, SetTakesThePasswordFromStandardInput)
{
    const Result result = set("s3cret word\n", {"--default-route", "--mtu", "1480"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("PPPoE over eth0 as user@example.net is configured; kavonet pppoe start puts it in force\n", result.out);
    EXPECT_EQ("", result.err);
    EXPECT_EQ("# the client\nETH=eth0\nUSER='user@example.net'\nDEFAULTROUTE=yes\nMTU=1480\nDEMAND=no\n",
              support::read_file(CLIENT_FILE));
    EXPECT_EQ("'user@example.net'\t*\ts3cret word\n", secrets());
    struct stat status {};
    ASSERT_EQ(0, stat(SECRETS, &status));
    EXPECT_EQ(0600U, status.st_mode & 07777U);
    EXPECT_THAT(calls(), testing::IsEmpty());
}

TEST_F(PppoeCommand, SetWithoutOptionsTakesTheUsualValues)
{
    const Result result = set("x", {"--json"}); // without a newline
    const Json shown(result.out);
    EXPECT_EQ("eth0", shown["interface"].text());
    EXPECT_EQ("1492", shown["mtu"].text());
    EXPECT_FALSE(shown["default_route"].yes());
    EXPECT_TRUE(shown["password_set"].yes());
    EXPECT_EQ("'user@example.net'\t*\tx\n", secrets());
}

TEST_F(PppoeCommand, SetAsksAtATerminalWithoutEcho)
{
    const Result result =
        at_terminal({"pppoe", "set", "eth0", "o'neil"}, {.prompt = "Password of o'neil: ", .typed = "s3cret\n"});
    EXPECT_EQ(0, result.status) << result.out;
    EXPECT_THAT(result.out, Not(HasSubstr("s3cret")));
    EXPECT_THAT(result.out, HasSubstr("Password of o'neil: \r\nPPPoE over eth0 as o'neil is configured"));
    EXPECT_EQ("'o'\"'\"'neil'\t*\ts3cret\n", secrets());
}

TEST_F(PppoeCommand, AnInterruptAtThePromptEndsItAndNothingIsWritten)
{
    for (const char *key : {"\x03", "\x1c"}) { // Ctrl-C, Ctrl-backslash
        const Result result = at_terminal({"pppoe", "set", "eth0", "user"}, {.prompt = "Password", .typed = key});
        EXPECT_EQ(128 + (*key == '\x03' ? SIGINT : SIGQUIT), result.status);
    }
    EXPECT_EQ(1, at_terminal({"pppoe", "set", "eth0", "user"}, {.prompt = "Password", .typed = "\x04"}).status);
    EXPECT_EQ("'nobody'\t*\tolder\n", secrets());
}

TEST_F(PppoeCommand, TheTerminalEchoesAgainAfterwards)
{
    support::write_file("/tmp/try",
                        "#!/bin/sh\ntrap : INT\n" KAVO_BUILD_DIR "/bin/kavonet pppoe set eth0 user\nstty -a\n", 0755);
    for (const char *typed : {"s3cret\n", "\x03"}) {
        support::write_file("/tmp/typed", typed);
        // It is typed at the prompt, and the terminal stays until the script has ended. No shell may stand above the
        // script: an interrupt would end it, and with it the terminal.
        const std::string seen = shell(
            "rm -f /tmp/seen /tmp/ended; soon() { for i in $(seq 1200); do ! \"$@\" || break; sleep 0.05; done; }; "
            "{ soon grep -qs 'Password of user: ' /tmp/seen; cat /tmp/typed; soon test -e /tmp/ended; } | "
            "{ script -qefc 'exec /tmp/try' /tmp/seen; touch /tmp/ended; }");
        EXPECT_THAT(seen, HasSubstr("Password of user: "));
        EXPECT_THAT(seen, Not(HasSubstr("s3cret")));
        EXPECT_THAT(seen, testing::ContainsRegex("[^-]echo echoe")) << typed;
    }
}

TEST_F(PppoeCommand, ThePasswordIsNeverAnArgument)
{
    EXPECT_EQ(2, set("x", {"s3cret"}).status);
    EXPECT_EQ(2, set("x", {"--password", "s3cret"}).status);
    EXPECT_EQ("'nobody'\t*\tolder\n", secrets());
}

TEST_F(PppoeCommand, PasswordsThatCannotBeStoredAreRefused)
{
    const std::string of_31(31, 'p');
    const std::string of_1023(1023, 'p');
    for (const std::string &password : {std::string(), std::string("\n"), std::string("a\nb\n"), std::string("a\n\n"),
                                        std::string("a\r\n"), of_31 + "p", of_1023, of_1023 + "p", of_1023 + of_1023,
                                        std::string(" a"), std::string("a "), std::string("\ta")}) {
        const Result result = set(password.c_str());
        EXPECT_EQ(1, result.status) << password;
        EXPECT_THAT(result.err, HasSubstr("kavonet: cannot take the password: ")) << password;
        EXPECT_THAT(result.err, HasSubstr("standard input"));
        EXPECT_THAT(result.out + result.err, Not(HasSubstr("ppp")));
    }
    EXPECT_EQ("'nobody'\t*\tolder\n", secrets());
    EXPECT_EQ(0, set((of_31 + "\n").c_str()).status);
    EXPECT_EQ("'user@example.net'\t*\t" + of_31 + "\n", secrets());
}

TEST_F(PppoeCommand, UsersThatCannotBeStoredAreRefused)
{
    for (const std::string &user :
         {std::string(), std::string("a\nb"), std::string("a\r"), std::string("a*b"), std::string(256, 'u')}) {
        const Result result = kavonet({"pppoe", "set", "eth0", user}, {.input = "x"});
        EXPECT_EQ(2, result.status) << user;
        EXPECT_THAT(result.err, HasSubstr("the user's name"));
    }
    EXPECT_EQ("'nobody'\t*\tolder\n", secrets());
    const Result result = kavonet({"pppoe", "set", "eth0", std::string(255, 'u')}, {.input = "x"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("cannot be read back"));
}

TEST_F(PppoeCommand, SetOfAnInterfaceThatIsNotThere)
{
    const Result result = kavonet({"pppoe", "set", "eth7", "user"}, {.input = "x"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("there is no interface of that name"));
    EXPECT_EQ(2, set("x", {"--mtu", "1501"}).status);
    EXPECT_EQ(2, set("x", {"--mtu", "127"}).status);
    EXPECT_EQ(2, set("x", {"--mtu", "1492;id"}).status);
    EXPECT_EQ("'nobody'\t*\tolder\n", secrets());
}

TEST_F(PppoeCommand, SetKeepsAPasswordThatIsStored)
{
    EXPECT_EQ(0, kavonet({"pppoe", "set", "eth0", "nobody", "--keep-password"}, {.input = ""}).status);
    EXPECT_EQ("'nobody'\t*\tolder\n", secrets());
    EXPECT_THAT(support::read_file(CLIENT_FILE), HasSubstr("ETH=eth0\n"));
    const Result result = set("", {"--keep-password"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("no password of this user is stored"));
}

TEST_F(PppoeCommand, SetThatFailsSaysWhy)
{
    unlink(CLIENT_FILE);
    Result result = set("s3cret");
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err,
                HasSubstr("cannot store the PPPoE settings: a file could not be opened or created (0x0900"));
    EXPECT_THAT(result.err, Not(HasSubstr("s3cret")));
    result = kavonet({"pppoe", "set", "eth0", "user", "-v"}, {.input = "s3cret"});
    EXPECT_THAT(result.err, HasSubstr("Failed to edit /etc/ppp/pppoe.conf"));
    EXPECT_THAT(result.err, Not(HasSubstr("s3cret")));
    result = kavonet({"pppoe", "set", "eth0", "user"}, {.input = "s3cret", .user = 65534});
    if (result.status == 125)
        GTEST_SKIP() << "no other user here";
    EXPECT_THAT(result.err, HasSubstr("run it as root"));
}

TEST_F(PppoeCommand, StartStatusAndStop)
{
    add_card("ppp0", "10.64.0.2/32");
    EXPECT_EQ("PPPoE is not running\n", kavonet({"pppoe", "status"}).out);
    Result result = kavonet({"pppoe", "start"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("PPPoE is running on ppp0 with 10.64.0.2/32\n", result.out);
    EXPECT_EQ("pppoe_enable=\"yes\"\n", settings());
    EXPECT_EQ(result.out, kavonet({"pppoe", "status"}).out);
    const Json running(kavonet({"pppoe", "status", "--json"}).out);
    EXPECT_TRUE(running["running"].yes());
    EXPECT_EQ("ppp0", running["interface"].text());
    EXPECT_EQ("10.64.0.2", running["address"].text());
    EXPECT_EQ("255.255.255.255", running["mask"].text());
    EXPECT_EQ(32, running["prefix"].number());
    result = kavonet({"pppoe", "stop"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("PPPoE is not running\n", result.out);
    EXPECT_EQ("pppoe_enable=\"no\"\n", settings());
    const Json stopped(kavonet({"pppoe", "status", "--json"}).out);
    EXPECT_FALSE(stopped["running"].yes());
    EXPECT_TRUE(stopped["interface"].is_null());
    EXPECT_TRUE(stopped["address"].is_null());
}

TEST_F(PppoeCommand, AConnectionWhoseInterfaceCannotBeToldRunsAllTheSame)
{
    EXPECT_EQ("PPPoE is running\n", kavonet({"pppoe", "start"}).out);
    EXPECT_TRUE(Json(kavonet({"pppoe", "status", "--json"}).out)["interface"].is_null());
}

TEST_F(PppoeCommand, StartSaysWhyItFailed)
{
    record("/usr/sbin/pppoe-start", 19);
    Result result = kavonet({"pppoe", "start"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("the server refuses the user or the password"));
    EXPECT_EQ("pppoe_enable=\"no\"\n", settings());
    record("/usr/sbin/pppoe-start", 1);
    result = kavonet({"pppoe", "start"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("no server answers"));
    unlink("/usr/sbin/pppoe-start");
    result = kavonet({"pppoe", "start", "--json"});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("0x2A00", Json(result.err)["error"]["code"].text());
}

TEST_F(PppoeCommand, RepairSwitchesADeadConnectionOff)
{
    support::write_file(SETTINGS, "pppoe_enable=\"yes\"\n");
    EXPECT_EQ("PPPoE is not running\n", kavonet({"pppoe", "status"}).out);
    EXPECT_EQ("pppoe_enable=\"yes\"\n", settings());
    EXPECT_EQ("PPPoE is not running\n", kavonet({"pppoe", "status", "--repair"}).out);
    EXPECT_EQ("pppoe_enable=\"no\"\n", settings());
}

TEST_F(PppoeCommand, AStatusThatCannotBeToldIsAFailure)
{
    unlink(SETTINGS);
    const Result result = kavonet({"pppoe", "status"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("cannot tell whether PPPoE runs"));
}

} // namespace cli_test
