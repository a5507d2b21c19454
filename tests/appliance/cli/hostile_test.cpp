// Names and files that hold what they should not: output stays valid, and terminals are not commanded.
#include "command.h"

#include <unistd.h>

namespace cli_test {

using testing::HasSubstr;
using testing::Not;

class HostileContent : public Command {
protected:
    // The name is given as printf of the shell reads it.
    static void add_named(const std::string &name)
    {
        static int peer = 0;
        shell("n=$(printf '" + name + "'); ip link add \"$n\" type veth peer name hp" + std::to_string(peer++) +
              "; ip link set \"$n\" up");
    }
};

TEST_F(HostileContent, NamesOfInterfacesStayValidJson)
{
    add_named("a\"b\\\\c");
    add_named("x\\033[31m");
    add_named("u\\377");
    add_named("\\342\\202\\254");
    const Result result = kavonet({"if", "list", "--json"});
    EXPECT_EQ(0, result.status);
    const Json list(result.out);
    std::vector<std::string> names;
    for (size_t i = 0; i < list.size(); ++i) {
        const Json entry = list[static_cast<int>(i)];
        names.push_back(entry["name"].text());
        // The library refuses control characters; nothing else is known of such an interface.
        EXPECT_EQ(names.back() == "x\033[31m", entry["up"].is_null()) << names.back();
    }
    EXPECT_THAT(names, testing::IsSupersetOf({"a\"b\\c", "x\033[31m", "u\xEF\xBF\xBD", "\xE2\x82\xAC"}));
    EXPECT_EQ(Json(kavonet({"stat", "--json"}).out).size(), list.size());
    EXPECT_EQ(0, kavonet({"status", "--json"}).status);
    EXPECT_FALSE(Json(kavonet({"status", "--json"}).out).is_null());
    EXPECT_FALSE(Json(kavonet({"ipv4", "show", "--json"}).out).is_null());
    EXPECT_EQ("a\"b\\c", Json(kavonet({"if", "show", "a\"b\\c", "--json"}).out)["name"].text());
}

TEST_F(HostileContent, NamesOfInterfacesDoNotCommandTheTerminal)
{
    add_named("x\\033[31m");
    add_named("u\\377");
    for (const std::vector<std::string> &words : std::vector<std::vector<std::string>>{
             {"if", "list"}, {"stat"}, {"status"}, {"ipv4", "show"}, {"if", "show", "u\xFF"}}) {
        const Result result = kavonet(words);
        EXPECT_EQ(0, result.status);
        EXPECT_THAT(result.out, Not(HasSubstr("\033")));
        EXPECT_THAT(result.out, Not(HasSubstr("\xFF")));
    }
    EXPECT_THAT(kavonet({"if", "list"}).out, HasSubstr("x\\x1b[31m"));
    EXPECT_THAT(at_terminal({"if", "list"}, {.environment = {{"NO_COLOR", "1"}}}).out, Not(HasSubstr("\033")));
}

TEST_F(HostileContent, ArgumentsAreEchoedSafely)
{
    const Result text = kavonet({"if", "show", "x\033[31m\xFF\n"});
    EXPECT_EQ(1, text.status);
    EXPECT_THAT(text.err, testing::StartsWith("kavonet: cannot show x\\x1b[31m\\xff\\x0a: "));
    const Result json = kavonet({"if", "show", "x\033\"\\\xFF\n", "--json"});
    EXPECT_EQ("cannot show x\033\"\\\xEF\xBF\xBD\n", Json(json.err)["error"]["message"].text());
    const Result unknown = kavonet({"x\033\xC2\x9B\xFF", "--json"});
    EXPECT_EQ(2, unknown.status);
    EXPECT_FALSE(Json(unknown.err)["error"].is_null());
    EXPECT_THAT(kavonet({"x\033\xC2\x9B"}).err, HasSubstr("x\\x1b\\xc2\\x9b"));
}

TEST_F(HostileContent, FilesStayValidJsonAndPlainText)
{
    write_ifcfg("eth0", "BOOTPROTO=static\nIPADDR=1\033[31m\"\\\xFF\x01\nNETMASK=\xED\xA0\x80\xF8\n");
    const Json shown(kavonet({"ipv4", "show", "eth0", "--json"}).out);
    EXPECT_EQ("1\033[31m\"\\\xEF\xBF\xBD\x01", shown["configured"]["address"].text());
    EXPECT_TRUE(shown["configured"]["prefix"].is_null());
    const Result table = kavonet({"ipv4", "show", "eth0"});
    EXPECT_EQ(0, table.status);
    EXPECT_THAT(table.out, Not(testing::ContainsRegex("[\001-\011\013-\037\377]")));
}

TEST_F(HostileContent, FilesOfNameServersAndGatewayToo)
{
    shell("rm -rf /etc/resolv.conf*");
    support::write_file("/etc/resolv.conf", "nameserver\t1\033[31m\"\\\xFF\nnameserver\t" + std::string(5000, 'x') +
                                                "\nnameserver\n\xFF\xFE\nnameserver\t10.0.0.1");
    support::write_file("/etc/sysconfig/network", "GATEWAY=1\033[31m\"\\\xFF\n");
    const Json dns(kavonet({"dns", "show", "--json"}).out);
    EXPECT_EQ("1\033[31m\"\\\xEF\xBF\xBD", dns["servers"][0].text());
    EXPECT_EQ("1\033[31m\"\\\xEF\xBF\xBD", Json(kavonet({"gateway", "show", "--json"}).out)["configured"].text());
    EXPECT_FALSE(Json(kavonet({"status", "--json"}).out)["dns"].is_null());
    for (const std::vector<std::string> &words : std::vector<std::vector<std::string>>{
             {"dns", "show"}, {"gateway", "show"}, {"gateway", "show", "--conf"}, {"status"}}) {
        const Result result = kavonet(words);
        EXPECT_EQ(0, result.status) << result.err;
        EXPECT_THAT(result.out, Not(testing::ContainsRegex("[\001-\011\013-\037\377]"))) << words[0];
    }
}

TEST_F(HostileContent, TheRoutesOfOddInterfacesToo)
{
    add_named("x\\033[31m\\377");
    shell("ip address add 10.3.0.1/24 dev \"$(printf 'x\\033[31m\\377')\"");
    EXPECT_THAT(kavonet({"route", "show", "--json"}).out, HasSubstr("\"x\\u001b[31m\xEF\xBF\xBD\""));
    const Result table = kavonet({"route", "show"});
    EXPECT_THAT(table.out, HasSubstr("10.3.0.0/24"));
    EXPECT_THAT(table.out, Not(testing::ContainsRegex("[\001-\011\013-\037\377]")));
}

TEST_F(HostileContent, TheHostNameToo)
{
    const std::string name = "n\033\"\xFF";
    ASSERT_EQ(0, sethostname(name.data(), name.size()));
    EXPECT_EQ("n\033\"\xEF\xBF\xBD", Json(kavonet({"status", "--json"}).out)["host"].text());
    EXPECT_THAT(kavonet({"status"}).out, testing::StartsWith("n\\x1b\"\\xff: "));
    EXPECT_EQ("n\\x1b\"\\xff\n", kavonet({"hostname", "show"}).out);
}

} // namespace cli_test
