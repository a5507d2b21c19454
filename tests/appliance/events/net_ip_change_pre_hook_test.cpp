#include "appliance/events/event_test.h"

namespace {

constexpr char FILE_NAME[] = "net_ip_change_pre_hook.cpp";
constexpr int IPV4 = 0;
constexpr int IPV6 = 1;

class IpChangePreHook : public EventTest {
protected:
    void SetUp() override
    {
        EventTest::SetUp();
        if (IsSkipped())
            return;
        follow("net/ipv4_change");
        follow("net/ipv6_change");
        answer_flags(IFF_UP | IFF_RUNNING);
    }

    // What every interface's flags are; -1: it cannot be asked.
    static void answer_flags(int flags)
    {
        support::answer_ioctl([flags](int, unsigned long request, void *argument) {
            if (request != SIOCGIFFLAGS)
                return support::ASK_KERNEL;
            if (flags < 0) {
                errno = ENODEV;
                return -1;
            }
            static_cast<ifreq *>(argument)->ifr_flags = static_cast<short>(flags);
            return 0;
        });
    }

    static void expect_refused(int family, const char *name, const char *before, const char *after, unsigned int prefix)
    {
        support::clear_error();
        EXPECT_EQ(-1, KAVONetIPChangePreHook(family, name, before, after, prefix));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    }
};

TEST_F(IpChangePreHook, TellsTheChangeBeforeItInThisOrder)
{
    EXPECT_EQ(0, KAVONetIPChangePreHook(IPV4, "eth0", "192.0.2.1", "192.0.2.2", 24));
    EXPECT_EQ(0, KAVONetIPChangePreHook(IPV6, "eth0", "2001:db8::1", "2001:db8::2", 64));
    EXPECT_THAT(followed(), ElementsAre("net/ipv4_change pre IFNAME=eth0 ORIGIN_ADDRESS=192.0.2.1 "
                                        "NEW_ADDRESS=192.0.2.2 PREFIX_LENGTH=24 IS_LINK=true",
                                        "net/ipv6_change pre IFNAME=eth0 ORIGIN_ADDRESS=2001:db8::1 "
                                        "NEW_ADDRESS=2001:db8::2 PREFIX_LENGTH=64 IS_LINK=true"));
    EXPECT_EQ(2, exits());
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(IpChangePreHook, AnInterfaceWithoutCarrierHasNoLink)
{
    support::answer_ioctl({});
    add_card("eth0", "", false);
    EXPECT_EQ(0, KAVONetIPChangePreHook(IPV4, "eth0", "0.0.0.0", "192.0.2.2", 0));
    shell("/bin/ip link set eth0 up; /bin/ip link set eth0p up; "
          "for i in $(seq 300); do grep -q up /sys/class/net/eth0/operstate && break; sleep 0.02; done");
    EXPECT_EQ(0, KAVONetIPChangePreHook(IPV4, "eth0", "0.0.0.0", "192.0.2.2", 0));
    ASSERT_EQ(2U, followed().size());
    EXPECT_THAT(followed()[0], testing::EndsWith(" PREFIX_LENGTH=0 IS_LINK=false"));
    EXPECT_THAT(followed()[1], testing::EndsWith(" PREFIX_LENGTH=0 IS_LINK=true"));
}

TEST_F(IpChangePreHook, AnInterfaceThatCannotBeAskedSendsNothing)
{
    answer_flags(-1);
    EXPECT_EQ(-1, KAVONetIPChangePreHook(IPV4, "eth0", "192.0.2.1", "192.0.2.2", 24));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "error on link detect"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_EQ(0, exits());
    EXPECT_THAT(followed(), IsEmpty());
}

TEST_F(IpChangePreHook, FamilyAndPrefixAreLookedAtBeforeTheLink)
{
    answer_flags(-1);
    expect_refused(IPV4, "eth0", "192.0.2.1", "192.0.2.2", 33);
    expect_refused(IPV6, "eth0", "::1", "::2", 129);
    expect_refused(2, "eth0", "192.0.2.1", "192.0.2.2", 24);
    EXPECT_EQ(0, support::ioctl_calls());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(IpChangePreHook, PrefixesUpToTheFamilysLengthAreTold)
{
    EXPECT_EQ(0, KAVONetIPChangePreHook(IPV4, "eth0", "192.0.2.1", "192.0.2.2", 32));
    EXPECT_EQ(0, KAVONetIPChangePreHook(IPV6, "eth0", "::1", "::2", 128));
    EXPECT_EQ(2U, followed().size());
    expect_refused(IPV4, "eth0", "192.0.2.1", "192.0.2.2", 33);
    expect_refused(IPV6, "eth0", "::1", "::2", 129);
    expect_refused(IPV4, "eth0", "192.0.2.1", "192.0.2.2", static_cast<unsigned int>(-1));
    expect_refused(IPV6, "eth0", "::1", "::2", static_cast<unsigned int>(-1));
    EXPECT_EQ(2U, followed().size());
}

TEST_F(IpChangePreHook, OtherFamiliesAreRefused)
{
    expect_refused(2, "eth0", "192.0.2.1", "192.0.2.2", 24);
    expect_refused(-1, "eth0", "192.0.2.1", "192.0.2.2", 24);
    EXPECT_THAT(followed(), IsEmpty());
}

TEST_F(IpChangePreHook, AnInterfaceWithoutAnAddressHasAnEmptyOrigin)
{
    EXPECT_EQ(0, KAVONetIPChangePreHook(IPV6, "eth0", "", "2001:db8::2", 64));
    EXPECT_THAT(followed(), ElementsAre("net/ipv6_change pre IFNAME=eth0 ORIGIN_ADDRESS= NEW_ADDRESS=2001:db8::2 "
                                        "PREFIX_LENGTH=64 IS_LINK=true"));
}

TEST_F(IpChangePreHook, AContextThatDoesNotOpenIsLoggedWithoutFileAndLine)
{
    make_fail("KLIBPluginSDKInit");
    EXPECT_EQ(-1, KAVONetIPChangePreHook(IPV4, "eth0", "192.0.2.1", "192.0.2.2", 24));
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_ERR, logged_bare("KLIBPluginSDKInit failed"));
    EXPECT_EQ(0, exits());
}

TEST_F(IpChangePreHook, AnEventThatOpensOnlyHalfIsClosed)
{
    make_half_open();
    EXPECT_EQ(-1, KAVONetIPChangePreHook(IPV4, "eth0", "192.0.2.1", "192.0.2.2", 24));
    EXPECT_EQ(LOG_ERR, logged_bare("KLIBPluginSDKInit failed"));
    EXPECT_EQ(1, exits());
    EXPECT_THAT(followed(), IsEmpty());
}

TEST_F(IpChangePreHook, LaterFailuresAreSilentAndCloseTheContext)
{
    for (int n = 1; n <= 5; ++n) {
        make_fail("KLIBPluginSetArg", n);
        EXPECT_EQ(-1, KAVONetIPChangePreHook(IPV4, "eth0", "192.0.2.1", "192.0.2.2", 24)) << n;
        EXPECT_THAT(log_lines(), IsEmpty()) << n;
        EXPECT_EQ(1, exits()) << n;
    }
    make_fail("KLIBPluginAction");
    EXPECT_EQ(-1, KAVONetIPChangePreHook(IPV4, "eth0", "192.0.2.1", "192.0.2.2", 24));
    EXPECT_THAT(log_lines(), IsEmpty());
    expect_no_code_of_ours();
    EXPECT_EQ(1, exits());
    EXPECT_THAT(followed(), IsEmpty());
}

TEST_F(IpChangePreHook, RefusesNullEmptyAndHostileTexts)
{
    expect_refused(IPV4, nullptr, "192.0.2.1", "192.0.2.2", 24);
    expect_refused(IPV4, "eth0", nullptr, "192.0.2.2", 24);
    expect_refused(IPV4, "eth0", "192.0.2.1", nullptr, 24);
    expect_refused(IPV4, "eth0", "192.0.2.1", "", 24);
    for (const std::string &name : support::hostile_names())
        expect_refused(IPV4, name.c_str(), "192.0.2.1", "192.0.2.2", 24);
    expect_refused(IPV4, support::NAME_OF_16, "192.0.2.1", "192.0.2.2", 24);
    EXPECT_THAT(followed(), IsEmpty());
    EXPECT_EQ(0, KAVONetIPChangePreHook(IPV4, support::NAME_OF_15, "192.0.2.1", "192.0.2.2", 24));
}

} // namespace
