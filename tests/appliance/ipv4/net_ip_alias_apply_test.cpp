#include "appliance/ipv4/alias_test.h"

namespace {

constexpr char FILE_NAME[] = "net_ip_alias_apply.cpp";

class AliasApply : public AliasTest {
protected:
    void SetUp() override
    {
        AliasTest::SetUp();
        if (IsSkipped())
            return;
        use_real_ip({"eth0", "eth1"});
        write_store(stored);
    }

    void TearDown() override
    {
        if (!IsSkipped() && expect_store_kept) {
            EXPECT_EQ(stored, read_file(STORE)) << "it is never written";
        }
        AliasTest::TearDown();
    }

    static std::vector<std::string> commands()
    {
        std::vector<std::string> all;
        for (const std::string &call : calls()) {
            if (call.find("[/sbin/ip]") == 0)
                all.push_back(call.substr(strlen("[/sbin/ip] [address] ")));
        }
        return all;
    }

    const std::string stored =
        "{" + interface("eth1", {alias(0, "10.1.0.1"), alias(3, "10.1.1.1")}) + "," +
        interface("eth0", {alias(0, "10.0.0.1"), alias(1, "10.0.1.1", 16), alias(2, "10.2.0.1")}) + "}";
    bool expect_store_kept = true;
};

TEST_F(AliasApply, PutsAllThatAreMissingIntoTheKernel)
{
    shell("/bin/ip address add 10.1.0.1/24 dev eth1 label eth1:0");
    EXPECT_EQ(0, IpAliasApply(nullptr, nullptr));
    EXPECT_THAT(kernel(), ElementsAre("eth0:0 10.0.0.1/24", "eth0:1 10.0.1.1/16", "eth0:2 10.2.0.1/24",
                                      "eth1:0 10.1.0.1/24", "eth1:3 10.1.1.1/24"));
    EXPECT_THAT(calls(), ElementsAre("[event] [net/ip_alias_add] [pre]",
                                     "[/sbin/ip] [address] [add] [10.1.1.1/24] [label] [eth1:3] [dev] [eth1]",
                                     "[/sbin/ip] [address] [add] [10.0.0.1/24] [label] [eth0:0] [dev] [eth0]",
                                     "[/sbin/ip] [address] [add] [10.0.1.1/16] [label] [eth0:1] [dev] [eth0]",
                                     "[/sbin/ip] [address] [add] [10.2.0.1/24] [label] [eth0:2] [dev] [eth0]",
                                     "[event] [net/ip_alias_add] [post]"));
    const std::string arguments = " ADDED_IP_ALIAS_eth1=10.1.1.1/24 ADDED_IP_ALIAS_eth0=10.0.0.1/24 10.0.1.1/16 "
                                  "10.2.0.1/24 IFNAMES=eth1 eth0";
    EXPECT_THAT(followed(), ElementsAre("net/ip_alias_add pre" + arguments, "net/ip_alias_add post" + arguments));
    EXPECT_THAT(log_lines(), IsEmpty());
    expect_no_code();
}

TEST_F(AliasApply, TakesAllThatAreThereOffTheKernel)
{
    EXPECT_EQ(0, IpAliasApply(nullptr, nullptr));
    shell("/bin/ip address del 10.0.0.1/24 dev eth0");
    clear();
    EXPECT_EQ(0, IpAliasUnapply(nullptr, nullptr));
    EXPECT_THAT(kernel(), IsEmpty());
    EXPECT_THAT(calls(), ElementsAre("[event] [net/ip_alias_delete] [pre]",
                                     "[/sbin/ip] [address] [del] [10.1.0.1/24] [label] [eth1:0] [dev] [eth1]",
                                     "[/sbin/ip] [address] [del] [10.1.1.1/24] [label] [eth1:3] [dev] [eth1]",
                                     "[/sbin/ip] [address] [del] [10.0.1.1/16] [label] [eth0:1] [dev] [eth0]",
                                     "[/sbin/ip] [address] [del] [10.2.0.1/24] [label] [eth0:2] [dev] [eth0]",
                                     "[event] [net/ip_alias_delete] [post]"));
    EXPECT_EQ("net/ip_alias_delete post DELETED_IP_ALIAS_eth1=10.1.0.1/24 10.1.1.1/24 "
              "DELETED_IP_ALIAS_eth0=10.0.1.1/16 10.2.0.1/24 IFNAMES=eth1 eth0",
              followed().back());
}

TEST_F(AliasApply, AnAliasUnderAnotherLabelIsNotTheOne)
{
    shell("/bin/ip address add 10.1.0.1/24 dev eth1 label eth1:7");
    EXPECT_EQ(-1, IpAliasApply("eth1", nullptr)) << "the kernel has the address already";
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to set ip alias 10.1.0.1/24 on interface eth1"));
    EXPECT_THAT(kernel(), ElementsAre("eth1:3 10.1.1.1/24", "eth1:7 10.1.0.1/24"));
    EXPECT_EQ(0, IpAliasUnapply("eth1", nullptr));
    EXPECT_THAT(kernel(), ElementsAre("eth1:7 10.1.0.1/24"));
}

TEST_F(AliasApply, OneInterfaceOnly)
{
    EXPECT_EQ(0, IpAliasApply("eth1", nullptr));
    EXPECT_THAT(kernel(), ElementsAre("eth1:0 10.1.0.1/24", "eth1:3 10.1.1.1/24"));
    EXPECT_THAT(followed(),
                ElementsAre("net/ip_alias_add pre ADDED_IP_ALIAS_eth1=10.1.0.1/24 10.1.1.1/24 IFNAMES=eth1",
                            "net/ip_alias_add post ADDED_IP_ALIAS_eth1=10.1.0.1/24 10.1.1.1/24 IFNAMES=eth1"));
    clear();
    EXPECT_EQ(0, IpAliasUnapply("eth0", nullptr)) << "it has none in the kernel";
    EXPECT_EQ(0, IpAliasApply("eth1", nullptr)) << "all are there";
    EXPECT_EQ(0, IpAliasApply("eth7", nullptr)) << "the store does not know it";
    EXPECT_THAT(calls(), IsEmpty()) << "nothing changes, so nothing is told";
}

TEST_F(AliasApply, OneInterfacesSubnets)
{
    const TextList two{"10.0.0.0/24", "10.2.0.0/24"};
    EXPECT_EQ(0, IpAliasApply("eth0", two.list));
    EXPECT_THAT(kernel(), ElementsAre("eth0:0 10.0.0.1/24", "eth0:2 10.2.0.1/24"));
    EXPECT_THAT(followed(),
                ElementsAre("net/ip_alias_add pre ADDED_IP_ALIAS_eth0=10.0.0.1/24 10.2.0.1/24 IFNAMES=eth0",
                            "net/ip_alias_add post ADDED_IP_ALIAS_eth0=10.0.0.1/24 10.2.0.1/24 IFNAMES=eth0"));
    // The prefix lengths must be the same: 10.0.1.1/16 lies in 10.0.0.0/16, but the others in it do not count.
    const TextList wide{"10.0.0.0/16"};
    EXPECT_EQ(0, IpAliasApply("eth0", wide.list));
    EXPECT_THAT(kernel(), ElementsAre("eth0:0 10.0.0.1/24", "eth0:1 10.0.1.1/16", "eth0:2 10.2.0.1/24"));
    const TextList one{"10.2.0.0/24"};
    EXPECT_EQ(0, IpAliasUnapply("eth0", one.list));
    EXPECT_THAT(kernel(), ElementsAre("eth0:0 10.0.0.1/24", "eth0:1 10.0.1.1/16"));
    const TextList none{"10.3.0.0/24", "10.0.0.0/8"};
    EXPECT_EQ(0, IpAliasUnapply("eth0", none.list));
    EXPECT_THAT(kernel(), ElementsAre("eth0:0 10.0.0.1/24", "eth0:1 10.0.1.1/16"));
    expect_no_code();
}

TEST_F(AliasApply, AnEmptyListMeansAll)
{
    const TextList empty;
    EXPECT_EQ(0, IpAliasApply("eth1", empty.list));
    EXPECT_THAT(kernel(), ElementsAre("eth1:0 10.1.0.1/24", "eth1:3 10.1.1.1/24"));
}

TEST_F(AliasApply, WithoutAnInterfaceSubnetsDoNotCount)
{
    const TextList list{"no subnet", "10.3.0.0/24"};
    EXPECT_EQ(0, IpAliasApply(nullptr, list.list));
    EXPECT_EQ(5U, kernel().size());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(AliasApply, AMalformedSubnetEndsItWithoutAFailure)
{
    for (const char *subnet :
         {"", "10.0.0.0", "10.0.0.0/33", "10.0.0.0/", "/24", "x/24", "300.0.0.0/8", "0010.000.000.000.000/24"}) {
        const TextList list{subnet, "10.0.0.0/24"};
        support::clear_log();
        EXPECT_EQ(0, IpAliasApply("eth0", list.list)) << subnet;
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, std::string("Invalid subnet ") + subnet)) << subnet;
    }
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(kernel(), IsEmpty());
}

