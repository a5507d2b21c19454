#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "kavo/ha.h"
#include "support/log_capture.h"
#include "support/private_root.h"
#include "support/read_back.h"

using namespace support;

namespace {

constexpr unsigned BAD_PARAMETER = 0x0D00;

class HaTest : public PrivateRoot {
protected:
    static void state(const std::string &text) { write_file("/run/kavo/ha.conf", text); }

    char name_[16] = "old";
    char address_[20] = "old";
    char mask_[20] = "old";
};

} // namespace

TEST_F(HaTest, NoFileMeansNone)
{
    EXPECT_EQ(0, KAVOHAHasHAIF());
    EXPECT_EQ(0, KAVOHAIsActive());
    EXPECT_EQ(0, KAVOHAIsRunning());
    EXPECT_EQ(-1, KAVOHAGetHeartbeatIF(name_, sizeof name_));
    EXPECT_EQ(-1, KAVOHAGetRelatedIFInfo("eth0", address_, sizeof address_, mask_, sizeof mask_));
    EXPECT_EQ(-1, KAVOHAGetMac(0, name_, sizeof name_));
    EXPECT_STREQ("old", name_);
    EXPECT_STREQ("old", address_);
    EXPECT_TRUE(log_lines().empty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(HaTest, EachStateIsAKeyOfItsOwn)
{
    state("has_ha_if=yes\n");
    EXPECT_EQ(1, KAVOHAHasHAIF());
    EXPECT_EQ(0, KAVOHAIsActive());
    EXPECT_EQ(0, KAVOHAIsRunning());
    state("has_ha_if=no\nactive=yes\nrunning=no\n");
    EXPECT_EQ(0, KAVOHAHasHAIF());
    EXPECT_EQ(1, KAVOHAIsActive());
    EXPECT_EQ(0, KAVOHAIsRunning());
    state("active=\nrunning=\"yes\"\n");
    EXPECT_EQ(0, KAVOHAHasHAIF());
    EXPECT_EQ(0, KAVOHAIsActive());
    EXPECT_EQ(1, KAVOHAIsRunning());
}

TEST_F(HaTest, HeartbeatInterface)
{
    state("heartbeat_if=eth3\n");
    EXPECT_EQ(0, KAVOHAGetHeartbeatIF(name_, sizeof name_));
    EXPECT_STREQ("eth3", name_);
    char small[3] = "";
    EXPECT_EQ(0, KAVOHAGetHeartbeatIF(small, sizeof small));
    EXPECT_STREQ("et", small);
    state("heartbeat_if=\n");
    EXPECT_EQ(-1, KAVOHAGetHeartbeatIF(name_, sizeof name_));
    state("running=yes\n");
    EXPECT_EQ(-1, KAVOHAGetHeartbeatIF(name_, sizeof name_));
    EXPECT_STREQ("eth3", name_);
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(HaTest, SharedAddressNeedsAddressAndMask)
{
    state("addr_eth0=10.0.0.5\nmask_eth0=255.255.255.0\naddr_eth1=10.0.1.5\nmask_ovs_eth2=255.0.0.0\n");
    EXPECT_EQ(-1, KAVOHAGetRelatedIFInfo("eth1", address_, sizeof address_, mask_, sizeof mask_));
    EXPECT_EQ(-1, KAVOHAGetRelatedIFInfo("ovs_eth2", address_, sizeof address_, mask_, sizeof mask_));
    EXPECT_STREQ("old", address_);
    EXPECT_STREQ("old", mask_);
    EXPECT_EQ(0, KAVOHAGetRelatedIFInfo("eth0", address_, sizeof address_, mask_, sizeof mask_));
    EXPECT_STREQ("10.0.0.5", address_);
    EXPECT_STREQ("255.255.255.0", mask_);
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(HaTest, SharedHardwareAddressOfAPort)
{
    char mac[32] = "old";
    state("mac_0=00:11:22:33:44:55\nmac_10=00:11:22:33:44:66\nmac_2=\n");
    EXPECT_EQ(0, KAVOHAGetMac(0, mac, sizeof mac));
    EXPECT_STREQ("00:11:22:33:44:55", mac);
    EXPECT_EQ(0, KAVOHAGetMac(10, mac, sizeof mac));
    EXPECT_STREQ("00:11:22:33:44:66", mac);
    EXPECT_EQ(-1, KAVOHAGetMac(1, mac, sizeof mac));
    EXPECT_EQ(-1, KAVOHAGetMac(2, mac, sizeof mac));
    EXPECT_STREQ("00:11:22:33:44:66", mac);
}

TEST_F(HaTest, RefusesBadArguments)
{
    state("addr_eth0=10.0.0.5\nmask_eth0=255.255.255.0\nheartbeat_if=eth1\nmac_0=x\naddr_a=b=c\n");
    const auto refused = [](int result) {
        const bool right = result == -1 && last_error().code == BAD_PARAMETER && last_error().file == "ha.cpp";
        clear_error();
        return right;
    };
    EXPECT_TRUE(refused(KAVOHAGetHeartbeatIF(nullptr, 16)));
    EXPECT_TRUE(refused(KAVOHAGetHeartbeatIF(name_, 0)));
    EXPECT_TRUE(refused(KAVOHAGetHeartbeatIF(name_, -1)));
    EXPECT_TRUE(refused(KAVOHAGetMac(0, nullptr, 16)));
    EXPECT_TRUE(refused(KAVOHAGetMac(0, name_, 0)));
    EXPECT_TRUE(refused(KAVOHAGetMac(-1, name_, sizeof name_)));
    EXPECT_TRUE(refused(KAVOHAGetRelatedIFInfo("eth0", nullptr, 20, mask_, 20)));
    EXPECT_TRUE(refused(KAVOHAGetRelatedIFInfo("eth0", address_, 20, nullptr, 20)));
    EXPECT_TRUE(refused(KAVOHAGetRelatedIFInfo("eth0", address_, 0, mask_, 20)));
    EXPECT_TRUE(refused(KAVOHAGetRelatedIFInfo("eth0", address_, 20, mask_, 0)));
    for (const char *name :
         {static_cast<const char *>(nullptr), "", "a=b", "eth0\n", "et h0", "../eth0", "eth0123456789012"})
        EXPECT_TRUE(refused(KAVOHAGetRelatedIFInfo(name, address_, 20, mask_, 20)))
            << (name == nullptr ? "null" : name);
}
