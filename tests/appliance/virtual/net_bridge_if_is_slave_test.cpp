#include "appliance/virtual/virtual_test.h"

namespace {

constexpr char FILE_NAME[] = "net_bridge_if_is_slave.cpp";

class BridgeIfIsSlave : public support::TidyRoot {};

TEST_F(BridgeIfIsSlave, AsksTheKernel)
{
    add_card("lan0");
    add_card("lan1");
    shell("ip link add br0 type bridge; ip link set lan0 master br0");
    EXPECT_EQ(0, KLIBNetBridgeIfIsSlave("br0"));
    EXPECT_EQ(1, KLIBNetBridgeIfIsSlave("lan0"));
    EXPECT_EQ(0, KLIBNetBridgeIfIsSlave("lan1"));
    EXPECT_EQ(0, KLIBNetBridgeIfIsSlave("none0"));
    shell("ip link set lan0 nomaster; ip link del br0");
    EXPECT_EQ(0, KLIBNetBridgeIfIsSlave("br0"));
    EXPECT_EQ(0, KLIBNetBridgeIfIsSlave("lan0"));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(BridgeIfIsSlave, RefusesNullAndHostileNames)
{
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    EXPECT_EQ(-1, KLIBNetBridgeIfIsSlave(nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    for (const std::string &name : names) {
        support::clear_error();
        EXPECT_EQ(-1, KLIBNetBridgeIfIsSlave(name.c_str())) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
    EXPECT_EQ(0, KLIBNetBridgeIfIsSlave(support::NAME_OF_15));
}

} // namespace