TEST_F(AliasApply, ASubnetBehindTheRightOneIsNotLookedAt)
{
    expect_store_kept = false;
    write_store("{" + interface("eth0", {alias(0, "10.0.0.1")}) + "}");
    const TextList list{"10.0.0.0/24", "malformed"};
    EXPECT_EQ(0, IpAliasApply("eth0", list.list));
    EXPECT_THAT(kernel(), ElementsAre("eth0:0 10.0.0.1/24"));
    EXPECT_THAT(log_lines(), IsEmpty());
    // And without aliases none is.
    write_store("{" + interface("eth0", {}) + "}");
    const TextList malformed{"malformed"};
    EXPECT_EQ(0, IpAliasApply("eth0", malformed.list));
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(AliasApply, ASubnetWithHostBitsHoldsNobody)
{
    const TextList list{"10.0.0.1/24"};
    EXPECT_EQ(0, IpAliasApply("eth0", list.list));
    EXPECT_THAT(kernel(), IsEmpty());
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(AliasApply, AMalformedAliasAmongSubnetsEndsItWithoutAFailure)
{
    expect_store_kept = false;
    const TextList list{"10.0.0.0/24"};
    for (const char *wrong : {"{}", "7", "{\"IP\":\"10.0.0.2\",\"label\":1}", "{\"prefixlen\":24,\"label\":1}"}) {
        write_store("{" + interface("eth0", {alias(0, "10.0.0.1"), wrong}) + "}");
        support::clear_log();
        EXPECT_EQ(0, IpAliasApply("eth0", list.list)) << wrong;
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to parse ip alias config")) << wrong;
    }
    EXPECT_THAT(calls(), IsEmpty());
    // The label is not needed to choose.
    write_store("{" + interface("eth0", {alias(0, "10.0.0.1"), "{\"IP\":\"10.9.0.2\",\"prefixlen\":24}"}) + "}");
    EXPECT_EQ(0, IpAliasApply("eth0", list.list));
    EXPECT_THAT(kernel(), ElementsAre("eth0:0 10.0.0.1/24"));
}

TEST_F(AliasApply, WithoutAStoreThereIsNothingToDo)
{
    expect_store_kept = false;
    for (const char *text : {"", "{", "not JSON", "[]", "7", "null", "{}"}) {
        write_store(text);
        EXPECT_EQ(0, IpAliasApply(nullptr, nullptr)) << text;
        EXPECT_EQ(0, IpAliasUnapply("eth0", nullptr)) << text;
    }
    unlink(STORE);
    EXPECT_EQ(0, IpAliasApply(nullptr, nullptr));
    EXPECT_EQ(0, IpAliasUnapply("eth0", nullptr));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_FALSE(exists(STORE));
}

TEST_F(AliasApply, ACommandThatFailsIsCountedAndTheOthersRun)
{
    script(IP, "record_call \"$0\" \"$@\"\ncase $3 in 10.0.1.1/*) exit 2 ;; esac\nexec /bin/ip \"$@\"");
    EXPECT_EQ(-1, IpAliasApply("eth0", nullptr));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to set ip alias 10.0.1.1/16 on interface eth0"));
    EXPECT_THAT(kernel(), ElementsAre("eth0:0 10.0.0.1/24", "eth0:2 10.2.0.1/24"));
    EXPECT_EQ("net/ip_alias_add post ADDED_IP_ALIAS_eth0=10.0.0.1/24 10.2.0.1/24 IFNAMES=eth0", followed().back())
        << "only what took effect";
    shell("/bin/ip address add 10.0.1.1/16 dev eth0 label eth0:1");
    EXPECT_EQ(-1, IpAliasUnapply("eth0", nullptr));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to unset ip alias 10.0.1.1/16 on interface eth0"));
    EXPECT_THAT(kernel(), ElementsAre("eth0:1 10.0.1.1/16"));
    EXPECT_EQ("net/ip_alias_delete post DELETED_IP_ALIAS_eth0=10.0.0.1/24 10.2.0.1/24 IFNAMES=eth0", followed().back());
    expect_no_code();
}

TEST_F(AliasApply, WhenNothingTookEffectThereIsNoSecondEvent)
{
    record(IP, 2);
    EXPECT_EQ(-1, IpAliasApply(nullptr, nullptr));
    EXPECT_EQ(5U, commands().size());
    ASSERT_EQ(1U, followed().size());
    EXPECT_EQ(0U, followed()[0].find("net/ip_alias_add pre"));
}

TEST_F(AliasApply, EventsThatFailAreOnlyLogged)
{
    follow("net/ip_alias_add", 1);
    follow("net/ip_alias_delete", 1);
    EXPECT_EQ(0, IpAliasApply(nullptr, nullptr));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to send pre ip_alias_add hook event"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to send post ip_alias_add hook event"));
    EXPECT_EQ(5U, kernel().size());
    EXPECT_EQ(0, IpAliasUnapply(nullptr, nullptr));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to send pre ip_alias_delete hook event"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to send post ip_alias_delete hook event"));
    EXPECT_THAT(kernel(), IsEmpty());
}

