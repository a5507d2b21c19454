#include "appliance/ipv4/alias_test.h"

namespace {

constexpr char FILE_NAME[] = "net_ip_alias_list.cpp";

class AliasList : public AliasTest {
protected:
    // What is listed of eth0.
    static std::vector<std::string> listed(int result = 0)
    {
        TextList list{"before"};
        EXPECT_EQ(result, KAVONetIpAliasList("eth0", &list.list));
        return list.texts();
    }
};

TEST_F(AliasList, GivesTheAliasesInTheirOrder)
{
    write_store("{" + interface("eth1", {alias(0, "10.1.0.1")}) + "," +
                interface("eth0", {alias(5, "10.0.0.5", 0), alias(1, "10.0.0.1", 32), alias(0, "10.0.0.0")}) + "}");
    EXPECT_THAT(listed(), ElementsAre("10.0.0.5/0", "10.0.0.1/32", "10.0.0.0/24"));
    EXPECT_THAT(log_lines(), IsEmpty());
    expect_no_code();
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(AliasList, LabelsAreNotLookedAtAndTextsAreCut)
{
    write_store("{" +
                interface("eth0", {"{\"IP\":\"10.0.0.5\",\"prefixlen\":-3,\"label\":\"x\"}",
                                   "{\"IP\":\"0000192.168.111.222\",\"prefixlen\":24}",
                                   "{\"IP\":\"\",\"prefixlen\":99999999999}"}) +
                "}");
    EXPECT_THAT(listed(), ElementsAre("10.0.0.5/-3", "0000192.168.111.222", "/2147483647"));
}

TEST_F(AliasList, WithoutAStoreItIsEmpty)
{
    EXPECT_THAT(listed(), IsEmpty());
    for (const char *text :
         {"", "{", "not JSON", "[]", "7", "null", "\"eth0\"", "{}", "{\"eth1\":{}}", "{\"eth00\":7}"}) {
        write_store(text);
        EXPECT_THAT(listed(), IsEmpty()) << text;
    }
    unlink(STORE);
    mkdir(STORE, 0755);
    EXPECT_THAT(listed(), IsEmpty());
    rmdir(STORE);
    unopenable(STORE);
    EXPECT_THAT(listed(), IsEmpty());
    EXPECT_THAT(log_lines(), IsEmpty());
    expect_no_code();
}

TEST_F(AliasList, AnInterfaceWithoutAnArrayIsMalformed)
{
    for (const char *text : {"{\"eth0\":{}}", "{\"eth0\":null}", "{\"eth0\":[]}", "{\"eth0\":{\"ip_alias\":{}}}",
                             "{\"eth0\":{\"ip_alias\":null}}", "{\"eth0\":{\"ip_alias\":\"[]\"}}"}) {
        write_store(text);
        support::clear_log();
        EXPECT_THAT(listed(-1), IsEmpty()) << text;
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Invalid ip alias config format")) << text;
    }
    expect_no_code();
}

TEST_F(AliasList, AMalformedAliasKeepsWhatCameBefore)
{
    for (const char *wrong : {"{}", "7", "null", "[]", "{\"IP\":\"10.0.0.2\"}", "{\"prefixlen\":24}",
                              "{\"IP\":\"10.0.0.2\",\"prefixlen\":24.5}"}) {
        write_store("{" + interface("eth0", {alias(0, "10.0.0.1"), wrong, alias(2, "10.0.0.3")}) + "}");
        support::clear_log();
        EXPECT_THAT(listed(-1), ElementsAre("10.0.0.1/24")) << wrong;
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to parse ip alias config")) << wrong;
    }
    // Others than the interface's own do not matter.
    write_store("{\"eth1\":7," + interface("eth0", {alias(0, "10.0.0.1")}) + ",\"eth2\":{\"ip_alias\":[7]}}");
    EXPECT_THAT(listed(), ElementsAre("10.0.0.1/24"));
}

TEST_F(AliasList, AListThatCannotGrowIsAFailure)
{
    write_store("{" + interface("eth0", {alias(0, "10.0.0.1"), alias(1, "10.0.0.2")}) + "}");
    TextList list;
    fail_call("KLIBCSzListPush", 2);
    EXPECT_EQ(-1, KAVONetIpAliasList("eth0", &list.list));
    EXPECT_THAT(list.texts(), ElementsAre("10.0.0.1/24"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "KLIBCSzListPush() failed"));
}

TEST_F(AliasList, RefusesNullAndHostileArguments)
{
    write_store("{" + interface("", {alias(0, "10.0.0.1")}) + "}");
    TextList list{"kept"};
    PKLIBSZLIST none = nullptr;
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    for (const std::string &name : names) {
        support::clear_log();
        EXPECT_EQ(-1, KAVONetIpAliasList(name.c_str(), &list.list)) << name;
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Invalid argument"));
    }
    EXPECT_EQ(-1, KAVONetIpAliasList(nullptr, &list.list));
    EXPECT_EQ(-1, KAVONetIpAliasList("eth0", nullptr));
    support::clear_log();
    EXPECT_EQ(-1, KAVONetIpAliasList("eth0", &none));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Invalid argument"));
    EXPECT_THAT(list.texts(), ElementsAre("kept"));
    EXPECT_EQ(0, KAVONetIpAliasList(support::NAME_OF_15, &list.list));
    EXPECT_THAT(list.texts(), IsEmpty());
    expect_no_code();
}

} // namespace
