#include "appliance/virtual/bridge_test.h"

namespace {

constexpr char FILE_NAME[] = "net_get_bridge_info.cpp";

class GetBridgeInfo : public BridgeTest {
protected:
    void SetUp() override
    {
        BridgeTest::SetUp();
        if (IsSkipped())
            return;
        add_bridge("br0");
        add_port("br0", "eth0");
        add_card("eth1");
        info_ = dirty<KLIBNETBRIDGEINFO>();
    }

    static std::string missing(const std::string &key, const std::string &name)
    {
        return "Failed to get key[" + key + "] in file[" + ifcfg(name) + "].";
    }

    KLIBNETBRIDGEINFO info_;
};

TEST_F(GetBridgeInfo, ABridgeNamesItsPrimaryPort)
{
    write_ifcfg("br0", "TYPE=bridge\nPRIMARY=eth0\nBRIDGE=other\n");
    EXPECT_EQ(2, KLIBNETGetBridgeInfo("br0", &info_));
    EXPECT_EQ(bridge(2, "br0", "eth0"), info_);
    EXPECT_EQ(2, KLIBNETGetBridgeInfo("br0", nullptr));
    expect_silence();
}

TEST_F(GetBridgeInfo, TheLocalLansBridgeIsMarked)
{
    write_ifcfg("br0", "PRIMARY=wlan0\nLOCAL_LAN=yes\n");
    EXPECT_EQ(3, KLIBNETGetBridgeInfo("br0", &info_));
    EXPECT_EQ(bridge(3, "br0", "wlan0"), info_);
    EXPECT_EQ(3, KLIBNETGetBridgeInfo("br0", nullptr));
    expect_silence();
}

TEST_F(GetBridgeInfo, APortNamesItsBridge)
{
    write_ifcfg("eth0", "BRIDGE=br0\nPRIMARY=other\nLOCAL_LAN=yes\n");
    EXPECT_EQ(4, KLIBNETGetBridgeInfo("eth0", &info_));
    EXPECT_EQ(bridge(4, "eth0", "br0"), info_);
    EXPECT_EQ(4, KLIBNETGetBridgeInfo("eth0", nullptr));
    expect_silence();
}

TEST_F(GetBridgeInfo, AnyOtherInterfaceHasNoPeerWhateverItsFileSays)
{
    write_ifcfg("eth1", "BRIDGE=br0\nPRIMARY=eth0\nTYPE=bridge\nLOCAL_LAN=yes\n");
    EXPECT_EQ(1, KLIBNETGetBridgeInfo("eth1", &info_));
    EXPECT_EQ(bridge(1, "eth1", ""), info_);
    EXPECT_EQ(1, KLIBNETGetBridgeInfo("eth1", nullptr));
    expect_silence();
}

TEST_F(GetBridgeInfo, TheKernelDecidesNotTheFile)
{
    write_ifcfg("br0", "BRIDGE=br1\n");
    write_ifcfg("eth0", "TYPE=bridge\n");
    EXPECT_EQ(2, KLIBNETGetBridgeInfo("br0", nullptr));
    EXPECT_EQ(4, KLIBNETGetBridgeInfo("eth0", nullptr));
    shell("ip link set eth0 nomaster");
    EXPECT_EQ(1, KLIBNETGetBridgeInfo("eth0", nullptr));
}

TEST_F(GetBridgeInfo, AnInterfaceThatIsDownHasNoRole)
{
    write_ifcfg("br0", "PRIMARY=eth0\n");
    shell("ip link set br0 down; ip link set eth0 down");
    const KLIBNETBRIDGEINFO before = info_;
    for (const char *name : {"br0", "eth0", "none0"}) {
        EXPECT_EQ(0, KLIBNETGetBridgeInfo(name, &info_)) << name;
        EXPECT_EQ(0, KLIBNETGetBridgeInfo(name, nullptr)) << name;
    }
    EXPECT_EQ(before, info_);
    expect_silence();
}

TEST_F(GetBridgeInfo, AMissingPeerIsLoggedAndTheRoleReturned)
{
    EXPECT_EQ(2, KLIBNETGetBridgeInfo("br0", &info_));
    EXPECT_EQ(bridge(2, "br0", ""), info_);
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, missing("PRIMARY", "br0")));
    EXPECT_EQ(1U, log_lines().size());
    clear();
    write_ifcfg("eth0", "DEVICE=eth0\n");
    info_ = dirty<KLIBNETBRIDGEINFO>();
    EXPECT_EQ(4, KLIBNETGetBridgeInfo("eth0", &info_));
    EXPECT_EQ(bridge(4, "eth0", ""), info_);
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, missing("BRIDGE", "eth0")));
    EXPECT_EQ(1U, log_lines().size());
    clear();
    EXPECT_EQ(2, KLIBNETGetBridgeInfo("br0", nullptr));
    EXPECT_THAT(log_lines(), IsEmpty()) << "without a record no key is read";
}

TEST_F(GetBridgeInfo, ALongPeerIsCut)
{
    write_ifcfg("br0", std::string("PRIMARY=") + support::NAME_OF_17 + "\n");
    EXPECT_EQ(2, KLIBNETGetBridgeInfo("br0", &info_));
    EXPECT_EQ(bridge(2, "br0", support::NAME_OF_15), info_);
}

TEST_F(GetBridgeInfo, TakesANameOf15Characters)
{
    add_bridge(support::NAME_OF_15);
    write_ifcfg(support::NAME_OF_15, "PRIMARY=eth0\n");
    EXPECT_EQ(2, KLIBNETGetBridgeInfo(support::NAME_OF_15, &info_));
    EXPECT_EQ(bridge(2, support::NAME_OF_15, "eth0"), info_);
}

TEST_F(GetBridgeInfo, RefusesNullAndHostileNames)
{
    const KLIBNETBRIDGEINFO before = info_;
    for (const char *name : refused_names()) {
        clear();
        EXPECT_EQ(0, KLIBNETGetBridgeInfo(name, &info_));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    }
    EXPECT_EQ(before, info_);
}

} // namespace