TEST_F(AliasApply, AFilterThatFailsIsOnlyLogged)
{
    fail_call("getifaddrs", 0);
    EXPECT_EQ(0, IpAliasApply("eth1", nullptr));
    support::clear_faults();
    EXPECT_EQ(2, std::count_if(log_lines().begin(), log_lines().end(), [](const support::LogLine &line) {
                  return line.level == LOG_ERR && line.text.find("net_ip_alias_apply.cpp:") == 0 &&
                         line.text.find(" Failed to filter ip alias") != std::string::npos;
              }));
    EXPECT_THAT(kernel(), ElementsAre("eth1:0 10.1.0.1/24", "eth1:3 10.1.1.1/24"));
    EXPECT_EQ(2U, followed().size());
}

TEST_F(AliasApply, AnInterfaceWithoutAnArrayFailsAndTheNextFollows)
{
    expect_store_kept = false;
    for (const char *wrong : {"{}", "7", "null", "{\"ip_alias\":{}}"}) {
        write_store(std::string("{\"eth1\":") + wrong + "," + interface("eth0", {alias(0, "10.0.0.1")}) + "}");
        EXPECT_EQ(-1, IpAliasApply(nullptr, nullptr)) << wrong;
        EXPECT_THAT(kernel(), ElementsAre("eth0:0 10.0.0.1/24")) << wrong;
        EXPECT_EQ("net/ip_alias_add post ADDED_IP_ALIAS_eth0=10.0.0.1/24 IFNAMES=eth0", followed().back());
        EXPECT_EQ(-1, IpAliasUnapply(nullptr, nullptr)) << wrong;
        EXPECT_THAT(kernel(), IsEmpty()) << wrong;
        EXPECT_EQ(0, IpAliasApply("eth0", nullptr)) << "the other one does not matter";
        EXPECT_EQ(-1, IpAliasApply("eth1", nullptr));
        const TextList list{"no subnet"};
        EXPECT_EQ(-1, IpAliasApply("eth1", list.list));
        EXPECT_EQ(0, IpAliasUnapply("eth0", nullptr)) << wrong;
    }
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(AliasApply, AMalformedAliasEndsTheWalkWithoutASecondEvent)
{
    expect_store_kept = false;
    write_store(
        "{" +
        interface("eth1", {alias(0, "10.1.0.1"), "{\"IP\":\"10.1.1.1\",\"prefixlen\":24}", alias(3, "10.1.1.2")}) +
        "," + interface("eth0", {alias(0, "10.0.0.1")}) + "}");
    EXPECT_EQ(0, IpAliasApply(nullptr, nullptr)) << "the result so far";
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to filter ip alias"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to parse ip alias config"));
    EXPECT_THAT(kernel(), ElementsAre("eth1:0 10.1.0.1/24"));
    EXPECT_THAT(followed(), ElementsAre("net/ip_alias_add pre ADDED_IP_ALIAS_eth1=10.1.0.1/24 10.1.1.1/24 10.1.1.2/24 "
                                        "ADDED_IP_ALIAS_eth0=10.0.0.1/24 IFNAMES=eth1 eth0"));
    record(IP, 2);
    EXPECT_EQ(-1, IpAliasApply(nullptr, nullptr)) << "the result so far";
}

