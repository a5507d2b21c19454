#include "iface_test.h"

namespace {

constexpr char FILE_NAME[] = "net_get_eth_info.cpp";

ethtool_cmd settings(uint32_t speed, uint8_t duplex, uint32_t supported)
{
    ethtool_cmd answer{};
    answer.cmd = ETHTOOL_GSET;
    answer.supported = supported;
    answer.duplex = duplex;
    ethtool_cmd_speed_set(&answer, speed);
    return answer;
}

class NetGetEthInfo : public IfaceTest {
protected:
    static constexpr int MARK = 0x5a5a5a5a; // what an untouched field holds

    void expect_link(int speed, int duplex)
    {
        EXPECT_EQ(speed, info->nSpeed);
        EXPECT_EQ(duplex, info->nDuplex);
    }

    void expect_best(int speed, int duplex, const char *suffix)
    {
        EXPECT_EQ(speed, info->nBestSpeed);
        EXPECT_EQ(duplex, info->nBestDuplex);
        EXPECT_STREQ(suffix, info->szBestMode);
    }

    Guarded<KAVOETHINFO> info;
};

TEST_F(NetGetEthInfo, DescribesALink)
{
    card("eth0");
    drivers.settings["eth0"] = settings(1000, 1, 0x3f | 0x40 | 0x80);
    drivers.links["eth0"] = 1;
    use_drivers();
    shell("ip link set eth0 mtu 1492");
    EXPECT_EQ(0, KAVONetGetEthInfo(info.get(), "eth0"));
    expect_link(1000, 1);
    EXPECT_EQ(1492, info->nMTU);
    EXPECT_EQ(0xffU, info->uSupported);
    expect_best(1000, 1, "baseT");
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetGetEthInfo, AsksTheRealDriver)
{
    card("eth0");
    EXPECT_EQ(0, KAVONetGetEthInfo(info.get(), "eth0"));
    expect_link(10000, 1); // what a pair of virtual cards says of itself
    expect_best(-1, -1, "");
    EXPECT_EQ(1500, info->nMTU);
    shell("ip link set gbreth0 down");
    EXPECT_EQ(0, KAVONetGetEthInfo(info.get(), "eth0"));
    expect_link(-1, 1);
}

TEST_F(NetGetEthInfo, JoinsTheHalvesOfTheSpeed)
{
    card("eth0");
    drivers.links["eth0"] = 1;
    for (const auto &[speed, reported] : {std::pair{0U, -1},
                                          {0xFFFFU, -1},
                                          {0xFFFFFFFFU, -1},
                                          {10U, 10},
                                          {40000U, 40000},
                                          {0x10000U, 65536},
                                          {100000U, 100000}}) {
        drivers.settings["eth0"] = settings(speed, 0, 0);
        use_drivers();
        EXPECT_EQ(0, KAVONetGetEthInfo(info.get(), "eth0"));
        expect_link(reported, 0);
    }
}

TEST_F(NetGetEthInfo, KnowsTwoKindsOfDuplex)
{
    card("eth0");
    for (const auto &[duplex, reported] : {std::pair{0, 0}, {1, 1}, {2, -1}, {0xff, -1}}) {
        drivers.settings["eth0"] = settings(100, static_cast<uint8_t>(duplex), 0);
        use_drivers();
        EXPECT_EQ(0, KAVONetGetEthInfo(info.get(), "eth0"));
        EXPECT_EQ(reported, info->nDuplex) << duplex;
    }
}

TEST_F(NetGetEthInfo, ReportsNoBestModeWhenNoneIsKnown)
{
    card("eth0");
    drivers.settings["eth0"] = settings(100, 1, 0xf8000000 | 0x40);
    use_drivers();
    EXPECT_EQ(0, KAVONetGetEthInfo(info.get(), "eth0"));
    EXPECT_EQ(0xf8000040, info->uSupported);
    expect_best(-1, -1, "");
}

TEST_F(NetGetEthInfo, HasNoSpeedWhileTheLinkIsDown)
{
    card("eth0");
    drivers.settings["eth0"] = settings(1000, 1, 0x20);
    drivers.links["eth0"] = 0;
    use_drivers();
    EXPECT_EQ(0, KAVONetGetEthInfo(info.get(), "eth0"));
    expect_link(-1, 1);
    expect_best(1000, 1, "baseT");
}

TEST_F(NetGetEthInfo, KeepsTheSpeedWhenTheLinkIsNotTold)
{
    card("eth0");
    drivers.settings["eth0"] = settings(1000, 1, 0x20);
    use_drivers();
    EXPECT_EQ(0, KAVONetGetEthInfo(info.get(), "eth0"));
    expect_link(1000, 1);
}

TEST_F(NetGetEthInfo, LeavesTheFieldsOfADriverWithoutSettings)
{
    card("eth0");
    use_drivers();
    EXPECT_EQ(0, KAVONetGetEthInfo(info.get(), "eth0"));
    expect_link(MARK, MARK);
    EXPECT_EQ(static_cast<uint32_t>(MARK), info->uSupported);
    EXPECT_EQ(MARK, info->nBestSpeed);
    EXPECT_EQ(1500, info->nMTU);
    drivers.links["eth0"] = 0;
    EXPECT_EQ(0, KAVONetGetEthInfo(info.get(), "eth0"));
    expect_link(-1, MARK);
}

TEST_F(NetGetEthInfo, FailsWhenTheDriverDoes)
{
    card("eth0");
    for (const int error : {EIO, EPERM, EINVAL, EBUSY}) {
        drivers.settings_errors["eth0"] = error;
        use_drivers();
        EXPECT_EQ(-1, KAVONetGetEthInfo(info.get(), "eth0")) << error;
    }
    EXPECT_TRUE(info.untouched());
    support::answer_ioctl({});
    EXPECT_EQ(-1, KAVONetGetEthInfo(info.get(), "eth7")) << "no such interface";
    EXPECT_TRUE(info.untouched());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetGetEthInfo, FailsWithoutTheMtu)
{
    card("eth0");
    drivers.settings["eth0"] = settings(1000, 1, 0x20);
    drivers.refused[{SIOCGIFMTU, "eth0"}] = EIO;
    use_drivers();
    EXPECT_EQ(-1, KAVONetGetEthInfo(info.get(), "eth0"));
    EXPECT_EQ(-1, info->nMTU);
    expect_link(1000, 1);
    support::answer_ioctl({});
    fail_call("socket", 2);
    EXPECT_EQ(-1, KAVONetGetEthInfo(info.get(), "eth0"));
    EXPECT_EQ(-1, info->nMTU);
}

TEST_F(NetGetEthInfo, FailsWithoutASocket)
{
    card("eth0");
    fail_call("socket");
    EXPECT_EQ(-1, KAVONetGetEthInfo(info.get(), "eth0"));
    EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_SOCKET_FAILED));
    EXPECT_TRUE(info.untouched());
}

