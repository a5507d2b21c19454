#include <climits>

#include <sys/mount.h>

#include "appliance/ipv4/alias_test.h"

namespace {

constexpr char FILE_NAME[] = "net_ip_alias_int.cpp";

// ---- Commands

using AliasCommands = AliasTest;

TEST_F(AliasCommands, TheArgumentsOfEach)
{
    EXPECT_EQ(0, SetIpAlias("eth0", "192.168.1.10", 24, 3));
    EXPECT_EQ(0, UnsetIpAlias("bond0", "10.0.0.1", 32, 0));
    EXPECT_EQ(0, SetRouteSrc("eth0", "10.0.0.0/8", "192.168.1.10"));
    EXPECT_EQ(0, SetRouteSrc("eth0", "default", nullptr));
    EXPECT_EQ(0, UnsetRouteSrc("eth0", "10.0.0.0/8"));
    EXPECT_EQ(0, RefreshGateway());
    EXPECT_THAT(calls(), ElementsAre("[/sbin/ip] [address] [add] [192.168.1.10/24] [label] [eth0:3] [dev] [eth0]",
                                     "[/sbin/ip] [address] [del] [10.0.0.1/32] [label] [bond0:0] [dev] [bond0]",
                                     "[/sbin/ip] [route] [replace] [to] [10.0.0.0/8] [dev] [eth0] [src] [192.168.1.10]",
                                     "[/sbin/ip] [route] [replace] [to] [default] [dev] [eth0]",
                                     "[/sbin/ip] [route] [del] [to] [10.0.0.0/8] [dev] [eth0]",
                                     "[/usr/kavo/sbin/kavonetdtool] [--refresh-gateway] [-4]"));
    EXPECT_THAT(log_lines(), IsEmpty());
    expect_no_code();
}

TEST_F(AliasCommands, AddressAndLabelAreCutAt19Characters)
{
    EXPECT_EQ(0, SetIpAlias(support::NAME_OF_15, "255.255.255.255", 32, 123));
    EXPECT_EQ(0, SetIpAlias(support::NAME_OF_15, "255.255.255.255", 123, 1234));
    EXPECT_EQ(0, UnsetIpAlias("eth0", "0000192.168.111.222", 24, INT_MIN));
    EXPECT_THAT(calls(), ElementsAre("[/sbin/ip] [address] [add] [255.255.255.255/32] [label] [abcdefghijklmno:123] "
                                     "[dev] [abcdefghijklmno]",
                                     "[/sbin/ip] [address] [add] [255.255.255.255/123] [label] [abcdefghijklmno:123] "
                                     "[dev] [abcdefghijklmno]",
                                     "[/sbin/ip] [address] [del] [0000192.168.111.222] [label] [eth0:-2147483648] "
                                     "[dev] [eth0]"));
}

TEST_F(AliasCommands, AnyStatusButZeroIsFailure)
{
    for (const int status : {1, 2, 255}) {
        record(IP, status);
        record(TOOL, status);
        support::clear_log();
        EXPECT_EQ(-1, SetIpAlias("eth0", "192.168.1.10", 24, 3));
        EXPECT_EQ(-1, UnsetIpAlias("eth0", "192.168.1.10", 24, 3));
        EXPECT_EQ(-1, SetRouteSrc("eth0", "10.0.0.0/8", "192.168.1.10"));
        EXPECT_EQ(-1, SetRouteSrc("eth0", "10.0.0.0/8", nullptr));
        EXPECT_EQ(-1, UnsetRouteSrc("eth0", "10.0.0.0/8"));
        EXPECT_THAT(log_lines(), IsEmpty()) << "who calls them knows what it was for";
        EXPECT_EQ(-1, RefreshGateway());
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to refresh gateway"));
        expect_no_code();
    }
}

TEST_F(AliasCommands, WhatCannotBeRunIsFailure)
{
    unlink(IP);
    unlink(TOOL);
    EXPECT_EQ(-1, SetIpAlias("eth0", "192.168.1.10", 24, 3));
    EXPECT_EQ(-1, UnsetIpAlias("eth0", "192.168.1.10", 24, 3));
    EXPECT_EQ(-1, SetRouteSrc("eth0", "10.0.0.0/8", nullptr));
    EXPECT_EQ(-1, UnsetRouteSrc("eth0", "10.0.0.0/8"));
    EXPECT_EQ(-1, RefreshGateway());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to refresh gateway"));
}

TEST_F(AliasCommands, RefusesNullEmptyAndHostileArguments)
{
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    for (const std::string &name : names) {
        support::clear_log();
        EXPECT_EQ(-1, SetIpAlias(name.c_str(), "192.168.1.10", 24, 3)) << name;
        EXPECT_EQ(-1, UnsetIpAlias(name.c_str(), "192.168.1.10", 24, 3)) << name;
        EXPECT_EQ(-1, SetRouteSrc(name.c_str(), "10.0.0.0/8", nullptr)) << name;
        EXPECT_EQ(-1, UnsetRouteSrc(name.c_str(), "10.0.0.0/8")) << name;
        EXPECT_EQ(4U, log_lines().size());
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Invalid argument"));
    }
    EXPECT_EQ(-1, SetIpAlias(nullptr, "192.168.1.10", 24, 3));
    EXPECT_EQ(-1, SetIpAlias("eth0", nullptr, 24, 3));
    EXPECT_EQ(-1, SetIpAlias("eth0", "", 24, 3));
    EXPECT_EQ(-1, UnsetIpAlias(nullptr, "192.168.1.10", 24, 3));
    EXPECT_EQ(-1, UnsetIpAlias("eth0", nullptr, 24, 3));
    EXPECT_EQ(-1, SetRouteSrc(nullptr, "10.0.0.0/8", nullptr));
    EXPECT_EQ(-1, SetRouteSrc("eth0", nullptr, nullptr));
    EXPECT_EQ(-1, SetRouteSrc("eth0", "", nullptr));
    EXPECT_EQ(-1, SetRouteSrc("eth0", "10.0.0.0/8", ""));
    EXPECT_EQ(-1, UnsetRouteSrc(nullptr, "10.0.0.0/8"));
    EXPECT_EQ(-1, UnsetRouteSrc("eth0", nullptr));
    EXPECT_EQ(-1, UnsetRouteSrc("eth0", ""));
    EXPECT_THAT(calls(), IsEmpty());
    expect_no_code();
}

TEST_F(AliasCommands, ChangeTheKernelUnderTheLabel)
{
    use_real_ip();
    EXPECT_EQ(0, SetIpAlias("eth0", "192.168.1.10", 24, 7));
    EXPECT_THAT(kernel(), ElementsAre("eth0:7 192.168.1.10/24"));
    EXPECT_EQ(-1, SetIpAlias("eth0", "192.168.1.10", 24, 7)) << "it is there";
    EXPECT_EQ(0, SetRouteSrc("eth0", "10.9.0.0/16", "192.168.1.10"));
    EXPECT_THAT(shell("/bin/ip -4 route show 10.9.0.0/16"), HasSubstr("dev eth0 scope link src 192.168.1.10"));
    EXPECT_EQ(0, SetRouteSrc("eth0", "10.9.0.0/16", nullptr));
    EXPECT_THAT(shell("/bin/ip -4 route show 10.9.0.0/16"), testing::Not(HasSubstr("src")));
    EXPECT_EQ(0, UnsetRouteSrc("eth0", "10.9.0.0/16"));
    EXPECT_EQ("", shell("/bin/ip -4 route show 10.9.0.0/16"));
    EXPECT_EQ(-1, UnsetRouteSrc("eth0", "10.9.0.0/16"));
    EXPECT_EQ(0, UnsetIpAlias("eth0", "192.168.1.10", 24, 7));
    EXPECT_THAT(kernel(), IsEmpty());
    EXPECT_EQ(-1, UnsetIpAlias("eth0", "192.168.1.10", 24, 7));
}

// ---- Elements

struct Parsed {
    const char *address = "before";
    int prefix = -7;
    int label = -7;
    int result;
    explicit Parsed(const std::string &text)
    {
        const Value value(text);
        result = ParseIpAliasJson(value.get(), &address, &prefix, &label);
        kept = address; // it goes with the value
        address = nullptr;
    }
    std::string kept;
    bool operator==(const Parsed &) const = default;
};

void expect_parsed(const std::string &text, int result, const std::string &address, int prefix, int label)
{
    const Parsed parsed(text);
    EXPECT_EQ(result, parsed.result) << text;
    EXPECT_EQ(address, parsed.kept) << text;
    EXPECT_EQ(prefix, parsed.prefix) << text;
    EXPECT_EQ(label, parsed.label) << text;
}

TEST(ParseIpAlias, ReadsWhatIsThere)
{
    expect_parsed("{\"label\":2,\"IP\":\"1.2.3.4\",\"prefixlen\":24}", 0, "1.2.3.4", 24, 2);
    expect_parsed("{\"prefixlen\":-1,\"other\":[],\"IP\":\"\",\"label\":0}", 0, "", -1, 0);
    expect_parsed("{\"label\":1,\"label\":3,\"IP\":\"1.2.3.4\",\"prefixlen\":24}", 0, "1.2.3.4", 24, 3);
    expect_parsed("{\"label\":99999999999,\"IP\":\"x\",\"prefixlen\":-99999999999}", 0, "x", INT_MIN, INT_MAX);
    expect_parsed("{\"label\":0,\"IP\":\"1.2.3.4\\u0000/8\",\"prefixlen\":24}", 0, "1.2.3.4", 24, 0);
}

TEST(ParseIpAlias, StopsAtTheFirstThatIsMissingOrOfAnotherType)
{
    for (const char *none :
         {"", "\"IP\":null,", "\"IP\":1,", "\"IP\":[\"1.2.3.4\"],", "\"IP\":{},", "\"ip\":\"1.2.3.4\","})
        expect_parsed(std::string("{") + none + "\"label\":2,\"prefixlen\":24}", -1, "before", -7, -7);
    for (const char *none :
         {"", "\"prefixlen\":null,", "\"prefixlen\":\"24\",", "\"prefixlen\":24.0,", "\"prefixlen\":true,"})
        expect_parsed(std::string("{") + none + "\"label\":2,\"IP\":\"1.2.3.4\"}", -1, "1.2.3.4", -7, -7);
    for (const char *none : {"", "\"label\":null,", "\"label\":\"2\",", "\"label\":2e0,", "\"label\":[2],"})
        expect_parsed(std::string("{") + none + "\"prefixlen\":24,\"IP\":\"1.2.3.4\"}", -1, "1.2.3.4", 24, -7);
}

TEST(ParseIpAlias, OnlyObjectsHaveMembers)
{
    EXPECT_EQ(-1, ParseIpAliasJson(nullptr, nullptr, nullptr, nullptr));
    for (const char *text : {"[]", "1", "\"IP\"", "true", "1.5", "[{\"IP\":\"1.2.3.4\"}]"}) {
        const Value value(text);
        EXPECT_EQ(-1, ParseIpAliasJson(value.get(), nullptr, nullptr, nullptr)) << text;
    }
}

TEST(ParseIpAlias, ReadsOnlyWhatIsWanted)
{
    const Value empty("{}");
    EXPECT_EQ(0, ParseIpAliasJson(empty.get(), nullptr, nullptr, nullptr));
    const Value part("{\"label\":2,\"IP\":7}");
    int label = 0;
    EXPECT_EQ(0, ParseIpAliasJson(part.get(), nullptr, nullptr, &label));
    EXPECT_EQ(2, label);
    const Value address("{\"IP\":\"1.2.3.4\"}");
    const char *text = nullptr;
    EXPECT_EQ(0, ParseIpAliasJson(address.get(), &text, nullptr, nullptr));
    EXPECT_STREQ("1.2.3.4", text);
}

int compare(const std::string &a, const std::string &b)
{
    const Value first(a);
    const Value second(b);
    json_object *pointers[] = {first.get(), second.get()};
    return JSONObjectIpAliasLabelCmp(&pointers[0], &pointers[1]);
}

TEST(CompareAliasLabels, GivesTheDifference)
{
    EXPECT_EQ(-3, compare("{\"label\":2}", "{\"label\":5}"));
    EXPECT_EQ(3, compare("{\"label\":5}", "{\"label\":2}"));
    EXPECT_EQ(0, compare("{\"label\":5}", "{\"label\":5}"));
    EXPECT_EQ(-8, compare("{\"label\":-3}", "{\"label\":5}"));
}

TEST(CompareAliasLabels, AMissingLabelIsZeroOrTheOthers)
{
    EXPECT_EQ(-5, compare("{}", "{\"label\":5}"));
    EXPECT_EQ(0, compare("{\"label\":5}", "{}")) << "the slot keeps the first one";
    EXPECT_EQ(0, compare("{}", "{}"));
    EXPECT_EQ(-5, compare("{\"label\":\"9\"}", "{\"label\":5}"));
    EXPECT_EQ(0, compare("{\"label\":5}", "{\"label\":\"9\"}"));
    EXPECT_EQ(0, compare("{\"label\":5}", "[9]"));
}

TEST(CompareAliasLabels, DifferencesBeyondAnIntKeepTheirSign)
{
    EXPECT_EQ(INT_MAX, compare("{\"label\":2147483647}", "{\"label\":-1}"));
    EXPECT_EQ(INT_MIN, compare("{\"label\":-2147483648}", "{\"label\":1}"));
    EXPECT_EQ(0, JSONObjectIpAliasLabelCmp(nullptr, nullptr));
}

// ---- Events

using AliasEvents = AliasTest;

TEST_F(AliasEvents, OneAlias)
{
    EXPECT_EQ(0, IpAliasHook(0, 4, "eth0", "192.168.1.10", 24));
    EXPECT_EQ(0, IpAliasHook(0, 5, "eth0", "192.168.1.10", 0));
    EXPECT_EQ(0, IpAliasHook(1, 4, "bond0.7", "10.0.0.1", 32));
    EXPECT_EQ(0, IpAliasHook(1, 5, support::NAME_OF_15, "10.0.0.1", 32));
    EXPECT_THAT(followed(), ElementsAre("net/ip_alias_add pre ADDED_IP_ALIAS_eth0=192.168.1.10/24 IFNAMES=eth0",
                                        "net/ip_alias_add post ADDED_IP_ALIAS_eth0=192.168.1.10/0 IFNAMES=eth0",
                                        "net/ip_alias_delete pre DELETED_IP_ALIAS_bond0.7=10.0.0.1/32 IFNAMES=bond0.7",
                                        "net/ip_alias_delete post DELETED_IP_ALIAS_abcdefghijklmno=10.0.0.1/32 "
                                        "IFNAMES=abcdefghijklmno"));
    EXPECT_THAT(log_lines(), IsEmpty());
    expect_no_code();
}

TEST_F(AliasEvents, AnyNumberOfAliasesAndInterfaces)
{
    const Value store(
        "{" + interface("eth1", {"{\"IP\":\"10.0.0.1\",\"prefixlen\":8}", "{\"IP\":\"10.0.0.2\",\"prefixlen\":9}"}) +
        "," + interface("none", {}) + ",\"missing\":{},\"wrong\":{\"ip_alias\":{}},\"bare\":7,\"null\":null," +
        interface("eth0", {alias(5, "10.0.0.3")}) + "}");
    const std::string before = store.text();
    EXPECT_EQ(0, IpAliasHookMultipleAlias(0, 4, store.get()));
    EXPECT_THAT(followed(), ElementsAre("net/ip_alias_add pre ADDED_IP_ALIAS_eth1=10.0.0.1/8 10.0.0.2/9 "
                                        "ADDED_IP_ALIAS_eth0=10.0.0.3/24 IFNAMES=eth1 eth0"));
    EXPECT_EQ(before, store.text());
}

TEST_F(AliasEvents, WithoutAliasesNothingIsFired)
{
    for (const char *text :
         {"{}", "{\"eth0\":{\"ip_alias\":[]}}", "{\"eth0\":{}}", "{\"eth0\":{\"ip_alias\":1}}", "[]", "7"}) {
        const Value store(text);
        EXPECT_EQ(0, IpAliasHookMultipleAlias(1, 5, store.get())) << text;
    }
    EXPECT_THAT(followed(), IsEmpty());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(AliasEvents, TextsAreCutAndBuffersGrow)
{
    std::vector<std::string> many;
    for (int i = 0; i < 500; ++i)
        many.push_back(alias(i, "192.168." + std::to_string(i / 250) + "." + std::to_string(i % 250)));
    const std::string name(120, 'n');
    const Value store("{" + interface("eth0", many) + "," +
                      interface(name, {alias(0, "0000192.168.111.222"), alias(1, "1.2.3.4")}) + "}");
    EXPECT_EQ(0, IpAliasHookMultipleAlias(1, 5, store.get()));
    ASSERT_EQ(1U, followed().size());
    std::string expected;
    for (int i = 0; i < 500; ++i)
        expected += (i == 0 ? "" : " ") + std::string("192.168.") + std::to_string(i / 250) + "." +
                    std::to_string(i % 250) + "/24";
    EXPECT_EQ("net/ip_alias_delete post DELETED_IP_ALIAS_eth0=" + expected + " DELETED_IP_ALIAS_" +
                  name.substr(0, 99 - strlen("DELETED_IP_ALIAS_")) + "=0000192.168.111.222 1.2.3.4/24 IFNAMES=eth0 " +
                  name,
              followed()[0]);
}

TEST_F(AliasEvents, AMalformedAliasStopsIt)
{
    const Value store("{" + interface("eth0", {alias(0, "10.0.0.1")}) + "," +
                      interface("eth1", {"{\"IP\":\"10.0.0.2\"}"}) + "}");
    EXPECT_EQ(-1, IpAliasHookMultipleAlias(0, 4, store.get()));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to parse ip alias config"));
    EXPECT_THAT(followed(), IsEmpty());
    expect_no_code();
}

TEST_F(AliasEvents, EachFailureHasItsLine)
{
    struct Failure {
        const char *function;
        int n;
        const char *message;
    };
    for (const Failure &failure : {Failure{"calloc", 1, "Failed to memory allocation."},
                                   {"calloc", 2, "Failed to memory allocation."},
                                   {"KLIBPluginSDKInit", 1, "KLIBPluginSDKInit() failed"},
                                   {"KLIBCStrCat", 1, "KLIBCStrCat() failed"},
                                   {"KLIBCStrCat", 2, "KLIBCStrCat() failed"},
                                   {"KLIBPluginSetArg", 1, "KLIBPluginSetArg() failed"},
                                   {"KLIBCStrCat", 3, "KLIBCStrCat() failed"},
                                   {"KLIBCStrCat", 4, "KLIBCStrCat() failed"},
                                   {"KLIBPluginSetArg", 2, "KLIBPluginSetArg() failed"},
                                   {"KLIBPluginAction", 1, "KLIBPluginAction() failed"}}) {
        const Value store("{" + interface("eth0", {alias(0, "10.0.0.1")}) + "}");
        support::clear_log();
        fail_call(failure.function, failure.n);
        EXPECT_EQ(-1, IpAliasHookMultipleAlias(0, 4, store.get())) << failure.function << failure.n;
        support::clear_faults();
        EXPECT_EQ(1U, log_lines().size()) << failure.function << failure.n;
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, failure.message)) << failure.function << failure.n;
    }
    EXPECT_THAT(followed(), IsEmpty());
}

