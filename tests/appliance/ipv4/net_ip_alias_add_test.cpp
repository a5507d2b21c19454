#include "appliance/ipv4/alias_test.h"

namespace {

constexpr char FILE_NAME[] = "net_ip_alias_add.cpp";

using AliasAdd = AliasTest;

TEST_F(AliasAdd, GoesToTheKernelThenToTheStoreAndIsToldTwice)
{
    EXPECT_EQ(0, KAVONetIpAliasAdd("eth0", "192.168.1.10", 24));
    EXPECT_THAT(calls(), ElementsAre("[event] [net/ip_alias_add] [pre]",
                                     "[/sbin/ip] [address] [add] [192.168.1.10/24] [label] [eth0:0] [dev] [eth0]",
                                     "[event] [net/ip_alias_add] [post]"));
    EXPECT_THAT(followed(), ElementsAre("net/ip_alias_add pre ADDED_IP_ALIAS_eth0=192.168.1.10/24 IFNAMES=eth0",
                                        "net/ip_alias_add post ADDED_IP_ALIAS_eth0=192.168.1.10/24 IFNAMES=eth0"));
    EXPECT_EQ("{\n  \"eth0\":{\n    \"ip_alias\":[\n      {\n        \"label\":0,\n        \"IP\":\"192.168.1.10\",\n"
              "        \"prefixlen\":24\n      }\n    ]\n  }\n}",
              read_file(STORE));
    struct stat status = {};
    EXPECT_EQ(0, stat(STORE, &status));
    EXPECT_EQ(0644U, status.st_mode & 07777);
    EXPECT_THAT(log_lines(), IsEmpty());
    expect_no_code();
}

TEST_F(AliasAdd, TheStoreIsWrittenAfterTheSecondEvent)
{
    support::write_file("/usr/kavo/etc/plugins/net/ip_alias_add/60-look",
                        "#!/bin/sh\nls /usr/kavo/etc/net >/run/at-$1\n", 0755);
    EXPECT_EQ(0, KAVONetIpAliasAdd("eth0", "192.168.1.10", 24));
    EXPECT_EQ("", read_file("/run/at-pre"));
    EXPECT_EQ("", read_file("/run/at-post"));
    EXPECT_TRUE(exists("/run/at-post"));
}

TEST_F(AliasAdd, InterfacesAreAppendedAndAliasesSorted)
{
    write_store("{" + interface("eth1", {alias(0, "10.1.0.1"), alias(1, "10.1.0.2"), alias(3, "10.1.0.4")}) + "}");
    EXPECT_EQ(0, KAVONetIpAliasAdd("bond0", "10.0.0.1", 0));
    EXPECT_EQ(0, KAVONetIpAliasAdd("eth1", "10.1.0.3", 32));
    EXPECT_EQ("{" +
                  interface("eth1", {alias(0, "10.1.0.1"), alias(1, "10.1.0.2"), alias(2, "10.1.0.3", 32),
                                     alias(3, "10.1.0.4")}) +
                  "," + interface("bond0", {alias(0, "10.0.0.1", 0)}) + "}",
              store());
    EXPECT_THAT(calls(), Contains("[/sbin/ip] [address] [add] [10.1.0.3/32] [label] [eth1:2] [dev] [eth1]"));
}

TEST_F(AliasAdd, TakesTheSmallestFreeLabel)
{
    struct Case {
        std::vector<int> labels;
        int expected;
    };
    for (const Case &one : {Case{{}, 0},
                            {{0}, 1},
                            {{1}, 0},
                            {{0, 1, 2}, 3},
                            {{0, 1, 3}, 2},
                            {{0, 2, 3}, 1},
                            {{5, 6}, 0},
                            {{0, 0, 1}, 1},
                            {{-1, 0}, 0},
                            {{1, 0}, 0}}) {
        std::vector<std::string> aliases;
        for (const int label : one.labels)
            aliases.push_back(alias(label, "10.0.0." + std::to_string(aliases.size())));
        write_store("{" + interface("eth0", aliases) + "}");
        clear();
        EXPECT_EQ(0, KAVONetIpAliasAdd("eth0", "192.168.1.10", 24));
        EXPECT_THAT(calls(), Contains("[/sbin/ip] [address] [add] [192.168.1.10/24] [label] [eth0:" +
                                      std::to_string(one.expected) + "] [dev] [eth0]"))
            << testing::PrintToString(one.labels);
        EXPECT_THAT(store(), HasSubstr(alias(one.expected, "192.168.1.10")));
    }
}

TEST_F(AliasAdd, AFreedLabelIsTakenAgain)
{
    for (const char *address : {"10.0.0.1", "10.0.0.2", "10.0.0.3"})
        EXPECT_EQ(0, KAVONetIpAliasAdd("eth0", address, 24));
    EXPECT_EQ(0, KAVONetIpAliasDelete("10.0.0.2"));
    EXPECT_EQ(0, KAVONetIpAliasAdd("eth0", "10.0.0.4", 24));
    EXPECT_EQ("{" + interface("eth0", {alias(0, "10.0.0.1"), alias(1, "10.0.0.4"), alias(2, "10.0.0.3")}) + "}",
              store());
}

TEST_F(AliasAdd, TheLabelIsCutInTheCommand)
{
    std::vector<std::string> aliases;
    for (int i = 0; i < 1000; ++i)
        aliases.push_back(alias(i, "10.0." + std::to_string(i / 250) + "." + std::to_string(i % 250)));
    write_store("{" + interface(support::NAME_OF_15, aliases) + "}");
    EXPECT_EQ(0, KAVONetIpAliasAdd(support::NAME_OF_15, "192.168.1.10", 24));
    EXPECT_THAT(calls(), Contains("[/sbin/ip] [address] [add] [192.168.1.10/24] [label] [abcdefghijklmno:100] [dev] "
                                  "[abcdefghijklmno]"));
    EXPECT_THAT(store(), HasSubstr(alias(1000, "192.168.1.10")));
}

TEST_F(AliasAdd, AnAddressIsStoredOnceWhateverItsInterfaceAndPrefix)
{
    const std::string before = "{" + interface("eth1", {alias(0, "192.168.1.10", 16)}) + "}";
    write_store(before);
    for (const char *name : {"eth0", "eth1"}) {
        support::clear_log();
        EXPECT_EQ(-1, KAVONetIpAliasAdd(name, "192.168.1.10", 24));
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Find duplicated IP alias 192.168.1.10"));
    }
    EXPECT_EQ(before, read_file(STORE));
    EXPECT_THAT(calls(), IsEmpty());
    expect_no_code();
    // They are compared as texts.
    EXPECT_EQ(0, KAVONetIpAliasAdd("eth0", "192.168.001.010", 24));
    EXPECT_EQ("{" + interface("eth1", {alias(0, "192.168.1.10", 16)}) + "," +
                  interface("eth0", {alias(0, "192.168.001.010")}) + "}",
              store());
}

TEST_F(AliasAdd, RefusesWhatIsNoAlias)
{
    struct Case {
        const char *interface, *address;
        unsigned int prefix;
        const char *message;
    };
    for (const Case &one : {Case{nullptr, "10.0.0.1", 24, "Invalid argument: , 10.0.0.1/24"},
                            {"eth0", nullptr, 24, "Invalid argument: eth0, /24"},
                            {nullptr, nullptr, 0, "Invalid argument: , /0"},
                            {"eth0", "10.0.0.1", 33, "Invalid argument: eth0, 10.0.0.1/33"},
                            {"eth0", "10.0.0.1", 4294967295U, "Invalid argument: eth0, 10.0.0.1/-1"},
                            {"eth0", "10.0.0.256", 24, "Invalid argument: eth0, 10.0.0.256/24"},
                            {"eth0", "127.0.0.1", 8, "Invalid argument: eth0, 127.0.0.1/8"},
                            {"eth0", "224.0.0.1", 8, "Invalid argument: eth0, 224.0.0.1/8"},
                            {"eth0", "0xC0.0xA8.0x1.0xA", 24, "Invalid argument: eth0, 0xC0.0xA8.0x1.0xA/24"},
                            {"eth0", "10.0.0", 24, "Invalid argument: eth0, 10.0.0/24"},
                            {"eth0", "", 24, "Invalid argument: eth0, /24"},
                            {"eth0", "fe80::1", 24, "Invalid argument: eth0, fe80::1/24"},
                            {"eth0", "10.0.0.1/24", 24, "Invalid argument: eth0, 10.0.0.1/24/24"}}) {
        support::clear_log();
        EXPECT_EQ(-1, KAVONetIpAliasAdd(one.interface, one.address, one.prefix)) << one.message;
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, one.message)) << one.message;
        EXPECT_STRNE(FILE_NAME, KLIBCErrorGetFile());
    }
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    support::clear_error();
    for (const std::string &name : names) {
        support::clear_log();
        EXPECT_EQ(-1, KAVONetIpAliasAdd(name.c_str(), "10.0.0.1", 24)) << name;
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Invalid argument: " + name + ", 10.0.0.1/24"));
    }
    expect_no_code();
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_FALSE(exists(STORE));
}