TEST_F(AliasApply, NamesOfTheStoreThatNoInterfaceHasAreFailures)
{
    expect_store_kept = false;
    write_store("{" + interface("../x", {alias(0, "10.1.0.1")}) + "," + interface("", {alias(0, "10.1.0.2")}) + "," +
                interface(support::NAME_OF_16, {alias(0, "10.1.0.3")}) + "," +
                interface("eth0", {alias(0, "10.0.0.1")}) + "}");
    EXPECT_EQ(-1, IpAliasApply(nullptr, nullptr));
    EXPECT_THAT(commands(), ElementsAre("[add] [10.0.0.1/24] [label] [eth0:0] [dev] [eth0]"));
}

TEST_F(AliasApply, RefusesHostileNames)
{
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    for (const std::string &name : names) {
        support::clear_log();
        EXPECT_EQ(-1, IpAliasApply(name.c_str(), nullptr)) << name;
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Invalid argument"));
        EXPECT_EQ(-1, IpAliasUnapply(name.c_str(), nullptr)) << name;
    }
    EXPECT_THAT(calls(), IsEmpty());
    expect_no_code();
}

TEST_F(AliasApply, AliasesSurviveADownAndUpThroughIt)
{
    EXPECT_EQ(0, IpAliasApply("eth0", nullptr));
    shell("/bin/ip link set eth0 down; /bin/ip -4 address flush dev eth0; /bin/ip link set eth0 up");
    EXPECT_THAT(kernel(), IsEmpty());
    EXPECT_EQ(0, IpAliasApply("eth0", nullptr));
    EXPECT_THAT(kernel(), ElementsAre("eth0:0 10.0.0.1/24", "eth0:1 10.0.1.1/16", "eth0:2 10.2.0.1/24"));
}

} // namespace