TEST_F(AliasEvents, ASubscriberThatFailsIsAFailure)
{
    follow("net/ip_alias_add", 1);
    EXPECT_EQ(-1, IpAliasHook(0, 4, "eth0", "10.0.0.1", 24));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "KLIBPluginAction() failed"));
    EXPECT_EQ(-1, IpAliasHook(0, 3, "eth0", "10.0.0.1", 24)) << "there is no such stage";
}

TEST_F(AliasEvents, RefusesNullAndHostileArguments)
{
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    for (const std::string &name : names)
        EXPECT_EQ(-1, IpAliasHook(0, 4, name.c_str(), "10.0.0.1", 24)) << name;
    EXPECT_EQ(-1, IpAliasHook(0, 4, nullptr, "10.0.0.1", 24));
    EXPECT_EQ(-1, IpAliasHook(0, 4, "eth0", nullptr, 24));
    EXPECT_EQ(-1, IpAliasHook(0, 4, "eth0", "", 24));
    EXPECT_EQ(-1, IpAliasHookMultipleAlias(0, 4, nullptr));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Invalid argument"));
    const Value store("{" + interface("eth0", {alias(0, "10.0.0.1")}) + "}");
    for (const int kind : {-1, 2, INT_MAX, INT_MIN})
        EXPECT_EQ(-1, IpAliasHookMultipleAlias(kind, 4, store.get())) << kind;
    EXPECT_THAT(followed(), IsEmpty());
    expect_no_code();
}

