#include "appliance/virtual/bridge_test.h"

namespace {

constexpr char FILE_NAME[] = "net_is_if_bridge_type.cpp";

class IsIfBridgeType : public BridgeTest {
protected:
    // The roles that are the interface's.
    static std::vector<int32_t> roles(const char *name)
    {
        std::vector<int32_t> found;
        for (int32_t role = -1; role <= 5; ++role) {
            if (KAVONetIsIfBridgeType(name, role) == 1)
                found.push_back(role);
        }
        return found;
    }
};

TEST_F(IsIfBridgeType, ComparesWithTheConfiguredRole)
{
    write_ifcfg("br0", "TYPE=bridge\nPRIMARY=eth0\n");
    write_ifcfg("lbr0", "TYPE=bridge\nPRIMARY=eth0\nLOCAL_LAN=yes\n");
    EXPECT_THAT(roles("br0"), ElementsAre(2));
    EXPECT_THAT(roles("lbr0"), ElementsAre(3));
    expect_silence();
}

TEST_F(IsIfBridgeType, PortsAndPlainInterfacesAreExchanged)
{
    write_ifcfg("eth0", "BRIDGE=br0\n");
    write_ifcfg("eth1", "DEVICE=eth1\n");
    EXPECT_THAT(roles("eth0"), ElementsAre(1));
    EXPECT_THAT(roles("eth1"), ElementsAre(4));
    expect_silence();
}

TEST_F(IsIfBridgeType, NoFileIsLoggedAndNoRole)
{
    EXPECT_EQ(0, KAVONetIsIfBridgeType("eth0", 4));
    EXPECT_EQ(LOG_ERR, logged_in("net_get_bridge_config.cpp", "Failed to access [" + ifcfg("eth0") + "]."));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to get PPPoE relay config"));
    EXPECT_EQ(2U, log_lines().size());
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(roles("eth0"), IsEmpty());
}

TEST_F(IsIfBridgeType, RefusesNullAndHostileNames)
{
    for (const char *name : refused_names()) {
        clear();
        EXPECT_EQ(0, KAVONetIsIfBridgeType(name, 4));
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Bad parameter"));
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    }
    write_ifcfg(support::NAME_OF_15, "");
    EXPECT_EQ(1, KAVONetIsIfBridgeType(support::NAME_OF_15, 4));
}

} // namespace
