#include "appliance/pppoe/relay_test.h"

namespace {

constexpr char FILE_NAME[] = "net_apply_pppoe_relay_config_all.cpp";

class ApplyAllRelays : public RelayTest {
protected:
    static int apply() { return KAVONetApplyPPPoERelayConfigAll(); }
};

TEST_F(ApplyAllRelays, AppliesEachInOrder)
{
    for (const char *name : {"lbr2", "lbr0", "lbr1"})
        add_bridge(name);
    write_relay("lbr1", "enable=no\n");
    stand_ins::relays().push_back(command_line("lbr1", "wan0"));
    EXPECT_EQ(0, apply());
    EXPECT_THAT(calls(), ElementsAre(started("lbr0", "wan0"), ended("lbr1"), started("lbr2", "wan0")));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(ApplyAllRelays, StopsAtTheFirstThatFails)
{
    for (const char *name : {"lbr0", "lbr1", "lbr2"})
        add_bridge(name);
    script("/usr/sbin/pppoe-relay", "record_call \"$0\" \"$@\"\n[ \"$2\" != lbr1 ]");
    EXPECT_EQ(-1, apply());
    EXPECT_THAT(calls(), ElementsAre(started("lbr0", "wan0"), started("lbr1", "wan0")));
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(ApplyAllRelays, AFileThatIsNoInterfacesNameFails)
{
    add_bridge("lbr0");
    add_bridge("lbr2");
    write_relay("lbr1 with blanks", "enable=yes\n");
    EXPECT_EQ(-1, apply());
    EXPECT_THAT(calls(), ElementsAre(started("lbr0", "wan0")));
    EXPECT_TRUE(support::is_set_in("net_apply_pppoe_relay_config.cpp", NET_ERR_BAD_PARAMETER));
}

TEST_F(ApplyAllRelays, WhatAnInterruptedSettingLeftIsPassedOver)
{
    add_bridge("lbr0");
    write_relay(".ovs_eth0.abcdefgh", "enable=yes\n");
    write_relay(".lbr1.abcdefgh", "enable=yes\n");
    EXPECT_EQ(0, apply());
    EXPECT_THAT(calls(), ElementsAre(started("lbr0", "wan0")));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::entries(RELAY_FOLDER), ElementsAre(".lbr1.abcdefgh", ".ovs_eth0.abcdefgh", "lbr0"));
}

TEST_F(ApplyAllRelays, AnInterfacesNameMayBeginWithADot)
{
    add_bridge(".lan.2");
    EXPECT_EQ(0, apply());
    EXPECT_THAT(calls(), ElementsAre(started(".lan.2", "wan0")));
}

TEST_F(ApplyAllRelays, AMissingFolderIsMadeAndHoldsNothing)
{
    const mode_t old = umask(0);
    EXPECT_EQ(0, apply());
    umask(old);
    EXPECT_EQ(0754U, mode_of(RELAY_FOLDER));
    EXPECT_THAT(support::entries(RELAY_FOLDER), IsEmpty());
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(ApplyAllRelays, AFolderThatCannotBeMadeIsAFailure)
{
    fail_call("mkdir");
    EXPECT_EQ(-1, apply());
    ASSERT_EQ(2U, log_lines().size());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Generat directory [/etc/sysconfig/pppoe-relay/] failed(" +
                                                std::to_string(EROFS) + ")"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to get interfaces' config"));
    clear();
    write_file(RELAY_FOLDER, "a file\n");
    EXPECT_EQ(-1, apply());
    EXPECT_EQ(2U, log_lines().size());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to get interfaces' config"));
}

TEST_F(ApplyAllRelays, AFolderThatCannotBeListedIsAFailure)
{
    add_bridge("lbr0");
    for (const char *function : {"KLIBCSzListAlloc", "KLIBCFileEnumDir"}) {
        clear();
        fail_call(function);
        EXPECT_EQ(-1, apply()) << function;
        EXPECT_EQ(1U, log_lines().size()) << function;
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to get interfaces' config")) << function;
        EXPECT_THAT(calls(), IsEmpty());
    }
}

TEST_F(ApplyAllRelays, AtMost128AreApplied)
{
    for (int i = 0; i < 130; ++i) {
        char name[16];
        snprintf(name, sizeof name, "if%03d", i);
        write_relay(name, "");
        stand_ins::relays().push_back(command_line(name, "wan0"));
    }
    EXPECT_EQ(0, apply());
    EXPECT_EQ(128U, calls().size());
    EXPECT_EQ(2U, stand_ins::relays().size());
}

} // namespace