TEST_F(AliasEvents, ANameThatNoArgumentCanHaveIsAFailure)
{
    const Value store("{" + interface("a=b", {alias(0, "10.0.0.1")}) + "}");
    EXPECT_EQ(-1, IpAliasHookMultipleAlias(0, 4, store.get()));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "KLIBPluginSetArg() failed"));
}

// ---- Filters

class AliasFilters : public AliasTest {
protected:
    void SetUp() override
    {
        AliasTest::SetUp();
        if (IsSkipped())
            return;
        use_real_ip({"eth0", "eth1"});
        shell(
            "/bin/ip address add 10.0.0.1/24 dev eth0 label eth0:0; /bin/ip address add 10.0.0.2/24 dev eth0 label "
            "eth0:1; /bin/ip address add 10.0.0.3/24 dev eth0; /bin/ip address add 10.0.1.1/16 dev eth1 label eth1:12");
    }

    static std::string filtered(const std::string &text, int wanted)
    {
        const Value store(text);
        EXPECT_EQ(0, FilterAliasByExistence(store.get(), wanted)) << text;
        return store.text();
    }
};

TEST_F(AliasFilters, KeepTheOneOrTheOther)
{
    const std::string here = alias(0, "10.0.0.1");
    const std::string gone = alias(2, "10.0.0.9");
    const std::string other = alias(12, "10.0.1.1", 16);
    const std::string all = "{" + interface("eth0", {here, gone}) + "," + interface("eth1", {other}) + "}";
    EXPECT_EQ("{" + interface("eth0", {here}) + "," + interface("eth1", {other}) + "}", filtered(all, 1));
    EXPECT_EQ("{" + interface("eth0", {gone}) + "," + interface("eth1", {}) + "}", filtered(all, 0));
    const Value first(all);
    EXPECT_EQ(0, FilterExistAlias(first.get()));
    EXPECT_EQ(filtered(all, 1), first.text());
    const Value second(all);
    EXPECT_EQ(0, FilterNotExistAlias(second.get()));
    EXPECT_EQ(filtered(all, 0), second.text());
    EXPECT_THAT(log_lines(), IsEmpty());
    expect_no_code();
}