TEST_F(AliasAdd, AStoreThatCannotBeReadIsReplaced)
{
    for (const char *text : {"", "{", "not JSON", "[]", "7", "null", "[{\"eth0\":{}}]", "{\"eth0\":{\"ip_alias\":[}"}) {
        write_store(text);
        EXPECT_EQ(0, KAVONetIpAliasAdd("eth0", "10.0.0.1", 24)) << text;
        EXPECT_EQ("{" + interface("eth0", {alias(0, "10.0.0.1")}) + "}", store()) << text;
    }
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(AliasAdd, AnyInterfaceWithoutAnArrayIsMalformed)
{
    for (const char *text :
         {"{\"eth0\":{}}", "{\"eth1\":{}}", "{\"eth0\":null}", "{\"eth0\":7}", "{\"eth0\":{\"ip_alias\":{}}}",
          "{\"eth0\":{\"ip_alias\":null}}", "{\"eth0\":{\"ip_alias\":[]},\"eth1\":{\"ip_alias\":\"\"}}"}) {
        write_store(text);
        support::clear_log();
        EXPECT_EQ(-1, KAVONetIpAliasAdd("eth0", "10.0.0.1", 24)) << text;
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Invalid ip alias config format")) << text;
        EXPECT_EQ(text, read_file(STORE));
    }
    EXPECT_THAT(calls(), IsEmpty());
    expect_no_code();
}

TEST_F(AliasAdd, AnyElementWithoutAnAddressIsMalformed)
{
    for (const char *wrong : {"{}", "7", "null", "{\"IP\":7}", "{\"label\":0,\"prefixlen\":24}"}) {
        for (const char *name : {"eth0", "eth1"}) {
            const std::string text = "{" + interface(name, {wrong}) + "}";
            write_store(text);
            support::clear_log();
            EXPECT_EQ(-1, KAVONetIpAliasAdd("eth0", "10.0.0.1", 24)) << text;
            EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to parse ip alias config")) << text;
            EXPECT_EQ(text, read_file(STORE));
        }
    }
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(AliasAdd, LabelsAreReadUpToTheFreeOneOnly)
{
    // Its own without a label, before the free one.
    const std::string text = "{" + interface("eth0", {alias(0, "10.0.0.1"), "{\"IP\":\"10.0.0.2\"}"}) + "}";
    write_store(text);
    EXPECT_EQ(-1, KAVONetIpAliasAdd("eth0", "10.0.0.9", 24));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to parse ip alias config"));
    EXPECT_EQ(text, read_file(STORE));
    EXPECT_THAT(calls(), IsEmpty());
    // Behind it, and on another interface.
    write_store("{" + interface("eth0", {alias(1, "10.0.0.1"), "{\"IP\":\"10.0.0.2\"}"}) + "," +
                interface("eth1", {"{\"IP\":\"10.0.0.3\"}"}) + "}");
    EXPECT_EQ(0, KAVONetIpAliasAdd("eth0", "10.0.0.9", 24));
    EXPECT_THAT(calls(), Contains(HasSubstr("[eth0:0]")));
}

TEST_F(AliasAdd, ACommandThatFailsLeavesTheStore)
{
    const std::string before = "{" + interface("eth1", {alias(0, "10.1.0.1")}) + "}";
    write_store(before);
    record(IP, 2);
    EXPECT_EQ(-1, KAVONetIpAliasAdd("eth0", "10.0.0.1", 24));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to add ip alias"));
    EXPECT_EQ(before, read_file(STORE));
    EXPECT_EQ(1U, followed().size()) << "only the event before";
    expect_no_code();
}

TEST_F(AliasAdd, EventsThatFailAreOnlyLogged)
{
    follow("net/ip_alias_add", 1);
    EXPECT_EQ(0, KAVONetIpAliasAdd("eth0", "10.0.0.1", 24));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to send pre ip_alias_add hook event"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to send post ip_alias_add hook event"));
    EXPECT_EQ("{" + interface("eth0", {alias(0, "10.0.0.1")}) + "}", store());
    EXPECT_EQ(2U, followed().size());
}

