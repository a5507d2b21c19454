// kavonet dhcp
#include "command.h"

#include <unistd.h>

namespace cli_test {

using support::write_file;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr char CLIENT[] = "/usr/sbin/dhclient";
constexpr char INFO[] = "/etc/dhclient/ipv4/dhcpcd-eth0.info";

class DhcpCommand : public Command {
protected:
    void SetUp() override
    {
        Command::SetUp();
        if (IsSkipped())
            return;
        shell("[ /var/run -ef /run ] || { rm -rf /var/run; ln -s /run /var/run; }; rm -f /run/dhclient-script");
        write_file("/etc/dhclient/dhclient-script", "#!/bin/sh\n", 0755);
        client("IPADDR=192.0.2.10\nNETMASK=255.255.255.0\n");
    }

    // A client that leaves this answer.
    static void client(const std::string &answer, int status = 0, const std::string &first = "")
    {
        write_file("/run/answer", answer);
        script(CLIENT, "record_call \"$0\" \"$@\"\n" + first + "\ncat /run/answer >" + INFO + "\nexit " +
                           std::to_string(status));
    }

    static std::string failure(const std::vector<std::string> &words = {"dhcp", "probe", "eth0"})
    {
        const Result result = kavonet(words);
        EXPECT_EQ(1, result.status);
        EXPECT_EQ("", result.out);
        return result.err;
    }
};

} // namespace

TEST_F(DhcpCommand, ProbeShowsTheOfferAndChangesNothing)
{
    const std::string configured = support::read_file(ifcfg("eth0"));
    const std::string before = shell("ip -4 -o address show dev eth0; ip route show; ip -o link show eth0");
    const Result result = kavonet({"dhcp", "probe", "eth0"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("eth0: a DHCP server offers 192.0.2.10/24\n", result.out);
    EXPECT_EQ("", result.err);
    EXPECT_EQ(before, shell("ip -4 -o address show dev eth0; ip route show; ip -o link show eth0"));
    EXPECT_EQ(configured, support::read_file(ifcfg("eth0")));
    EXPECT_THAT(calls(), ElementsAre(HasSubstr("[/usr/sbin/dhclient] [-d] [-q] [--kavo_test] ")));
}

TEST_F(DhcpCommand, ProbeAsJson)
{
    const Json offer(kavonet({"dhcp", "probe", "eth0", "--json"}).out);
    EXPECT_EQ("eth0", offer["name"].text());
    EXPECT_EQ("192.0.2.10", offer["address"].text());
    EXPECT_EQ("255.255.255.0", offer["mask"].text());
    EXPECT_EQ(24, offer["prefix"].number());
}

TEST_F(DhcpCommand, ProbeShowsProgress)
{
    client("IPADDR=192.0.2.10\nNETMASK=255.255.255.0\n", 0, "sleep 1.5");
    const Result result = at_terminal({"dhcp", "probe", "eth0"});
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(result.out, HasSubstr(" asking for a DHCP server on eth0 (1 s)"));
    EXPECT_THAT(result.out, testing::EndsWith("\r\033[Keth0: a DHCP server offers 192.0.2.10/24\r\n"));
}

TEST_F(DhcpCommand, ProbeWithoutAServer)
{
    client("", 2);
    EXPECT_THAT(failure(),
                testing::MatchesRegex(
                    "kavonet: cannot probe DHCP on eth0: no DHCP server offered an address \\(0x2A00, "
                    "net_get_dhcp_test_net_info\\.cpp:44\\)\n  what to do: check the cable of eth0 [^\n]*\n"));
    const Json error = Json(failure({"dhcp", "probe", "eth0", "--json"}))["error"];
    EXPECT_EQ("0x2A00", error["code"].text());
    EXPECT_EQ("no DHCP server offered an address", error["reason"].text());
    EXPECT_EQ(44, error["line"].number());
}

TEST_F(DhcpCommand, ProbeWithAnIncompleteAnswer)
{
    for (const char *answer : {"", "IPADDR=192.0.2.10\n", "NETMASK=255.255.255.0\n"}) {
        client(answer);
        const std::string text = failure();
        EXPECT_THAT(text, HasSubstr("it lacks the address or the mask")) << answer;
        EXPECT_THAT(text, HasSubstr(INFO)) << answer;
    }
}

TEST_F(DhcpCommand, ProbeWithoutAClientOrItsScript)
{
    ASSERT_EQ(0, unlink("/etc/dhclient/dhclient-script"));
    EXPECT_THAT(failure(), HasSubstr("the client's script could not be copied to /var/run/dhclient-script"));
    EXPECT_THAT(calls(), IsEmpty());
    ASSERT_EQ(0, unlink(CLIENT));
    EXPECT_THAT(failure(), HasSubstr("/usr/sbin/dhclient cannot be run\n  what to do: install the DHCP client\n"));
}

TEST_F(DhcpCommand, ProbeOfWhatIsNoCard)
{
    EXPECT_THAT(failure({"dhcp", "probe", "eth7"}), HasSubstr("there is no interface of that name"));
    EXPECT_THAT(failure({"dhcp", "probe", "eth7"}), HasSubstr("did you mean eth0?"));
    EXPECT_THAT(failure({"dhcp", "probe", "lo"}), HasSubstr("cannot probe DHCP on lo: it is the loopback\n"));
    EXPECT_THAT(failure({"dhcp", "probe", "../eth0"}), HasSubstr("cannot probe DHCP on ../eth0: "));
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(DhcpCommand, WhatTheServerSaysDoesNotCommandTheTerminal)
{
    client("IPADDR=1\033[31m\xFF\nNETMASK=255.255.255.0\n");
    EXPECT_EQ("eth0: a DHCP server offers 1\\x1b[31m\\xff/24\n", kavonet({"dhcp", "probe", "eth0"}).out);
    EXPECT_EQ("1\033[31m\xEF\xBF\xBD", Json(kavonet({"dhcp", "probe", "eth0", "--json"}).out)["address"].text());
}

TEST_F(DhcpCommand, WhoIsNotRootIsTold)
{
    client("", 2);
    const Result result = kavonet({"dhcp", "probe", "eth0"}, {.user = 65534});
    if (result.status == 125)
        GTEST_SKIP() << "no other user here";
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("\n  what to do: run it as root"));
}

} // namespace cli_test
