#include "appliance/events/event_test.h"

namespace {

constexpr char FILE_NAME[] = "net_gateway_config_change_hook.cpp";

class GatewayConfigChangeHook : public EventTest {
protected:
    void SetUp() override
    {
        EventTest::SetUp();
        if (!IsSkipped())
            follow("net/gateway_config_change");
    }

    void expect_failure(const char *function, int n, const std::string &message, int closed)
    {
        SCOPED_TRACE(message);
        make_fail(function, n);
        EXPECT_EQ(-1, KAVONetGatewayConfigChangeHook(PRE, "ipv4", "eth0", "192.0.2.1", "192.0.2.2"));
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, message));
        expect_no_code_of_ours();
        EXPECT_EQ(closed, exits());
        EXPECT_THAT(followed(), IsEmpty());
    }

    static void expect_refused(const char *type, const char *name, const char *before, const char *after)
    {
        support::clear_error();
        EXPECT_EQ(-1, KAVONetGatewayConfigChangeHook(PRE, type, name, before, after));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << (name == nullptr ? "null" : name);
    }
};

TEST_F(GatewayConfigChangeHook, TellsOldAndNewInTheCallersPhase)
{
    EXPECT_EQ(0, KAVONetGatewayConfigChangeHook(PRE, "ipv4", "eth0", "192.0.2.1", "192.0.2.2"));
    EXPECT_EQ(0, KAVONetGatewayConfigChangeHook(POST, "ipv6", "eth1", "fe80::1", "fe80::2"));
    EXPECT_THAT(
        followed(),
        ElementsAre(
            "net/gateway_config_change pre TYPE=ipv4 INTERFACE=eth0 GATEWAY_OLD=192.0.2.1 GATEWAY_NEW=192.0.2.2",
            "net/gateway_config_change post TYPE=ipv6 INTERFACE=eth1 GATEWAY_OLD=fe80::1 GATEWAY_NEW=fe80::2"));
    EXPECT_EQ(2, exits());
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(GatewayConfigChangeHook, EachFailureSaysWhatFailed)
{
    expect_failure("KLIBPluginSDKInit", 1, "KLIBPluginSDKInit failed", 0);
    expect_failure("KLIBPluginSetArg", 1, "KLIBPluginSetArg failed, Type = ipv4", 1);
    expect_failure("KLIBPluginSetArg", 2, "KLIBPluginSetArg failed, Interface = eth0", 1);
    expect_failure("KLIBPluginSetArg", 3, "KLIBPluginSetArg failed, GatewayOld = 192.0.2.1", 1);
    expect_failure("KLIBPluginSetArg", 4, "KLIBPluginSetArg failed, GatewayNew = 192.0.2.2", 1);
    expect_failure("KLIBPluginAction", 1, "KLIBPluginAction failed", 1);
}

TEST_F(GatewayConfigChangeHook, AnEventThatOpensOnlyHalfIsClosed)
{
    make_half_open();
    EXPECT_EQ(-1, KAVONetGatewayConfigChangeHook(PRE, "ipv4", "eth0", "192.0.2.1", "192.0.2.2"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "KLIBPluginSDKInit failed"));
    EXPECT_EQ(1, exits());
    EXPECT_THAT(followed(), IsEmpty());
}

TEST_F(GatewayConfigChangeHook, RefusesNullEmptyAndHostileTexts)
{
    expect_refused(nullptr, "eth0", "192.0.2.1", "192.0.2.2");
    expect_refused("", "eth0", "192.0.2.1", "192.0.2.2");
    expect_refused("ipv4", nullptr, "192.0.2.1", "192.0.2.2");
    expect_refused("ipv4", "eth0", nullptr, "192.0.2.2");
    expect_refused("ipv4", "eth0", "", "192.0.2.2");
    expect_refused("ipv4", "eth0", "192.0.2.1", nullptr);
    expect_refused("ipv4", "eth0", "192.0.2.1", "");
    for (const std::string &name : support::hostile_names())
        expect_refused("ipv4", name.c_str(), "192.0.2.1", "192.0.2.2");
    expect_refused("ipv4", support::NAME_OF_16, "192.0.2.1", "192.0.2.2");
    EXPECT_THAT(followed(), IsEmpty());
}

} // namespace
