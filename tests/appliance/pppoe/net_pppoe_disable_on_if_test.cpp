#include "appliance/pppoe/pppoe_test.h"

namespace {

constexpr char FILE_NAME[] = "net_pppoe_disable_on_if.cpp";

class PppoeDisableOnIf : public PppoeTest {
protected:
    void SetUp() override
    {
        PppoeTest::SetUp();
        if (IsSkipped())
            return;
        set_switch("yes");
        stand_ins::run_connections(1);
        write_file(SECRETS, "'nobody' * pass\n", 0600);
    }
};

TEST_F(PppoeDisableOnIf, StopsTheConnectionOverTheInterface)
{
    EXPECT_EQ(0, KLIBDisablePPPoEOnIf("eth9"));
    EXPECT_EQ("pppoe_enable=\"no\"\n", settings());
    EXPECT_THAT(calls(), ElementsAre("[/usr/sbin/pppoe-stop]"));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(PppoeDisableOnIf, LeavesAConnectionOverAnotherAlone)
{
    for (const char *name : {"eth0", "eth99", "eth", "ETH9", "eth9.5"})
        EXPECT_EQ(0, KLIBDisablePPPoEOnIf(name)) << name;
    EXPECT_EQ("pppoe_enable=\"yes\"\n", settings());
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(PppoeDisableOnIf, WithNothingRunningTheSwitchIsRepaired)
{
    stand_ins::run_connections(0);
    unlink(CLIENT_FILE); // it is not looked at
    EXPECT_EQ(0, KLIBDisablePPPoEOnIf("eth0"));
    EXPECT_EQ("pppoe_enable=\"no\"\n", settings());
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(PppoeDisableOnIf, AStatusThatCannotBeToldIsAFailure)
{
    stand_ins::run_connections(-1);
    EXPECT_EQ(-1, KLIBDisablePPPoEOnIf("eth9"));
    fail_call("KLIBCFileLock");
    EXPECT_EQ(-1, KLIBDisablePPPoEOnIf("eth9"));
    EXPECT_TRUE(support::is_set_in("service_pppoe.cpp", NET_ERR_LOCK_FAILED));
    EXPECT_EQ("pppoe_enable=\"yes\"\n", settings());
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(PppoeDisableOnIf, SettingsThatCannotBeReadAreAFailure)
{
    unlink(SECRETS);
    EXPECT_EQ(-1, KLIBDisablePPPoEOnIf("eth9"));
    EXPECT_EQ("pppoe_enable=\"yes\"\n", settings());
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(PppoeDisableOnIf, ASwitchThatCannotBeTurnedOffIsAFailure)
{
    fail_call("KLIBCINFOSetKeyValue");
    EXPECT_EQ(-1, KLIBDisablePPPoEOnIf("eth9"));
    EXPECT_EQ("pppoe_enable=\"yes\"\n", settings());
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(PppoeDisableOnIf, RefusesNullAndHostileNames)
{
    EXPECT_EQ(-1, KLIBDisablePPPoEOnIf(nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    for (const std::string &name : names) {
        clear();
        EXPECT_EQ(-1, KLIBDisablePPPoEOnIf(name.c_str())) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
    EXPECT_EQ(0, KLIBDisablePPPoEOnIf(support::NAME_OF_15));
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ("pppoe_enable=\"yes\"\n", settings());
}

} // namespace
