#include "appliance/virtual/bridge_test.h"

namespace {

constexpr char FILE_NAME[] = "net_get_bridge_config.cpp";

class GetBridgeConfig : public BridgeTest {
protected:
    // Reads both records over others' bytes.
    int read(const std::string &content, const char *name = "br0")
    {
        write_ifcfg(name, content);
        info_ = dirty<KLIBNETBRIDGEINFO>();
        ip_ = dirty<KAVONETINFO>();
        return KAVONetGetBridgeConfig(name, &ip_, &info_);
    }

    static std::string missing(const std::string &name)
    {
        return "Failed to get key[PRIMARY] in file[" + ifcfg(name) + "].";
    }

    void expect_address(const KAVONETINFO &expected) const { EXPECT_EQ(0, memcmp(&expected, &ip_, sizeof expected)); }

    KLIBNETBRIDGEINFO info_ = dirty<KLIBNETBRIDGEINFO>();
    KAVONETINFO ip_ = dirty<KAVONETINFO>();
};

TEST_F(GetBridgeConfig, ReadsABridge)
{
    EXPECT_EQ(0, read("TYPE=bridge\nPRIMARY=eth0\nBRIDGE=other\nBOOTPROTO=dhcp\nIPADDR=10.0.0.1\n"));
    EXPECT_EQ(bridge(2, "br0", "eth0"), info_);
    expect_address(address("br0", 0, 0));
    expect_silence();
}

TEST_F(GetBridgeConfig, ReadsABridgeOfTheLocalLan)
{
    EXPECT_EQ(0, read("TYPE=\"bridge\"\nPRIMARY=wlan0\nLOCAL_LAN=yes\n", "lbr0"));
    EXPECT_EQ(bridge(3, "lbr0", "wlan0"), info_);
    EXPECT_EQ(0, read("TYPE=bridge\nPRIMARY=wlan0\nLOCAL_LAN=no\n", "lbr0"));
    EXPECT_EQ(bridge(2, "lbr0", "wlan0"), info_);
    expect_silence();
}

TEST_F(GetBridgeConfig, APortReadsAsOutsideAnyBridgeAndTheOtherWayRound)
{
    EXPECT_EQ(0, read("DEVICE=eth0\nBRIDGE=br0\n", "eth0"));
    EXPECT_EQ(bridge(1, "eth0", "br0"), info_);
    EXPECT_EQ(0, read("DEVICE=eth0\n", "eth0"));
    EXPECT_EQ(bridge(4, "eth0", ""), info_);
    EXPECT_EQ(0, read("", "eth0"));
    EXPECT_EQ(bridge(4, "eth0", ""), info_);
    EXPECT_EQ(0, read("BRIDGE=\n", "eth0"));
    EXPECT_EQ(bridge(1, "eth0", ""), info_) << "a key without a value is there";
    expect_silence();
}

TEST_F(GetBridgeConfig, OnlyTheExactTypeIsABridge)
{
    for (const char *type : {"Bridge", "bridges", "bond", "", " bridge", "'bridge'"}) {
        EXPECT_EQ(0, read(std::string("LOCAL_LAN=yes\nPRIMARY=eth0\nTYPE=") + type + "\n"));
        EXPECT_EQ(bridge(4, "br0", ""), info_) << type;
    }
}

TEST_F(GetBridgeConfig, ReadsTheAddress)
{
    EXPECT_EQ(0, read("ONBOOT=yes\nBOOTPROTO=static\nIPADDR=10.0.0.1\nNETMASK=255.255.255.0\nBRIDGE=br0\n", "eth0"));
    expect_address(address("eth0", 1, 1, "10.0.0.1", "255.255.255.0"));
    EXPECT_EQ(0, read("ONBOOT=no\nBOOTPROTO=dhcp\nIPADDR=10.0.0.1\nNETMASK=255.255.255.0\nBRIDGE=br0\n", "eth0"));
    expect_address(address("eth0", 0, 0));
    EXPECT_EQ(0, read("ONBOOT=YES\nBOOTPROTO=none\nBRIDGE=br0\n", "eth0"));
    expect_address(address("eth0", 0, 0));
    expect_silence();
}

TEST_F(GetBridgeConfig, EitherRecordIsEnough)
{
    write_ifcfg("eth0", "ONBOOT=yes\nBRIDGE=br0\nBOOTPROTO=static\n");
    EXPECT_EQ(0, KAVONetGetBridgeConfig("eth0", nullptr, &info_));
    EXPECT_EQ(bridge(1, "eth0", "br0"), info_);
    expect_silence();
    write_ifcfg("br0", "TYPE=bridge\nONBOOT=yes\n");
    EXPECT_EQ(0, KAVONetGetBridgeConfig("br0", &ip_, nullptr));
    expect_address(address("br0", 0, 1));
    expect_silence();
}

TEST_F(GetBridgeConfig, EveryMissingValueIsLoggedAsThePrimaryPort)
{
    EXPECT_EQ(0, read("TYPE=bridge\n"));
    EXPECT_EQ(bridge(2, "br0", ""), info_);
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, missing("br0")));
    EXPECT_EQ(1U, log_lines().size());
    clear();
    EXPECT_EQ(0, read("BRIDGE=br0\nBOOTPROTO=static\nNETMASK=255.0.0.0\n", "eth0"));
    expect_address(address("eth0", 1, 0, "", "255.0.0.0"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, missing("eth0")));
    EXPECT_EQ(1U, log_lines().size());
    clear();
    EXPECT_EQ(0, read("TYPE=bridge\nBOOTPROTO=static\n"));
    expect_address(address("br0", 1, 0));
    EXPECT_EQ(3U, log_lines().size()) << "the port, the address and the mask";
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(GetBridgeConfig, LongValuesAreCut)
{
    EXPECT_EQ(0, read(std::string("TYPE=bridge\nPRIMARY=") + std::string(300, 'p') + "\nBOOTPROTO=static\nIPADDR=" +
                      std::string(300, '1') + "\nNETMASK=" + std::string(20, '2') + "\n"));
    EXPECT_EQ(bridge(2, "br0", std::string(15, 'p')), info_);
    expect_address(address("br0", 1, 0, std::string(19, '1'), std::string(19, '2')));
}

