// kavonet dns
#include "command.h"

#include <sys/stat.h>
#include <unistd.h>

#include "kavo/core.h"

namespace cli_test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class DnsCommand : public Command {
protected:
    static constexpr char IN_USE[] = "/etc/resolv.conf";
    static constexpr char STATIC[] = "/etc/resolv.conf.static";
    static constexpr char LEASED4[] = "/etc/iproute2/config/resolv4.conf";
    static constexpr char LEASED6[] = "/etc/iproute2/config/resolv6.conf";

    void SetUp() override
    {
        Command::SetUp();
        if (IsSkipped())
            return;
        // The machine's own may be a link to somewhere.
        shell("rm -rf /etc/resolv.conf* /etc/iproute2/config");
        support::write_file(IN_USE, "nameserver\t10.0.0.1\n");
    }

    // What a change can have left behind besides its files.
    static std::vector<std::string> temporaries()
    {
        return support::lines_of(shell("ls -d /etc/resolv.conf*.?????? 2>/dev/null | grep -v \\.static$ || true"));
    }
};

TEST_F(DnsCommand, ShowTellsModeAndServers)
{
    support::write_file(IN_USE, "# by hand\nnameserver\t10.0.0.1\nnameserver 2001:db8::53\ndomain\tlab.test\n");
    support::write_file(STATIC, "nameserver\t10.0.0.7\n");
    const Json dns(kavonet({"dns", "show", "--json"}).out);
    EXPECT_EQ("auto", dns["mode"].text());
    ASSERT_EQ(2U, dns["servers"].size());
    EXPECT_EQ("10.0.0.1", dns["servers"][0].text());
    EXPECT_EQ("2001:db8::53", dns["servers"][1].text());
    ASSERT_EQ(1U, dns["static_servers"].size());
    EXPECT_EQ("10.0.0.7", dns["static_servers"][0].text());
    const Result table = kavonet({"dns", "show"});
    EXPECT_EQ(0, table.status);
    EXPECT_THAT(table.out, testing::MatchesRegex("mode +auto\nservers +10\\.0\\.0\\.1, 2001:db8::53\nstatic +"
                                                 "10\\.0\\.0\\.7\n"));
    support::write_file("/etc/kavoinfo.conf", "dns_mode=\"static\"\n");
    EXPECT_EQ("static", Json(kavonet({"dns", "show", "--json"}).out)["mode"].text());
}

TEST_F(DnsCommand, ShowOfAnApplianceWithoutServers)
{
    shell("rm /etc/resolv.conf /etc/kavoinfo.conf");
    const Result json = kavonet({"dns", "show", "--json"});
    EXPECT_EQ("{\"mode\":\"auto\",\"servers\":[],\"static_servers\":[]}\n", json.out) << json.err;
    EXPECT_THAT(kavonet({"dns", "show"}).out, testing::ContainsRegex("servers +-\nstatic +-\n"));
}

TEST_F(DnsCommand, ShowTellsAnEmptyServer)
{
    support::write_file(IN_USE, "nameserver  10.0.0.1\n");
    EXPECT_EQ("", Json(kavonet({"dns", "show", "--json"}).out)["servers"][0].text());
    EXPECT_THAT(kavonet({"dns", "show"}).out, HasSubstr("(empty)"));
}

