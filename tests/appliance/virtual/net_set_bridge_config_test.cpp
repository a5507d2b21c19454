#include "appliance/virtual/bridge_test.h"

#include <sys/mount.h>

#include "support/kill_stepper.h"

namespace {

constexpr char FILE_NAME[] = "net_set_bridge_config.cpp";

using testing::UnorderedElementsAre;

class SetBridgeConfig : public BridgeTest {
protected:
    static constexpr char BEFORE[] = "# kept\nDEVICE=other\nTYPE=bridge\nPRIMARY=wlan0\nBRIDGE=br9\nLOCAL_LAN=yes\n"
                                     "ONBOOT=no\nBOOTPROTO=static\nIPADDR=10.0.0.1\nNETMASK=255.0.0.0\nMTU=9000\n";

    static int set(int32_t role, const std::string &name, const std::string &peer)
    {
        const KLIBNETBRIDGEINFO info = bridge(role, name, peer);
        return KAVONetSetBridgeConfig(nullptr, &info);
    }

    static int set(const KAVONETINFO &ip, int32_t role, const std::string &name, const std::string &peer)
    {
        const KLIBNETBRIDGEINFO info = bridge(role, name, peer);
        return KAVONetSetBridgeConfig(&ip, &info);
    }
};

TEST_F(SetBridgeConfig, RoleOneTakesTheBridgeKeysAway)
{
    write_ifcfg("eth0", BEFORE);
    EXPECT_EQ(0, set(1, "eth0", "ignored"));
    EXPECT_THAT(lines("eth0"), UnorderedElementsAre("# kept", "DEVICE=eth0", "ONBOOT=no", "BOOTPROTO=static",
                                                    "IPADDR=10.0.0.1", "NETMASK=255.0.0.0", "MTU=9000"));
    expect_silence();
}

TEST_F(SetBridgeConfig, RoleTwoIsABridge)
{
    write_ifcfg("br0", BEFORE);
    EXPECT_EQ(0, set(2, "br0", "eth0"));
    EXPECT_THAT(lines("br0"),
                UnorderedElementsAre("# kept", "DEVICE=br0", "TYPE=bridge", "PRIMARY=eth0", "ONBOOT=no",
                                     "BOOTPROTO=static", "IPADDR=10.0.0.1", "NETMASK=255.0.0.0", "MTU=9000"));
    expect_silence();
}

TEST_F(SetBridgeConfig, RoleThreeIsMarkedAndRoleTwoUnmarksIt)
{
    EXPECT_EQ(0, set(3, "lbr0", "wlan0"));
    EXPECT_THAT(lines("lbr0"), UnorderedElementsAre("DEVICE=lbr0", "TYPE=bridge", "PRIMARY=wlan0", "LOCAL_LAN=yes"));
    EXPECT_EQ(1, KLIBNetIFIsLocalLan("lbr0"));
    EXPECT_EQ(0, set(2, "lbr0", "wlan0"));
    EXPECT_THAT(lines("lbr0"), UnorderedElementsAre("DEVICE=lbr0", "TYPE=bridge", "PRIMARY=wlan0"));
    EXPECT_EQ(0, KLIBNetIFIsLocalLan("lbr0"));
    expect_silence();
}

TEST_F(SetBridgeConfig, RoleFourIsAPort)
{
    write_ifcfg("eth0", "DEVICE=eth0\nTYPE=bridge\nPRIMARY=x\nLOCAL_LAN=yes\n# kept\n");
    EXPECT_EQ(0, set(4, "eth0", "br0"));
    EXPECT_THAT(lines("eth0"), UnorderedElementsAre("DEVICE=eth0", "# kept", "BRIDGE=br0"));
    expect_silence();
}

TEST_F(SetBridgeConfig, WritesAStaticAddress)
{
    write_ifcfg("br0", "BOOTPROTO=dhcp\n");
    EXPECT_EQ(0, set(address("", 1, 1, "10.0.0.2", "255.255.0.0"), 2, "br0", "eth0"));
    EXPECT_THAT(lines("br0"), UnorderedElementsAre("DEVICE=br0", "TYPE=bridge", "PRIMARY=eth0", "ONBOOT=yes",
                                                   "BOOTPROTO=static", "IPADDR=10.0.0.2", "NETMASK=255.255.0.0"));
    EXPECT_EQ(0, set(address("", 7, 0, "10.0.0.3", "255.0.0.0"), 1, "br0", ""));
    EXPECT_THAT(lines("br0"), UnorderedElementsAre("DEVICE=br0", "ONBOOT=no", "BOOTPROTO=static", "IPADDR=10.0.0.3",
                                                   "NETMASK=255.0.0.0"));
}

TEST_F(SetBridgeConfig, DhcpTakesTheAddressAway)
{
    write_ifcfg("br0", BEFORE);
    EXPECT_EQ(0, set(address("", 0, -1, "10.0.0.2", "255.255.0.0"), 2, "br0", "eth0"));
    EXPECT_THAT(lines("br0"), UnorderedElementsAre("# kept", "DEVICE=br0", "TYPE=bridge", "PRIMARY=eth0", "ONBOOT=yes",
                                                   "BOOTPROTO=dhcp", "MTU=9000"));
    expect_silence();
}

TEST_F(SetBridgeConfig, TheNameIsTheBridgeRecords)
{
    EXPECT_EQ(0, set(address("eth7", 0, 1), 4, "eth0", "br0"));
    EXPECT_THAT(support::entries(FOLDER), ElementsAre("ifcfg-eth0"));
    EXPECT_THAT(lines("eth0"), testing::Contains("DEVICE=eth0"));
}

TEST_F(SetBridgeConfig, WhatItWritesIsReadBack)
{
    for (const int32_t role : {2, 3}) {
        EXPECT_EQ(0, set(address("", 1, 1, "10.0.0.2", "255.255.0.0"), role, "br0", "eth0"));
        KLIBNETBRIDGEINFO info = dirty<KLIBNETBRIDGEINFO>();
        KAVONETINFO ip = dirty<KAVONETINFO>();
        EXPECT_EQ(0, KAVONetGetBridgeConfig("br0", &ip, &info));
        EXPECT_EQ(bridge(role, "br0", "eth0"), info);
        const KAVONETINFO expected = address("br0", 1, 1, "10.0.0.2", "255.255.0.0");
        EXPECT_EQ(0, memcmp(&expected, &ip, sizeof ip));
    }
}

// ---- The copy

TEST_F(SetBridgeConfig, KeepsTheOldFileBesideTheNew)
{
    write_ifcfg("eth0", BEFORE);
    EXPECT_EQ(0, set(1, "eth0", ""));
    EXPECT_EQ(BEFORE, read_file(saved("eth0")));
    EXPECT_THAT(support::entries(FOLDER), ElementsAre("ifcfg-eth0", "ifcfg-eth0.saved"));
    const std::string after = read_file(ifcfg("eth0"));
    EXPECT_EQ(0, set(4, "eth0", "br0"));
    EXPECT_EQ(after, read_file(saved("eth0"))) << "the last one only";
}

TEST_F(SetBridgeConfig, CopiesBeforeItWrites)
{
    write_ifcfg("eth0", BEFORE);
    record("/bin/cp");
    std::vector<std::string> before_write;
    support::on_call("KLIBCFileSetKeys", [&] { before_write = calls(); });
    EXPECT_EQ(0, set(1, "eth0", ""));
    EXPECT_THAT(calls(), ElementsAre("[/bin/cp] [-f] [" + ifcfg("eth0") + "] [" + saved("eth0") + "]"));
    EXPECT_EQ(calls(), before_write);
}

TEST_F(SetBridgeConfig, AMissingFileIsMadeWithoutACopy)
{
    record("/bin/cp");
    EXPECT_EQ(0, set(4, support::NAME_OF_15, "br0"));
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(lines(support::NAME_OF_15),
                UnorderedElementsAre(std::string("DEVICE=") + support::NAME_OF_15, "BRIDGE=br0"));
    expect_silence();
}

TEST_F(SetBridgeConfig, AFailedCopyIsIgnored)
{
    write_ifcfg("eth0", BEFORE);
    record("/bin/cp", 1);
    EXPECT_EQ(0, set(1, "eth0", ""));
    EXPECT_EQ(1U, calls().size());
    EXPECT_THAT(lines("eth0"), testing::Contains("DEVICE=eth0"));
}

// ---- Refusals and failures: nothing changes

TEST_F(SetBridgeConfig, RefusesOtherRoles)
{
    write_ifcfg("eth0", BEFORE);
    record("/bin/cp");
    for (const int32_t role : {INT32_MIN, -1, 0, 5, INT32_MAX}) {
        clear();
        EXPECT_EQ(-1, set(role, "eth0", "br0"));
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to set bridge config with wrong type."));
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_EQ(NO_ERROR_SET, last_error());
    }
    EXPECT_EQ(BEFORE, read_file(ifcfg("eth0")));
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(SetBridgeConfig, RefusesNoRecord)
{
    const KAVONETINFO ip = address("eth0", 1, 1, "10.0.0.1", "255.0.0.0");
    EXPECT_EQ(-1, KAVONetSetBridgeConfig(&ip, nullptr));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Wrong Parameter."));
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::entries(FOLDER), IsEmpty());
}

TEST_F(SetBridgeConfig, RefusesHostileNames)
{
    for (const char *name : refused_names()) {
        if (name == nullptr)
            continue;
        clear();
        EXPECT_EQ(-1, set(4, name, "br0")) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
        if (name[0] == '\0')
            continue;
        clear();
        EXPECT_EQ(-1, set(4, "eth0", name)) << name;
        EXPECT_EQ(-1, set(2, "eth0", name)) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
    EXPECT_THAT(support::entries(FOLDER), IsEmpty());
}

TEST_F(SetBridgeConfig, APeerMayBeMissing)
{
    EXPECT_EQ(0, set(2, "br0", ""));
    EXPECT_THAT(lines("br0"), UnorderedElementsAre("DEVICE=br0", "TYPE=bridge", "PRIMARY="));
}

TEST_F(SetBridgeConfig, FieldsWithoutEndAreNotOverrun)
{
    KAVONETINFO ip = address("", 1, 1, std::string(20, '1'), std::string(20, '2'));
    EXPECT_EQ(0, set(ip, 1, "eth0", support::NAME_OF_16));
    EXPECT_THAT(lines("eth0"),
                testing::IsSupersetOf({"IPADDR=" + std::string(19, '1'), "NETMASK=" + std::string(19, '2')}));
}

TEST_F(SetBridgeConfig, AnAddressThatBreaksItsLineIsNotWritten)
{
    write_ifcfg("eth0", BEFORE);
    EXPECT_EQ(-1, set(address("", 1, 1, "1.1.1.1\nX=1", "255.0.0.0"), 1, "eth0", ""));
    EXPECT_EQ(BEFORE, read_file(ifcfg("eth0")));
    EXPECT_EQ(unsigned{NET_ERR_BAD_PARAMETER}, last_error().code);
}

TEST_F(SetBridgeConfig, MissingMemoryIsAFailure)
{
    write_ifcfg("eth0", BEFORE);
    for (const char *call : {"KLIBCSzHashAlloc", "KLIBCSzHashSetValue"}) {
        for (int n = 1; n <= 2; ++n) {
            clear();
            fail_call(call, n);
            EXPECT_EQ(-1, set(address("", 0, 1), 2, "eth0", "br0"));
            EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OUT_OF_MEMORY)) << call << n;
        }
    }
    EXPECT_EQ(BEFORE, read_file(ifcfg("eth0")));
    EXPECT_THAT(support::entries(FOLDER), ElementsAre("ifcfg-eth0"));
}

