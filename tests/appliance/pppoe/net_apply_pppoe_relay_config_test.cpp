#include "appliance/pppoe/relay_test.h"

namespace {

constexpr char FILE_NAME[] = "net_apply_pppoe_relay_config.cpp";

class ApplyRelay : public RelayTest {
protected:
    void SetUp() override
    {
        RelayTest::SetUp();
        if (!IsSkipped())
            add_bridge("lbr0");
    }

    static int apply() { return KAVONetApplyPPPoERelayConfig("lbr0"); }
    static void run(const std::string &client, const std::string &server)
    {
        stand_ins::relays().push_back(command_line(client, server));
    }
};

TEST_F(ApplyRelay, StartsTheRelayThatIsWanted)
{
    EXPECT_EQ(0, apply());
    EXPECT_THAT(calls(), ElementsAre(started("lbr0", "wan0")));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(ApplyRelay, RelaysOfOthersDoNotCount)
{
    run("lbr01", "wan0");
    run("lbr1", "wan0");
    EXPECT_EQ(0, apply());
    EXPECT_THAT(calls(), ElementsAre(started("lbr0", "wan0")));
}

TEST_F(ApplyRelay, LeavesARelayWithTheSameServerAlone)
{
    run("lbr0", "wan0");
    EXPECT_EQ(0, apply());
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(ApplyRelay, RestartsARelayWithAnotherServer)
{
    for (const char *server : {"wan1", "wan00", "wan"}) {
        clear();
        stand_ins::clear();
        run("lbr0", server);
        run("lbr1", server);
        EXPECT_EQ(0, apply());
        EXPECT_THAT(calls(), ElementsAre(ended("lbr0"), started("lbr0", "wan0"))) << server;
        EXPECT_THAT(stand_ins::relays(), ElementsAre(command_line("lbr1", server)));
    }
}

TEST_F(ApplyRelay, ARelayThatDoesNotEndIsAFailureAndNoOtherIsStarted)
{
    run("lbr0", "wan1");
    fail_call("KLIBCKill");
    EXPECT_EQ(-1, apply());
    EXPECT_THAT(calls(), ElementsAre(ended("lbr0")));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to kill process"));
    EXPECT_EQ(1U, log_lines().size());
}

TEST_F(ApplyRelay, ARelayThatDoesNotStartIsAFailure)
{
    record("/usr/sbin/pppoe-relay", 1);
    EXPECT_EQ(-1, apply());
    run("lbr0", "wan1");
    EXPECT_EQ(-1, apply());
    unlink("/usr/sbin/pppoe-relay");
    EXPECT_EQ(-1, apply());
    EXPECT_THAT(calls(), ElementsAre(started("lbr0", "wan0"), ended("lbr0"), started("lbr0", "wan0")));
}

TEST_F(ApplyRelay, StopsARelayThatIsNotWanted)
{
    const auto not_wanted = [](const char *why) {
        clear();
        stand_ins::clear();
        run("lbr0", "wan0");
        EXPECT_EQ(0, apply()) << why;
        EXPECT_THAT(calls(), ElementsAre(ended("lbr0"))) << why;
    };
    for (const char *content : {"enable=no\nserver=wan0\n", "server=wan0\n", ""}) {
        write_relay("lbr0", content);
        not_wanted(content);
    }
    write_relay("lbr0", "enable=yes\nserver=wan0\n");
    shell("ip link set lbr0 down");
    not_wanted("down");
    EXPECT_THAT(log_lines(), IsEmpty());
    shell("ip link set lbr0 up");
    write_ifcfg("lbr0", "DEVICE=lbr0\nTYPE=bridge\nPRIMARY=wlan0\n");
    not_wanted("not of the local LAN");
    write_ifcfg("lbr0", "DEVICE=lbr0\nBRIDGE=br0\nLOCAL_LAN=yes\n");
    not_wanted("a port");
    unlink(ifcfg("lbr0").c_str());
    not_wanted("not configured");
    EXPECT_EQ(LOG_ERR, support::logged(".* Failed to get PPPoE relay config"));
}

TEST_F(ApplyRelay, StartsNothingThatIsNotWanted)
{
    write_relay("lbr0", "enable=no\nserver=wan0\n");
    EXPECT_EQ(0, apply());
    shell("ip link set lbr0 down");
    EXPECT_EQ(0, apply());
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(ApplyRelay, ARelayThatIsNotWantedAndDoesNotEndIsAFailure)
{
    write_relay("lbr0", "enable=no\n");
    run("lbr0", "wan0");
    fail_call("KLIBCKill");
    EXPECT_EQ(-1, apply());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to kill process"));
    EXPECT_EQ(1U, stand_ins::relays().size());
}

TEST_F(ApplyRelay, AnInterfaceWithoutSettingsGetsEmptyOnes)
{
    unlink(relay_file("lbr0").c_str());
    EXPECT_EQ(0, apply());
    EXPECT_EQ("", read_file(relay_file("lbr0")));
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(ApplyRelay, SettingsThatCannotBeReadAreAFailure)
{
    run("lbr0", "wan1");
    fail_call("KLIBCFileGetKeyValue");
    EXPECT_EQ(-1, apply());
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(ApplyRelay, RefusesNullAndHostileNames)
{
    EXPECT_EQ(-1, KAVONetApplyPPPoERelayConfig(nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Bad parameter"));
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    for (const std::string &name : names) {
        support::clear_error();
        EXPECT_EQ(-1, KAVONetApplyPPPoERelayConfig(name.c_str())) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
    EXPECT_THAT(support::entries(RELAY_FOLDER), ElementsAre("lbr0"));
}

} // namespace
