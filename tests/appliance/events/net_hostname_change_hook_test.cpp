#include "appliance/events/event_test.h"

namespace {

class HostnameChangeHook : public EventTest {
protected:
    void SetUp() override
    {
        EventTest::SetUp();
        if (!IsSkipped())
            follow("net/hostname_change");
    }

    void expect_failure(const char *function, const std::string &message, int closed)
    {
        SCOPED_TRACE(message);
        make_fail(function);
        EXPECT_EQ(-1, KAVONetHostnameChangeHook("box"));
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_EQ(LOG_ERR, logged_bare(message));
        expect_no_code_of_ours();
        EXPECT_EQ(closed, exits());
        EXPECT_THAT(followed(), IsEmpty());
    }
};

TEST_F(HostnameChangeHook, TellsTheNameAfterTheChange)
{
    EXPECT_EQ(0, KAVONetHostnameChangeHook("box-1.example"));
    EXPECT_THAT(followed(), ElementsAre("net/hostname_change post HOSTNAME=box-1.example"));
    EXPECT_EQ(1, exits());
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(HostnameChangeHook, FailuresAreLoggedWithoutFileAndLine)
{
    expect_failure("KLIBPluginSDKInit", "KLIBPluginSDKInit failed", 0);
    expect_failure("KLIBPluginSetArg", "KLIBPluginSetArg failed, hostname = box", 1);
    expect_failure("KLIBPluginAction", "KLIBPluginAction failed", 1);
}

TEST_F(HostnameChangeHook, AnEventThatOpensOnlyHalfIsClosed)
{
    make_half_open();
    EXPECT_EQ(-1, KAVONetHostnameChangeHook("box"));
    EXPECT_EQ(LOG_ERR, logged_bare("KLIBPluginSDKInit failed"));
    EXPECT_EQ(1, exits());
    EXPECT_THAT(followed(), IsEmpty());
}

TEST_F(HostnameChangeHook, RefusesNullAndEmptyNames)
{
    for (const char *name : {static_cast<const char *>(nullptr), ""}) {
        support::clear_error();
        EXPECT_EQ(-1, KAVONetHostnameChangeHook(name));
        EXPECT_TRUE(support::is_set_in("net_hostname_change_hook.cpp", NET_ERR_BAD_PARAMETER));
    }
    EXPECT_THAT(followed(), IsEmpty());
}

TEST_F(HostnameChangeHook, TextsAreNotInterpreted)
{
    EXPECT_EQ(0, KAVONetHostnameChangeHook("%s%n$(reboot)"));
    EXPECT_THAT(followed(), ElementsAre("net/hostname_change post HOSTNAME=%s%n$(reboot)"));
}

} // namespace
