// kavonet external-ip
#include "command.h"

#include <unistd.h>

namespace cli_test {

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr char DAEMON[] = "/usr/kavo/sbin/ddnsd";

class ExternalIpCommand : public Command {
protected:
    static void daemon(const std::string &answer, int status = 0, const std::string &first = "")
    {
        support::write_file("/run/answer", answer);
        script(DAEMON, "record_call \"$0\" \"$@\"\n" + first +
                           "\nmkdir -p /run/ddns; cat /run/answer >/run/ddns/externalIP.result\nexit " +
                           std::to_string(status));
    }

    static std::string failure(const std::vector<std::string> &words = {"external-ip"})
    {
        const Result result = kavonet(words);
        EXPECT_EQ(1, result.status);
        EXPECT_EQ("", result.out);
        return result.err;
    }
};

} // namespace

TEST_F(ExternalIpCommand, PrintsTheAddressAlone)
{
    daemon("externalIP=203.0.113.7\n");
    const Result result = kavonet({"external-ip"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("203.0.113.7\n", result.out);
    EXPECT_EQ("", result.err);
    EXPECT_EQ("203.0.113.7", Json(kavonet({"external-ip", "--json"}).out)["address"].text());
    EXPECT_THAT(calls(), ElementsAre("[/usr/kavo/sbin/ddnsd] [-e]", "[/usr/kavo/sbin/ddnsd] [-e]"));
}

TEST_F(ExternalIpCommand, ShowsProgress)
{
    daemon("externalIP=203.0.113.7\n", 0, "sleep 1.5");
    const Result result = at_terminal({"external-ip"});
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(result.out, HasSubstr(" asking the dynamic-DNS daemon (1 s)"));
    EXPECT_THAT(result.out, testing::EndsWith("\r\033[K203.0.113.7\r\n"));
}

TEST_F(ExternalIpCommand, TellsHowFarItGot)
{
    EXPECT_THAT(failure(), HasSubstr("cannot tell the external address: /usr/kavo/sbin/ddnsd cannot be run ("));
    daemon("externalIP=203.0.113.7\n", 1);
    EXPECT_THAT(failure(), HasSubstr(": the dynamic-DNS daemon gave none\n"));
    EXPECT_THAT(failure({"external-ip", "-v"}), HasSubstr("Failed to get external IP by /usr/kavo/sbin/ddnsd, err=1"));
    daemon("other=1\n");
    EXPECT_EQ("the dynamic-DNS daemon gave none", Json(failure({"external-ip", "--json"}))["error"]["reason"].text());
}

TEST_F(ExternalIpCommand, DoesNotPassOnWhatIsNoAddress)
{
    for (const char *answer : {"", "unknown", "1.2.3", "300.1.1.1"}) {
        daemon(std::string("externalIP=") + answer + "\n");
        EXPECT_THAT(failure(), HasSubstr("cannot tell the external address: the dynamic-DNS daemon gave \"")) << answer;
    }
    daemon("externalIP=1\033[31m\n");
    EXPECT_THAT(failure(), HasSubstr("gave \"1\\x1b[31m\", which is none\n"));
}

TEST_F(ExternalIpCommand, WhoIsNotRootIsTold)
{
    daemon("externalIP=203.0.113.7\n", 1);
    const Result result = kavonet({"external-ip"}, {.user = 65534});
    if (result.status == 125)
        GTEST_SKIP() << "no other user here";
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("\n  what to do: run it as root"));
}

} // namespace cli_test
