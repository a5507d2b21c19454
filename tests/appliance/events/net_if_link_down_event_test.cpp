#include "appliance/events/event_test.h"

namespace {

class LinkDownEvent : public EventTest {
protected:
    void SetUp() override
    {
        EventTest::SetUp();
        if (!IsSkipped())
            follow("net/if_link_down");
    }

    void expect_failure(const char *function)
    {
        SCOPED_TRACE(function);
        make_fail(function);
        EXPECT_EQ(-1, KLIBNetIfLinkDownEvent("eth0"));
        EXPECT_THAT(log_lines(), IsEmpty());
        expect_no_code_of_ours();
        // The context is closed even when it could not be opened.
        EXPECT_EQ(1, exits());
        EXPECT_THAT(followed(), IsEmpty());
    }
};

TEST_F(LinkDownEvent, TellsTheInterfaceAfterTheChange)
{
    EXPECT_EQ(0, KLIBNetIfLinkDownEvent("eth0"));
    EXPECT_THAT(followed(), ElementsAre("net/if_link_down post IFNAME=eth0"));
    EXPECT_EQ(1, exits());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(LinkDownEvent, FailuresAreSilentAndCloseTheContext)
{
    expect_failure("KLIBPluginSDKInit");
    expect_failure("KLIBPluginSetArg");
    expect_failure("KLIBPluginAction");
}

TEST_F(LinkDownEvent, AnEventThatOpensOnlyHalfIsClosed)
{
    make_half_open();
    EXPECT_EQ(-1, KLIBNetIfLinkDownEvent("eth0"));
    EXPECT_EQ(1, exits());
    EXPECT_THAT(followed(), IsEmpty());
}

TEST_F(LinkDownEvent, AFailingSubscriberIsAFailure)
{
    follow("net/if_link_down", 1);
    EXPECT_EQ(-1, KLIBNetIfLinkDownEvent("eth0"));
    EXPECT_EQ(1U, followed().size());
}

TEST_F(LinkDownEvent, RefusesNullEmptyAndHostileNamesAtAKnownLine)
{
    const support::Error refused{NET_ERR_BAD_PARAMETER, "net_if_link_down_event.cpp", 11};
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    for (const std::string &name : names) {
        support::clear_error();
        EXPECT_EQ(-1, KLIBNetIfLinkDownEvent(name.c_str())) << name;
        EXPECT_EQ(refused, last_error()) << name;
    }
    support::clear_error();
    EXPECT_EQ(-1, KLIBNetIfLinkDownEvent(nullptr));
    EXPECT_EQ(refused, last_error());
    EXPECT_EQ(0, exits());
    EXPECT_THAT(followed(), IsEmpty());
    EXPECT_EQ(0, KLIBNetIfLinkDownEvent(support::NAME_OF_15));
}

} // namespace
