// kavonet alias
#include "command.h"

#include <unistd.h>

namespace cli_test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class AliasCommand : public Command {
protected:
    static constexpr char STORE[] = "/usr/kavo/etc/net/ip_alias";
    static constexpr char TWO[] =
        R"({"eth0":{"ip_alias":[{"label":0,"IP":"10.1.0.1","prefixlen":24},{"label":3,"IP":"10.1.1.1","prefixlen":16}]}})";

    void SetUp() override
    {
        Command::SetUp();
        if (!IsSkipped())
            record("/usr/kavo/sbin/kavonetdtool");
    }

    static std::vector<std::string> kernel()
    {
        return support::lines_of(
            shell("ip -4 -o address show label '*:*' | sed -n 's/.* inet \\([^ ]*\\) .* \\([^ ]*:[^ "
                  "\\\\]*\\)\\\\.*/\\2 \\1/p' | LC_ALL=C sort"));
    }

    static void run(const std::vector<std::string> &arguments, const std::string &output)
    {
        const Result result = kavonet(arguments);
        EXPECT_EQ(0, result.status) << result.err;
        EXPECT_EQ(output, result.out);
        EXPECT_EQ("", result.err);
    }

    static void refuse(const std::vector<std::string> &arguments, const std::string &message, int status = 1)
    {
        const Result result = kavonet(arguments);
        EXPECT_EQ(status, result.status);
        EXPECT_EQ("", result.out);
        EXPECT_THAT(result.err, HasSubstr(message));
    }
};

TEST_F(AliasCommand, AddsListsAndDeletes)
{
    run({"alias", "list"}, "");
    run({"alias", "add", "eth0", "192.168.1.10/24"}, "eth0: 192.168.1.10/24 is in force as eth0:0\n");
    run({"alias", "add", "eth0p", "192.168.2.10/0"}, "eth0p: 192.168.2.10/0 is in force as eth0p:0\n");
    EXPECT_THAT(kernel(), ElementsAre("eth0:0 192.168.1.10/24", "eth0p:0 192.168.2.10/0"));
    const std::string table = kavonet({"alias", "list"}).out;
    EXPECT_THAT(table, testing::ContainsRegex("^NAME +ALIAS +IN FORCE AS\n"));
    EXPECT_THAT(table, testing::ContainsRegex("\neth0 +192\\.168\\.1\\.10/24 +eth0:0\n"));
    EXPECT_THAT(table, testing::ContainsRegex("\neth0p +192\\.168\\.2\\.10/0 +eth0p:0\n"));
    run({"alias", "delete", "192.168.1.10"}, "eth0: 192.168.1.10/24 is deleted\n");
    EXPECT_THAT(kernel(), ElementsAre("eth0p:0 192.168.2.10/0"));
    EXPECT_THAT(support::read_file(STORE), HasSubstr("\"eth0\":{\n    \"ip_alias\":[\n    ]\n  }"));
    EXPECT_THAT(calls(), ElementsAre("[/usr/kavo/sbin/kavonetdtool] [--refresh-gateway] [-4]"));
}

TEST_F(AliasCommand, JsonHasEveryField)
{
    support::write_file(STORE, TWO);
    shell("ip address add 10.1.1.1/16 dev eth0 label eth0:3");
    const Json list(kavonet({"alias", "list", "eth0", "--json"}).out);
    ASSERT_EQ(2U, list.size());
    EXPECT_EQ("eth0", list[0]["name"].text());
    EXPECT_EQ("10.1.0.1", list[0]["address"].text());
    EXPECT_EQ(24, list[0]["prefix"].number());
    EXPECT_TRUE(list[0]["label"].is_null());
    EXPECT_EQ("eth0:3", list[1]["label"].text());
    EXPECT_EQ(16, list[1]["prefix"].number());

    const Json added(kavonet({"alias", "add", "eth0", "10.1.2.1/24", "--json"}).out);
    EXPECT_EQ("eth0", added["name"].text());
    EXPECT_EQ("add", added["action"].text());
    EXPECT_EQ(2U, added["before"].size());
    ASSERT_EQ(3U, added["after"].size());
    EXPECT_EQ("eth0:1", added["after"][1]["label"].text());

    const Json applied(kavonet({"alias", "apply", "--json"}).out);
    EXPECT_TRUE(applied["name"].is_null());
    EXPECT_EQ("apply", applied["action"].text());
    EXPECT_TRUE(applied["before"][0]["label"].is_null());
    EXPECT_EQ("eth0:0", applied["after"][0]["label"].text());

    const Json deleted(kavonet({"alias", "delete", "10.1.2.1", "--json"}).out);
    EXPECT_EQ("delete", deleted["action"].text());
    EXPECT_EQ("eth0", deleted["name"].text());
    EXPECT_EQ(2U, deleted["after"].size());
    EXPECT_EQ("[]\n", kavonet({"alias", "list", "eth0p", "--json"}).out);
}

