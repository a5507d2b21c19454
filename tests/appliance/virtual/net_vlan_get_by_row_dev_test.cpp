#include "appliance/virtual/vlan_test.h"

namespace {

constexpr char FILE_NAME[] = "net_vlan_get_by_row_dev.cpp";

class VlanGetByRowDev : public VlanTest {
protected:
    void SetUp() override
    {
        VlanTest::SetUp();
        memset(&info, 0x5a, sizeof info);
    }

    KLIBNETVLANINFO info;
};

TEST_F(VlanGetByRowDev, AsksForTheDevicesNameADotAndTheId)
{
    has_vlan("eth0.100", "eth0", 100);
    EXPECT_EQ(1, KLIBNetVlanGetByRowDev("eth0", 100, &info));
    EXPECT_STREQ("eth0.100", info.szIfname);
    EXPECT_STREQ("eth0", info.szRowDev);
    EXPECT_EQ(100, info.vlanId);
    for (const auto &[device, id] : {std::pair{"eth0", 10}, {"eth1", 100}, {"eth0.1", 100}, {"eth", 100}}) {
        EXPECT_EQ(0, KLIBNetVlanGetByRowDev(device, id, &info)) << device << " " << id;
        EXPECT_EQ(std::string(device) + "." + std::to_string(id), info.szIfname);
    }
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(VlanGetByRowDev, TheRecordIsTheKernelsWhateverTheNameSays)
{
    has_vlan("eth0.100", "eth7", 4094); // somebody named it so
    EXPECT_EQ(1, KLIBNetVlanGetByRowDev("eth0", 100, &info));
    EXPECT_STREQ("eth7", info.szRowDev);
    EXPECT_EQ(4094, info.vlanId);
}

TEST_F(VlanGetByRowDev, ALongNameIsCut)
{
    has_vlan("abcdefghijklm.4", "abcdefghijklm", 4094);
    EXPECT_EQ(1, KLIBNetVlanGetByRowDev("abcdefghijklm", 4094, &info));
    EXPECT_STREQ("abcdefghijklm.4", info.szIfname);
    EXPECT_EQ(0, KLIBNetVlanGetByRowDev(support::NAME_OF_15, 1, &info));
    EXPECT_STREQ(support::NAME_OF_15, info.szIfname);
}

TEST_F(VlanGetByRowDev, TakesTheFirstAndTheLastId)
{
    has_vlan("eth0.1", "eth0", 1);
    has_vlan("eth0.4094", "eth0", 4094);
    EXPECT_EQ(1, KLIBNetVlanGetByRowDev("eth0", 1, &info));
    EXPECT_EQ(1, KLIBNetVlanGetByRowDev("eth0", 4094, &info));
    EXPECT_EQ(4094, info.vlanId);
}

TEST_F(VlanGetByRowDev, AFailedSocketIsAFailure)
{
    fail_call("socket");
    EXPECT_EQ(-1, KLIBNetVlanGetByRowDev("eth0", 100, &info));
    EXPECT_TRUE(support::is_set_in("net_vlan_get.cpp", NET_ERR_SOCKET_FAILED));
}

TEST_F(VlanGetByRowDev, RefusesNullHostileNamesAndOtherIds)
{
    const auto refuses = [this](const char *device, int32_t id, KLIBNETVLANINFO *record) {
        support::clear_error();
        EXPECT_EQ(-1, KLIBNetVlanGetByRowDev(device, id, record));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER))
            << (device == nullptr ? "null" : device) << id;
        EXPECT_EQ(0x5a, info.szIfname[0]);
    };
    refuses(nullptr, 100, &info);
    refuses("eth0", 100, nullptr);
    for (const int32_t id : {INT32_MIN, -1, 0, 4095, INT32_MAX})
        refuses("eth0", id, &info);
    for (const std::string &name : support::hostile_names())
        refuses(name.c_str(), 100, &info);
    refuses(support::NAME_OF_16, 100, &info);
    EXPECT_EQ(0, support::ioctl_calls());
}

} // namespace
