#include "appliance/pppoe/relay_test.h"

namespace {

constexpr char FILE_NAME[] = "net_clear_pppoe_relay_config_all.cpp";

class ClearRelays : public RelayTest {
protected:
    static int clear_all() { return KAVONetClearPPPoERelayConfigAll(); }
};

TEST_F(ClearRelays, DeletesEveryFileAndLeavesRelaysRunning)
{
    const std::string longest(255, 'x');
    for (const std::string &name : {std::string("lbr0"), std::string("lbr1"), std::string("any file"), longest})
        write_relay(name, "enable=yes\n");
    write_file("/etc/sysconfig/kept", "x");
    stand_ins::relays().push_back(command_line("lbr0", "wan0"));
    EXPECT_EQ(0, clear_all());
    EXPECT_THAT(support::entries(RELAY_FOLDER), IsEmpty());
    EXPECT_TRUE(exists("/etc/sysconfig/kept"));
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ(1U, stand_ins::relays().size());
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(0, clear_all());
}

TEST_F(ClearRelays, DeletesMoreThanOneListingHolds)
{
    for (int i = 0; i < 300; ++i)
        write_relay("if" + std::to_string(i), "");
    write_relay(".lbr0.abcdefgh", "");
    EXPECT_EQ(0, clear_all());
    EXPECT_THAT(support::entries(RELAY_FOLDER), IsEmpty());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(ClearRelays, ManyThatCannotBeDeletedEndIt)
{
    ASSERT_EQ(0, mkdir(RELAY_FOLDER, 0755));
    for (int i = 0; i < 130; ++i)
        ASSERT_EQ(0, mkdir(relay_file("if" + std::to_string(i)).c_str(), 0755));
    EXPECT_EQ(0, clear_all());
    EXPECT_EQ(128U, log_lines().size());
    EXPECT_EQ(130U, support::entries(RELAY_FOLDER).size());
}

TEST_F(ClearRelays, WithoutMemoryAMissingFolderIsAFailureToo)
{
    fail_call("KLIBCSzListAlloc");
    EXPECT_EQ(-1, clear_all());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to alloc memory for list"));
}

TEST_F(ClearRelays, AMissingFolderIsNothingToDo)
{
    EXPECT_EQ(0, clear_all());
    EXPECT_FALSE(exists(RELAY_FOLDER));
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(ClearRelays, WhatIsNoFolderIsAFailure)
{
    write_file(RELAY_FOLDER, "a file\n");
    EXPECT_EQ(-1, clear_all());
    EXPECT_EQ("a file\n", read_file(RELAY_FOLDER));
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(ClearRelays, ALinkIsDeletedNotItsTarget)
{
    write_file("/etc/victim", "precious\n");
    ASSERT_EQ(0, mkdir(RELAY_FOLDER, 0755));
    ASSERT_EQ(0, symlink("/etc/victim", relay_file("lbr0").c_str()));
    EXPECT_EQ(0, clear_all());
    EXPECT_EQ("precious\n", read_file("/etc/victim"));
    EXPECT_THAT(support::entries(RELAY_FOLDER), IsEmpty());
}

TEST_F(ClearRelays, AFileThatCannotBeDeletedDoesNotStopIt)
{
    write_relay("lbr0", "");
    ASSERT_EQ(0, mkdir(relay_file("lbr1").c_str(), 0755));
    write_relay("lbr2", "");
    EXPECT_EQ(0, clear_all());
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to unlink [/etc/sysconfig/pppoe-relay/lbr1]"));
    EXPECT_THAT(support::entries(RELAY_FOLDER), ElementsAre("lbr1"));
    clear();
    rmdir(relay_file("lbr1").c_str());
    write_relay("lbr0", "");
    write_relay("lbr2", "");
    fail_call("unlink");
    EXPECT_EQ(0, clear_all());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to unlink [/etc/sysconfig/pppoe-relay/lbr0]"));
    EXPECT_THAT(support::entries(RELAY_FOLDER), ElementsAre("lbr0"));
}

TEST_F(ClearRelays, WithoutMemoryNothingIsDeleted)
{
    write_relay("lbr0", "");
    fail_call("KLIBCSzListAlloc");
    EXPECT_EQ(-1, clear_all());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to alloc memory for list"));
    EXPECT_THAT(support::entries(RELAY_FOLDER), ElementsAre("lbr0"));
}

TEST_F(ClearRelays, AFolderThatCannotBeListedIsAFailure)
{
    write_relay("lbr0", "");
    fail_call("KLIBCFileEnumDir");
    EXPECT_EQ(-1, clear_all());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to enum [/etc/sysconfig/pppoe-relay/]"));
    EXPECT_THAT(support::entries(RELAY_FOLDER), ElementsAre("lbr0"));
}

} // namespace
