#include "appliance/mtu/devices_test.h"

namespace {

constexpr char FILE_NAME[] = "net_conf_set_mtu_value.cpp";

using ConfSetMtu = DevicesTest;

TEST_F(ConfSetMtu, KeepsTheTextInDoubleQuotes)
{
    device("eth0", {});
    EXPECT_EQ(0, KAVOConfSetMTUValue("9000", "eth0"));
    EXPECT_EQ("name=\"value\"\neth0_mtu=\"9000\"\n", settings());
    EXPECT_EQ(0, KAVOConfSetMTUValue("1400", "eth0"));
    EXPECT_EQ("name=\"value\"\neth0_mtu=\"1400\"\n", settings());
    EXPECT_THAT(done(), IsEmpty());
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_EQ(5, support::last_lock_wait());
}

TEST_F(ConfSetMtu, AnyTextOfOneLineIsKept)
{
    for (const char *text : {"-5", "+9000", "abc", "99999999999999999999", "9000 "}) {
        EXPECT_EQ(0, KAVOConfSetMTUValue(text, "eth0"));
        EXPECT_EQ(std::string("name=\"value\"\neth0_mtu=\"") + text + "\"\n", settings());
    }
}

TEST_F(ConfSetMtu, OfAnOpenVSwitchInterfaceItIsItsPorts)
{
    ovs_interface("ovs_eth2");
    EXPECT_EQ(0, KAVOConfSetMTUValue("9000", "ovs_eth2"));
    EXPECT_EQ("name=\"value\"\neth2_mtu=\"9000\"\n", settings());
    ovs_interface("ovs_bond0");
    EXPECT_EQ(0, KAVOConfSetMTUValue("1400", "ovs_bond0"));
    EXPECT_EQ("name=\"value\"\neth2_mtu=\"9000\"\nbond0_mtu=\"1400\"\n", settings());
}

TEST_F(ConfSetMtu, AnInterfaceWithoutAPortKeepsItsName)
{
    ovs_interface("ovs_");
    EXPECT_EQ(0, KAVOConfSetMTUValue("9000", "ovs_"));
    EXPECT_EQ("name=\"value\"\novs__mtu=\"9000\"\n", settings());
    EXPECT_THAT(log_lines(), testing::SizeIs(1));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to fetch slave interface from OVS master ovs_"));
}

TEST_F(ConfSetMtu, OfAVlanItIsItsParentsToo)
{
    device("eth0.10", {.parent = "eth0"});
    EXPECT_EQ(0, KAVOConfSetMTUValue("9000", "eth0.10"));
    EXPECT_EQ("name=\"value\"\neth0_mtu=\"9000\"\neth0.10_mtu=\"9000\"\n", settings());
}

TEST_F(ConfSetMtu, TheVlanQuestionIsAboutTheInterfaceThatWasGiven)
{
    ovs_interface("ovs_eth0");
    device("ovs_eth0", {.parent = "eth7"});
    EXPECT_EQ(0, KAVOConfSetMTUValue("9000", "ovs_eth0"));
    EXPECT_EQ("name=\"value\"\neth7_mtu=\"9000\"\neth0_mtu=\"9000\"\n", settings());
}

TEST_F(ConfSetMtu, OneFailureDoesNotStopTheOther)
{
    device("eth0.10", {.parent = "eth0"});
    fail_call("KLIBCFileSetKeyValue", 1);
    EXPECT_EQ(-1, KAVOConfSetMTUValue("9000", "eth0.10"));
    EXPECT_EQ("name=\"value\"\neth0.10_mtu=\"9000\"\n", settings());
    EXPECT_EQ(LOG_ERR, support::logged(std::string(FILE_NAME) +
                                       ":[0-9]+ Failed to set eth0 MTU config value\\[0x[0-9A-F]{4} .*:[0-9]+\\]"));
    EXPECT_THAT(log_lines(), testing::SizeIs(1));
    clear();
    fail_call("KLIBCFileSetKeyValue", 2);
    EXPECT_EQ(-1, KAVOConfSetMTUValue("1400", "eth0.10"));
    EXPECT_EQ("name=\"value\"\neth0.10_mtu=\"9000\"\neth0_mtu=\"1400\"\n", settings());
    EXPECT_EQ(LOG_ERR, support::logged(std::string(FILE_NAME) +
                                       ":[0-9]+ Failed to set eth0.10 MTU config value\\[0x[0-9A-F]{4} .*:[0-9]+\\]"));
}

TEST_F(ConfSetMtu, AnInterfaceThatCannotBeAskedIsNothingToDo)
{
    fail_call("socket");
    EXPECT_EQ(0, KAVOConfSetMTUValue("9000", "eth0"));
    EXPECT_EQ(0, KAVOConfSetMTUValue("9000", support::NAME_OF_16));
    EXPECT_EQ(0, KAVOConfSetMTUValue("9000", support::NAME_OF_17));
    EXPECT_EQ("name=\"value\"\n", settings());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(ConfSetMtu, KeysAreCutToTwentyCharacters)
{
    EXPECT_EQ(0, KAVOConfSetMTUValue("9000", support::NAME_OF_15));
    EXPECT_EQ(std::string("name=\"value\"\n") + support::NAME_OF_15 + "_mtu=\"9000\"\n", settings());
}

TEST_F(ConfSetMtu, HoldsTheSettingsLockForWritingWhileItStores)
{
    device("eth0.10", {.parent = "eth0"});
    int stored = 0;
    support::on_call("KLIBCFileSetKeyValue", [&] {
        ++stored;
        EXPECT_FALSE(lock_is_free(0x805));
        EXPECT_TRUE(lock_is_free(0x106));
    });
    EXPECT_EQ(0, KAVOConfSetMTUValue("9000", "eth0.10"));
    EXPECT_EQ(2, stored);
    EXPECT_TRUE(lock_is_free(0x806));
}

TEST_F(ConfSetMtu, AHeldLockIsAFailure)
{
    fail_call("KLIBCFileLock");
    EXPECT_EQ(-1, KAVOConfSetMTUValue("9000", "eth0"));
    EXPECT_EQ("name=\"value\"\n", settings());
    EXPECT_TRUE(lock_is_free(0x806));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_LOCK_FAILED));
    EXPECT_EQ(LOG_ERR, support::logged(std::string(FILE_NAME) +
                                       ":[0-9]+ Failed to lock kavoinfo \\[0x[0-9A-F]{4} .*:[0-9]+\\]"));
}

