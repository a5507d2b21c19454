#include "appliance/events/event_test.h"

namespace {

constexpr const char *OLD_NAMES[] = {"eth0", "eth1"};
constexpr const char *NEW_NAMES[] = {"bond0"};

class IfChgPluginSetArgs : public EventTest {
protected:
    void SetUp() override
    {
        EventTest::SetUp();
        if (IsSkipped())
            return;
        follow("net/ifname_change");
        ASSERT_EQ(0, KLIBPluginSDKInit("net", "net/ifname_change", &handle));
    }

    void TearDown() override
    {
        KLIBPluginExit(handle);
        EventTest::TearDown();
    }

    KLIBPLUGINHANDLE handle = 0;
};

TEST_F(IfChgPluginSetArgs, AttachesOldNewAndResultInThisOrder)
{
    EXPECT_EQ(0, KLIBNetIFChgPluginSetArgs(handle, OLD_NAMES, 2, NEW_NAMES, 1, 0));
    EXPECT_EQ(0, KLIBPluginAction(PRE, handle));
    EXPECT_EQ(0, KLIBNetIFChgPluginSetArgs(handle, OLD_NAMES, 2, NEW_NAMES, 1, -1));
    EXPECT_EQ(0, KLIBPluginAction(POST, handle));
    const std::string names = "ORIGIN_IFNAME_0=eth0 ORIGIN_IFNAME_1=eth1 ORIGIN_IFNAME_COUNT=2 IFNAME_0=bond0 "
                              "IFNAME_COUNT=1 ";
    EXPECT_THAT(followed(), ElementsAre("net/ifname_change pre " + names + "RESULT=0",
                                        "net/ifname_change post " + names + "RESULT=-1"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(IfChgPluginSetArgs, EmptyNamesAndEmptyListsAreAttached)
{
    const char *const empty[] = {""};
    EXPECT_EQ(0, KLIBNetIFChgPluginSetArgs(handle, empty, 1, NEW_NAMES, 0, 0));
    EXPECT_EQ(0, KLIBPluginAction(PRE, handle));
    EXPECT_THAT(followed(), ElementsAre("net/ifname_change pre ORIGIN_IFNAME_0= ORIGIN_IFNAME_COUNT=1 IFNAME_COUNT=0 "
                                        "RESULT=0"));
}

TEST_F(IfChgPluginSetArgs, StopsAtTheFirstThatFails)
{
    int arrays = 0;
    int numbers = 0;
    const auto expect = [&](const char *function, int n, int arrays_tried, int numbers_tried) {
        make_fail(function, n);
        arrays = numbers = 0;
        support::on_call("KLIBPluginSetArgByArray", [&] { ++arrays; });
        support::on_call("KLIBPluginSetArgByInt", [&] { ++numbers; });
        EXPECT_EQ(-1, KLIBNetIFChgPluginSetArgs(handle, OLD_NAMES, 2, NEW_NAMES, 1, 0));
        EXPECT_EQ(arrays_tried, arrays);
        EXPECT_EQ(numbers_tried, numbers);
        expect_no_code_of_ours();
        EXPECT_EQ(0, exits()); // the context is the caller's
    };
    expect("KLIBPluginSetArgByArray", 1, 1, 0);
    expect("KLIBPluginSetArgByArray", 2, 2, 0);
    expect("KLIBPluginSetArgByInt", 1, 2, 1);
}

TEST_F(IfChgPluginSetArgs, RefusesANullHandleOrList)
{
    const auto expect_refused = [](int result) {
        EXPECT_EQ(-1, result);
        EXPECT_TRUE(support::is_set_in("net_if_chg_plugin_set_args.cpp", NET_ERR_BAD_PARAMETER));
        support::clear_error();
    };
    expect_refused(KLIBNetIFChgPluginSetArgs(0, OLD_NAMES, 2, NEW_NAMES, 1, 0));
    expect_refused(KLIBNetIFChgPluginSetArgs(handle, nullptr, 0, NEW_NAMES, 1, 0));
    expect_refused(KLIBNetIFChgPluginSetArgs(handle, OLD_NAMES, 2, nullptr, 0, 0));
    EXPECT_EQ(0, KLIBPluginAction(PRE, handle));
    EXPECT_THAT(followed(), ElementsAre("net/ifname_change pre"));
}

TEST_F(IfChgPluginSetArgs, AHandleThatIsNotOpenIsAFailure)
{
    EXPECT_EQ(-1, KLIBNetIFChgPluginSetArgs(handle + 1, OLD_NAMES, 2, NEW_NAMES, 1, 0));
}

} // namespace