TEST_F(AliasAdd, AStoreThatCannotBeWrittenIsAFailure)
{
    shell("rmdir /usr/kavo/etc/net");
    EXPECT_EQ(-1, KAVONetIpAliasAdd("eth0", "10.0.0.1", 24));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to write IP alias config: /usr/kavo/etc/net/ip_alias"));
    EXPECT_EQ(3U, calls().size()) << "the kernel keeps it, and both events are sent";
    expect_no_code();
}

TEST_F(AliasAdd, TheKernelHasItUnderItsLabel)
{
    use_real_ip({"eth0", "eth1"});
    EXPECT_EQ(0, KAVONetIpAliasAdd("eth0", "10.0.0.1", 24));
    EXPECT_EQ(0, KAVONetIpAliasAdd("eth0", "10.0.0.2", 24));
    EXPECT_EQ(0, KAVONetIpAliasAdd("eth1", "10.0.1.1", 16));
    EXPECT_THAT(kernel(), ElementsAre("eth0:0 10.0.0.1/24", "eth0:1 10.0.0.2/24", "eth1:0 10.0.1.1/16"));
    EXPECT_EQ(-1, KAVONetIpAliasAdd("eth9", "10.9.0.1", 24)) << "there is no such card";
    EXPECT_THAT(store(), testing::Not(HasSubstr("eth9")));
    EXPECT_THAT(calls(), testing::Not(Contains(HasSubstr("refresh-gateway"))));
}

} // namespace