TEST_F(ConfSetMtu, ALockThatIsNotGivenBackIsAFailure)
{
    fail_call("KLIBCFileUnlock");
    EXPECT_EQ(-1, KAVOConfSetMTUValue("9000", "eth0"));
    support::clear_faults();
    KLIBCFileUnlock(0x800); // it was not really given back
    EXPECT_EQ("name=\"value\"\neth0_mtu=\"9000\"\n", settings());
    EXPECT_EQ(LOG_ERR, support::logged(std::string(FILE_NAME) +
                                       ":[0-9]+ Failed to unlock kavoinfo\\[0x[0-9A-F]{4} .*:[0-9]+\\]"));
}

TEST_F(ConfSetMtu, RefusesWhatIsNoValueOfOneLine)
{
    for (const std::string &value : hostile_values()) {
        support::clear_error();
        EXPECT_EQ(-1, KAVOConfSetMTUValue(value.c_str(), "eth0")) << value;
        EXPECT_EQ(NET_ERR_BAD_PARAMETER, last_error().code) << value;
        EXPECT_EQ("name=\"value\"\n", settings()) << value;
    }
}

TEST_F(ConfSetMtu, RefusesNullEmptyAndHostileNames)
{
    const std::vector<std::pair<const char *, const char *>> bad = {
        {nullptr, "eth0"}, {"", "eth0"}, {"9000", nullptr}, {nullptr, nullptr}};
    for (const auto &[mtu, name] : bad) {
        support::clear_error();
        EXPECT_EQ(-1, KAVOConfSetMTUValue(mtu, name));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    }
    for (const std::string &name : support::hostile_names()) {
        support::clear_error();
        EXPECT_EQ(-1, KAVOConfSetMTUValue("9000", name.c_str())) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
    EXPECT_EQ("name=\"value\"\n", settings());
    EXPECT_EQ(0, support::ioctl_calls());
}

} // namespace
