#include "iface_test.h"

namespace {

constexpr char FILE_NAME[] = "net_interface_enum.cpp";
constexpr char STEM[] = "net_interface_enum";
constexpr unsigned int NOT_LOCAL = NET_IF_ENUM_NOT_LOCAL_LAN;
constexpr unsigned int LOCAL = NET_IF_ENUM_LOCAL_LAN;
constexpr unsigned int BOTH = 0;

// What both listings share.
class Enum : public IfaceTest {
protected:
    // A card whose other end is down, and so not listed.
    static void port(const std::string &name, const std::string &address = "", bool up = true)
    {
        std::string command = "ip link add " + name + " type veth peer name x" + name.substr(0, 14);
        if (!address.empty())
            command += "; ip address add " + address + " dev " + name;
        if (up)
            command += "; ip link set " + name + " up";
        shell(command);
    }

    // The listed names; what stands behind the last one stays as it was.
    std::vector<std::string> fill(int max, const std::function<int(KAVONETIFENTRY *)> &call)
    {
        KAVONETIFENTRY unused;
        memset(&unused, 0x5a, sizeof unused);
        entries.assign(static_cast<size_t>(max) + 1, unused);
        result = call(entries.data());
        std::vector<std::string> names;
        for (int i = 0; i < result; ++i)
            names.emplace_back(entries[static_cast<size_t>(i)].szName);
        for (size_t i = names.size(); i < entries.size(); ++i)
            EXPECT_EQ(0, memcmp(&entries[i], &unused, sizeof unused)) << "entry " << i;
        return names;
    }

    static void empty_table()
    {
        plain_proc_net();
        write_file("/proc/net/dev", "Inter-|   Receive\n face |bytes\n");
    }