TEST_F(AliasFilters, LabelAddressAndPrefixMustAllBeTheSame)
{
    for (const std::string &other :
         {interface("eth0", {alias(1, "10.0.0.1")}), interface("eth0", {alias(0, "10.0.0.2")}),
          interface("eth0", {alias(0, "10.0.0.1", 25)}), interface("eth1", {alias(0, "10.0.0.1")}),
          interface("eth0", {alias(0, "10.0.0.3")}), interface("eth0", {alias(0, "010.0.0.1")}),
          interface("eth0", {alias(0, "10.0.0.1 ")}), interface("eth", {alias(0, "10.0.0.1")}),
          interface("eth0:0 10.0.0.1 eth0", {alias(0, "10.0.0.1")}),
          interface("eth0", {alias(0, "10.0.0.1 eth0:0 10.0.0.1")}),
          interface(std::string(2000, 'n'), {alias(0, "10.0.0.1")}),
          interface("eth0", {alias(0, std::string(5000, '1'))}), interface("lo", {alias(0, "127.0.0.1", 8)})}) {
        const std::string text = "{" + other + "}";
        EXPECT_EQ(text, filtered(text, 0));
        EXPECT_EQ(text.substr(0, text.find('[') + 1) + "]}}", filtered(text, 1));
    }
}

