#include "iface_test.h"

namespace {

using NetEnumCard = IfaceTest;

TEST_F(NetEnumCard, CountsASelectorsInterfaces)
{
    for (const char *name : {"bond0", "eth0", "eth1", "ppp0"})
        card(name);
    drivers.more_flags = {{"bond0", IFF_MASTER}, {"ppp0", IFF_POINTOPOINT}};
    use_drivers();
    EXPECT_EQ(2, KAVONetEnumCard(NET_IF_SEL_PHYSICAL));
    EXPECT_EQ(3, KAVONetEnumCard(NET_IF_SEL_USABLE));
    EXPECT_EQ(4, KAVONetEnumCard(NET_IF_SEL_USABLE_PPP));
    EXPECT_EQ(3, KAVONetEnumCard(3));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_EQ(0, drivers.count(SIOCGIFADDR)) << "no entry is filled";
}

TEST_F(NetEnumCard, CountsNone)
{
    card("eth0", "", false);
    EXPECT_EQ(0, KAVONetEnumCard(NET_IF_SEL_USABLE));
}

TEST_F(NetEnumCard, CountsTheParentsOfVlansToo)
{
    card("eth0");
    card("eth0.5");
    load_8021q();
    drivers.vlan_parents["eth0.5"] = "eth0";
    use_drivers();
    EXPECT_EQ(2, KAVONetEnumCard(NET_IF_SEL_USABLE));
}

TEST_F(NetEnumCard, PassesTheOptionsOn)
{
    card("eth0");
    card("eth1");
    ha("running=yes\nheartbeat_if=eth1\n");
    EXPECT_EQ(1, KAVONetEnumCard(NET_IF_SEL_USABLE));
    EXPECT_EQ(2, KAVONetEnumCard(NET_IF_SEL_USABLE | NET_IF_OPT_HEARTBEAT));
    ha("has_ha_if=yes\naddr_eth1=203.0.113.9\nmask_eth1=255.255.0.0\n");
    EXPECT_EQ(1, KAVONetEnumCard(NET_IF_SEL_USABLE | NET_IF_OPT_HA_ADDRESS));
}

TEST_F(NetEnumCard, Counts256AtMost)
{
    plain_proc_net();
    std::string table = "Inter-|   Receive\n face |bytes\n";
    for (int i = 0; i < 300; ++i) {
        table += "  eth" + std::to_string(i) + ": 1 2 3 4 5 6 7 8 9 10\n";
        drivers.flags["eth" + std::to_string(i)] = IFF_UP;
    }
    write_file("/proc/net/dev", table);
    use_drivers();
    EXPECT_EQ(256, KAVONetEnumCard(NET_IF_SEL_USABLE));
}

TEST_F(NetEnumCard, FailsAsTheListDoes)
{
    constexpr char FILE_NAME[] = "net_get_interface_info.cpp";
    for (const unsigned int selector : {0U, 4U, 16U, 20U}) {
        forget();
        EXPECT_EQ(-1, KAVONetEnumCard(selector)) << selector;
        EXPECT_EQ(bad_parameter(FILE_NAME, 173), last_error());
    }
    fail_call("calloc");
    EXPECT_EQ(-1, KAVONetEnumCard(NET_IF_SEL_USABLE));
    EXPECT_EQ((Error{NET_ERR_OUT_OF_MEMORY, FILE_NAME, 181}), last_error());
}

} // namespace
