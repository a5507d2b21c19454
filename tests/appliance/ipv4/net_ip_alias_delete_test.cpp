#include "appliance/ipv4/alias_test.h"

namespace {

constexpr char FILE_NAME[] = "net_ip_alias_delete.cpp";

class AliasDelete : public AliasTest {
protected:
    void SetUp() override
    {
        AliasTest::SetUp();
        if (!IsSkipped())
            write_store(before);
    }

    const std::string before = "{" + interface("eth1", {alias(0, "10.1.0.1"), alias(4, "10.1.0.2", 16)}) + "," +
                               interface("eth0", {alias(2, "10.0.0.1")}) + "}";
};

TEST_F(AliasDelete, GoesFromTheKernelThenFromTheStore)
{
    support::write_file("/usr/kavo/etc/plugins/net/ip_alias_delete/60-look",
                        std::string("#!/bin/sh\ncat ") + STORE + " >/run/at-$1\n", 0755);
    EXPECT_EQ(0, KAVONetIpAliasDelete("10.1.0.2"));
    EXPECT_THAT(calls(), ElementsAre("[event] [net/ip_alias_delete] [pre]",
                                     "[/sbin/ip] [address] [del] [10.1.0.2/16] [label] [eth1:4] [dev] [eth1]",
                                     "[event] [net/ip_alias_delete] [post]",
                                     "[/usr/kavo/sbin/kavonetdtool] [--refresh-gateway] [-4]"));
    EXPECT_THAT(followed(), ElementsAre("net/ip_alias_delete pre DELETED_IP_ALIAS_eth1=10.1.0.2/16 IFNAMES=eth1",
                                        "net/ip_alias_delete post DELETED_IP_ALIAS_eth1=10.1.0.2/16 IFNAMES=eth1"));
    EXPECT_EQ("{" + interface("eth1", {alias(0, "10.1.0.1")}) + "," + interface("eth0", {alias(2, "10.0.0.1")}) + "}",
              store());
    EXPECT_EQ(before, read_file("/run/at-post")) << "the second event comes before the file is written";
    EXPECT_THAT(log_lines(), IsEmpty());
    expect_no_code();
}

TEST_F(AliasDelete, TheLastOneLeavesAnEmptyArray)
{
    EXPECT_EQ(0, KAVONetIpAliasDelete("10.0.0.1"));
    EXPECT_EQ("{" + interface("eth1", {alias(0, "10.1.0.1"), alias(4, "10.1.0.2", 16)}) + "," + interface("eth0", {}) +
                  "}",
              store());
}

TEST_F(AliasDelete, OtherMembersStay)
{
    write_store("{\"eth0\":{\"x\":1,\"ip_alias\":[{\"y\":2,\"IP\":\"10.0.0.2\",\"label\":0,\"prefixlen\":8}," +
                alias(1, "10.0.0.1") + "],\"z\":[]}}");
    EXPECT_EQ(0, KAVONetIpAliasDelete("10.0.0.1"));
    EXPECT_EQ("{\"eth0\":{\"x\":1,\"ip_alias\":[{\"y\":2,\"IP\":\"10.0.0.2\",\"label\":0,\"prefixlen\":8}],\"z\":[]}}",
              store());
}

TEST_F(AliasDelete, OfTwoWithOneAddressTheFirstGoes)
{
    write_store("{" + interface("eth0", {alias(0, "10.0.0.1"), alias(1, "10.0.0.1", 8)}) + "," +
                interface("eth1", {alias(0, "10.0.0.1")}) + "}");
    EXPECT_EQ(0, KAVONetIpAliasDelete("10.0.0.1"));
    EXPECT_EQ("{" + interface("eth0", {alias(1, "10.0.0.1", 8)}) + "," + interface("eth1", {alias(0, "10.0.0.1")}) +
                  "}",
              store());
}

TEST_F(AliasDelete, RefusesWhatIsNoAddress)
{
    for (const char *address : {"", "10.0.0", "10.0.0.256", "127.0.0.1", "224.0.0.1", "10.0.0.1/24", "fe80::1", "x"}) {
        support::clear_log();
        EXPECT_EQ(-1, KAVONetIpAliasDelete(address)) << address;
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, std::string("Invalid argument: ") + address + "/0"));
        EXPECT_STRNE(FILE_NAME, KLIBCErrorGetFile());
    }
    support::clear_log();
    support::clear_error();
    EXPECT_EQ(-1, KAVONetIpAliasDelete(nullptr));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Invalid argument: /0"));
    expect_no_code();
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ(before, read_file(STORE));
}

TEST_F(AliasDelete, WithoutAStoreThereIsNothingToDelete)
{
    const std::string message = std::string("Failed to read IP alias config: ") + STORE;
    for (const char *text : {"", "{", "not JSON", "[]", "7", "null"}) {
        write_store(text);
        support::clear_log();
        EXPECT_EQ(-1, KAVONetIpAliasDelete("10.0.0.1")) << text;
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, message)) << text;
        EXPECT_EQ(text, read_file(STORE));
    }
    unlink(STORE);
    support::clear_log();
    EXPECT_EQ(-1, KAVONetIpAliasDelete("10.0.0.1"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, message));
    EXPECT_FALSE(exists(STORE));
    EXPECT_THAT(calls(), IsEmpty());
    expect_no_code();
}

