#include "iface_test.h"

namespace {

constexpr char FILE_NAME[] = "net_get_if_ipconfig.cpp";

class NetGetIfIpconfig : public IfaceTest {
protected:
    Guarded<KAVONETINFO> info;
};

TEST_F(NetGetIfIpconfig, ReadsAStaticInterface)
{
    write_ifcfg("eth0", "DEVICE=eth0\nBOOTPROTO=static\nIPADDR=198.51.100.2\nNETMASK=255.255.255.128\n");
    write_lease("eth0", "IPADDR=192.0.2.99\nNETMASK=255.255.255.0\n");
    EXPECT_EQ(0, KAVONetIFGetIPConfig("eth0", info.get()));
    EXPECT_EQ(1, info->blStatic);
    EXPECT_STREQ("198.51.100.2", info->szAddr);
    EXPECT_STREQ("255.255.255.128", info->szMask);
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetGetIfIpconfig, ReadsTheLeaseOfADhcpInterface)
{
    write_ifcfg("eth0", "BOOTPROTO=dhcp\nIPADDR=198.51.100.2\nNETMASK=255.255.255.128\n");
    write_lease("eth0", "IPADDR=\"192.0.2.99\"\nNETMASK=\"255.255.255.0\"\n");
    EXPECT_EQ(0, KAVONetIFGetIPConfig("eth0", info.get()));
    EXPECT_EQ(0, info->blStatic);
    EXPECT_STREQ("192.0.2.99", info->szAddr);
    EXPECT_STREQ("255.255.255.0", info->szMask);
}

TEST_F(NetGetIfIpconfig, LeavesTheOtherFieldsAlone)
{
    write_ifcfg("eth0", "BOOTPROTO=static\nIPADDR=198.51.100.2\nNETMASK=255.255.255.128\n");
    info->nLink = 77;
    strcpy(info->szName, "other");
    memset(info->rgMac, 9, sizeof info->rgMac);
    EXPECT_EQ(0, KAVONetIFGetIPConfig("eth0", info.get()));
    EXPECT_EQ(77, info->nLink);
    EXPECT_STREQ("other", info->szName);
    EXPECT_THAT(info->rgMac, testing::Each(9));
}

TEST_F(NetGetIfIpconfig, HasNoAddressWithoutALease)
{
    write_ifcfg("eth0", "BOOTPROTO=dhcp\nIPADDR=198.51.100.2\nNETMASK=255.255.255.128\n");
    EXPECT_EQ(0, KAVONetIFGetIPConfig("eth0", info.get()));
    EXPECT_EQ(0, info->blStatic);
    EXPECT_STREQ("", info->szAddr);
    EXPECT_STREQ("", info->szMask);
    EXPECT_EQ(LOG_INFO, logged("net_get_if_ipconfig", "/etc/dhclient/ipv4/dhcpcd-eth0.info is not exist"));
    EXPECT_EQ(1U, support::log_lines().size());
}

TEST_F(NetGetIfIpconfig, TakesWhatIsNotDhcpForStatic)
{
    for (const char *protocol : {"none", "DHCP", "dhcpx", ""}) {
        write_ifcfg("eth0", std::string("BOOTPROTO=") + protocol + "\nIPADDR=198.51.100.2\nNETMASK=255.255.255.128\n");
        EXPECT_EQ(0, KAVONetIFGetIPConfig("eth0", info.get())) << protocol;
        EXPECT_EQ(1, info->blStatic) << protocol;
        EXPECT_STREQ("198.51.100.2", info->szAddr);
    }
}

TEST_F(NetGetIfIpconfig, FailsOnAMissingKey)
{
    for (const char *keys :
         {"", "IPADDR=198.51.100.2\n", "NETMASK=255.255.255.0\n", "#IPADDR=1.2.3.4\nNETMASK=255.0.0.0\n"}) {
        write_ifcfg("eth0", std::string("BOOTPROTO=static\n") + keys);
        EXPECT_EQ(-1, KAVONetIFGetIPConfig("eth0", info.get())) << keys;
        EXPECT_TRUE(is_free(0x106));
        write_ifcfg("eth0", "BOOTPROTO=dhcp\n");
        write_lease("eth0", keys);
        EXPECT_EQ(-1, KAVONetIFGetIPConfig("eth0", info.get())) << keys;
        EXPECT_EQ(0, info->blStatic);
        EXPECT_STREQ("", info->szMask);
        EXPECT_TRUE(is_free(0x106));
    }
}

TEST_F(NetGetIfIpconfig, FailsWithoutTheFile)
{
    EXPECT_EQ(-1, KAVONetIFGetIPConfig("eth0", info.get()));
    EXPECT_EQ(1, info->blStatic);
    EXPECT_STREQ("", info->szAddr);
    EXPECT_STREQ("", info->szMask);
    EXPECT_FALSE(support::exists(ifcfg("eth0")));
}

TEST_F(NetGetIfIpconfig, CutsLongValues)
{
    write_ifcfg("eth0",
                "BOOTPROTO=static\nIPADDR=0123456789012345678901234567890\nNETMASK=abcdefghijklmnopqrstuvwxyz\n");
    EXPECT_EQ(0, KAVONetIFGetIPConfig("eth0", info.get()));
    EXPECT_STREQ("0123456789012345678", info->szAddr);
    EXPECT_STREQ("abcdefghijklmnopqrs", info->szMask);
}

TEST_F(NetGetIfIpconfig, FailsWithoutTheLock)
{
    write_ifcfg("eth0", "BOOTPROTO=static\nIPADDR=198.51.100.2\nNETMASK=255.255.255.128\n");
    fail_call("KLIBCFileLock");
    EXPECT_EQ(-1, KAVONetIFGetIPConfig("eth0", info.get()));
    EXPECT_EQ((Error{NET_ERR_LOCK_FAILED, FILE_NAME, 36}), last_error());
    EXPECT_TRUE(info.untouched());
    EXPECT_EQ(0, KAVONetIFGetIPConfig("eth0", info.get())) << "a later call works";
}

TEST_F(NetGetIfIpconfig, HoldsTheConfigurationLockForReading)
{
    write_ifcfg("eth0", "BOOTPROTO=static\nIPADDR=198.51.100.2\nNETMASK=255.255.255.128\n");
    // The question whether the interface uses DHCP takes the lock once more. The first hold is seen alone just before
    // that question, and after it, when the mask is read.
    LockState before_question{};
    LockState at_mask{};
    support::on_call("KLIBCFileLock", [&] { before_question = network_lock(); });
    support::on_call("KLIBCFileGetKeyValue", [&] { at_mask = network_lock(); });
    EXPECT_EQ(0, KAVONetIFGetIPConfig("eth0", info.get()));
    EXPECT_EQ(HELD_FOR_READING, before_question);
    EXPECT_FALSE(at_mask.free_for_writers);
    EXPECT_TRUE(at_mask.free_for_readers);
}

TEST_F(NetGetIfIpconfig, WorksInsideAHoldOfTheLock)
{
    write_ifcfg("eth0", "BOOTPROTO=static\nIPADDR=198.51.100.2\nNETMASK=255.255.255.128\n");
    ASSERT_EQ(0, KLIBCFileLock(0x106, 5));
    EXPECT_EQ(0, KAVONetIFGetIPConfig("eth0", info.get()));
    EXPECT_FALSE(is_free(0x106)) << "the caller's hold stays";
    KLIBCFileUnlock(0x100);
}

TEST_F(NetGetIfIpconfig, RefusesNull)
{
    EXPECT_EQ(-1, KAVONetIFGetIPConfig(nullptr, info.get()));
    EXPECT_EQ(bad_parameter(FILE_NAME, 33), last_error());
    EXPECT_EQ(LOG_ERR, logged("net_get_if_ipconfig", "Invaild Argument (((void *)0) != szIfname)=[0]\n"));
    forget();
    EXPECT_EQ(-1, KAVONetIFGetIPConfig("eth0", nullptr));
    EXPECT_EQ(bad_parameter(FILE_NAME, 33), last_error());
    EXPECT_EQ(LOG_ERR, logged("net_get_if_ipconfig", "Invaild Argument (NULL != pNetInfo)=[0]\n"));
    forget();
    EXPECT_EQ(-1, KAVONetIFGetIPConfig(nullptr, nullptr));
    EXPECT_EQ(LOG_ERR, logged("net_get_if_ipconfig", "Invaild Argument (((void *)0) != szIfname)=[0]\n"));
    EXPECT_TRUE(info.untouched());
}

TEST_F(NetGetIfIpconfig, RefusesLongAndHostileNames)
{
    write_file("/etc/sysconfig/network-scripts/ifcfg-a/b", "BOOTPROTO=static\nIPADDR=1.2.3.4\nNETMASK=255.0.0.0\n");
    std::vector<const char *> names = HOSTILE_NAMES;
    names.push_back(NAME_OF_16);
    for (const char *name : names) {
        forget();
        EXPECT_EQ(-1, KAVONetIFGetIPConfig(name, info.get())) << name;
        EXPECT_TRUE(is_bad_parameter_in(FILE_NAME)) << name;
    }
    EXPECT_TRUE(info.untouched());
}

} // namespace