// ---- Open vSwitch

TEST_F(NetGetEthInfo, AsksThePortOfAnOpenVSwitchInterface)
{
    card("eth0");
    card("ovs_eth0");
    drivers.settings["eth0"] = settings(2500, 1, 0x8000);
    drivers.settings["ovs_eth0"] = settings(10, 0, 1);
    drivers.links = {{"eth0", 1}, {"ovs_eth0", 0}};
    use_drivers();
    shell("ip link set eth0 mtu 9000");
    EXPECT_EQ(0, KAVONetGetEthInfo(info.get(), "ovs_eth0"));
    expect_link(2500, 1);
    expect_best(2500, 1, "baseX");
    EXPECT_EQ(9000, info->nMTU);
}

TEST_F(NetGetEthInfo, AsksTheInterfaceItselfWhenItNamesNoPort)
{
    card("ovs_");
    drivers.settings["ovs_"] = settings(100, 1, 8);
    drivers.links["ovs_"] = 1;
    use_drivers();
    EXPECT_EQ(-1, KAVONetGetEthInfo(info.get(), "ovs_"));
    EXPECT_EQ(LOG_ERR, logged("net_get_eth_info", "Failed to fetch slave interface from OVS master ovs_"));
    expect_link(100, 1);
    EXPECT_EQ(-1, info->nMTU) << "its setting has no port either";
}

TEST_F(NetGetEthInfo, TakesTheDuplexOfTheFirstMemberThatTellsItsLink)
{
    for (const char *name : {"eth0", "eth1", "eth2", "ovs_bond0"})
        card(name);
    write_ifcfg("ovs_bond0", "SLAVE_LIST=\"eth0 eth1 eth2\"\nBOND_MODE=\"balance-slb\"\n");
    shell("ip link set eth0 mtu 1400");
    drivers.settings = {
        {"eth0", settings(1000, 0, 0x20)}, {"eth1", settings(1000, 1, 0x20)}, {"eth2", settings(100, 0, 8)}};
    drivers.links = {{"eth1", 0}, {"eth2", 1}};
    use_drivers();
    EXPECT_EQ(0, KAVONetGetEthInfo(info.get(), "ovs_bond0"));
    expect_link(-1, 1);
    expect_best(-1, -1, "");
    EXPECT_EQ(1400, info->nMTU);
    EXPECT_EQ(static_cast<uint32_t>(MARK), info->uSupported);
    drivers.settings_errors["eth1"] = EIO;
    EXPECT_EQ(0, KAVONetGetEthInfo(info.get(), "ovs_bond0"));
    expect_link(-1, -1); // it answers for its link, but not for its duplex
    drivers.settings_errors.clear();
    drivers.links = {{"eth0", 1}};
    EXPECT_EQ(0, KAVONetGetEthInfo(info.get(), "ovs_bond0"));
    expect_link(-1, 0);
}