TEST_F(DnsCommand, SetUsesTheServersFromNowOn)
{
    subscribe("net/dns_config_change");
    subscribe("net/dns_change");
    const Result result = kavonet({"dns", "set", "10.0.0.7", "2001:db8::53"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("dns: auto 10.0.0.1 -> static 10.0.0.7, 2001:db8::53\n", result.out);
    EXPECT_EQ("nameserver\t10.0.0.7\nnameserver\t2001:db8::53\n", support::read_file(IN_USE));
    EXPECT_EQ("nameserver\t10.0.0.7\nnameserver\t2001:db8::53\n", support::read_file(STATIC));
    EXPECT_EQ("dns_mode=\"static\"\n", support::read_file("/etc/kavoinfo.conf"));
    EXPECT_THAT(events(), ElementsAre(HasSubstr("net/dns_config_change pre DNS_1=10.0.0.7 DNS_2=2001:db8::53"),
                                      HasSubstr("net/dns_change pre "), HasSubstr("net/dns_change post "),
                                      HasSubstr("net/dns_config_change post ")));
    EXPECT_THAT(calls(), testing::IsSupersetOf({HasSubstr("[reload] [ddnsd"), HasSubstr("[reload] [kavorelayd")}));
    EXPECT_THAT(temporaries(), IsEmpty());
}

TEST_F(DnsCommand, ChangesAreJsonToo)
{
    const Json change(kavonet({"dns", "set", "10.0.0.7", "--json"}).out);
    EXPECT_EQ("set", change["action"].text());
    EXPECT_EQ("auto", change["before"]["mode"].text());
    EXPECT_EQ("10.0.0.1", change["before"]["servers"][0].text());
    EXPECT_EQ(0U, change["before"]["static_servers"].size());
    EXPECT_EQ("static", change["after"]["mode"].text());
    EXPECT_EQ("10.0.0.7", change["after"]["servers"][0].text());
    EXPECT_EQ("10.0.0.7", change["after"]["static_servers"][0].text());
    EXPECT_EQ("mode", Json(kavonet({"dns", "mode", "auto", "--json"}).out)["action"].text());
    EXPECT_EQ("update", Json(kavonet({"dns", "update", "--json"}).out)["action"].text());
}

TEST_F(DnsCommand, SetRefusesWhatIsNoAddress)
{
    subscribe("net/dns_config_change");
    const std::string longest(64, '1');
    for (const std::string &server :
         {std::string("10.0.0.300"), std::string("ns.lab.test"), std::string("10.0.0.7\n"), std::string(" 10.0.0.7"),
          std::string("10.0.0.7 10.0.0.8"), std::string("10.0.0.7\nnameserver\t10.6.6.6"), std::string("x\033[31m"),
          std::string("2001:db8::g"), longest, std::string(5000, '1')}) {
        const Result result = kavonet({"dns", "set", "10.0.0.7", server});
        EXPECT_EQ(1, result.status) << server;
        EXPECT_EQ("", result.out) << server;
        EXPECT_THAT(result.err, HasSubstr("\" is no address (0x0D00, net_dns_list_set.cpp:")) << server;
        EXPECT_THAT(result.err, HasSubstr("\n  what to do: give IPv4 or IPv6 addresses, for example ")) << server;
        EXPECT_THAT(result.err, testing::Not(HasSubstr("\033"))) << server;
    }
    EXPECT_EQ("nameserver\t10.0.0.1\n", support::read_file(IN_USE));
    EXPECT_FALSE(support::exists(STATIC));
    EXPECT_EQ("", support::read_file("/etc/kavoinfo.conf"));
    EXPECT_THAT(events(), IsEmpty());
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(DnsCommand, ModeAutoTakesTheLeasedServers)
{
    EXPECT_EQ(0, kavonet({"dns", "set", "10.0.0.7"}).status);
    support::write_file(LEASED6, "nameserver\t2001:db8::1\n");
    support::write_file(LEASED4, "nameserver\t10.77.0.1\nnameserver\t10.77.0.2\n");
    const Result result = kavonet({"dns", "mode", "auto"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("dns: static 10.0.0.7 -> auto 10.77.0.1, 10.77.0.2, 2001:db8::1\n", result.out);
    EXPECT_EQ("nameserver\t10.77.0.1\nnameserver\t10.77.0.2\nnameserver\t2001:db8::1\n", support::read_file(IN_USE));
    EXPECT_EQ("dns: auto 10.77.0.1, 10.77.0.2, 2001:db8::1 -> static 10.0.0.7\n",
              kavonet({"dns", "mode", "static"}).out);
    EXPECT_EQ("nameserver\t10.0.0.7\n", support::read_file(IN_USE));
}

TEST_F(DnsCommand, AModeWithoutServersTellsThatThoseInUseStay)
{
    EXPECT_EQ("dns: auto 10.0.0.1 -> static 10.0.0.1 (no static servers are set, so those in use stay)\n",
              kavonet({"dns", "mode", "static"}).out);
    EXPECT_EQ("dns: static 10.0.0.1 -> auto 10.0.0.1 (no lease has name servers, so those in use stay)\n",
              kavonet({"dns", "mode", "auto"}).out);
    EXPECT_EQ("nameserver\t10.0.0.1\n", support::read_file(IN_USE));
}

TEST_F(DnsCommand, UpdateWritesTheFileAnew)
{
    support::write_file(LEASED4, "nameserver\t10.77.0.1\n");
    support::write_file("/etc/resolv.conf.option", "domain\tlab.test\n");
    const Result result = kavonet({"dns", "update"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("dns: auto 10.0.0.1 -> auto 10.77.0.1\n", result.out);
    EXPECT_EQ("nameserver\t10.77.0.1\ndomain\tlab.test\n", support::read_file(IN_USE));
}

TEST_F(DnsCommand, AFileThatCannotBeReplacedIsAFailure)
{
    shell("rm /etc/resolv.conf; mkdir /etc/resolv.conf");
    support::write_file(LEASED4, "nameserver\t10.77.0.1\n");
    const Result result = kavonet({"dns", "update"});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.out);
    EXPECT_THAT(result.err,
                testing::ContainsRegex("^kavonet: cannot write the name servers anew: a finished file could "
                                       "not be moved into its place \\(0x2800, net_dns_file_set\\.cpp:"));
    EXPECT_THAT(result.err, HasSubstr("\n  what to do: check that /etc is writable"));
    EXPECT_THAT(temporaries(), IsEmpty());
    const Json error = Json(kavonet({"dns", "update", "--json"}).err)["error"];
    EXPECT_EQ("NET_ERR_RENAME_FAILED", error["name"].text());
    shell("rmdir /etc/resolv.conf");
    EXPECT_EQ(0, kavonet({"dns", "update"}).status);
}

TEST_F(DnsCommand, AHeldLockIsAFailure)
{
    ASSERT_EQ(0, KLIBCFileLock(0x106, 0));
    const Result result = kavonet({"dns", "show"});
    EXPECT_EQ(0, KLIBCFileUnlock(0x100));
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, testing::StartsWith("kavonet: cannot read the name servers: the configuration lock was not "
                                                "to be had in time (0x0400, "));
    EXPECT_EQ(0, kavonet({"dns", "show"}).status);
}

TEST_F(DnsCommand, WhoIsNotRootIsTold)
{
    const Result result = kavonet({"dns", "set", "10.0.0.7"}, {.user = 65534});
    if (result.status == 125)
        GTEST_SKIP() << "no other user here";
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("what to do: run it as root: only root may take the lock\n"));
    EXPECT_EQ("nameserver\t10.0.0.1\n", support::read_file(IN_USE));
}

} // namespace cli_test
