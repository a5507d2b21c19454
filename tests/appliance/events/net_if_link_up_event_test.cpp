#include "appliance/events/event_test.h"

namespace {

class LinkUpEvent : public EventTest {
protected:
    void SetUp() override
    {
        EventTest::SetUp();
        if (!IsSkipped())
            follow("net/if_link_up");
    }

    void expect_failure(const char *function)
    {
        SCOPED_TRACE(function);
        make_fail(function);
        EXPECT_EQ(-1, KLIBNetIfLinkUpEvent("eth0"));
        EXPECT_THAT(log_lines(), IsEmpty());
        expect_no_code_of_ours();
        // The context is closed even when it could not be opened.
        EXPECT_EQ(1, exits());
        EXPECT_THAT(followed(), IsEmpty());
    }
};

TEST_F(LinkUpEvent, TellsTheInterfaceAfterTheChange)
{
    EXPECT_EQ(0, KLIBNetIfLinkUpEvent("eth0"));
    EXPECT_THAT(followed(), ElementsAre("net/if_link_up post IFNAME=eth0"));
    EXPECT_EQ(1, exits());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(LinkUpEvent, FailuresAreSilentAndCloseTheContext)
{
    expect_failure("KLIBPluginSDKInit");
    expect_failure("KLIBPluginSetArg");
    expect_failure("KLIBPluginAction");
}

TEST_F(LinkUpEvent, AnEventThatOpensOnlyHalfIsClosed)
{
    make_half_open();
    EXPECT_EQ(-1, KLIBNetIfLinkUpEvent("eth0"));
    EXPECT_EQ(1, exits());
    EXPECT_THAT(followed(), IsEmpty());
}

TEST_F(LinkUpEvent, AFailingSubscriberIsAFailure)
{
    follow("net/if_link_up", 1);
    EXPECT_EQ(-1, KLIBNetIfLinkUpEvent("eth0"));
    EXPECT_EQ(1U, followed().size());
}

TEST_F(LinkUpEvent, RefusesNullEmptyAndHostileNamesAtAKnownLine)
{
    const support::Error refused{NET_ERR_BAD_PARAMETER, "net_if_link_up_event.cpp", 11};
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    for (const std::string &name : names) {
        support::clear_error();
        EXPECT_EQ(-1, KLIBNetIfLinkUpEvent(name.c_str())) << name;
        EXPECT_EQ(refused, last_error()) << name;
    }
    support::clear_error();
    EXPECT_EQ(-1, KLIBNetIfLinkUpEvent(nullptr));
    EXPECT_EQ(refused, last_error());
    EXPECT_EQ(0, exits());
    EXPECT_THAT(followed(), IsEmpty());
    EXPECT_EQ(0, KLIBNetIfLinkUpEvent(support::NAME_OF_15));
}

} // namespace
