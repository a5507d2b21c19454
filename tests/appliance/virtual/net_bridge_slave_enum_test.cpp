#include "appliance/virtual/bridge_test.h"

namespace {

constexpr char FILE_NAME[] = "net_bridge_slave_enum.cpp";

class BridgeSlaveEnum : public BridgeTest {};

TEST_F(BridgeSlaveEnum, AppendsThePortsOfARealBridge)
{
    add_bridge("br0");
    add_port("br0", "lan1");
    add_port("br0", "lan0");
    add_bridge("br1");
    add_port("br1", "lan2");
    ASSERT_EQ(0, KLIBCSzListPush(list(), "first"));
    EXPECT_EQ(2, KLIBNetBridgeSlaveEnum("br0", list()));
    EXPECT_THAT(listed(), ElementsAre("first", "lan0", "lan1"));
    EXPECT_EQ(1, KLIBNetBridgeSlaveEnum("br1", list()));
    EXPECT_THAT(listed(), ElementsAre("first", "lan0", "lan1", "lan2"));
    shell("ip link set lan0 nomaster");
    empty_list();
    EXPECT_EQ(1, KLIBNetBridgeSlaveEnum("br0", list()));
    EXPECT_THAT(listed(), ElementsAre("lan1"));
    expect_silence();
}

TEST_F(BridgeSlaveEnum, ABridgeMayHaveNone)
{
    add_bridge("br0", false);
    EXPECT_EQ(0, KLIBNetBridgeSlaveEnum("br0", list()));
    EXPECT_THAT(listed(), IsEmpty());
    expect_silence();
}

TEST_F(BridgeSlaveEnum, WhatIsNoBridgeIsLogged)
{
    add_bridge("br0");
    add_port("br0", "lan0");
    for (const std::string name : {"lan0", "lan0p", "none0"}) {
        clear();
        EXPECT_EQ(-1, KLIBNetBridgeSlaveEnum(name.c_str(), list()));
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "[" + name + "] is not bridge master."));
        EXPECT_EQ(NO_ERROR_SET, last_error());
    }
    EXPECT_THAT(listed(), IsEmpty());
}

TEST_F(BridgeSlaveEnum, ListsSixtyFourAtMost)
{
    plain_sys();
    write_file("/sys/class/net/br0/bridge/bridge_id", "");
    for (int i = 0; i < 70; ++i)
        write_file("/sys/class/net/br0/brif/p" + std::to_string(100 + i), "");
    EXPECT_EQ(64, KLIBNetBridgeSlaveEnum("br0", list()));
    EXPECT_EQ(64U, listed().size());
    EXPECT_EQ("p163", listed().back());
}

TEST_F(BridgeSlaveEnum, AFolderThatCannotBeReadFails)
{
    plain_sys();
    write_file("/sys/class/net/br0/bridge/bridge_id", "");
    ASSERT_EQ(0, KLIBCSzListPush(list(), "first"));
    EXPECT_EQ(-1, KLIBNetBridgeSlaveEnum("br0", list()));
    EXPECT_THAT(listed(), ElementsAre("first"));
    EXPECT_NE("net_bridge_slave_enum.cpp", last_error().file) << "the platform's record stays";
}

TEST_F(BridgeSlaveEnum, RefusesNullAndHostileNames)
{
    add_bridge("br0");
    add_port("br0", "lan0");
    for (const char *name : refused_names()) {
        clear();
        EXPECT_EQ(-1, KLIBNetBridgeSlaveEnum(name, list()));
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Bad Parameter."));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    }
    PKLIBSZLIST none = nullptr;
    for (PKLIBSZLIST *where : {static_cast<PKLIBSZLIST *>(nullptr), &none}) {
        clear();
        EXPECT_EQ(-1, KLIBNetBridgeSlaveEnum("br0", where));
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Bad Parameter."));
    }
    EXPECT_THAT(listed(), IsEmpty());
}

} // namespace
