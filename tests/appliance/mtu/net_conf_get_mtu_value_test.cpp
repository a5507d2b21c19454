#include "appliance/mtu/devices_test.h"

namespace {

constexpr char FILE_NAME[] = "net_conf_get_mtu_value.cpp";

class ConfGetMtu : public DevicesTest {
protected:
    static std::string get(const char *name)
    {
        char mtu[16] = "old";
        EXPECT_EQ(0, KAVOConfGetMTUValue(name, mtu, sizeof mtu)) << name;
        return mtu;
    }
};

TEST_F(ConfGetMtu, GivesWhatIsKept)
{
    write_file(SETTINGS, "eth0_mtu=\"9000\"\neth1_mtu=1400\neth2_mtu=\"\"\n");
    EXPECT_EQ("9000", get("eth0"));
    EXPECT_EQ("1400", get("eth1"));
    EXPECT_EQ("", get("eth2"));
    EXPECT_EQ("1500", get("eth3"));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(ConfGetMtu, OfAnOpenVSwitchInterfaceItIsItsPorts)
{
    write_file(SETTINGS, "eth0_mtu=\"9000\"\novs_eth0_mtu=\"1\"\nbond0_mtu=\"1400\"\n");
    ovs_interface("ovs_eth0");
    ovs_interface("ovs_bond0");
    EXPECT_EQ("9000", get("ovs_eth0"));
    EXPECT_EQ("1400", get("ovs_bond0"));
}

TEST_F(ConfGetMtu, AnInterfaceWithoutAPortKeepsItsName)
{
    write_file(SETTINGS, "ovs__mtu=\"9000\"\n");
    ovs_interface("ovs_");
    EXPECT_EQ("9000", get("ovs_"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to fetch slave interface from OVS master ovs_"));
}

TEST_F(ConfGetMtu, IsCutToTheBuffer)
{
    write_file(SETTINGS, "eth0_mtu=\"9000\"\n");
    char mtu[8] = "#######";
    EXPECT_EQ(0, KAVOConfGetMTUValue("eth0", mtu, 3));
    EXPECT_STREQ("90", mtu);
    EXPECT_EQ('#', mtu[3]);
    EXPECT_EQ(0, KAVOConfGetMTUValue("eth1", mtu, 3));
    EXPECT_STREQ("15", mtu);
    EXPECT_EQ(0, KAVOConfGetMTUValue("eth1", mtu, 1));
    EXPECT_STREQ("", mtu);
    EXPECT_EQ('#', mtu[3]);
}

TEST_F(ConfGetMtu, KeysAreCutToTwentyCharacters)
{
    write_file(SETTINGS, std::string(support::NAME_OF_17) + "_mt=\"9000\"\n");
    EXPECT_EQ("9000", get(support::NAME_OF_17));
}

TEST_F(ConfGetMtu, SettingsThatCannotBeReadAreAFailure)
{
    unlink(SETTINGS);
    char mtu[16] = "old";
    EXPECT_EQ(-1, KAVOConfGetMTUValue("eth0", mtu, sizeof mtu));
    EXPECT_STREQ("", mtu);
    EXPECT_EQ(LOG_ERR, support::logged(std::string("net_conf_get_mtu_value\\.cpp \\([0-9]+\\) ") +
                                       "Failed to get eth0_mtu \\([0-9A-F]+\\)"));
}

TEST_F(ConfGetMtu, RefusesWhatIsNoArgument)
{
    char mtu[16] = "old";
    const auto refused = [&](const char *name, char *buffer, int size) {
        support::clear_error();
        EXPECT_EQ(-1, KAVOConfGetMTUValue(name, buffer, size));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
        EXPECT_STREQ("old", mtu);
    };
    refused(nullptr, mtu, sizeof mtu);
    refused("eth0", nullptr, sizeof mtu);
    refused("eth0", mtu, 0);
    refused("eth0", mtu, -1);
    for (const std::string &name : support::hostile_names())
        refused(name.c_str(), mtu, sizeof mtu);
}

} // namespace