TEST_F(GetBridgeConfig, AFailedReadIsAValueThatIsMissing)
{
    fail_call("KLIBCFileGetKeyValue");
    EXPECT_EQ(0, read("BRIDGE=br0\n", "eth0"));
    EXPECT_EQ(bridge(4, "eth0", ""), info_);
}

TEST_F(GetBridgeConfig, NoFileIsAFailure)
{
    EXPECT_EQ(-1, KAVONetGetBridgeConfig("eth0", &ip_, &info_));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to access [" + ifcfg("eth0") + "]."));
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_EQ(dirty<KLIBNETBRIDGEINFO>(), info_);
    expect_address(dirty<KAVONETINFO>());
    EXPECT_FALSE(support::exists(ifcfg("eth0")));
}

TEST_F(GetBridgeConfig, NoRecordIsAFailure)
{
    write_ifcfg("eth0", "");
    EXPECT_EQ(-1, KAVONetGetBridgeConfig("eth0", nullptr, nullptr));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Wrong Parameter."));
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(GetBridgeConfig, ReadsOnly)
{
    const std::string content = "TYPE=bridge\n# kept\nPRIMARY=eth0\n";
    EXPECT_EQ(0, read(content));
    EXPECT_EQ(content, read_file(ifcfg("br0")));
    EXPECT_THAT(support::entries(FOLDER), ElementsAre("ifcfg-br0"));
}

TEST_F(GetBridgeConfig, HoldsOutWithFilesThatAreNone)
{
    for (const std::string &content :
         {std::string("\n\n\n"), std::string("="), std::string("=bridge\n"), std::string("TYPE"),
          std::string("\0\0", 2), std::string(100000, 'x'), std::string("TYPE=bridge"),
          std::string("BRIDGE=\xff\xfe\n"), "TYPE=bridge\nPRIMARY=" + std::string(100000, 'x')}) {
        EXPECT_EQ(0, read(content));
        EXPECT_EQ(0, strcmp("br0", info_.szIfname));
        EXPECT_LT(strnlen(info_.szPeer, sizeof info_.szPeer), sizeof info_.szPeer);
    }
}

TEST_F(GetBridgeConfig, RefusesNullAndHostileNames)
{
    for (const char *name : refused_names()) {
        clear();
        EXPECT_EQ(-1, KAVONetGetBridgeConfig(name, &ip_, &info_));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    }
    EXPECT_EQ(dirty<KLIBNETBRIDGEINFO>(), info_);
}

} // namespace
