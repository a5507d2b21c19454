#include "appliance/ipv4/ipv4_test.h"

namespace {

constexpr char FUNCTION[] = "BlKAVOLnxIsDHCP";

using LnxIsDhcp = Ipv4Test;

TEST_F(LnxIsDhcp, SaysWhetherTheMethodIsDhcp)
{
    write_ifcfg("eth0", "DEVICE=eth0\nBOOTPROTO=dhcp\n");
    write_ifcfg("eth1", "BOOTPROTO=static\n");
    write_ifcfg("eth2", "BOOTPROTO=\"dhcp\"\n");
    EXPECT_EQ(1, BlKAVOLnxIsDHCP("eth0"));
    EXPECT_EQ(0, BlKAVOLnxIsDHCP("eth1"));
    EXPECT_EQ(1, BlKAVOLnxIsDHCP("eth2"));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_EQ("DEVICE=eth0\nBOOTPROTO=dhcp\n", read_file(ifcfg("eth0")));
}

TEST_F(LnxIsDhcp, OtherMethodsAreNone)
{
    for (const char *method : {"", "none", "DHCP", "dhcp6", "dhc", "dhcp dhcp dhcp dhcp"}) {
        const std::string content = std::string("BOOTPROTO=") + method + "\n";
        write_ifcfg("eth0", content);
        EXPECT_EQ(0, BlKAVOLnxIsDHCP("eth0")) << method;
        EXPECT_EQ(content, read_file(ifcfg("eth0")));
    }
}

TEST_F(LnxIsDhcp, AFileWithoutAMethodIsGivenTheStaticOne)
{
    write_ifcfg("eth0", "DEVICE=eth0\nONBOOT=yes\n");
    EXPECT_EQ(0, BlKAVOLnxIsDHCP("eth0"));
    EXPECT_EQ("DEVICE=eth0\nONBOOT=yes\nBOOTPROTO=static\n", read_file(ifcfg("eth0")));
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_ERR, logged_by(FUNCTION, "Get BOOTPROTO failed.(0)"));
    support::clear_log();
    EXPECT_EQ(0, BlKAVOLnxIsDHCP("eth0"));
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(LnxIsDhcp, AMissingFileIsNotCreatedByTheRepair)
{
    EXPECT_EQ(0, BlKAVOLnxIsDHCP("eth0"));
    EXPECT_FALSE(exists(ifcfg("eth0")));
    EXPECT_EQ(2U, log_lines().size());
    EXPECT_EQ(LOG_ERR, support::logged("BlKAVOLnxIsDHCP\\([0-9]+\\) Get BOOTPROTO failed\\.\\([0-9A-F]+\\)"));
    EXPECT_EQ(LOG_ERR, support::logged("BlKAVOLnxIsDHCP\\([0-9]+\\) KLIBCFileSetKeyValue\\(/etc/sysconfig/"
                                       "network-scripts/ifcfg-eth0, BOOTPROTO, static\\) failed\\.\\([0-9A-F]+\\)"));
}

TEST_F(LnxIsDhcp, AFailedReadIsRepairedToo)
{
    write_ifcfg("eth0", "BOOTPROTO=dhcp\n");
    fail_call("KLIBCFileGetKeyValue");
    EXPECT_EQ(0, BlKAVOLnxIsDHCP("eth0"));
    EXPECT_EQ(LOG_ERR, logged_by(FUNCTION, "Get BOOTPROTO failed.(5151)"));
    EXPECT_EQ("BOOTPROTO=static\n", read_file(ifcfg("eth0")));
}

TEST_F(LnxIsDhcp, AFailedRepairIsLoggedAndLeavesTheFile)
{
    write_ifcfg("eth0", "DEVICE=eth0\n");
    fail_call("KLIBCFileSetKeyValue");
    EXPECT_EQ(0, BlKAVOLnxIsDHCP("eth0"));
    EXPECT_EQ("DEVICE=eth0\n", read_file(ifcfg("eth0")));
    EXPECT_EQ(LOG_ERR, logged_by(FUNCTION, "KLIBCFileSetKeyValue(/etc/sysconfig/network-scripts/ifcfg-eth0, "
                                           "BOOTPROTO, static) failed.(5151)"));
}

TEST_F(LnxIsDhcp, HoldsTheConfigurationLockForReading)
{
    write_ifcfg("eth0", "BOOTPROTO=dhcp\n");
    bool writers = true;
    bool readers = false;
    int wait = 0;
    support::on_call("KLIBCFileGetKeyValue", [&] {
        wait = support::last_lock_wait();
        writers = lock_is_free(0x106);
        readers = lock_is_free(0x105);
    });
    EXPECT_EQ(1, BlKAVOLnxIsDHCP("eth0"));
    EXPECT_EQ(5, wait);
    EXPECT_FALSE(writers);
    EXPECT_TRUE(readers);
    EXPECT_TRUE(lock_is_free(0x106));
}

TEST_F(LnxIsDhcp, WithoutTheLockTheAnswerIsNo)
{
    write_ifcfg("eth0", "DEVICE=eth0\n");
    fail_call("KLIBCFileLock");
    EXPECT_EQ(0, BlKAVOLnxIsDHCP("eth0"));
    EXPECT_TRUE(support::is_set_in("net_lnx_is_dhcp.cpp", NET_ERR_LOCK_FAILED));
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_ERR, logged_by(FUNCTION, "KLIBCFileLock failed."));
    EXPECT_EQ("DEVICE=eth0\n", read_file(ifcfg("eth0")));
    write_ifcfg("eth0", "BOOTPROTO=dhcp\n");
    EXPECT_EQ(1, BlKAVOLnxIsDHCP("eth0"));
}

TEST_F(LnxIsDhcp, AnswersInsideAHoldOfTheWritersLock)
{
    write_ifcfg("eth0", "BOOTPROTO=dhcp\n");
    ASSERT_EQ(0, KLIBCFileLock(0x106, 5));
    EXPECT_EQ(1, BlKAVOLnxIsDHCP("eth0"));
    EXPECT_FALSE(lock_is_free(0x105)); // still the caller's
    KLIBCFileUnlock(0x100);
}

TEST_F(LnxIsDhcp, RefusesNullAndHostileNames)
{
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    for (const std::string &name : names) {
        support::clear_error();
        EXPECT_EQ(0, BlKAVOLnxIsDHCP(name.c_str())) << name;
        EXPECT_TRUE(support::is_set_in("net_lnx_is_dhcp.cpp", NET_ERR_BAD_PARAMETER)) << name;
    }
    support::clear_error();
    EXPECT_EQ(0, BlKAVOLnxIsDHCP(nullptr));
    EXPECT_TRUE(support::is_set_in("net_lnx_is_dhcp.cpp", NET_ERR_BAD_PARAMETER));
    EXPECT_THAT(entries(FOLDER), IsEmpty());
    write_ifcfg(support::NAME_OF_15, "BOOTPROTO=dhcp\n");
    EXPECT_EQ(1, BlKAVOLnxIsDHCP(support::NAME_OF_15));
}

} // namespace