    std::vector<KAVONETIFENTRY> entries;
    int result = -7;
};

class NetInterfaceEnum : public Enum {
protected:
    std::vector<std::string> list(unsigned int kind, int max = 64)
    {
        return fill(max, [=](KAVONETIFENTRY *room) { return KLIBNetInterfaceEnum(room, max, kind); });
    }
};

class NetEthEnum : public Enum {
protected:
    std::vector<std::string> list(int max = 64)
    {
        return fill(max, [=](KAVONETIFENTRY *room) { return KLIBNetEthEnum(room, max); });
    }
};

// ---- KLIBNetInterfaceEnum: what an entry holds

TEST_F(NetInterfaceEnum, DescribesACard)
{
    card("eth0", "192.0.2.7/26");
    set_mac("eth0", "02:00:00:00:00:a7");
    EXPECT_THAT(list(BOTH), ElementsAre("eth0", "gbreth0"));
    const KAVONETIFENTRY &entry = entries[0];
    EXPECT_THAT(entry.rgMac, ElementsAre(2, 0, 0, 0, 0, 0xa7));
    EXPECT_STREQ("192.0.2.7", entry.szAddr);
    EXPECT_STREQ("255.255.255.192", entry.szMask);
    EXPECT_EQ(2, entry.nLink);
    EXPECT_EQ(IFF_UP | IFF_BROADCAST | IFF_RUNNING | IFF_MULTICAST, entry.nFlags);
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
    const KAVONETIFENTRY zero{};
    EXPECT_EQ(0, memcmp(entry.szName + 4, zero.szName, sizeof entry.szName - 4));
    EXPECT_EQ(0, memcmp(entry.szAddr + 9, zero.szAddr, sizeof entry.szAddr - 9));
    EXPECT_EQ(0, memcmp(entry.szMask + 15, zero.szMask, sizeof entry.szMask - 15));
}

TEST_F(NetInterfaceEnum, LeavesWhatCannotBeQueriedEmpty)
{
    port("eth0", "192.0.2.7/26");
    drivers.refused = {{{SIOCGIFHWADDR, "eth0"}, EIO}, {{SIOCGIFADDR, "eth0"}, EIO}, {{SIOCGIFNETMASK, "eth0"}, EIO}};
    use_drivers();
    EXPECT_THAT(list(BOTH), ElementsAre("eth0"));
    EXPECT_THAT(entries[0].rgMac, ElementsAre(0, 0, 0, 0, 0, 0));
    EXPECT_STREQ("", entries[0].szAddr);
    EXPECT_STREQ("", entries[0].szMask);
    EXPECT_EQ(0, entries[0].nLink) << "its other end is down";
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetInterfaceEnum, TakesTheRunningFlagForTheLinkOfEveryInterface)
{
    card("eth1");
    card("ovs_eth1");
    set_carrier("eth1", false);
    EXPECT_THAT(list(BOTH), testing::Contains("ovs_eth1"));
    const auto ovs = std::find_if(entries.begin(), entries.end(),
                                  [](const KAVONETIFENTRY &one) { return strcmp(one.szName, "ovs_eth1") == 0; });
    EXPECT_EQ(2, ovs->nLink) << "its port has no carrier, but that is not asked here";
}

TEST_F(NetInterfaceEnum, ExtendsTheSignOfTheFlags)
{
    port("eth0");
    drivers.more_flags["eth0"] = 0x8000;
    use_drivers();
    EXPECT_THAT(list(BOTH), ElementsAre("eth0"));
    EXPECT_EQ(static_cast<int>(0xFFFF9003), entries[0].nFlags);
}

// ---- Which interfaces are kept

TEST_F(NetInterfaceEnum, ListsInNaturalOrder)
{
    for (const char *name : {"eth10", "lan2", "eth2", "bond0"})
        port(name);
    EXPECT_THAT(list(BOTH), ElementsAre("bond0", "eth2", "eth10", "lan2"));
}

TEST_F(NetInterfaceEnum, NeverListsWhatIsDownOrLoopback)
{
    port("eth0", "192.0.2.7/24", false);
    shell("ip link set lo up");
    for (const unsigned int kind : {0U, 1U, 2U, 3U, 8U, 0xffffffffU})
        EXPECT_THAT(list(kind), IsEmpty()) << kind;
    EXPECT_EQ(0, result);
}

TEST_F(NetInterfaceEnum, ListsWhatOtherListsLeaveOut)
{
    for (const char *name : {"eth0", "eth0.5", "gbr0", "gwlan0", "master0", "ppp0"})
        port(name);
    load_8021q();
    drivers.vlan_parents["eth0.5"] = "eth0";
    drivers.vlan_ids["eth0.5"] = 5;
    drivers.more_flags = {{"master0", IFF_MASTER}, {"ppp0", IFF_POINTOPOINT}};
    use_drivers();
    EXPECT_THAT(list(BOTH), ElementsAre("eth0", "eth0.5", "gbr0", "gwlan0", "master0", "ppp0"));
}

TEST_F(NetInterfaceEnum, LeavesBridgeMembersOut)
{
    port("eth0");
    port("eth1");
    shell("ip link add br0 type bridge; ip link set br0 up; ip link set eth1 master br0");
    for (const unsigned int kind : {BOTH, NOT_LOCAL, 3U})
        EXPECT_THAT(list(kind), ElementsAre("br0", "eth0")) << kind;
}

TEST_F(NetInterfaceEnum, LeavesBondMembersOut)
{
    for (const char *name : {"eth0", "eth1", "eth2"})
        port(name);
    drivers.more_flags["eth1"] = IFF_SLAVE;
    use_drivers();
    plain_folder("/sys/class/net");
    write_file("/sys/class/net/kavo_ovs_bonds", "ovs_bond0 eth2\n");
    EXPECT_THAT(list(BOTH), ElementsAre("eth0"));
}

TEST_F(NetInterfaceEnum, LeavesOpenVSwitchPortsOut)
{
    for (const char *name : {"eth0", "eth1", "ovs_eth1"})
        port(name);
    EXPECT_THAT(list(BOTH), ElementsAre("eth0", "ovs_eth1"));
}

TEST_F(NetInterfaceEnum, SkipsAnInterfaceWhoseFlagsCannotBeRead)
{
    port("eth0");
    port("eth1");
    drivers.refused[{SIOCGIFFLAGS, "eth0"}] = ENODEV;
    use_drivers();
    EXPECT_THAT(list(BOTH), ElementsAre("eth1"));
}

TEST_F(NetInterfaceEnum, TellsLocalLansFromOthers)
{
    for (const char *name : {"eth0", "eth1", "eth2", "eth3", "lbr0"})
        port(name);
    write_ifcfg("eth0", "LOCAL_LAN=no\n");
    write_ifcfg("eth1", "DEVICE=eth1\nLOCAL_LAN=yes\n");
    write_ifcfg("eth2", "LOCAL_LAN=Yes\n");
    write_ifcfg("lbr0", "LOCAL_LAN=\"yes\"\n");
    EXPECT_THAT(list(NOT_LOCAL), ElementsAre("eth0", "eth2", "eth3"));
    EXPECT_THAT(list(LOCAL), ElementsAre("eth1", "lbr0"));
    for (const unsigned int kind : {0U, 3U, 4U, 8U, 0x100U, 0xffffffffU & ~0x10U})
        EXPECT_THAT(list(kind), ElementsAre("eth0", "eth1", "eth2", "eth3", "lbr0")) << kind;
}

TEST_F(NetInterfaceEnum, TakesOneOptionOffTheKindAndNoOther)
{
    port("eth0");
    port("eth1");
    write_ifcfg("eth1", "LOCAL_LAN=yes\n");
    EXPECT_THAT(list(LOCAL | NET_IF_OPT_HA_ADDRESS), ElementsAre("eth1"));
    EXPECT_THAT(list(NOT_LOCAL | NET_IF_OPT_HA_ADDRESS), ElementsAre("eth0"));
    EXPECT_THAT(list(LOCAL | NET_IF_OPT_HEARTBEAT), ElementsAre("eth0", "eth1")) << "kind 6";
    EXPECT_THAT(list(NOT_LOCAL | NET_IF_OPT_HEARTBEAT), ElementsAre("eth0", "eth1")) << "kind 5";
}

TEST_F(NetInterfaceEnum, StopsAtTheMaximum)
{
    for (const char *name : {"eth0", "eth1", "eth2"})
        port(name);
    EXPECT_THAT(list(BOTH, 2), ElementsAre("eth0", "eth1"));
    EXPECT_THAT(list(BOTH, 0), IsEmpty());
    EXPECT_EQ(0, result);
    EXPECT_EQ(2, KLIBNetInterfaceEnum(nullptr, 2, BOTH));
    EXPECT_EQ(3, KLIBNetInterfaceEnum(nullptr, INT32_MAX, BOTH));
    EXPECT_EQ(0, KLIBNetInterfaceEnum(nullptr, 0, BOTH));
}

TEST_F(NetInterfaceEnum, HoldsOutWithMoreInterfacesThanItLooksAt)
{
    plain_proc_net();
    std::string table = "Inter-|   Receive\n face |bytes\n";
    for (int i = 0; i < 300; ++i) {
        table += "  eth" + std::to_string(i) + ": 1 2 3 4 5 6 7 8 9 10\n";
        drivers.flags["eth" + std::to_string(i)] = IFF_UP | IFF_RUNNING;
    }
    write_file("/proc/net/dev", table);
    use_drivers();
    EXPECT_EQ(256U, list(BOTH, 300).size());
    EXPECT_STREQ("eth255", entries[255].szName);
}

TEST_F(NetInterfaceEnum, AsksEachInterfaceFourThingsThroughOneSocket)
{
    for (const char *name : {"eth0", "eth1", "eth2"})
        port(name);
    int sockets = 0;
    int lists = 0;
    support::on_call("socket", [&] { ++sockets; });
    support::on_call("KLIBCFileGetKeyValue", [&] { ++lists; });
    use_drivers();
    EXPECT_EQ(3, KLIBNetInterfaceEnum(nullptr, 8, BOTH));
    EXPECT_EQ(1, sockets);
    EXPECT_EQ(0, lists) << "no file is read for a kind that does not ask for the mark";
    for (const unsigned long question : {SIOCGIFHWADDR, SIOCGIFADDR, SIOCGIFNETMASK})
        EXPECT_EQ(0, drivers.count(question)) << "who only counts asks for nothing more";
    EXPECT_EQ(3U, list(BOTH, 8).size());
    EXPECT_EQ(2, sockets);
    EXPECT_EQ(3, drivers.count(SIOCGIFADDR));
    EXPECT_EQ(0, drivers.count(SIOCGIFVLAN));
    EXPECT_EQ(3U, list(NOT_LOCAL, 8).size());
    EXPECT_EQ(3, lists);
}

// ---- High availability

TEST_F(NetInterfaceEnum, HidesTheHeartbeatWhileHaRuns)
{
    port("eth0");
    port("eth1");
    ha("running=yes\nheartbeat_if=eth1\n");
    for (const unsigned int kind : {BOTH, NOT_LOCAL, BOTH | NET_IF_OPT_HEARTBEAT, NOT_LOCAL | NET_IF_OPT_HEARTBEAT})
        EXPECT_THAT(list(kind), ElementsAre("eth0")) << kind << ": no option keeps it here";
    ha("running=no\nheartbeat_if=eth1\n");
    EXPECT_THAT(list(BOTH), ElementsAre("eth0", "eth1"));
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetInterfaceEnum, GoesOnWithoutAHeartbeat)
{
    port("eth0");
    ha("running=yes\n");
    EXPECT_THAT(list(BOTH), ElementsAre("eth0"));
    EXPECT_EQ(LOG_ERR, logged(STEM, "Failed to get heartbeat interface."));
}

TEST_F(NetInterfaceEnum, ReportsTheAddressesOfThePair)
{
    card("eth0", "192.0.2.1/24");
    card("eth1", "198.51.100.1/24");
    write_ifcfg("eth1", "LOCAL_LAN=yes\n");
    for (const char *running : {"yes", "no"}) {
        ha(std::string("has_ha_if=yes\nrunning=") + running +
           "\nheartbeat_if=hb0\naddr_eth1=203.0.113.9\nmask_eth1=255.255.0.0\n");
        EXPECT_THAT(list(BOTH | NET_IF_OPT_HA_ADDRESS), ElementsAre("eth1")) << running;
        EXPECT_STREQ("203.0.113.9", entries[0].szAddr);
        EXPECT_STREQ("255.255.0.0", entries[0].szMask);
        EXPECT_EQ(2, entries[0].nLink);
        EXPECT_EQ(1, KLIBNetInterfaceEnum(nullptr, 8, BOTH | NET_IF_OPT_HA_ADDRESS));
        EXPECT_THAT(list(LOCAL | NET_IF_OPT_HA_ADDRESS), ElementsAre("eth1"));
        EXPECT_THAT(list(LOCAL), ElementsAre("eth1"));
        EXPECT_STREQ("198.51.100.1", entries[0].szAddr);
    }
}

TEST_F(NetInterfaceEnum, ReportsTheOwnAddressWhereThereIsNoPair)
{
    port("eth0", "192.0.2.1/24");
    ha("has_ha_if=no\nactive=yes\naddr_eth0=203.0.113.9\nmask_eth0=255.255.0.0\n");
    EXPECT_THAT(list(BOTH | NET_IF_OPT_HA_ADDRESS), ElementsAre("eth0"));
    EXPECT_STREQ("192.0.2.1", entries[0].szAddr);
    EXPECT_STREQ("255.255.255.0", entries[0].szMask);
}

TEST_F(NetInterfaceEnum, TellsThatThePairHasNoAddressYet)
{
    port("eth0", "192.0.2.1/24");
    ha("has_ha_if=yes\nactive=yes\n");
    EXPECT_THAT(list(BOTH | NET_IF_OPT_HA_ADDRESS), IsEmpty());
    EXPECT_EQ(0, result);
    EXPECT_EQ(LOG_ERR, logged(STEM, "HA is running but HA IP not ready (0)"));
    forget();
    list(LOCAL | NET_IF_OPT_HA_ADDRESS);
    EXPECT_EQ(LOG_ERR, logged(STEM, "HA is running but HA IP not ready (2)"));
    EXPECT_EQ(1U, support::log_lines().size());
}

TEST_F(NetInterfaceEnum, SaysNothingOfThePairOtherwise)
{
    port("eth0", "192.0.2.1/24", false);
    for (const char *state : {"has_ha_if=yes\nactive=no\n", "has_ha_if=no\nactive=yes\n", "active=yes\n"}) {
        ha(state);
        EXPECT_THAT(list(BOTH | NET_IF_OPT_HA_ADDRESS), IsEmpty()) << state;
    }
    ha("has_ha_if=yes\nactive=yes\n");
    EXPECT_THAT(list(BOTH), IsEmpty());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

// ---- What is refused and what fails

TEST_F(NetInterfaceEnum, RefusesANegativeMaximum)
{
    Guarded<KAVONETIFENTRY> entry;
    for (const int max : {-1, INT32_MIN}) {
        forget();
        EXPECT_EQ(-1, KLIBNetInterfaceEnum(entry.get(), max, BOTH));
        EXPECT_EQ(bad_parameter(FILE_NAME, 65), last_error());
        EXPECT_EQ(-1, KLIBNetInterfaceEnum(nullptr, max, BOTH));
    }
    EXPECT_TRUE(entry.untouched());
}

TEST_F(NetInterfaceEnum, FailsWithoutMemory)
{
    port("eth0");
    fail_call("calloc");
    EXPECT_THAT(list(BOTH), IsEmpty());
    EXPECT_EQ(-1, result);
    EXPECT_EQ((Error{NET_ERR_OUT_OF_MEMORY, FILE_NAME, 70}), last_error());
}

TEST_F(NetInterfaceEnum, FailsWithoutASocket)
{
    port("eth0");
    fail_call("socket");
    EXPECT_THAT(list(BOTH), IsEmpty());
    EXPECT_EQ(-1, result);
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetInterfaceEnum, FailsOnAnEmptyTableBeforeItAsksForHighAvailability)
{
    empty_table();
    ha("running=yes\nhas_ha_if=yes\nactive=yes\n");
    EXPECT_THAT(list(BOTH | NET_IF_OPT_HA_ADDRESS), IsEmpty());
    EXPECT_EQ(-1, result);
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetInterfaceEnum, FailsWithoutTheTable)
{
    plain_proc_net();
    EXPECT_THAT(list(BOTH), IsEmpty());
    EXPECT_EQ(-1, result);
    EXPECT_EQ(NET_ERR_OPEN_FAILED, static_cast<int>(last_error().code));
}

// ---- KLIBNetEthEnum

TEST_F(NetEthEnum, ListsWhatIsCalledSo)
{
    for (const char *name : {"eth10", "eth2", "ethernet0", "et0", "Eth1", "xeth3", "lan0"})
        port(name);
    EXPECT_THAT(list(), ElementsAre("eth2", "eth10", "ethernet0"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetEthEnum, DescribesACard)
{
    card("eth0", "192.0.2.7/26");
    set_mac("eth0", "02:00:00:00:00:a7");
    EXPECT_THAT(list(), ElementsAre("eth0"));
    EXPECT_THAT(entries[0].rgMac, ElementsAre(2, 0, 0, 0, 0, 0xa7));
    EXPECT_STREQ("192.0.2.7", entries[0].szAddr);
    EXPECT_STREQ("255.255.255.192", entries[0].szMask);
    EXPECT_EQ(2, entries[0].nLink);
    EXPECT_EQ(IFF_UP | IFF_BROADCAST | IFF_RUNNING | IFF_MULTICAST, entries[0].nFlags);
    set_carrier("eth0", false);
    EXPECT_THAT(list(), ElementsAre("eth0"));
    EXPECT_EQ(0, entries[0].nLink);
}

TEST_F(NetEthEnum, LeavesOutWhatIsDown)
{
    port("eth0", "192.0.2.7/24", false);
    port("eth1");
    port("eth2");
    drivers.refused[{SIOCGIFFLAGS, "eth2"}] = ENODEV;
    use_drivers();
    EXPECT_THAT(list(), ElementsAre("eth1"));
}

TEST_F(NetEthEnum, LeavesVlansOutAndKeepsTheirParents)
{
    for (const char *name : {"eth0", "eth0.10", "eth1", "eth1.20"})
        port(name);
    drivers.vlan_parents = {{"eth0.10", "eth0"}, {"eth1.20", "eth1"}};
    drivers.vlan_ids = {{"eth0.10", 10}};
    use_drivers();
    EXPECT_THAT(list(), ElementsAre("eth0", "eth1", "eth1.20")) << "without an id it is no VLAN";
    drivers.vlan_ids["eth1.20"] = 20;
    EXPECT_THAT(list(), ElementsAre("eth0", "eth1"));
    EXPECT_EQ(2, KLIBNetEthEnum(nullptr, 64));
}

TEST_F(NetEthEnum, AsksAKernelWithoutVlansOnce)
{
    for (const char *name : {"eth0", "eth1", "eth2"})
        port(name);
    drivers.no_vlan = ENOPKG;
    use_drivers();
    EXPECT_EQ(3U, list().size());
    EXPECT_EQ(1, drivers.count(SIOCGIFVLAN));
    EXPECT_EQ(3U, list().size());
    EXPECT_EQ(2, drivers.count(SIOCGIFVLAN)) << "nothing is kept for the next call";
    drivers.no_vlan = EINVAL;
    EXPECT_EQ(3U, list().size());
    EXPECT_EQ(5, drivers.count(SIOCGIFVLAN));
}

TEST_F(NetEthEnum, KeepsMembersPortsAndTheHeartbeat)
{
    for (const char *name : {"eth0", "eth1", "eth2", "eth3", "ovs_eth1"})
        port(name);
    shell("ip link add br0 type bridge; ip link set br0 up; ip link set eth2 master br0");
    ha("running=yes\nheartbeat_if=eth3\nhas_ha_if=yes\nactive=yes\n");
    drivers.more_flags["eth0"] = IFF_SLAVE | IFF_LOOPBACK;
    use_drivers();
    EXPECT_THAT(list(), ElementsAre("eth0", "eth1", "eth2", "eth3"));
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetEthEnum, StopsAtTheMaximum)
{
    for (const char *name : {"eth0", "eth1", "eth2"})
        port(name);
    EXPECT_THAT(list(2), ElementsAre("eth0", "eth1"));
    EXPECT_THAT(list(0), IsEmpty());
    EXPECT_EQ(0, result);
    EXPECT_EQ(2, KLIBNetEthEnum(nullptr, 2));
    EXPECT_EQ(3, KLIBNetEthEnum(nullptr, INT32_MAX));
}

TEST_F(NetEthEnum, AsksThroughOneSocket)
{
    for (const char *name : {"eth0", "eth1", "lan0"})
        port(name);
    int sockets = 0;
    support::on_call("socket", [&] { ++sockets; });
    use_drivers();
    EXPECT_EQ(2U, list().size());
    EXPECT_EQ(1, sockets);
    EXPECT_EQ(2, drivers.count(SIOCGIFFLAGS)) << "other names are not asked at all";
}

TEST_F(NetEthEnum, RefusesANegativeMaximum)
{
    Guarded<KAVONETIFENTRY> entry;
    for (const int max : {-1, INT32_MIN}) {
        forget();
        EXPECT_EQ(-1, KLIBNetEthEnum(entry.get(), max));
        EXPECT_EQ(bad_parameter(FILE_NAME, 180), last_error());
    }
    EXPECT_TRUE(entry.untouched());
}

TEST_F(NetEthEnum, FailsWithoutMemory)
{
    port("eth0");
    fail_call("calloc");
    EXPECT_THAT(list(), IsEmpty());
    EXPECT_EQ(-1, result);
    EXPECT_EQ((Error{NET_ERR_OUT_OF_MEMORY, FILE_NAME, 185}), last_error());
}

TEST_F(NetEthEnum, FailsWithoutASocket)
{
    port("eth0");
    fail_call("socket");
    EXPECT_THAT(list(), IsEmpty());
    EXPECT_EQ(-1, result);
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetEthEnum, FailsOnAnEmptyTable)
{
    empty_table();
    EXPECT_THAT(list(), IsEmpty());
    EXPECT_EQ(-1, result);
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetEthEnum, FailsWithoutTheTable)
{
    plain_proc_net();
    EXPECT_THAT(list(), IsEmpty());
    EXPECT_EQ(-1, result);
    EXPECT_EQ(NET_ERR_OPEN_FAILED, static_cast<int>(last_error().code));
}

} // namespace
