#include "appliance/events/event_test.h"

namespace {

class MtuChangeHook : public EventTest {
protected:
    void SetUp() override
    {
        EventTest::SetUp();
        if (!IsSkipped())
            follow("net/mtu_change");
    }

    void expect_failure(const char *function, int n, const std::string &message, int closed)
    {
        SCOPED_TRACE(message);
        make_fail(function, n);
        EXPECT_EQ(-1, KAVONetMTUChangeHook("eth0", "9000", PRE));
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_EQ(LOG_ERR, logged_bare(message));
        expect_no_code_of_ours();
        EXPECT_EQ(closed, exits());
        EXPECT_THAT(followed(), IsEmpty());
    }

    static void expect_refused(const char *name, const char *mtu)
    {
        support::clear_error();
        EXPECT_EQ(-1, KAVONetMTUChangeHook(name, mtu, PRE));
        EXPECT_TRUE(support::is_set_in("net_mtu_change_hook.cpp", NET_ERR_BAD_PARAMETER));
    }
};

TEST_F(MtuChangeHook, TellsInterfaceAndValueInThePhaseThatComesLast)
{
    EXPECT_EQ(0, KAVONetMTUChangeHook("eth0", "9000", PRE));
    EXPECT_EQ(0, KAVONetMTUChangeHook("eth0", "1500", POST));
    EXPECT_THAT(followed(), ElementsAre("net/mtu_change pre IFACE=eth0 MTU_VALUE=9000",
                                        "net/mtu_change post IFACE=eth0 MTU_VALUE=1500"));
    EXPECT_EQ(2, exits());
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(MtuChangeHook, FailuresAreLoggedWithoutFileAndLine)
{
    const std::string set = "KLIBPluginSetArg failed, device = eth0, MTU value = 9000";
    expect_failure("KLIBPluginSDKInit", 1, "KLIBPluginSDKInit failed", 0);
    expect_failure("KLIBPluginSetArg", 1, set, 1);
    expect_failure("KLIBPluginSetArg", 2, set, 1);
    expect_failure("KLIBPluginAction", 1, "KLIBPluginAction failed", 1);
}

TEST_F(MtuChangeHook, AnEventThatOpensOnlyHalfIsClosed)
{
    make_half_open();
    EXPECT_EQ(-1, KAVONetMTUChangeHook("eth0", "9000", PRE));
    EXPECT_EQ(LOG_ERR, logged_bare("KLIBPluginSDKInit failed"));
    EXPECT_EQ(1, exits());
    EXPECT_THAT(followed(), IsEmpty());
}

TEST_F(MtuChangeHook, RefusesNullEmptyAndHostileTexts)
{
    expect_refused(nullptr, "9000");
    expect_refused("eth0", nullptr);
    expect_refused("eth0", "");
    for (const std::string &name : support::hostile_names())
        expect_refused(name.c_str(), "9000");
    expect_refused(support::NAME_OF_16, "9000");
    EXPECT_THAT(followed(), IsEmpty());
    EXPECT_EQ(0, KAVONetMTUChangeHook(support::NAME_OF_15, "9000", PRE));
}

} // namespace
