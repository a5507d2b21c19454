#include "iface_test.h"

namespace {

class NetGetIfInfoEx : public IfaceTest {
protected:
    void SetUp() override
    {
        IfaceTest::SetUp();
        if (IsSkipped())
            return;
        card("eth0", "192.0.2.7/24");
        write_ifcfg("eth0", "BOOTPROTO=static\nIPADDR=198.51.100.2\nNETMASK=255.255.255.128\n");
    }

    static constexpr char PAIR[] = "addr_eth0=203.0.113.9\nmask_eth0=255.255.0.0\n";
    Guarded<KAVONETIFENTRY> entry;
    Guarded<KAVONETINFO> info;
};

TEST_F(NetGetIfInfoEx, PutsThePairsAddressIntoBothRecords)
{
    ha(std::string("has_ha_if=yes\nactive=yes\n") + PAIR);
    EXPECT_EQ(1, KAVONetIFGetInfoEx("eth0", entry.get(), info.get()));
    EXPECT_STREQ("203.0.113.9", entry->szAddr);
    EXPECT_STREQ("255.255.0.0", entry->szMask);
    EXPECT_STREQ("203.0.113.9", info->szAddr);
    EXPECT_STREQ("255.255.0.0", info->szMask);
    EXPECT_STREQ("eth0", entry->szName);
    EXPECT_STREQ("eth0", info->szName);
    EXPECT_EQ(2, entry->nLink);
    EXPECT_EQ(1, info->blStatic);
}

TEST_F(NetGetIfInfoEx, CutsThePairsAddressTo19Characters)
{
    ha("has_ha_if=yes\nactive=yes\naddr_eth0=123456789012345678901234567890\n"
       "mask_eth0=abcdefghijklmnopqrstuvwxyzabcd\n");
    EXPECT_EQ(1, KAVONetIFGetInfoEx("eth0", entry.get(), info.get()));
    EXPECT_STREQ("1234567890123456789", entry->szAddr);
    EXPECT_STREQ("abcdefghijklmnopqrs", entry->szMask);
    EXPECT_STREQ("1234567890123456789", info->szAddr);
    EXPECT_STREQ("abcdefghijklmnopqrs", info->szMask);
}

TEST_F(NetGetIfInfoEx, TakesEitherRecordOrNone)
{
    ha(std::string("has_ha_if=yes\nactive=yes\n") + PAIR);
    EXPECT_EQ(1, KAVONetIFGetInfoEx("eth0", entry.get(), nullptr));
    EXPECT_STREQ("203.0.113.9", entry->szAddr);
    EXPECT_TRUE(info.untouched());
    EXPECT_EQ(1, KAVONetIFGetInfoEx("eth0", nullptr, info.get()));
    EXPECT_STREQ("203.0.113.9", info->szAddr);
    EXPECT_EQ(1, KAVONetIFGetInfoEx("eth0", nullptr, nullptr));
}

TEST_F(NetGetIfInfoEx, KeepsTheResultOfAnInterfaceThatIsDown)
{
    shell("ip link set eth0 down");
    ha(std::string("has_ha_if=yes\nactive=yes\n") + PAIR);
    EXPECT_EQ(0, KAVONetIFGetInfoEx("eth0", entry.get(), info.get()));
    EXPECT_STREQ("203.0.113.9", entry->szAddr);
    EXPECT_STREQ("203.0.113.9", info->szAddr);
}

TEST_F(NetGetIfInfoEx, KeepsTheOwnAddressWhileThePairIsNotActive)
{
    for (const char *state : {"", "has_ha_if=yes\n", "active=yes\n", "has_ha_if=no\nactive=yes\nrunning=yes\n"}) {
        ha(std::string(state) + PAIR);
        EXPECT_EQ(1, KAVONetIFGetInfoEx("eth0", entry.get(), info.get())) << state;
        EXPECT_STREQ("192.0.2.7", entry->szAddr);
        EXPECT_STREQ("255.255.255.0", entry->szMask);
        EXPECT_STREQ("198.51.100.2", info->szAddr);
        EXPECT_STREQ("255.255.255.128", info->szMask);
    }
}

TEST_F(NetGetIfInfoEx, FailsWhenThePairHasNoAddressThere)
{
    for (const char *keys :
         {"", "addr_eth0=203.0.113.9\n", "mask_eth0=255.255.0.0\n", "addr_eth1=1.2.3.4\nmask_eth1=255.0.0.0\n"}) {
        ha(std::string("has_ha_if=yes\nactive=yes\n") + keys);
        EXPECT_EQ(-1, KAVONetIFGetInfoEx("eth0", entry.get(), info.get())) << keys;
        EXPECT_STREQ("192.0.2.7", entry->szAddr);
        EXPECT_STREQ("198.51.100.2", info->szAddr);
    }
    EXPECT_EQ(-1, KAVONetIFGetInfoEx("eth0", nullptr, nullptr));
}

TEST_F(NetGetIfInfoEx, FailsAsThePlainFormDoes)
{
    ha(std::string("has_ha_if=yes\nactive=yes\n") + PAIR);
    EXPECT_EQ(-1, KAVONetIFGetInfoEx(nullptr, nullptr, nullptr));
    EXPECT_EQ(bad_parameter("net_get_if_info.cpp", 127), last_error());
    EXPECT_EQ(-1, KAVONetIFGetInfoEx(NAME_OF_16, nullptr, nullptr));
    EXPECT_EQ(bad_parameter("net_get_if_info.cpp", 45), last_error());
    EXPECT_EQ(-1, KAVONetIFGetInfoEx("eth9", nullptr, nullptr));
    EXPECT_EQ((Error{NET_ERR_IOCTL_FAILED, "net_get_if_info.cpp", 55}), last_error());
    write_ifcfg("eth0", "BOOTPROTO=static\n");
    EXPECT_EQ(-1, KAVONetIFGetInfoEx("eth0", nullptr, info.get()));
    EXPECT_STREQ("", info->szAddr);
}

} // namespace
