#include "iface_test.h"

namespace {

constexpr char FILE_NAME[] = "net_get_card1.cpp";

class NetGetCard1 : public IfaceTest {
protected:
    void cards()
    {
        card("eth0", "192.0.2.1/24");
        card("eth1", "192.0.2.2/24");
        card("eth2", "192.0.2.3/24");
        write_ifcfg("eth0", "BOOTPROTO=static\nIPADDR=198.51.100.1\nNETMASK=255.255.255.0\n");
        write_ifcfg("eth1", "BOOTPROTO=dhcp\n");
        write_lease("eth1", "IPADDR=198.51.100.2\nNETMASK=255.255.0.0\n");
        write_ifcfg("eth2", "BOOTPROTO=static\n");
    }

    // The one line that tells why there is no interface at all.
    static std::string reason()
    {
        if (support::log_lines().empty() || support::log_lines().back().level != LOG_ERR)
            return "";
        return support::log_lines().back().text;
    }

    Guarded<KAVONETINFO> info;
};

TEST_F(NetGetCard1, DescribesTheInterfaceAtAnIndex)
{
    cards();
    set_mac("eth0", "02:00:00:00:00:11");
    EXPECT_EQ(1, KAVONetGetCard1(0, nullptr, info.get()));
    EXPECT_EQ(1, info->blStatic);
    EXPECT_EQ(1, info->nLink);
    EXPECT_STREQ("eth0", info->szName);
    EXPECT_THAT(info->rgMac, ElementsAre(2, 0, 0, 0, 0, 0x11));
    EXPECT_STREQ("198.51.100.1", info->szAddr);
    EXPECT_STREQ("255.255.255.0", info->szMask);
    EXPECT_EQ(1, KAVONetGetCard1(1, nullptr, info.get()));
    EXPECT_EQ(0, info->blStatic);
    EXPECT_STREQ("eth1", info->szName);
    EXPECT_STREQ("198.51.100.2", info->szAddr);
    EXPECT_STREQ("255.255.0.0", info->szMask);
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetGetCard1, FindsTheInterfaceOfAnAddress)
{
    cards();
    for (const unsigned int index : {0U, 1U, 2U}) {
        EXPECT_EQ(1, KAVONetGetCard1(index, "192.0.2.2", info.get())) << index;
        EXPECT_STREQ("eth1", info->szName) << "the address, not the index, decides";
        EXPECT_STREQ("198.51.100.2", info->szAddr);
    }
}

TEST_F(NetGetCard1, FindsTheFirstInterfaceWithoutAnAddress)
{
    card("eth0", "192.0.2.1/24");
    card("eth1");
    card("eth2");
    write_ifcfg("eth1", "BOOTPROTO=static\nIPADDR=198.51.100.2\nNETMASK=255.255.255.0\n");
    EXPECT_EQ(1, KAVONetGetCard1(0, "0.0.0.0", info.get()));
    EXPECT_STREQ("eth1", info->szName);
    EXPECT_STREQ("198.51.100.2", info->szAddr);
    EXPECT_EQ(LOG_INFO, logged("net_lnx_get_ip", "get ip failed"));
}

TEST_F(NetGetCard1, HasNoInterfaceOfAnUnknownAddress)
{
    cards();
    for (const char *address : {"192.0.2.9", "192.0.2", "192.0.2.22", "", "198.51.100.1", " 192.0.2.1"})
        EXPECT_EQ(0, KAVONetGetCard1(0, address, info.get())) << address;
    EXPECT_TRUE(info.untouched());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetGetCard1, HasNoInterfaceBeyondTheLast)
{
    cards();
    EXPECT_EQ(0, KAVONetGetCard1(3, nullptr, info.get()));
    EXPECT_EQ(0, KAVONetGetCard1(31, nullptr, info.get()));
    EXPECT_EQ(0, KAVONetGetCard1(3, "192.0.2.2", info.get()));
    EXPECT_EQ(0, KAVONetGetCard1(32, "192.0.2.2", info.get()));
    EXPECT_EQ(0, KAVONetGetCard1(UINT32_MAX, "192.0.2.2", info.get()));
    EXPECT_TRUE(info.untouched());
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetGetCard1, CountsOnlyUsableInterfaces)
{
    cards();
    shell("ip link add br0 type bridge; ip link set eth0 master br0");
    EXPECT_EQ(1, KAVONetGetCard1(0, nullptr, info.get()));
    EXPECT_STREQ("eth1", info->szName);
    EXPECT_EQ(0, KAVONetGetCard1(0, "192.0.2.1", info.get()));
}

TEST_F(NetGetCard1, LooksAtTheFirst32Interfaces)
{
    for (const char *number : {"31", "32"}) {
        card(std::string("eth") + number, std::string("192.0.2.") + number + "/24");
        write_ifcfg(std::string("eth") + number, "BOOTPROTO=static\nIPADDR=198.51.100.1\nNETMASK=255.255.255.0\n");
    }
    plain_proc_net();
    std::string table = "Inter-|   Receive\n face |bytes\n";
    for (int i = 0; i < 40; ++i) {
        table += "  eth" + std::to_string(i) + ": 1 2 3 4 5 6 7 8 9 10\n";
        drivers.flags["eth" + std::to_string(i)] = IFF_UP | IFF_RUNNING;
    }
    write_file("/proc/net/dev", table);
    use_drivers();
    EXPECT_EQ(1, KAVONetGetCard1(31, nullptr, info.get()));
    EXPECT_STREQ("eth31", info->szName);
    EXPECT_EQ(1, KAVONetGetCard1(0, "192.0.2.31", info.get()));
    EXPECT_STREQ("eth31", info->szName);
    EXPECT_EQ(0, KAVONetGetCard1(0, "192.0.2.32", info.get()));
    EXPECT_EQ(0, KAVONetGetCard1(32, "192.0.2.31", info.get()));
}

TEST_F(NetGetCard1, TellsThatThereIsNoInterface)
{
    EXPECT_EQ(-1, KAVONetGetCard1(0, nullptr, nullptr));
    forget();
    card("eth0", "", false);
    EXPECT_EQ(0, KAVONetGetCard1(0, nullptr, info.get()));
    EXPECT_THAT(reason(), testing::MatchesRegex("KAVONetGetCard1\\([0-9]+\\): No interface\\."));
    EXPECT_TRUE(info.untouched());
}

TEST_F(NetGetCard1, TellsThatTheListingFailed)
{
    card("eth0");
    fail_call("KLIBCModuleIsLoad");
    EXPECT_EQ(-1, KAVONetGetCard1(0, nullptr, info.get()));
    EXPECT_THAT(reason(), testing::MatchesRegex("KAVONetGetCard1\\([0-9]+\\): Get interface info fail\\."));
    EXPECT_TRUE(info.untouched());
    EXPECT_TRUE(is_free(0x106));
}

TEST_F(NetGetCard1, FailsOnAnIncompleteConfiguration)
{
    cards();
    EXPECT_EQ(-1, KAVONetGetCard1(2, nullptr, info.get()));
    EXPECT_STREQ("eth2", info->szName);
    EXPECT_EQ(-1, KAVONetGetCard1(0, "192.0.2.3", info.get()));
    EXPECT_TRUE(is_free(0x106));
}

TEST_F(NetGetCard1, FailsWithoutTheLock)
{
    cards();
    fail_call("KLIBCFileLock");
    EXPECT_EQ(-1, KAVONetGetCard1(0, nullptr, info.get()));
    EXPECT_EQ((Error{NET_ERR_LOCK_FAILED, FILE_NAME, 68}), last_error());
    EXPECT_TRUE(info.untouched());
    EXPECT_EQ(1, KAVONetGetCard1(0, nullptr, info.get()));
    fail_call("KLIBCFileLock", 2);
    EXPECT_EQ(-1, KAVONetGetCard1(0, nullptr, info.get()));
    EXPECT_EQ((Error{NET_ERR_LOCK_FAILED, "net_get_if_ipconfig.cpp", 36}), last_error());
    EXPECT_TRUE(is_free(0x106));
}

TEST_F(NetGetCard1, HoldsTheConfigurationLockForReading)
{
    cards();
    LockState at_listing{};
    std::vector<LockState> at_locks;
    support::on_call("KLIBCModuleIsLoad", [&] { at_listing = network_lock(); });
    support::on_call("KLIBCFileLock", [&] { at_locks.push_back(network_lock()); });
    EXPECT_EQ(1, KAVONetGetCard1(0, nullptr, info.get()));
    EXPECT_EQ(HELD_FOR_READING, at_listing);
    // The reading of the configuration takes the lock once more: before that, the first hold is the only one.
    ASSERT_LE(2U, at_locks.size());
    EXPECT_TRUE(at_locks[0].free_for_writers);
    EXPECT_FALSE(at_locks[1].free_for_writers);
    EXPECT_TRUE(at_locks[1].free_for_readers);
}

TEST_F(NetGetCard1, FailsWithoutMemory)
{
    cards();
    fail_call("calloc");
    EXPECT_EQ(-1, KAVONetGetCard1(0, nullptr, info.get()));
    EXPECT_EQ((Error{NET_ERR_OUT_OF_MEMORY, FILE_NAME, 73}), last_error());
    EXPECT_TRUE(is_free(0x106));
    fail_call("calloc", 2);
    EXPECT_EQ(-1, KAVONetGetCard1(0, nullptr, info.get()));
    EXPECT_EQ((Error{NET_ERR_OUT_OF_MEMORY, "net_get_interface_info.cpp", 181}), last_error());
    EXPECT_TRUE(info.untouched());
    EXPECT_TRUE(is_free(0x106));
}

TEST_F(NetGetCard1, RefusesBadArguments)
{
    cards();
    EXPECT_EQ(-1, KAVONetGetCard1(0, nullptr, nullptr));
    EXPECT_EQ(bad_parameter(FILE_NAME, 63), last_error());
    forget();
    EXPECT_EQ(-1, KAVONetGetCard1(0, "192.0.2.1", nullptr));
    EXPECT_EQ(bad_parameter(FILE_NAME, 63), last_error());
    for (const unsigned int index : {32U, 33U, UINT32_MAX}) {
        forget();
        EXPECT_EQ(-1, KAVONetGetCard1(index, nullptr, info.get())) << index;
        EXPECT_EQ(bad_parameter(FILE_NAME, 63), last_error());
    }
    EXPECT_TRUE(info.untouched());
}

} // namespace
