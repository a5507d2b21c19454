#include "appliance/mtu/devices_test.h"

namespace {

constexpr char FILE_NAME[] = "net_set_mtu_value.cpp";
constexpr long long SETTLING = 5'000'000; // microseconds

class SetMtu : public DevicesTest {
protected:
    void SetUp() override
    {
        DevicesTest::SetUp();
        if (!IsSkipped())
            follow("net/mtu_change");
    }

    static std::string told(const std::string &phase, const std::string &name, const std::string &mtu)
    {
        return "net/mtu_change " + phase + " IFACE=" + name + " MTU_VALUE=" + mtu;
    }
};

TEST_F(SetMtu, KeepsItSetsItAndTellsBothTimes)
{
    device("eth0", {});
    EXPECT_EQ(0, KAVONetSetMTUValue("9000", "eth0"));
    EXPECT_EQ("name=\"value\"\neth0_mtu=\"9000\"\n", settings());
    EXPECT_EQ(9000, device("eth0").mtu);
    EXPECT_THAT(followed(), ElementsAre(told("pre", "eth0", "9000"), told("post", "eth0", "9000")));
    EXPECT_EQ(SETTLING, support::waited());
    EXPECT_EQ(1, support::waits());
    EXPECT_EQ(LOG_WARNING, logged_in("net_set_mtu_eth.cpp", UP_DOWN));
    EXPECT_THAT(log_lines(), testing::SizeIs(1));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(SetMtu, TellsBeforeItKeepsAndAfterItWaited)
{
    device("eth0", {});
    support::on_wait([] {
        EXPECT_THAT(followed(), ElementsAre(told("pre", "eth0", "9000")));
        EXPECT_EQ("name=\"value\"\neth0_mtu=\"9000\"\n", settings());
    });
    support::on_call("KLIBCFileSetKeyValue", [] { EXPECT_THAT(followed(), testing::SizeIs(1)); });
    EXPECT_EQ(0, KAVONetSetMTUValue("9000", "eth0"));
    support::on_wait(nullptr);
    EXPECT_THAT(followed(), testing::SizeIs(2));
}

TEST_F(SetMtu, AJumboMtuOfASlowLinkIsOnlyKept)
{
    const std::string message = "Skip setting Jumbo MTU 9000 to eth0 which link-speed is lower than 1Gbps.";
    for (const int speed : {-1, 0, 100, 999}) { // -1: a driver that does not tell counts as slow
        device("eth0", {.speed = speed});
        support::clear_log();
        support::clear_waits();
        EXPECT_EQ(0, KAVONetSetMTUValue("9000", "eth0"));
        EXPECT_EQ(LOG_WARNING, logged_in(FILE_NAME, message)) << speed;
        EXPECT_EQ(SETTLING, support::waited());
    }
    EXPECT_EQ("name=\"value\"\neth0_mtu=\"9000\"\n", settings());
    EXPECT_THAT(done(), IsEmpty());
    EXPECT_THAT(followed(), testing::SizeIs(8));
    EXPECT_EQ(told("post", "eth0", "9000"), followed().back());
}

TEST_F(SetMtu, JumboBeginsAboveOneThousandFourHundredNinetyNine)
{
    device("eth0", {.mtu = 1400, .speed = 100});
    EXPECT_EQ(0, KAVONetSetMTUValue("1500", "eth0"));
    EXPECT_EQ(1400, device("eth0").mtu);
    EXPECT_EQ(0, KAVONetSetMTUValue("1499", "eth0"));
    EXPECT_EQ(1499, device("eth0").mtu);
    device("eth0", {.speed = 1000});
    EXPECT_EQ(0, KAVONetSetMTUValue("9000", "eth0"));
    EXPECT_EQ(9000, device("eth0").mtu);
}

TEST_F(SetMtu, OfAVlanItIsItsParentsFirst)
{
    device("eth0", {});
    device("eth0.10", {.parent = "eth0"});
    EXPECT_EQ(0, KAVONetSetMTUValue("9000", "eth0.10"));
    EXPECT_EQ("name=\"value\"\neth0_mtu=\"9000\"\neth0.10_mtu=\"9000\"\n", settings());
    EXPECT_THAT(done(),
                ElementsAre("down eth0", "mtu eth0 9000", "up eth0", "down eth0.10", "mtu eth0.10 9000", "up eth0.10"));
    EXPECT_THAT(followed(), ElementsAre(told("pre", "eth0.10", "9000"), told("post", "eth0.10", "9000")));
}

TEST_F(SetMtu, OfAnOpenVSwitchInterfaceItIsItsPortsAndThatIsToldAfterwards)
{
    ovs_interface("ovs_eth2");
    device("eth2", {});
    EXPECT_EQ(0, KAVONetSetMTUValue("9000", "ovs_eth2"));
    EXPECT_EQ("name=\"value\"\neth2_mtu=\"9000\"\n", settings());
    EXPECT_EQ(9000, device("eth2").mtu);
    EXPECT_THAT(followed(), ElementsAre(told("pre", "ovs_eth2", "9000"), told("post", "eth2", "9000")));
}

TEST_F(SetMtu, AnInterfaceWithoutAPortEndsWithoutTheSecondEvent)
{
    ovs_interface("ovs_");
    EXPECT_EQ(-1, KAVONetSetMTUValue("9000", "ovs_"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "get ovs origin interface error"));
    EXPECT_THAT(followed(), ElementsAre(told("pre", "ovs_", "9000")));
    EXPECT_EQ(0, support::waits());
    EXPECT_EQ("name=\"value\"\n", settings());
}

TEST_F(SetMtu, OfABondItIsEachMembersInTurn)
{
    ovs_bond("eth2 eth1");
    device("eth1", {});
    device("eth2", {});
    EXPECT_EQ(0, KAVONetSetMTUValue("9000", "ovs_bond0"));
    EXPECT_EQ("name=\"value\"\nbond0_mtu=\"9000\"\neth1_mtu=\"9000\"\neth2_mtu=\"9000\"\n", settings());
    EXPECT_THAT(done(), ElementsAre("down eth1", "mtu eth1 9000", "up eth1", "down eth2", "mtu eth2 9000", "up eth2"));
    EXPECT_THAT(followed(), ElementsAre(told("pre", "ovs_bond0", "9000"), told("post", "ovs_bond0", "9000")));
    EXPECT_EQ(SETTLING, support::waited());
}

TEST_F(SetMtu, MembersOfABondAreNotAskedForTheirSpeed)
{
    ovs_bond("eth1");
    device("eth1", {.speed = 100});
    EXPECT_EQ(0, KAVONetSetMTUValue("9000", "ovs_bond0"));
    EXPECT_EQ(9000, device("eth1").mtu);
}

TEST_F(SetMtu, EveryFailureOfABondIsToldAfterwards)
{
    ovs_bond("eth1 eth2");
    device("eth1", {});
    device("eth2", {});
    const std::string code = "\\(0x[0-9A-F]{4}\\)";
    const auto fails = [&](const std::string &message) {
        support::clear_log();
        support::clear_waits();
        const size_t before = followed().size();
        EXPECT_EQ(-1, KAVONetSetMTUValue("9000", "ovs_bond0"));
        support::clear_faults();
        EXPECT_EQ(LOG_ERR, support::logged(std::string(FILE_NAME) + ":[0-9]+ " + message)) << message;
        EXPECT_EQ(SETTLING, support::waited()) << message;
        ASSERT_EQ(before + 2, followed().size()) << message;
        EXPECT_EQ(told("post", "ovs_bond0", "9000"), followed().back());
    };
    fail_call("KLIBCFileSetKeyValue", 1);
    fails("Failed to ifconfig MTU Value" + code);
    EXPECT_THAT(done(), IsEmpty());
    fail_call("KLIBCFileSetKeyValue", 2);
    fails("KAVOConfSetMTUValue \\[eth1\\] failed " + code);
    EXPECT_THAT(done(), IsEmpty());
    device("eth1", {.refuses = true});
    fails("KAVONetSetMTUEth \\[eth1\\] failed " + code);
    EXPECT_EQ(1500, device("eth2").mtu);
    write_ifcfg("ovs_bond0", "BOND_MODE=balance-slb\n");
    fails("Failed to get OVS bond slave of ovs_bond0");
}

TEST_F(SetMtu, FailuresOfOtherInterfacesAreNotToldAfterwards)
{
    device("eth0", {});
    const auto fails = [&](const std::string &message) {
        support::clear_log();
        EXPECT_EQ(-1, KAVONetSetMTUValue("9000", "eth0"));
        support::clear_faults();
        EXPECT_EQ(LOG_ERR, support::logged(std::string(FILE_NAME) + ":[0-9]+ " + message)) << message;
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to set MTU 9000 of eth0")) << message;
        EXPECT_EQ(told("pre", "eth0", "9000"), followed().back());
    };
    fail_call("KLIBCFileSetKeyValue", 1);
    fails("Failed to ifconfig MTU Value\\(0x[0-9A-F]{4}\\)");
    EXPECT_THAT(done(), IsEmpty());
    device("eth0", {.speed = -2});
    fails("Can not get EthInfo\\([0-9A-F]+\\)\\.");
    EXPECT_THAT(done(), IsEmpty());
    EXPECT_EQ("name=\"value\"\neth0_mtu=\"9000\"\n", settings()) << "what was kept stays";
    device("eth0", {.refuses = true});
    fails("Failed to ifconfig MTU Value\\(0x[0-9A-F]{4}\\)");
    EXPECT_THAT(followed(), testing::SizeIs(3));
    EXPECT_EQ(0, support::waits());
}

TEST_F(SetMtu, AFailedFirstEventStopsNothing)
{
    device("eth0", {});
    follow("net/mtu_change", 1);
    EXPECT_EQ(0, KAVONetSetMTUValue("9000", "eth0"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to send mtu change prehook"));
    EXPECT_EQ(9000, device("eth0").mtu);
    EXPECT_THAT(followed(), testing::SizeIs(2));
}

TEST_F(SetMtu, TheSettingsLockIsFreeWhileItWaits)
{
    device("eth0", {});
    support::on_wait([] { EXPECT_TRUE(lock_is_free(0x806)); });
    EXPECT_EQ(0, KAVONetSetMTUValue("9000", "eth0"));
    support::on_wait(nullptr);
}

TEST_F(SetMtu, RefusesNullEmptyAndHostileNames)
{
    const std::vector<std::pair<const char *, const char *>> bad = {{nullptr, "eth0"}, {"", "eth0"}, {"9000", nullptr}};
    for (const auto &[mtu, name] : bad) {
        support::clear_error();
        EXPECT_EQ(-1, KAVONetSetMTUValue(mtu, name));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    }
    for (const std::string &name : support::hostile_names()) {
        support::clear_error();
        EXPECT_EQ(-1, KAVONetSetMTUValue("9000", name.c_str())) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
    EXPECT_THAT(followed(), IsEmpty());
    EXPECT_EQ("name=\"value\"\n", settings());
    EXPECT_EQ(0, support::ioctl_calls());
}

TEST_F(SetMtu, AValueOfTwoLinesIsToldButNeitherKeptNorSet)
{
    device("eth0", {});
    EXPECT_EQ(-1, KAVONetSetMTUValue("9000\nx=y", "eth0"));
    EXPECT_EQ("name=\"value\"\n", settings());
    EXPECT_THAT(done(), IsEmpty());
}

} // namespace
