#include "iface_test.h"

namespace {

class NetGetCard1Ex : public IfaceTest {
protected:
    void SetUp() override
    {
        IfaceTest::SetUp();
        if (IsSkipped())
            return;
        card("eth0", "192.0.2.1/24");
        write_ifcfg("eth0", "BOOTPROTO=static\nIPADDR=198.51.100.1\nNETMASK=255.255.255.0\n");
    }

    Guarded<KAVONETINFO> info;
};

TEST_F(NetGetCard1Ex, PutsThePairsAddressIntoTheRecord)
{
    // Whether the pair is active makes no difference here.
    for (const char *active : {"yes", "no"}) {
        ha(std::string("has_ha_if=yes\nactive=") + active + "\naddr_eth0=203.0.113.9\nmask_eth0=255.255.0.0\n");
        EXPECT_EQ(1, KAVONetGetCard1Ex(0, nullptr, info.get())) << active;
        EXPECT_STREQ("eth0", info->szName);
        EXPECT_EQ(1, info->blStatic);
        EXPECT_STREQ("203.0.113.9", info->szAddr);
        EXPECT_STREQ("255.255.0.0", info->szMask);
    }
    EXPECT_EQ(1, KAVONetGetCard1Ex(0, "192.0.2.1", info.get()));
    EXPECT_STREQ("203.0.113.9", info->szAddr);
}

TEST_F(NetGetCard1Ex, KeepsTheOwnAddressWithoutAPair)
{
    EXPECT_EQ(1, KAVONetGetCard1Ex(0, nullptr, info.get()));
    EXPECT_STREQ("198.51.100.1", info->szAddr);
    ha("has_ha_if=no\nactive=yes\naddr_eth0=203.0.113.9\nmask_eth0=255.255.0.0\n");
    EXPECT_EQ(1, KAVONetGetCard1Ex(0, nullptr, info.get()));
    EXPECT_STREQ("198.51.100.1", info->szAddr);
    EXPECT_STREQ("255.255.255.0", info->szMask);
}

TEST_F(NetGetCard1Ex, FailsWhenThePairHasNoAddressThere)
{
    ha("has_ha_if=yes\n");
    EXPECT_EQ(-1, KAVONetGetCard1Ex(0, nullptr, info.get()));
    EXPECT_STREQ("198.51.100.1", info->szAddr);
}

TEST_F(NetGetCard1Ex, GivesTheOtherResultsOn)
{
    ha("has_ha_if=yes\n");
    EXPECT_EQ(0, KAVONetGetCard1Ex(1, nullptr, info.get()));
    EXPECT_EQ(0, KAVONetGetCard1Ex(0, "192.0.2.9", info.get()));
    EXPECT_EQ(-1, KAVONetGetCard1Ex(32, nullptr, info.get()));
    EXPECT_EQ(bad_parameter("net_get_card1.cpp", 63), last_error());
    EXPECT_EQ(-1, KAVONetGetCard1Ex(0, nullptr, nullptr));
    EXPECT_TRUE(info.untouched());
    fail_call("KLIBCFileLock");
    EXPECT_EQ(-1, KAVONetGetCard1Ex(0, nullptr, info.get()));
    EXPECT_EQ((Error{NET_ERR_LOCK_FAILED, "net_get_card1.cpp", 68}), last_error());
}

} // namespace