TEST_F(SetBridgeConfig, AFailedRewriteLeavesFileAndCopy)
{
    write_ifcfg("eth0", BEFORE);
    fail_call("KLIBCFileSetKeys");
    EXPECT_EQ(-1, set(1, "eth0", ""));
    EXPECT_EQ(0x5151U, last_error().code) << "the platform's record stays";
    EXPECT_EQ(BEFORE, read_file(ifcfg("eth0")));
    EXPECT_EQ(BEFORE, read_file(saved("eth0")));
}

TEST_F(SetBridgeConfig, AKillAtAnySystemCallLeavesTheOldFileOrTheNew)
{
    // The copy is another process's work, which a kill of this one leaves alone: it is looked at above.
    record("/bin/cp");
    write_ifcfg("br0", BEFORE);
    ASSERT_EQ(0, set(address("", 0, 1), 3, "br0", "eth0"));
    const std::string after = read_file(ifcfg("br0"));
    write_ifcfg("br0", BEFORE);
    bool seen_new = false;
    const int kills = support::kill_before_each_call(
        [] {
            if (set(address("", 0, 1), 3, "br0", "eth0") != 0)
                _exit(1);
        },
        [&](int n) {
            const std::string now = read_file(ifcfg("br0"));
            ASSERT_TRUE(now == BEFORE || now == after) << "killed before call " << n << ": " << now;
            ASSERT_FALSE(seen_new && now == BEFORE) << "killed before call " << n; // what has come stays
            seen_new = seen_new || now == after;
            // The next writer is not held up, and what is left over is no file that a reader takes.
            ASSERT_EQ(0, set(address("", 0, 1), 3, "br0", "eth0")) << "killed before call " << n;
            ASSERT_EQ(after, read_file(ifcfg("br0")));
            for (const std::string &name : support::entries(FOLDER)) {
                ASSERT_TRUE(name == "ifcfg-br0" || name[0] == '.') << name;
                if (name != "ifcfg-br0")
                    unlink((std::string(FOLDER) + "/" + name).c_str());
            }
            write_ifcfg("br0", BEFORE);
        });
    EXPECT_GT(kills, 20);
    EXPECT_TRUE(seen_new) << "there are calls behind the rename too";
    EXPECT_EQ(after, read_file(ifcfg("br0"))) << "the one that got through";
}

TEST_F(SetBridgeConfig, AFolderThatCannotBeWrittenIsAFailure)
{
    write_ifcfg("eth0", BEFORE);
    ASSERT_EQ(0, mount(FOLDER, FOLDER, nullptr, MS_BIND, nullptr));
    ASSERT_EQ(0, mount(nullptr, FOLDER, nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr));
    EXPECT_EQ(-1, set(1, "eth0", ""));
    EXPECT_EQ(-1, set(1, "eth1", ""));
    EXPECT_THAT(support::entries(FOLDER), ElementsAre("ifcfg-eth0"));
    EXPECT_EQ(BEFORE, read_file(ifcfg("eth0")));
    ASSERT_EQ(0, umount(FOLDER));
}

} // namespace
