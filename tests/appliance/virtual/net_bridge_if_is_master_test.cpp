#include "appliance/virtual/virtual_test.h"

namespace {

constexpr char FILE_NAME[] = "net_bridge_if_is_master.cpp";

class BridgeIfIsMaster : public support::TidyRoot {};

TEST_F(BridgeIfIsMaster, AsksTheKernel)
{
    add_card("lan0");
    add_card("lan1");
    shell("ip link add br0 type bridge; ip link set lan0 master br0");
    EXPECT_EQ(1, KLIBNetBridgeIfIsMaster("br0"));
    EXPECT_EQ(0, KLIBNetBridgeIfIsMaster("lan0"));
    EXPECT_EQ(0, KLIBNetBridgeIfIsMaster("lan1"));
    EXPECT_EQ(0, KLIBNetBridgeIfIsMaster("none0"));
    shell("ip link set lan0 nomaster; ip link del br0");
    EXPECT_EQ(0, KLIBNetBridgeIfIsMaster("br0"));
    EXPECT_EQ(0, KLIBNetBridgeIfIsMaster("lan0"));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(BridgeIfIsMaster, RefusesNullAndHostileNames)
{
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    EXPECT_EQ(-1, KLIBNetBridgeIfIsMaster(nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    for (const std::string &name : names) {
        support::clear_error();
        EXPECT_EQ(-1, KLIBNetBridgeIfIsMaster(name.c_str())) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
    EXPECT_EQ(0, KLIBNetBridgeIfIsMaster(support::NAME_OF_15));
}

} // namespace