TEST_F(AliasFilters, EveryPrefixLengthIsFound)
{
    for (int prefix = 0; prefix <= 32; ++prefix) {
        shell("/bin/ip address add 172.16.0.1/" + std::to_string(prefix) + " dev eth1 label eth1:99");
        const std::string text = "{" + interface("eth1", {alias(99, "172.16.0.1", prefix)}) + "}";
        EXPECT_EQ(text, filtered(text, 1)) << prefix;
        shell("/bin/ip address del 172.16.0.1/" + std::to_string(prefix) + " dev eth1");
    }
}

TEST_F(AliasFilters, OneLabelMayHaveTwoAddresses)
{
    shell("/bin/ip address add 10.0.0.7/24 dev eth0 label eth0:0");
    const std::string text = "{" + interface("eth0", {alias(0, "10.0.0.1"), alias(0, "10.0.0.7")}) + "}";
    EXPECT_EQ(text, filtered(text, 1));
}

TEST_F(AliasFilters, OtherMembersStay)
{
    const std::string text =
        "{\"a\":{},\"b\":{\"ip_alias\":{}},\"c\":7,\"d\":null,\"e\":{\"x\":1,\"ip_alias\":[],\"y\":2}}";
    EXPECT_EQ(text, filtered(text, 1));
    EXPECT_EQ(text, filtered(text, 0));
    EXPECT_EQ("[1]", filtered("[1]", 0));
}

