#include "iface_test.h"

namespace {

constexpr char FILE_NAME[] = "net_get_if_info.cpp";

class NetGetIfInfo : public IfaceTest {
protected:
    Guarded<KAVONETIFENTRY> entry;
    Guarded<KAVONETINFO> info;
};

TEST_F(NetGetIfInfo, DescribesAStaticInterface)
{
    card("eth0", "192.0.2.7/24");
    set_mac("eth0", "02:00:00:00:00:a7");
    write_ifcfg("eth0", "BOOTPROTO=static\nIPADDR=198.51.100.2\nNETMASK=255.255.255.128\n");
    EXPECT_EQ(1, KAVONetIFGetInfo("eth0", entry.get(), info.get()));
    EXPECT_STREQ("eth0", entry->szName);
    EXPECT_THAT(entry->rgMac, ElementsAre(2, 0, 0, 0, 0, 0xa7));
    EXPECT_STREQ("192.0.2.7", entry->szAddr);
    EXPECT_STREQ("255.255.255.0", entry->szMask);
    EXPECT_EQ(2, entry->nLink);
    EXPECT_EQ(IFF_UP | IFF_BROADCAST | IFF_RUNNING | IFF_MULTICAST, entry->nFlags);

    KAVONETINFO expected{};
    expected.blStatic = 1;
    expected.nLink = 1;
    strcpy(expected.szName, "eth0");
    memcpy(expected.rgMac, entry->rgMac, 6);
    strcpy(expected.szAddr, "198.51.100.2");
    strcpy(expected.szMask, "255.255.255.128");
    EXPECT_EQ(expected.blStatic, info->blStatic);
    EXPECT_EQ(expected.nLink, info->nLink);
    EXPECT_STREQ(expected.szName, info->szName);
    EXPECT_EQ(0, memcmp(expected.rgMac, info->rgMac, 6));
    EXPECT_STREQ(expected.szAddr, info->szAddr);
    EXPECT_STREQ(expected.szMask, info->szMask);
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetGetIfInfo, DescribesADhcpInterface)
{
    card("eth0", "192.0.2.7/24");
    write_ifcfg("eth0", "BOOTPROTO=dhcp\nIPADDR=198.51.100.2\nNETMASK=255.0.0.0\n");
    write_lease("eth0", "IPADDR=192.0.2.99\nNETMASK=255.255.255.0\n");
    EXPECT_EQ(1, KAVONetIFGetInfo("eth0", nullptr, info.get()));
    EXPECT_EQ(0, info->blStatic);
    EXPECT_EQ(1, info->nLink);
    EXPECT_STREQ("eth0", info->szName);
    EXPECT_STREQ("192.0.2.99", info->szAddr);
    EXPECT_STREQ("255.255.255.0", info->szMask);
}

TEST_F(NetGetIfInfo, NeedsNoRecords)
{
    card("eth0");
    card("eth1", "", false);
    EXPECT_EQ(1, KAVONetIFGetInfo("eth0", nullptr, nullptr));
    EXPECT_EQ(0, KAVONetIFGetInfo("eth1", nullptr, nullptr));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetGetIfInfo, ReadsNoConfigurationForTheEntryAlone)
{
    card("eth0", "192.0.2.7/24");
    EXPECT_EQ(1, KAVONetIFGetInfo("eth0", entry.get(), nullptr));
    EXPECT_STREQ("192.0.2.7", entry->szAddr);
    EXPECT_FALSE(support::exists(ifcfg("eth0")));
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetGetIfInfo, ReadsNoConfigurationOfAnInterfaceThatIsDown)
{
    card("eth0", "192.0.2.7/24", false);
    set_mac("eth0", "02:00:00:00:00:a8");
    write_ifcfg("eth0", "BOOTPROTO=static\nIPADDR=198.51.100.2\nNETMASK=255.255.255.128\n");
    EXPECT_EQ(0, KAVONetIFGetInfo("eth0", entry.get(), info.get()));
    EXPECT_STREQ("192.0.2.7", entry->szAddr);
    EXPECT_EQ(0, entry->nLink);
    EXPECT_EQ(0, info->blStatic);
    EXPECT_EQ(0, info->nLink);
    EXPECT_STREQ("eth0", info->szName);
    EXPECT_THAT(info->rgMac, ElementsAre(2, 0, 0, 0, 0, 0xa8));
    EXPECT_STREQ("", info->szAddr);
    EXPECT_STREQ("", info->szMask);
}

TEST_F(NetGetIfInfo, ReadsNoConfigurationOfABondMember)
{
    card("eth0");
    write_ifcfg("eth0", "BOOTPROTO=static\nIPADDR=198.51.100.2\nNETMASK=255.255.255.128\n");
    drivers.more_flags["eth0"] = IFF_SLAVE;
    use_drivers();
    EXPECT_EQ(1, KAVONetIFGetInfo("eth0", entry.get(), info.get()));
    EXPECT_NE(0, entry->nFlags & IFF_SLAVE);
    EXPECT_STREQ("", info->szAddr);
    EXPECT_EQ(0, info->blStatic);
    support::answer_ioctl({});
    plain_folder("/sys/class/net");
    write_file("/sys/class/net/kavo_ovs_bonds", "ovs_bond0 eth0\n");
    EXPECT_EQ(1, KAVONetIFGetInfo("eth0", nullptr, info.get()));
    EXPECT_STREQ("", info->szAddr);
}

TEST_F(NetGetIfInfo, FailsWhenTheConfigurationIsIncomplete)
{
    card("eth0");
    write_ifcfg("eth0", "BOOTPROTO=static\nIPADDR=198.51.100.2\n");
    EXPECT_EQ(-1, KAVONetIFGetInfo("eth0", entry.get(), info.get()));
    EXPECT_STREQ("eth0", entry->szName);
    EXPECT_STREQ("eth0", info->szName);
}

TEST_F(NetGetIfInfo, FailsWithoutTheConfigurationLock)
{
    card("eth0");
    write_ifcfg("eth0", "BOOTPROTO=static\nIPADDR=198.51.100.2\nNETMASK=255.255.255.0\n");
    fail_call("KLIBCFileLock");
    EXPECT_EQ(-1, KAVONetIFGetInfo("eth0", nullptr, info.get()));
    EXPECT_EQ((Error{NET_ERR_LOCK_FAILED, "net_get_if_ipconfig.cpp", 36}), last_error());
    EXPECT_EQ(1, KAVONetIFGetInfo("eth0", nullptr, info.get()));
}

TEST_F(NetGetIfInfo, AsksThePortForTheLinkOfAnOpenVSwitchInterface)
{
    card("eth0");
    card("ovs_eth0");
    write_ifcfg("ovs_eth0", "BOOTPROTO=dhcp\n");
    set_carrier("eth0", false);
    EXPECT_EQ(1, KAVONetIFGetInfo("ovs_eth0", entry.get(), info.get()));
    EXPECT_EQ(0, entry->nLink);
    EXPECT_EQ(0, info->nLink);
    set_carrier("eth0", true);
    EXPECT_EQ(1, KAVONetIFGetInfo("ovs_eth0", entry.get(), info.get()));
    EXPECT_EQ(2, entry->nLink);
    EXPECT_EQ(1, info->nLink);
}

TEST_F(NetGetIfInfo, TakesTheNameOutOfTheRecordItFills)
{
    card("eth0", "192.0.2.7/24");
    write_ifcfg("eth0", "BOOTPROTO=static\nIPADDR=198.51.100.2\nNETMASK=255.255.255.0\n");
    strcpy(entry->szName, "eth0");
    EXPECT_EQ(1, KAVONetIFGetInfo(entry->szName, entry.get(), info.get()));
    EXPECT_STREQ("eth0", entry->szName);
    EXPECT_STREQ("198.51.100.2", info->szAddr);
    EXPECT_EQ(1, KAVONetIFGetInfo(info->szName, nullptr, info.get()));
    EXPECT_STREQ("eth0", info->szName);
    EXPECT_STREQ("198.51.100.2", info->szAddr);
}

TEST_F(NetGetIfInfo, LeavesWhatCannotBeQueriedEmpty)
{
    card("eth0", "192.0.2.7/24");
    drivers.refused = {{{SIOCGIFHWADDR, "eth0"}, EIO}, {{SIOCGIFADDR, "eth0"}, EIO}, {{SIOCGIFNETMASK, "eth0"}, EIO}};
    use_drivers();
    EXPECT_EQ(1, KAVONetIFGetInfo("eth0", entry.get(), nullptr));
    EXPECT_THAT(entry->rgMac, ElementsAre(0, 0, 0, 0, 0, 0));
    EXPECT_STREQ("", entry->szAddr);
    EXPECT_STREQ("", entry->szMask);
}

TEST_F(NetGetIfInfo, FailsOnAnUnknownInterface)
{
    EXPECT_EQ(-1, KAVONetIFGetInfo("eth7", entry.get(), info.get()));
    EXPECT_EQ((Error{NET_ERR_IOCTL_FAILED, FILE_NAME, 55}), last_error());
    EXPECT_TRUE(entry.untouched());
    EXPECT_TRUE(info.untouched());
}

TEST_F(NetGetIfInfo, FailsWithoutASocket)
{
    card("eth0");
    fail_call("socket");
    EXPECT_EQ(-1, KAVONetIFGetInfo("eth0", entry.get(), info.get()));
    EXPECT_EQ((Error{NET_ERR_SOCKET_FAILED, FILE_NAME, 50}), last_error());
    EXPECT_TRUE(entry.untouched());
    EXPECT_TRUE(info.untouched());
}

TEST_F(NetGetIfInfo, RefusesNull)
{
    EXPECT_EQ(-1, KAVONetIFGetInfo(nullptr, entry.get(), info.get()));
    EXPECT_EQ(bad_parameter(FILE_NAME, 127), last_error());
    EXPECT_EQ(LOG_ERR, logged("net_get_if_info", "Invaild Argument (((void *)0) != szIfname)=[0]\n"));
    EXPECT_TRUE(entry.untouched());
    EXPECT_TRUE(info.untouched());
}

TEST_F(NetGetIfInfo, RefusesLongAndHostileNames)
{
    std::vector<const char *> names = HOSTILE_NAMES;
    names.push_back(NAME_OF_16);
    names.push_back("a-name-that-is-much-longer-than-any-interface-name");
    for (const char *name : names) {
        forget();
        EXPECT_EQ(-1, KAVONetIFGetInfo(name, entry.get(), info.get())) << name;
        EXPECT_EQ(bad_parameter(FILE_NAME, 45), last_error());
    }
    EXPECT_TRUE(entry.untouched());
    EXPECT_TRUE(info.untouched());
}

TEST_F(NetGetIfInfo, TakesANameOf15Characters)
{
    card(NAME_OF_15, "192.0.2.7/24");
    EXPECT_EQ(1, KAVONetIFGetInfo(NAME_OF_15, entry.get(), nullptr));
    EXPECT_STREQ(NAME_OF_15, entry->szName);
}

} // namespace