TEST_F(AliasCommand, AppliesAndUnapplies)
{
    support::write_file(STORE, TWO);
    run({"alias", "apply", "eth0"},
        "eth0: 10.1.0.1/24 is in force as eth0:0\neth0: 10.1.1.1/16 is in force as eth0:3\n");
    run({"alias", "apply"}, "nothing to be done\n");
    run({"alias", "unapply", "eth0"},
        "eth0: 10.1.0.1/24 is not in force any more\neth0: 10.1.1.1/16 is not in force any "
        "more\n");
    EXPECT_THAT(kernel(), IsEmpty());
    run({"alias", "apply", "--subnet", "10.1.0.0/24", "eth0"}, "eth0: 10.1.0.1/24 is in force as eth0:0\n");
    run({"alias", "apply", "eth0", "--subnet", "10.9.0.0/16", "--subnet", "10.1.0.0/16"},
        "eth0: 10.1.1.1/16 is in force as eth0:3\n");
    run({"alias", "unapply", "eth0", "--subnet=10.1.0.0/16"}, "eth0: 10.1.1.1/16 is not in force any more\n");
    EXPECT_THAT(kernel(), ElementsAre("eth0:0 10.1.0.1/24"));
    EXPECT_EQ(TWO, support::read_file(STORE));
}

TEST_F(AliasCommand, RefusesWhatTheLibraryWouldPassOver)
{
    support::write_file(STORE, TWO);
    for (const char *subnet : {"", "10.1.0.0", "10.1.0.0/33", "10.1.0.1/24", "x/24", "10.1.0.0/24x", "010.1.0.0/24/"})
        refuse({"alias", "apply", "eth0", "--subnet", subnet}, "is no subnet");
    refuse({"alias", "apply", "--subnet", "10.1.0.0/24"}, "no interface", 2);
    EXPECT_THAT(kernel(), IsEmpty());
}

TEST_F(AliasCommand, SaysWhyAnAliasCannotBeAdded)
{
    support::write_file(STORE, TWO);
    for (const char *address :
         {"10.0.0.1", "10.0.0.1/", "10.0.0.1/33", "10.0.0.1/-1", "10.0.0.1/024", "10.0.0.1/24x", "10.0.0.300/24",
          "010.0.0.1/24", "0x0a.0.0.1/24", " 10.0.0.1/24", "127.0.0.1/8", "224.0.0.1/8", "fe80::1/64", "", "/24"})
        refuse({"alias", "add", "eth0", address}, "malformed address or prefix");
    refuse({"alias", "add", "eth0p", "10.1.0.1/8"},
           "kavonet: cannot add the alias 10.1.0.1/8 to eth0p: it is an alias of eth0 already, as 10.1.0.1/24\n");
    refuse({"alias", "add", "eth1", "10.0.0.1/24"}, "there is no interface of that name");
    refuse({"alias", "add", "../eth0", "10.0.0.1/24"}, "cannot add the alias");
    refuse({"alias", "add", "", "10.0.0.1/24"}, "is empty", 2);
    refuse({"alias", "add", "eth0"}, "ADDRESS", 2);
    EXPECT_EQ(TWO, support::read_file(STORE));
    const Json error(kavonet({"alias", "add", "eth0", "x", "--json"}).err);
    EXPECT_EQ("cannot add the alias x to eth0", error["error"]["message"].text());
}

TEST_F(AliasCommand, SaysWhatElseFails)
{
    support::write_file(STORE, TWO);
    refuse({"alias", "delete", "10.9.9.9"}, "no interface that exists has an alias of that address");
    refuse({"alias", "delete", "10.1.0.1/24"}, "give the address alone");
    refuse({"alias", "delete", "10.1.0.1"}, "run it again with -v"); // the kernel has not got it
    refuse({"alias", "list", "eth1"}, "there is no interface of that name");
    refuse({"alias", "apply", "eth1"}, "there is no interface of that name");
    shell("ip address add 10.1.0.1/24 dev eth0 label eth0:9");
    refuse({"alias", "apply", "eth0"}, "not every alias could be changed");
    EXPECT_THAT(kernel(), testing::Contains("eth0:3 10.1.1.1/16"));
    EXPECT_THAT(kavonet({"alias", "apply", "eth0", "-v"}).err, HasSubstr("Failed to set ip alias 10.1.0.1/24"));
    const Result user = kavonet({"alias", "add", "eth0", "10.7.0.1/24"}, {.user = 1000});
    EXPECT_EQ(1, user.status);
    EXPECT_THAT(user.err, HasSubstr("run it as root"));
}

TEST_F(AliasCommand, SaysWhereTheStoreIsMalformed)
{
    support::write_file(STORE, R"({"eth0":{"ip_alias":[7]}})");
    for (const std::vector<std::string> &words : std::vector<std::vector<std::string>>{
             {"alias", "list"}, {"alias", "list", "eth0"}, {"alias", "add", "eth0", "10.0.0.1/24"}, {"alias", "apply"}})
        refuse(words, "the stored aliases of eth0 cannot be read\n  what to do: look at /usr/kavo/etc/net/ip_alias;");
    EXPECT_EQ(0, kavonet({"alias", "list", "eth0p"}).status);
}

TEST_F(AliasCommand, ListsAliasesOfAnInterfaceThatHasGone)
{
    support::write_file(STORE, R"({"eth7":{"ip_alias":[{"label":0,"IP":"10.7.0.1\u001b","prefixlen":24}]}})");
    EXPECT_EQ(1U, Json(kavonet({"alias", "list", "eth7", "--json"}).out).size());
    EXPECT_THAT(kavonet({"alias", "list", "eth7"}).out, HasSubstr("10.7.0.1\\x1b/24"));
    run({"alias", "list"}, "");
}

} // namespace cli_test
