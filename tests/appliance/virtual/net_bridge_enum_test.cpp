#include "appliance/virtual/bridge_test.h"

namespace {

class BridgeEnum : public BridgeTest {
protected:
    void SetUp() override
    {
        BridgeTest::SetUp();
        if (IsSkipped())
            return;
        add_bridge("br10", false);
        add_bridge("br2");
        add_bridge("lbr0");
        add_bridge("gbr0");
        add_bridge("xgbrx");
        add_port("br2", "lan0");
        write_ifcfg("br10", "TYPE=bridge\n");
        write_ifcfg("lbr0", "TYPE=bridge\nLOCAL_LAN=yes\n");
        write_ifcfg("br2", "TYPE=bridge\nLOCAL_LAN=no\n");
        write_ifcfg("xgbrx", "LOCAL_LAN=yes\n");
        write_ifcfg("lan0", "LOCAL_LAN=yes\n");
    }
};

TEST_F(BridgeEnum, ListsBridgesThatDoNotServeTheLocalLan)
{
    ASSERT_EQ(0, KLIBCSzListPush(list(), "first"));
    EXPECT_EQ(2, KLIBNetEnumBridge(list(), NET_BRIDGE_MASTER));
    EXPECT_THAT(listed(), ElementsAre("first", "br2", "br10"));
    expect_silence();
}

TEST_F(BridgeEnum, ListsBridgesOfTheLocalLan)
{
    EXPECT_EQ(1, KLIBNetEnumBridge(list(), NET_BRIDGE_LOCAL_LAN));
    EXPECT_THAT(listed(), ElementsAre("lbr0"));
    expect_silence();
}

TEST_F(BridgeEnum, TheMarkDecidesAtEachCall)
{
    write_ifcfg("br10", "LOCAL_LAN=yes\n");
    EXPECT_EQ(1, KLIBNetEnumBridge(list(), NET_BRIDGE_MASTER));
    EXPECT_EQ(2, KLIBNetEnumBridge(list(), NET_BRIDGE_LOCAL_LAN));
    EXPECT_THAT(listed(), ElementsAre("br2", "br10", "lbr0"));
}

TEST_F(BridgeEnum, CountsNothingOfOtherKinds)
{
    for (const int32_t kind : {INT32_MIN, -1, 0, 1, 4, 5, INT32_MAX})
        EXPECT_EQ(0, KLIBNetEnumBridge(list(), kind)) << kind;
    EXPECT_THAT(listed(), IsEmpty());
    expect_silence();
}

TEST_F(BridgeEnum, CountsWithoutAList)
{
    PKLIBSZLIST none = nullptr;
    for (PKLIBSZLIST *where : {static_cast<PKLIBSZLIST *>(nullptr), &none}) {
        EXPECT_EQ(2, KLIBNetEnumBridge(where, NET_BRIDGE_MASTER));
        EXPECT_EQ(1, KLIBNetEnumBridge(where, NET_BRIDGE_LOCAL_LAN));
    }
    EXPECT_EQ(nullptr, none);
    expect_silence();
}

TEST_F(BridgeEnum, MissingMemoryIsAFailure)
{
    fail_call("calloc");
    EXPECT_EQ(-1, KLIBNetEnumBridge(list(), NET_BRIDGE_MASTER));
    EXPECT_EQ(unsigned{NET_ERR_OUT_OF_MEMORY}, last_error().code);
    EXPECT_THAT(listed(), IsEmpty());
    clear();
    fail_call("KLIBCSzListPush", 2);
    EXPECT_EQ(-1, KLIBNetEnumBridge(list(), NET_BRIDGE_MASTER));
    EXPECT_TRUE(support::is_set_in("net_bridge_enum.cpp", NET_ERR_OUT_OF_MEMORY));
    EXPECT_THAT(listed(), ElementsAre("br2"));
}

TEST_F(BridgeEnum, AFailingTableIsAFailure)
{
    plain_proc_net();
    EXPECT_EQ(-1, KLIBNetEnumBridge(list(), NET_BRIDGE_MASTER));
    EXPECT_TRUE(support::is_set_in("net_stat_get_all.cpp", NET_ERR_OPEN_FAILED)) << "the innermost record stays";
    EXPECT_THAT(listed(), IsEmpty());
}

TEST_F(BridgeEnum, LooksAtTheFirst256Interfaces)
{
    plain_sys();
    plain_proc_net();
    std::string table = "Inter-|\n face |\n";
    for (int i = 0; i < 300; ++i) {
        const std::string name = "br" + std::to_string(i);
        table += name + ": 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0\n";
        write_file("/sys/class/net/" + name + "/bridge/bridge_id", "");
    }
    write_file("/proc/net/dev", table);
    EXPECT_EQ(256, KLIBNetEnumBridge(list(), NET_BRIDGE_MASTER));
    EXPECT_EQ("br255", listed().back());
}

} // namespace