TEST_F(AliasDelete, AnAddressThatIsNotStoredIsNotFound)
{
    // They are compared as texts.
    for (const char *address : {"10.0.0.2", "10.0.0.01", "010.0.0.1"}) {
        support::clear_log();
        EXPECT_EQ(-1, KAVONetIpAliasDelete(address));
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, std::string("Target IP alias ") + address + "/0 not found"));
    }
    write_store("{}");
    support::clear_log();
    EXPECT_EQ(-1, KAVONetIpAliasDelete("10.0.0.1"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Target IP alias 10.0.0.1/0 not found"));
    EXPECT_THAT(calls(), IsEmpty());
    expect_no_code();
}

TEST_F(AliasDelete, WhatIsMalformedBeforeItStopsTheSearch)
{
    for (const char *wrong : {"\"eth9\":{}", "\"eth9\":7", "\"eth9\":{\"ip_alias\":{}}"}) {
        const std::string own = interface("eth0", {alias(0, "10.0.0.1")});
        write_store(std::string("{") + wrong + "," + own + "}");
        support::clear_log();
        EXPECT_EQ(-1, KAVONetIpAliasDelete("10.0.0.1")) << wrong;
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Invalid ip alias config format"));
        EXPECT_THAT(calls(), IsEmpty());
        // Behind it, it does not matter.
        write_store("{" + own + "," + wrong + "}");
        EXPECT_EQ(0, KAVONetIpAliasDelete("10.0.0.1")) << wrong;
        EXPECT_EQ("{" + interface("eth0", {}) + "," + wrong + "}", store());
        clear();
    }
    for (const char *wrong :
         {"{}", "7", "{\"IP\":\"10.0.0.1\",\"prefixlen\":24}", "{\"IP\":\"10.0.0.1\",\"label\":0}"}) {
        const std::string text = "{" + interface("eth0", {wrong, alias(0, "10.0.0.1")}) + "}";
        write_store(text);
        clear();
        EXPECT_EQ(-1, KAVONetIpAliasDelete("10.0.0.1")) << wrong;
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to parse ip alias config"));
        EXPECT_THAT(calls(), IsEmpty());
        EXPECT_EQ(text, read_file(STORE));
    }
}

TEST_F(AliasDelete, WhatIsMalformedBehindItIsFoundWhenTheKernelHasLostIt)
{
    for (const char *wrong : {"{}", "7", "{\"IP\":\"10.0.0.3\",\"prefixlen\":24}", "{\"IP\":\"10.0.0.3\",\"label\":7}",
                              "{\"prefixlen\":24,\"label\":7}"}) {
        const std::string text = "{" + interface("eth0", {alias(0, "10.0.0.1"), wrong}) + "}";
        write_store(text);
        clear();
        EXPECT_EQ(-1, KAVONetIpAliasDelete("10.0.0.1")) << wrong;
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to parse ip alias config"));
        EXPECT_THAT(calls(), ElementsAre("[event] [net/ip_alias_delete] [pre]",
                                         "[/sbin/ip] [address] [del] [10.0.0.1/24] [label] [eth0:0] [dev] [eth0]"));
        EXPECT_EQ(text, read_file(STORE));
    }
    expect_no_code();
}

TEST_F(AliasDelete, ACommandThatFailsLeavesTheStore)
{
    record(IP, 2);
    EXPECT_EQ(-1, KAVONetIpAliasDelete("10.1.0.1"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to delete ip alias"));
    EXPECT_EQ(before, read_file(STORE));
    EXPECT_EQ(1U, followed().size()) << "only the event before";
    EXPECT_EQ(2U, calls().size());
    expect_no_code();
}

TEST_F(AliasDelete, EventsAndGatewayThatFailAreOnlyLogged)
{
    follow("net/ip_alias_delete", 1);
    record(TOOL, 1);
    EXPECT_EQ(0, KAVONetIpAliasDelete("10.0.0.1"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to send pre ip_alias_delete hook event"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to send post ip_alias_delete hook event"));
    EXPECT_EQ(LOG_ERR, logged_in("net_ip_alias_int.cpp", "Failed to refresh gateway"));
    EXPECT_THAT(store(), testing::Not(HasSubstr("10.0.0.1")));
}

TEST_F(AliasDelete, AStoreThatCannotBeWrittenIsAFailure)
{
    fail_call("KLIBCFileITmpName");
    EXPECT_EQ(-1, KAVONetIpAliasDelete("10.0.0.1"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to write IP alias config: /usr/kavo/etc/net/ip_alias"));
    EXPECT_EQ(before, read_file(STORE));
    EXPECT_THAT(calls(), testing::Not(Contains(HasSubstr("refresh-gateway"))));
}

TEST_F(AliasDelete, TheKernelLosesOnlyThatOne)
{
    use_real_ip({"eth0", "eth1"});
    unlink(STORE);
    EXPECT_EQ(0, KAVONetIpAliasAdd("eth0", "10.0.0.1", 24));
    EXPECT_EQ(0, KAVONetIpAliasAdd("eth0", "10.0.1.1", 24));
    EXPECT_EQ(0, KAVONetIpAliasAdd("eth1", "10.0.2.1", 24));
    EXPECT_EQ(0, KAVONetIpAliasDelete("10.0.1.1"));
    EXPECT_THAT(kernel(), ElementsAre("eth0:0 10.0.0.1/24", "eth1:0 10.0.2.1/24"));
    EXPECT_EQ(-1, KAVONetIpAliasDelete("10.0.1.1"));
}

} // namespace
