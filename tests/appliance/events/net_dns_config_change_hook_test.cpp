#include "appliance/events/event_test.h"

namespace {

constexpr char FILE_NAME[] = "net_dns_config_change_hook.cpp";

class DnsConfigChangeHook : public EventTest {
protected:
    void SetUp() override
    {
        EventTest::SetUp();
        if (!IsSkipped())
            follow("net/dns_config_change");
    }

    void expect_failure(const char *function, int n, const std::string &message, int closed)
    {
        SCOPED_TRACE(message);
        make_fail(function, n);
        const auto list = servers({"192.0.2.1", "192.0.2.2"});
        EXPECT_EQ(-1, KAVONetDnsConfigChangeHook(PRE, "eth0", list.get()));
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, message));
        expect_no_code_of_ours();
        EXPECT_EQ(closed, exits());
        EXPECT_THAT(followed(), IsEmpty());
    }
};

TEST_F(DnsConfigChangeHook, TellsTheServersNumberedFromOne)
{
    const auto list = servers({"192.0.2.1", "2001:db8::1"});
    EXPECT_EQ(0, KAVONetDnsConfigChangeHook(PRE, "eth0", list.get()));
    EXPECT_EQ(0, KAVONetDnsConfigChangeHook(POST, "eth0", list.get()));
    EXPECT_THAT(followed(),
                ElementsAre("net/dns_config_change pre INTERFACE=eth0 NITEMS=2 DNS_1=192.0.2.1 DNS_2=2001:db8::1",
                            "net/dns_config_change post INTERFACE=eth0 NITEMS=2 DNS_1=192.0.2.1 DNS_2=2001:db8::1"));
    EXPECT_EQ(2, exits());
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(DnsConfigChangeHook, AnEmptyInterfaceAndAnEmptyListAreTold)
{
    const auto list = servers({});
    EXPECT_EQ(0, KAVONetDnsConfigChangeHook(PRE, "", list.get()));
    EXPECT_THAT(followed(), ElementsAre("net/dns_config_change pre INTERFACE= NITEMS=0"));
}

TEST_F(DnsConfigChangeHook, NumbersPastNine)
{
    const auto list = servers(std::vector<std::string>(11, "192.0.2.1"));
    EXPECT_EQ(0, KAVONetDnsConfigChangeHook(PRE, "eth0", list.get()));
    ASSERT_EQ(1U, followed().size());
    EXPECT_THAT(followed()[0], testing::EndsWith(" DNS_9=192.0.2.1 DNS_10=192.0.2.1 DNS_11=192.0.2.1"));
}

TEST_F(DnsConfigChangeHook, EachFailureSaysWhatFailed)
{
    expect_failure("KLIBPluginSDKInit", 1, "KLIBPluginSDKInit failed", 0);
    expect_failure("KLIBPluginSetArg", 1, "KLIBPluginSetArg failed, interface = eth0", 1);
    expect_failure("KLIBPluginSetArg", 2, "KLIBPluginSetArg failed, dns_number = 2", 1);
    expect_failure("KLIBPluginSetArg", 3, "KLIBPluginSetArg failed, dns[1] = 192.0.2.1", 1);
    expect_failure("KLIBPluginSetArg", 4, "KLIBPluginSetArg failed, dns[2] = 192.0.2.2", 1);
    expect_failure("KLIBPluginAction", 1, "KLIBPluginAction failed", 1);
}

TEST_F(DnsConfigChangeHook, AnEventThatOpensOnlyHalfIsClosed)
{
    make_half_open();
    const auto list = servers({"192.0.2.1"});
    EXPECT_EQ(-1, KAVONetDnsConfigChangeHook(PRE, "eth0", list.get()));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "KLIBPluginSDKInit failed"));
    EXPECT_EQ(1, exits());
    EXPECT_THAT(followed(), IsEmpty());
}

TEST_F(DnsConfigChangeHook, AnEmptyServerIsTold)
{
    const auto list = servers({""});
    EXPECT_EQ(0, KAVONetDnsConfigChangeHook(POST, "eth0", list.get()));
    EXPECT_THAT(followed(), ElementsAre("net/dns_config_change post INTERFACE=eth0 NITEMS=1 DNS_1="));
}

TEST_F(DnsConfigChangeHook, AServerThatIsMissingIsRefused)
{
    for (const int n : {1, 2}) {
        make_fail("KLIBCSzListGet", n);
        const auto list = servers({"192.0.2.1", "192.0.2.2"});
        EXPECT_EQ(-1, KAVONetDnsConfigChangeHook(PRE, "eth0", list.get())) << n;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << n;
        EXPECT_EQ(0, exits());
        EXPECT_THAT(log_lines(), IsEmpty());
    }
    EXPECT_THAT(followed(), IsEmpty());
}

TEST_F(DnsConfigChangeHook, AFailingSubscriberIsAFailure)
{
    follow("net/dns_config_change", 3);
    const auto list = servers({});
    EXPECT_EQ(-1, KAVONetDnsConfigChangeHook(PRE, "eth0", list.get()));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "KLIBPluginAction failed"));
    EXPECT_EQ(1, exits());
}

TEST_F(DnsConfigChangeHook, RefusesWhatItCannotTell)
{
    const auto list = servers({});
    EXPECT_EQ(-1, KAVONetDnsConfigChangeHook(PRE, "eth0", nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    support::clear_error();
    EXPECT_EQ(-1, KAVONetDnsConfigChangeHook(PRE, nullptr, list.get()));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    for (const std::string &name : support::hostile_names()) {
        if (name.empty())
            continue;
        support::clear_error();
        EXPECT_EQ(-1, KAVONetDnsConfigChangeHook(PRE, name.c_str(), list.get())) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
    EXPECT_EQ(-1, KAVONetDnsConfigChangeHook(PRE, support::NAME_OF_16, list.get()));
    EXPECT_THAT(followed(), IsEmpty());
    EXPECT_EQ(0, exits());
    EXPECT_EQ(0, KAVONetDnsConfigChangeHook(PRE, support::NAME_OF_15, list.get()));
}

TEST_F(DnsConfigChangeHook, TextsAreNotInterpreted)
{
    const auto list = servers({"$(reboot)\"'`;"});
    EXPECT_EQ(0, KAVONetDnsConfigChangeHook(PRE, "$(id)\"", list.get()));
    EXPECT_THAT(followed(), ElementsAre("net/dns_config_change pre INTERFACE=$(id)\" NITEMS=1 DNS_1=$(reboot)\"'`;"));
}

} // namespace