TEST_F(AliasFilters, KeptAliasesAreShared)
{
    const Value store("{" + interface("eth0", {alias(0, "10.0.0.1")}) + "}");
    json_object *before =
        json_object_array_get_idx(json_object_object_get(json_object_object_get(store.get(), "eth0"), "ip_alias"), 0);
    json_object_get(before);
    EXPECT_EQ(0, FilterExistAlias(store.get()));
    json_object *after =
        json_object_array_get_idx(json_object_object_get(json_object_object_get(store.get(), "eth0"), "ip_alias"), 0);
    EXPECT_EQ(before, after);
    EXPECT_EQ(0, FilterNotExistAlias(store.get()));
    EXPECT_EQ(1, json_object_put(before)) << "it was the last reference";
}

TEST_F(AliasFilters, AMalformedAliasLeavesTheObjectAsItWas)
{
    for (const char *wrong : {"{\"label\":0,\"IP\":\"10.0.0.1\"}", "{\"label\":0,\"prefixlen\":24}",
                              "{\"IP\":\"10.0.0.1\",\"prefixlen\":24}", "7", "null"}) {
        const std::string text =
            "{" + interface("eth0", {alias(2, "10.0.0.9")}) + "," + interface("eth1", {wrong}) + "}";
        const Value store(text);
        support::clear_log();
        EXPECT_EQ(-1, FilterExistAlias(store.get())) << wrong;
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to parse ip alias config"));
        EXPECT_EQ(text, store.text());
    }
}

TEST_F(AliasFilters, WithoutTheSystemsAddressesNothingIsFiltered)
{
    const std::string text = "{" + interface("eth0", {alias(0, "10.0.0.1")}) + "}";
    const Value store(text);
    fail_call("getifaddrs");
    EXPECT_EQ(-1, FilterNotExistAlias(store.get()));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "getifaddrs() failed"));
    EXPECT_EQ(text, store.text());
    // The first call may be the system's own.
    for (int n = 1; n <= 3; ++n) {
        support::clear_log();
        fail_call("calloc", n);
        EXPECT_EQ(-1, FilterNotExistAlias(store.get())) << n;
        support::clear_faults();
        ASSERT_EQ(1U, log_lines().size());
        EXPECT_TRUE(logged_in(FILE_NAME, "Failed to memory allocation.") == LOG_ERR ||
                    logged_in(FILE_NAME, "getifaddrs() failed") == LOG_ERR);
        EXPECT_EQ(text, store.text());
    }
    EXPECT_EQ(-1, FilterNotExistAlias(nullptr));
    EXPECT_EQ(-1, FilterExistAlias(nullptr));
    EXPECT_EQ(-1, FilterAliasByExistence(nullptr, 1));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Invalid argument"));
}

} // namespace
