#include "appliance/mtu/devices_test.h"

namespace {

constexpr char FILE_NAME[] = "net_set_mtu_eth.cpp";

using SetMtuEth = DevicesTest;

TEST_F(SetMtuEth, TakesTheDeviceDownSetsItAndBringsItUp)
{
    device("eth0", {});
    EXPECT_EQ(0, KAVONetSetMTUEth("9000", "eth0"));
    EXPECT_THAT(done(), ElementsAre("down eth0", "mtu eth0 9000", "up eth0"));
    EXPECT_THAT(log_lines(), testing::SizeIs(1));
    EXPECT_EQ(LOG_WARNING, logged_in(FILE_NAME, UP_DOWN));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_EQ("name=\"value\"\n", settings());
}

TEST_F(SetMtuEth, ARealCardHasItAfterwards)
{
    support::answer_ioctl({});
    add_card("lan0");
    EXPECT_EQ(0, KAVONetSetMTUEth("9000", "lan0"));
    EXPECT_NE(std::string::npos, shell("ip link show lan0").find("mtu 9000"));
    EXPECT_NE(std::string::npos, shell("ip link show lan0").find(",UP"));
    EXPECT_EQ(-1, KAVONetSetMTUEth("-1", "lan0"));
    EXPECT_NE(std::string::npos, shell("ip link show lan0").find("mtu 9000"));
    EXPECT_NE(std::string::npos, shell("ip link show lan0").find(",UP"));
}

TEST_F(SetMtuEth, TheNumberAtTheStartOfTheTextCounts)
{
    device("eth0", {});
    const std::vector<std::pair<const char *, std::string>> texts = {{"9000 bytes", "9000"},
                                                                     {" +1400", "1400"},
                                                                     {"012", "12"},
                                                                     {"0x10", "0"},
                                                                     {"abc", "0"},
                                                                     {"-5", "-5"},
                                                                     {"99999999999999999999", "2147483647"},
                                                                     {"4294967296", "2147483647"},
                                                                     {"-99999999999", "-2147483648"}};
    for (const auto &[text, number] : texts) {
        forget();
        const int result = KAVONetSetMTUEth(text, "eth0");
        EXPECT_EQ(std::stol(number) > 0 ? 0 : -1, result) << text;
        EXPECT_THAT(done(), ElementsAre("down eth0", "mtu eth0 " + number, "up eth0"));
    }
}

TEST_F(SetMtuEth, ARefusedValueIsAFailure)
{
    device("eth0", {.refuses = true});
    EXPECT_EQ(-1, KAVONetSetMTUEth("9000", "eth0"));
    EXPECT_THAT(done(), ElementsAre("down eth0", "mtu eth0 9000", "up eth0"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to set MTU 9000 of eth0"));
    EXPECT_THAT(log_lines(), testing::SizeIs(2));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(SetMtuEth, AVlansParentComesFirst)
{
    device("eth0", {});
    device("eth0.10", {.parent = "eth0"});
    device("eth0.10.20", {.parent = "eth0.10"});
    EXPECT_EQ(0, KAVONetSetMTUEth("9000", "eth0.10.20"));
    EXPECT_THAT(done(), ElementsAre("down eth0", "mtu eth0 9000", "up eth0", "down eth0.10", "mtu eth0.10 9000",
                                    "up eth0.10", "down eth0.10.20", "mtu eth0.10.20 9000", "up eth0.10.20"));
}

TEST_F(SetMtuEth, AParentsFailureLeavesTheVlanAloneButUp)
{
    device("eth0", {.refuses = true});
    device("eth0.10", {.parent = "eth0", .up = false});
    EXPECT_EQ(-1, KAVONetSetMTUEth("9000", "eth0.10"));
    EXPECT_THAT(done(), ElementsAre("down eth0", "mtu eth0 9000", "up eth0", "up eth0.10"));
    EXPECT_EQ(1500, device("eth0.10").mtu);
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to set MTU 9000 of eth0.10"));
}

TEST_F(SetMtuEth, AVlanThatIsItsOwnParentIsRefused)
{
    device("eth0.10", {.parent = "eth0.10"});
    EXPECT_EQ(-1, KAVONetSetMTUEth("9000", "eth0.10"));
    EXPECT_THAT(done(), ElementsAre("up eth0.10"));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_SYSTEM));
}

TEST_F(SetMtuEth, ADeviceThatCannotBeAskedIsBroughtUp)
{
    device("eth0", {.up = false});
    fail_call("socket", 1); // of the VLAN question
    EXPECT_EQ(-1, KAVONetSetMTUEth("9000", "eth0"));
    EXPECT_THAT(done(), ElementsAre("up eth0"));
    clear();
    forget();
    fail_call("socket", 2); // of the change itself
    EXPECT_EQ(-1, KAVONetSetMTUEth("9000", "eth0"));
    EXPECT_THAT(done(), ElementsAre("up eth0"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to set MTU 9000 of eth0"));
    EXPECT_THAT(log_lines(), testing::SizeIs(1));
}

TEST_F(SetMtuEth, ADeviceThatCannotBeTakenDownIsSetAllTheSame)
{
    device("eth0", {});
    fail_call("socket", 3); // of taking it down
    EXPECT_EQ(0, KAVONetSetMTUEth("9000", "eth0"));
    EXPECT_THAT(done(), ElementsAre("mtu eth0 9000", "up eth0"));
}

TEST_F(SetMtuEth, LongNamesAreRefusedAndWhatTheyAreCutToIsBroughtUp)
{
    device(support::NAME_OF_15, {.up = false});
    EXPECT_EQ(-1, KAVONetSetMTUEth("9000", support::NAME_OF_17));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    EXPECT_THAT(done(), ElementsAre(std::string("up ") + support::NAME_OF_15));
    EXPECT_EQ(1500, device(support::NAME_OF_15).mtu);
}

TEST_F(SetMtuEth, OneOf16IsCut)
{
    device(support::NAME_OF_15, {});
    EXPECT_EQ(0, KAVONetSetMTUEth("9000", support::NAME_OF_16));
    EXPECT_EQ(9000, device(support::NAME_OF_15).mtu);
}

TEST_F(SetMtuEth, OfAnOpenVSwitchInterfaceItIsItsPorts)
{
    ovs_interface("ovs_eth2");
    device("eth2", {});
    device("ovs_eth2", {});
    EXPECT_EQ(0, KAVONetSetMTUEth("9000", "ovs_eth2"));
    EXPECT_THAT(done(), ElementsAre("down eth2", "mtu eth2 9000", "up eth2"));
}

TEST_F(SetMtuEth, AnInterfaceWithoutAPortIsAFailure)
{
    ovs_interface("ovs_");
    EXPECT_EQ(-1, KAVONetSetMTUEth("9000", "ovs_"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "get ovs origin interface error"));
    EXPECT_THAT(log_lines(), testing::SizeIs(1));
    EXPECT_THAT(done(), IsEmpty());
}

TEST_F(SetMtuEth, OfABondItIsEachMembersInTurn)
{
    ovs_bond("eth2 eth1");
    device("eth1", {});
    device("eth2", {});
    EXPECT_EQ(0, KAVONetSetMTUEth("9000", "ovs_bond0"));
    EXPECT_THAT(done(), ElementsAre("down eth1", "mtu eth1 9000", "up eth1", "down eth2", "mtu eth2 9000", "up eth2"));
}

TEST_F(SetMtuEth, TheFirstMemberThatFailsEndsTheWalk)
{
    ovs_bond("eth1 eth2 eth3");
    device("eth1", {});
    device("eth2", {.refuses = true});
    device("eth3", {});
    EXPECT_EQ(-1, KAVONetSetMTUEth("9000", "ovs_bond0"));
    EXPECT_EQ(9000, device("eth1").mtu);
    EXPECT_EQ(1500, device("eth3").mtu);
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to set the MTU 9000 to OVS bonding slave eth2"));
    EXPECT_EQ(-1, logged_in(FILE_NAME, "Failed to set MTU 9000 of ovs_bond0"));
}

TEST_F(SetMtuEth, ABondWithoutMembersOrThatCannotBeReadIsAFailure)
{
    ovs_bond("");
    EXPECT_EQ(-1, KAVONetSetMTUEth("9000", "ovs_bond0"));
    EXPECT_EQ(-1, logged_in(FILE_NAME, "Failed to get OVS bond slave of ovs_bond0"));
    write_ifcfg("ovs_bond0", "BOND_MODE=balance-slb\n");
    EXPECT_EQ(-1, KAVONetSetMTUEth("9000", "ovs_bond0"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to get OVS bond slave of ovs_bond0"));
    EXPECT_THAT(done(), IsEmpty());
}

TEST_F(SetMtuEth, RefusesNullEmptyAndHostileNames)
{
    const std::vector<std::pair<const char *, const char *>> bad = {{nullptr, "eth0"}, {"", "eth0"}, {"9000", nullptr}};
    for (const auto &[mtu, name] : bad) {
        support::clear_error();
        EXPECT_EQ(-1, KAVONetSetMTUEth(mtu, name));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    }
    for (const std::string &name : support::hostile_names()) {
        support::clear_error();
        EXPECT_EQ(-1, KAVONetSetMTUEth("9000", name.c_str())) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
    EXPECT_EQ(0, support::ioctl_calls());
}

} // namespace
