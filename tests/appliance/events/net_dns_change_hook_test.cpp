#include "appliance/events/event_test.h"

namespace {

constexpr char FILE_NAME[] = "net_dns_change_hook.cpp";

class DnsChangeHook : public EventTest {
protected:
    void SetUp() override
    {
        EventTest::SetUp();
        if (!IsSkipped())
            follow("net/dns_change");
    }

    void expect_failure(const char *function, int n, const std::string &message, int closed)
    {
        SCOPED_TRACE(message);
        make_fail(function, n);
        const auto list = servers({"192.0.2.1", "192.0.2.2"});
        EXPECT_EQ(-1, KAVONetDNSChangeHook(PRE, list.get()));
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, message));
        expect_no_code_of_ours();
        EXPECT_EQ(closed, exits());
        EXPECT_THAT(followed(), IsEmpty());
    }
};

TEST_F(DnsChangeHook, TellsTheServersNumberedFromOne)
{
    const auto list = servers({"192.0.2.1", "2001:db8::1", "192.0.2.3"});
    EXPECT_EQ(0, KAVONetDNSChangeHook(PRE, list.get()));
    EXPECT_EQ(0, KAVONetDNSChangeHook(POST, list.get()));
    EXPECT_THAT(followed(),
                ElementsAre("net/dns_change pre NITEMS=3 DNS_1=192.0.2.1 DNS_2=2001:db8::1 DNS_3=192.0.2.3",
                            "net/dns_change post NITEMS=3 DNS_1=192.0.2.1 DNS_2=2001:db8::1 DNS_3=192.0.2.3"));
    EXPECT_EQ(2, exits());
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(DnsChangeHook, AnEmptyListIsTold)
{
    const auto list = servers({});
    EXPECT_EQ(0, KAVONetDNSChangeHook(POST, list.get()));
    EXPECT_THAT(followed(), ElementsAre("net/dns_change post NITEMS=0"));
}

TEST_F(DnsChangeHook, EachFailureSaysWhatFailed)
{
    expect_failure("KLIBPluginSDKInit", 1, "KLIBPluginSDKInit failed", 0);
    expect_failure("KLIBPluginSetArg", 1, "KLIBPluginSetArg failed, dns_number = 2", 1);
    expect_failure("KLIBPluginSetArg", 2, "KLIBPluginSetArg failed, dns[1] = 192.0.2.1", 1);
    expect_failure("KLIBPluginSetArg", 3, "KLIBPluginSetArg failed, dns[2] = 192.0.2.2", 1);
    expect_failure("KLIBPluginAction", 1, "KLIBPluginAction failed", 1);
}

TEST_F(DnsChangeHook, AnEventThatOpensOnlyHalfIsClosed)
{
    make_half_open();
    const auto list = servers({"192.0.2.1"});
    EXPECT_EQ(-1, KAVONetDNSChangeHook(PRE, list.get()));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "KLIBPluginSDKInit failed"));
    EXPECT_EQ(1, exits());
    EXPECT_THAT(followed(), IsEmpty());
}

TEST_F(DnsChangeHook, AnEmptyServerIsTold)
{
    const auto list = servers({"", "192.0.2.2"});
    EXPECT_EQ(0, KAVONetDNSChangeHook(PRE, list.get()));
    EXPECT_THAT(followed(), ElementsAre("net/dns_change pre NITEMS=2 DNS_1= DNS_2=192.0.2.2"));
}

TEST_F(DnsChangeHook, AServerThatIsMissingIsRefused)
{
    for (const int n : {1, 2}) {
        make_fail("KLIBCSzListGet", n);
        const auto list = servers({"192.0.2.1", "192.0.2.2"});
        EXPECT_EQ(-1, KAVONetDNSChangeHook(PRE, list.get())) << n;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << n;
        EXPECT_EQ(0, exits());
        EXPECT_THAT(log_lines(), IsEmpty());
    }
    EXPECT_THAT(followed(), IsEmpty());
}

TEST_F(DnsChangeHook, AnUnknownPhaseIsAFailure)
{
    const auto list = servers({});
    EXPECT_EQ(-1, KAVONetDNSChangeHook(6, list.get()));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "KLIBPluginAction failed"));
    EXPECT_EQ(1, exits());
}

TEST_F(DnsChangeHook, RefusesANullList)
{
    EXPECT_EQ(-1, KAVONetDNSChangeHook(PRE, nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    EXPECT_THAT(followed(), IsEmpty());
}

} // namespace