TEST_F(NetGetEthInfo, KnowsNoDuplexWhenNoMemberTells)
{
    card("eth0");
    card("ovs_bond0");
    write_ifcfg("ovs_bond0", "SLAVE_LIST=\"eth0\"\nBOND_MODE=\"balance-slb\"\n");
    drivers.settings = {{"eth0", settings(1000, 1, 0x20)}};
    use_drivers();
    EXPECT_EQ(0, KAVONetGetEthInfo(info.get(), "ovs_bond0"));
    expect_link(-1, -1);
    EXPECT_EQ(1500, info->nMTU);
}

TEST_F(NetGetEthInfo, KnowsNoDuplexOfABondWithoutASocket)
{
    card("eth0");
    card("ovs_bond0");
    write_ifcfg("ovs_bond0", "SLAVE_LIST=\"eth0\"\nBOND_MODE=\"balance-slb\"\n");
    EXPECT_EQ(0, KAVONetGetEthInfo(info.get(), "ovs_bond0"));
    expect_link(-1, 1);     // the real driver's duplex
    fail_call("socket", 2); // the first one is there to see whether the member exists
    EXPECT_EQ(0, KAVONetGetEthInfo(info.get(), "ovs_bond0"));
    expect_link(-1, -1);
    EXPECT_EQ(1500, info->nMTU);
}

TEST_F(NetGetEthInfo, FailsOnABondWithoutMembers)
{
    card("ovs_bond0");
    write_ifcfg("ovs_bond0", "SLAVE_LIST=\"\"\nBOND_MODE=\"balance-slb\"\n");
    EXPECT_EQ(-1, KAVONetGetEthInfo(info.get(), "ovs_bond0"));
    expect_link(-1, -1);
    EXPECT_EQ(-1, info->nMTU);
}

TEST_F(NetGetEthInfo, FailsOnABondThatCannotBeRead)
{
    card("ovs_bond0");
    EXPECT_EQ(-1, KAVONetGetEthInfo(info.get(), "ovs_bond0"));
    expect_link(-1, -1);
    expect_best(-1, -1, "");
    EXPECT_EQ(MARK, info->nMTU);
    EXPECT_EQ(LOG_ERR, logged("net_get_eth_info", "Failed to get bond slave of ovs_bond0"));
    EXPECT_EQ(LOG_ERR, logged("net_get_eth_info", "Failed to get ovs bond setting"));
}

// ---- What is refused

TEST_F(NetGetEthInfo, RefusesBadArguments)
{
    card("eth0");
    EXPECT_EQ(-1, KAVONetGetEthInfo(nullptr, "eth0"));
    EXPECT_EQ(bad_parameter(FILE_NAME, 128), last_error());
    forget();
    EXPECT_EQ(-1, KAVONetGetEthInfo(info.get(), nullptr));
    EXPECT_EQ(bad_parameter(FILE_NAME, 128), last_error());
    for (const char *name : HOSTILE_NAMES) {
        forget();
        EXPECT_EQ(-1, KAVONetGetEthInfo(info.get(), name)) << name;
        EXPECT_EQ(bad_parameter(FILE_NAME, 128), last_error());
    }
    for (const char *name : {NAME_OF_16, "eth12345678901234", "ovs_eth123456789012345"}) {
        forget();
        EXPECT_EQ(-1, KAVONetGetEthInfo(info.get(), name)) << name;
        EXPECT_EQ(bad_parameter(FILE_NAME, 153), last_error());
    }
    EXPECT_TRUE(info.untouched());
}

TEST_F(NetGetEthInfo, TakesANameOf15Characters)
{
    card(NAME_OF_15);
    EXPECT_EQ(0, KAVONetGetEthInfo(info.get(), NAME_OF_15));
    EXPECT_EQ(1500, info->nMTU);
}

} // namespace
