// kavonet lookup
#include "host_commands.h"

#include <unistd.h>

namespace cli_test {

using support::write_file;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

using LookupCommand = HostCommand;

TEST_F(LookupCommand, PrintsTheAddressesOfAHost)
{
    write_file("/etc/hosts", "192.0.2.1 storage\n");
    const Result result = kavonet({"lookup", "storage"});
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("", result.err);
    EXPECT_THAT(support::lines_of(result.out),
                ElementsAre(MatchesRegex("ADDRESS +FAMILY"), MatchesRegex("192.0.2.1 +ipv4 *")));
}

TEST_F(LookupCommand, PrintsJson)
{
    write_file("/etc/hosts", "2001:db8::1 storage.lan\n");
    const Json found(kavonet({"lookup", "storage.lan", "--json"}).out);
    EXPECT_EQ("storage.lan", found["name"].text());
    ASSERT_EQ(1U, found["addresses"].size());
    EXPECT_EQ("2001:db8::1", found["addresses"][0]["address"].text());
    EXPECT_EQ("ipv6", found["addresses"][0]["family"].text());
}

TEST_F(LookupCommand, PrintsHoweverMany)
{
    std::string hosts;
    for (int i = 1; i <= 200; ++i)
        hosts += "192.0.2." + std::to_string(i) + " storage\n";
    write_file("/etc/hosts", hosts);
    EXPECT_EQ(200U, Json(kavonet({"lookup", "storage", "--json"}).out)["addresses"].size());
}

TEST_F(LookupCommand, AsksNetbiosForABareName)
{
    netbios("querying printer on 192.0.2.255\n192.0.2.5 printer<00>\n");
    const Json found(kavonet({"lookup", "printer", "--json"}).out);
    ASSERT_EQ(1U, found["addresses"].size());
    EXPECT_EQ("192.0.2.5", found["addresses"][0]["address"].text());
    EXPECT_THAT(calls(), ElementsAre("[/usr/local/bin/nmblookup] [printer]"));
}

TEST_F(LookupCommand, TellsWhoWasAskedForAnUnknownHost)
{
    const Result bare = kavonet({"lookup", "nobody"});
    EXPECT_EQ(1, bare.status);
    EXPECT_EQ("", bare.out);
    EXPECT_EQ("kavonet: cannot find nobody: neither a name server nor NetBIOS knows an address of it\n"
              "  what to do: check the spelling, and the name servers in /etc/resolv.conf\n",
              bare.err);
    EXPECT_THAT(kavonet({"lookup", "nobody.lan"}).err, HasSubstr(": no name server knows an address of it\n"));
    ASSERT_EQ(0, unlink(NMBLOOKUP));
    EXPECT_THAT(kavonet({"lookup", "nobody"}).err,
                HasSubstr("NetBIOS was not asked, as there is no /usr/local/bin/nmblookup"));
    const Json error = Json(kavonet({"lookup", "nobody", "--json"}).err)["error"];
    EXPECT_EQ("failed", error["kind"].text());
    EXPECT_EQ("cannot find nobody", error["message"].text());
    EXPECT_TRUE(error["code"].is_null());
}

TEST_F(LookupCommand, ShowsProgress)
{
    netbios("192.0.2.5 printer<00>\n", "sleep 1.5");
    const Result result = at_terminal({"lookup", "printer"}, {.environment = {{"NO_COLOR", "1"}}});
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(result.out, HasSubstr(" looking up printer (1 s)"));
    EXPECT_THAT(result.out, HasSubstr("192.0.2.5"));
}

TEST_F(LookupCommand, HostileNamesAndAnswersAreHarmless)
{
    const Result result = kavonet({"lookup", "$(touch /tmp/x)\033[31m"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, testing::StartsWith("kavonet: cannot find $(touch /tmp/x)\\x1b[31m: "));
    EXPECT_FALSE(support::exists("/tmp/x"));
    netbios("\033[31m\xFF printer<00>\n");
    EXPECT_THAT(kavonet({"lookup", "printer"}).out, Not(HasSubstr("\033")));
    EXPECT_EQ("\033[31m\xEF\xBF\xBD",
              Json(kavonet({"lookup", "printer", "--json"}).out)["addresses"][0]["address"].text());
    EXPECT_EQ(1, kavonet({"lookup", std::string(5000, 'h')}).status);
    EXPECT_EQ(1, kavonet({"lookup", "--", "--help"}).status);
}

} // namespace cli_test
