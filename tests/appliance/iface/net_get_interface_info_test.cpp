#include "iface_test.h"

#include "kavonetsdk/diag.h"

namespace {

constexpr char FILE_NAME[] = "net_get_interface_info.cpp";
constexpr unsigned int PHYSICAL = NET_IF_SEL_PHYSICAL;
constexpr unsigned int USABLE = NET_IF_SEL_USABLE;
constexpr unsigned int USABLE_PPP = NET_IF_SEL_USABLE_PPP;
constexpr unsigned int PLAIN = 3;

class NetGetInterfaceInfo : public IfaceTest {
protected:
    // The listed names; what stands behind the last one stays as it was.
    std::vector<std::string> list(unsigned int selector, int max = 64)
    {
        entries.assign(static_cast<size_t>(max) + 1, marked());
        result = KLIBNetGetInterfaceInfo(entries.data(), max, selector);
        std::vector<std::string> names;
        for (int i = 0; i < result; ++i)
            names.emplace_back(entries[static_cast<size_t>(i)].szName);
        EXPECT_EQ(0, memcmp(&entries.back(), &UNUSED, sizeof UNUSED));
        return names;
    }

    KAVONETIFENTRY entry_of(const std::string &name)
    {
        for (const KAVONETIFENTRY &entry : entries) {
            if (name == entry.szName)
                return entry;
        }
        ADD_FAILURE() << name << " is not listed";
        return {};
    }

    static KAVONETIFENTRY marked()
    {
        KAVONETIFENTRY entry;
        memset(&entry, 0x5a, sizeof entry);
        return entry;
    }

    const KAVONETIFENTRY UNUSED = marked();
    std::vector<KAVONETIFENTRY> entries;
    int result = -7;
};

TEST_F(NetGetInterfaceInfo, DescribesACard)
{
    card("eth0", "192.0.2.7/26");
    set_mac("eth0", "02:00:00:00:00:a7");
    EXPECT_THAT(list(PLAIN), ElementsAre("eth0"));
    EXPECT_EQ(1, result);
    const KAVONETIFENTRY &entry = entries[0];
    EXPECT_THAT(entry.rgMac, ElementsAre(2, 0, 0, 0, 0, 0xa7));
    EXPECT_STREQ("192.0.2.7", entry.szAddr);
    EXPECT_STREQ("255.255.255.192", entry.szMask);
    EXPECT_EQ(2, entry.nLink);
    EXPECT_EQ(IFF_UP | IFF_BROADCAST | IFF_RUNNING | IFF_MULTICAST, entry.nFlags);
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
    // Nothing of the caller's old bytes is left in the fields.
    const KAVONETIFENTRY zero{};
    EXPECT_EQ(0, memcmp(entry.szName + 4, zero.szName, sizeof entry.szName - 4));
    EXPECT_EQ(0, memcmp(entry.szAddr + 9, zero.szAddr, sizeof entry.szAddr - 9));
    EXPECT_EQ(0, memcmp(entry.szMask + 15, zero.szMask, sizeof entry.szMask - 15));
}

TEST_F(NetGetInterfaceInfo, LeavesWhatCannotBeQueriedEmpty)
{
    card("eth0", "192.0.2.7/26");
    drivers.refused = {{{SIOCGIFHWADDR, "eth0"}, EIO}, {{SIOCGIFADDR, "eth0"}, EIO}, {{SIOCGIFNETMASK, "eth0"}, EIO}};
    use_drivers();
    EXPECT_THAT(list(PLAIN), ElementsAre("eth0"));
    EXPECT_THAT(entries[0].rgMac, ElementsAre(0, 0, 0, 0, 0, 0));
    EXPECT_STREQ("", entries[0].szAddr);
    EXPECT_STREQ("", entries[0].szMask);
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetGetInterfaceInfo, ExtendsTheSignOfTheFlags)
{
    card("eth0");
    drivers.more_flags["eth0"] = 0x8000;
    use_drivers();
    EXPECT_THAT(list(PLAIN), ElementsAre("eth0"));
    EXPECT_EQ(static_cast<int>(0xFFFF9043), entries[0].nFlags);
}

TEST_F(NetGetInterfaceInfo, ReportsNoLinkWithoutCarrier)
{
    card("eth0");
    set_carrier("eth0", false);
    EXPECT_THAT(list(PLAIN), ElementsAre("eth0"));
    EXPECT_EQ(0, entries[0].nLink);
    EXPECT_STREQ("", entries[0].szAddr);
    EXPECT_STREQ("", entries[0].szMask);
}

TEST_F(NetGetInterfaceInfo, ListsInNaturalOrder)
{
    for (const char *name : {"eth10", "lan2", "eth2", "bond0", "eth1"})
        card(name);
    EXPECT_THAT(list(USABLE), ElementsAre("bond0", "eth1", "eth2", "eth10", "lan2"));
}

TEST_F(NetGetInterfaceInfo, NeverListsWhatIsDown)
{
    card("eth0", "192.0.2.7/24", false);
    for (const unsigned int selector : {1U, 2U, 3U, 5U, 8U, 9U, 15U, 18U, 0x7fffffffU, 0xffffffffU}) {
        EXPECT_THAT(list(selector), IsEmpty()) << selector;
        EXPECT_EQ(0, result);
    }
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetGetInterfaceInfo, NeverListsInternalNamesAndLoopback)
{
    card("eth0");
    shell("ip link set lo up; ip link add gwlan0 type veth peer name xgwlany; ip link set gwlan0 up; "
          "ip link set xgwlany up; ip link add agbrb type veth peer name gbr0; ip link set agbrb up; ip link set gbr0 "
          "up");
    for (const unsigned int selector : {PHYSICAL, USABLE, USABLE_PPP, PLAIN, 0xffffffffU & ~0x10U})
        EXPECT_THAT(list(selector), ElementsAre("eth0")) << selector;
}

TEST_F(NetGetInterfaceInfo, KeepsPointToPointLinksOnlyForTheirKind)
{
    card("eth0");
    card("ppp0");
    drivers.more_flags["ppp0"] = IFF_POINTOPOINT;
    use_drivers();
    EXPECT_THAT(list(PHYSICAL), ElementsAre("eth0"));
    EXPECT_THAT(list(USABLE), ElementsAre("eth0"));
    EXPECT_THAT(list(PLAIN), ElementsAre("eth0"));
    EXPECT_THAT(list(16 + 2), ElementsAre("eth0"));
    EXPECT_THAT(list(9), ElementsAre("eth0"));
    EXPECT_THAT(list(USABLE_PPP), ElementsAre("eth0", "ppp0"));
    EXPECT_THAT(list(USABLE_PPP | NET_IF_OPT_HEARTBEAT | NET_IF_OPT_HA_ADDRESS), ElementsAre("eth0", "ppp0"));
}

TEST_F(NetGetInterfaceInfo, LeavesMastersOutOfThePhysicalOnes)
{
    card("bond0");
    card("eth0");
    drivers.more_flags["bond0"] = IFF_MASTER;
    use_drivers();
    EXPECT_THAT(list(PHYSICAL), ElementsAre("eth0"));
    EXPECT_THAT(list(PHYSICAL | NET_IF_OPT_HEARTBEAT), ElementsAre("eth0"));
    for (const unsigned int selector : {USABLE, USABLE_PPP, PLAIN})
        EXPECT_THAT(list(selector), ElementsAre("bond0", "eth0")) << selector;
}

TEST_F(NetGetInterfaceInfo, LeavesBridgeMembersOutOfTheUsableOnes)
{
    card("eth0");
    card("eth1");
    shell("ip link add br0 type bridge; ip link set br0 up; ip link set eth1 master br0");
    EXPECT_THAT(list(USABLE), ElementsAre("br0", "eth0"));
    EXPECT_THAT(list(USABLE_PPP), ElementsAre("br0", "eth0"));
    EXPECT_THAT(list(PHYSICAL), ElementsAre("br0", "eth0", "eth1"));
    EXPECT_THAT(list(PLAIN), ElementsAre("br0", "eth0", "eth1"));
}

TEST_F(NetGetInterfaceInfo, LeavesBondMembersOut)
{
    card("eth0");
    card("eth1");
    drivers.more_flags["eth1"] = IFF_SLAVE;
    use_drivers();
    for (const unsigned int selector : {PHYSICAL, USABLE, USABLE_PPP, PLAIN})
        EXPECT_THAT(list(selector), ElementsAre("eth0")) << selector;
}

TEST_F(NetGetInterfaceInfo, LeavesMembersOfOpenVSwitchBondsOut)
{
    card("eth0");
    card("eth1");
    card("eth2");
    plain_folder("/sys/class/net");
    write_file("/sys/class/net/kavo_ovs_bonds", "eth0 eth1\nother  eth2 \n");
    for (const unsigned int selector : {PHYSICAL, USABLE, USABLE_PPP, PLAIN})
        EXPECT_THAT(list(selector), ElementsAre("eth0")) << selector;
}

TEST_F(NetGetInterfaceInfo, LeavesOpenVSwitchPortsOut)
{
    card("eth0");
    card("eth1");
    card("ovs_eth1");
    for (const unsigned int selector : {PHYSICAL, USABLE, USABLE_PPP, PLAIN})
        EXPECT_THAT(list(selector), ElementsAre("eth0", "ovs_eth1")) << selector;
}

TEST_F(NetGetInterfaceInfo, AsksThePortForTheLinkOfAnOpenVSwitchInterface)
{
    card("eth1");
    card("ovs_eth1");
    set_carrier("eth1", false);
    EXPECT_THAT(list(PLAIN), ElementsAre("ovs_eth1"));
    EXPECT_NE(0, entries[0].nFlags & IFF_RUNNING);
    EXPECT_EQ(0, entries[0].nLink);
    set_carrier("eth1", true);
    set_carrier("ovs_eth1", false);
    EXPECT_THAT(list(PLAIN), ElementsAre("ovs_eth1"));
    EXPECT_EQ(0, entries[0].nFlags & IFF_RUNNING);
    EXPECT_EQ(2, entries[0].nLink) << "the port has a carrier";
}

TEST_F(NetGetInterfaceInfo, ReportsNoLinkOfAnOpenVSwitchInterfaceWithoutPort)
{
    card("ovs_eth1");
    EXPECT_THAT(list(PLAIN), ElementsAre("ovs_eth1"));
    EXPECT_EQ(0, entries[0].nLink);
}

TEST_F(NetGetInterfaceInfo, AsksForVlansOnlyWhereThereAreAny)
{
    if (KLIBCModuleIsLoad("8021q") != 0)
        GTEST_SKIP() << "this kernel has VLANs";
    card("eth0");
    card("eth0.100");
    drivers.vlan_parents["eth0.100"] = "eth0";
    use_drivers();
    EXPECT_THAT(list(USABLE), ElementsAre("eth0", "eth0.100"));
    EXPECT_EQ(0, drivers.count(SIOCGIFVLAN));
}

TEST_F(NetGetInterfaceInfo, PutsTheLastEntryIntoTheParentsPlace)
{
    for (const char *name : {"eth0", "eth1", "eth1.5", "eth2", "lan0"})
        card(name, "", true);
    load_8021q();
    drivers.vlan_parents["eth1.5"] = "eth1";
    use_drivers();
    EXPECT_THAT(list(USABLE), ElementsAre("eth0", "lan0", "eth1.5", "eth2"));
    EXPECT_EQ(4, result);
    EXPECT_THAT(list(USABLE_PPP), ElementsAre("eth0", "lan0", "eth1.5", "eth2"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(list(PHYSICAL), ElementsAre("eth0", "eth1", "eth2", "lan0"));
    EXPECT_THAT(list(PLAIN), ElementsAre("eth0", "eth1", "eth1.5", "eth2", "lan0"));
    EXPECT_EQ(5, KLIBNetGetInterfaceInfo(nullptr, 64, USABLE)) << "who only counts counts the parents too";
}

TEST_F(NetGetInterfaceInfo, DropsAParentThatIsLast)
{
    card("eth0.5");
    card("lan0");
    load_8021q();
    drivers.vlan_parents["eth0.5"] = "lan0";
    use_drivers();
    EXPECT_THAT(list(USABLE), ElementsAre("eth0.5"));
}

TEST_F(NetGetInterfaceInfo, DropsAParentOnceWhateverItsVlans)
{
    for (const char *name : {"eth0", "eth0.1", "eth0.2", "eth1", "eth1.7", "lan0"})
        card(name);
    load_8021q();
    drivers.vlan_parents = {{"eth0.1", "eth0"}, {"eth0.2", "eth0"}, {"eth1.7", "eth1"}};
    use_drivers();
    EXPECT_THAT(list(USABLE), ElementsAre("lan0", "eth0.1", "eth0.2", "eth1.7"));
    EXPECT_EQ(4, result);
}

TEST_F(NetGetInterfaceInfo, RemembersTheParentOfAVlanThatIsDown)
{
    card("eth0");
    card("eth0.1", "", false);
    card("eth1");
    load_8021q();
    drivers.vlan_parents["eth0.1"] = "eth0";
    use_drivers();
    EXPECT_THAT(list(USABLE), ElementsAre("eth1"));
}

TEST_F(NetGetInterfaceInfo, KeepsEverythingWhenThereAreMoreVlansThanEntries)
{
    card("eth0");
    card("eth0.1", "", false);
    card("eth0.2", "", false);
    load_8021q();
    drivers.vlan_parents = {{"eth0.1", "eth0"}, {"eth0.2", "eth0"}};
    use_drivers();
    EXPECT_THAT(list(USABLE), ElementsAre("eth0"));
    EXPECT_EQ(1, result);
    EXPECT_EQ(bad_parameter(FILE_NAME, 31), last_error());
    forget();
    EXPECT_EQ(1, KLIBNetGetInterfaceInfo(nullptr, 64, USABLE));
    EXPECT_EQ(NO_ERROR_SET, last_error()) << "nothing is taken out of a count";
}

TEST_F(NetGetInterfaceInfo, KeepsAParentThatWasNotListed)
{
    card("eth0", "", false);
    card("eth0.1");
    load_8021q();
    drivers.vlan_parents["eth0.1"] = "eth0";
    use_drivers();
    EXPECT_THAT(list(USABLE), ElementsAre("eth0.1"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetGetInterfaceInfo, StopsAtTheMaximum)
{
    for (const char *name : {"eth0", "eth1", "eth2"})
        card(name);
    EXPECT_THAT(list(USABLE, 2), ElementsAre("eth0", "eth1"));
    EXPECT_THAT(list(USABLE, 1), ElementsAre("eth0"));
    EXPECT_THAT(list(USABLE, 0), IsEmpty());
    EXPECT_EQ(0, result);
    EXPECT_EQ(2, KLIBNetGetInterfaceInfo(nullptr, 2, USABLE));
    EXPECT_EQ(3, KLIBNetGetInterfaceInfo(nullptr, 1000, USABLE));
}

TEST_F(NetGetInterfaceInfo, LooksNoFurtherThanTheMaximumForParents)
{
    for (const char *name : {"eth0", "eth1", "eth1.5"})
        card(name);
    load_8021q();
    drivers.vlan_parents["eth1.5"] = "eth1";
    use_drivers();
    EXPECT_THAT(list(USABLE, 2), ElementsAre("eth0", "eth1"));
}

TEST_F(NetGetInterfaceInfo, SkipsAnInterfaceWhoseFlagsCannotBeRead)
{
    card("eth0");
    card("eth1");
    drivers.refused[{SIOCGIFFLAGS, "eth0"}] = ENODEV;
    use_drivers();
    EXPECT_THAT(list(USABLE), ElementsAre("eth1"));
}

// ---- High availability

TEST_F(NetGetInterfaceInfo, HidesTheHeartbeatWhileHaRuns)
{
    card("eth0");
    card("eth1");
    ha("running=yes\nheartbeat_if=eth1\n");
    for (const unsigned int selector : {PHYSICAL, USABLE, USABLE_PPP, PLAIN}) {
        EXPECT_THAT(list(selector), ElementsAre("eth0")) << selector;
        EXPECT_THAT(list(selector | NET_IF_OPT_HEARTBEAT), ElementsAre("eth0", "eth1")) << selector;
    }
    ha("running=no\nheartbeat_if=eth1\n");
    EXPECT_THAT(list(USABLE), ElementsAre("eth0", "eth1"));
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetGetInterfaceInfo, GoesOnWithoutAHeartbeat)
{
    card("eth0");
    ha("running=yes\n");
    EXPECT_THAT(list(USABLE), ElementsAre("eth0"));
    EXPECT_EQ(LOG_ERR, logged("net_get_interface_info", "Failed to get heartbeat interface."));
    forget();
    EXPECT_THAT(list(USABLE | NET_IF_OPT_HEARTBEAT), ElementsAre("eth0"));
    EXPECT_EQ(LOG_ERR, logged("net_get_interface_info", "Failed to get heartbeat interface."));
}

TEST_F(NetGetInterfaceInfo, ReportsTheAddressesOfThePair)
{
    card("eth0", "192.0.2.1/24");
    card("eth1", "198.51.100.1/24");
    for (const char *running : {"yes", "no"}) {
        ha(std::string("has_ha_if=yes\nrunning=") + running +
           "\nheartbeat_if=hb0\naddr_eth1=203.0.113.9\nmask_eth1=255.255.0.0\n");
        EXPECT_THAT(list(USABLE | NET_IF_OPT_HA_ADDRESS), ElementsAre("eth1")) << running;
        EXPECT_STREQ("203.0.113.9", entries[0].szAddr);
        EXPECT_STREQ("255.255.0.0", entries[0].szMask);
        EXPECT_EQ(2, entries[0].nLink);
        EXPECT_EQ(1, KLIBNetGetInterfaceInfo(nullptr, 8, USABLE | NET_IF_OPT_HA_ADDRESS));
        EXPECT_THAT(list(USABLE), ElementsAre("eth0", "eth1"));
        EXPECT_STREQ("198.51.100.1", entries[1].szAddr);
    }
}

TEST_F(NetGetInterfaceInfo, CutsTheAddressesOfThePairTo19Characters)
{
    card("eth0", "192.0.2.1/24");
    ha("has_ha_if=yes\naddr_eth0=123456789012345678901234567890\nmask_eth0=abcdefghijklmnopqrstuvwxyzabcd\n");
    EXPECT_THAT(list(USABLE | NET_IF_OPT_HA_ADDRESS), ElementsAre("eth0"));
    EXPECT_STREQ("1234567890123456789", entries[0].szAddr);
    EXPECT_STREQ("abcdefghijklmnopqrs", entries[0].szMask);
}

TEST_F(NetGetInterfaceInfo, ReportsTheOwnAddressWhereThereIsNoPair)
{
    card("eth0", "192.0.2.1/24");
    ha("has_ha_if=no\nrunning=yes\nheartbeat_if=hb0\naddr_eth0=203.0.113.9\nmask_eth0=255.255.0.0\n");
    EXPECT_THAT(list(USABLE | NET_IF_OPT_HA_ADDRESS), ElementsAre("eth0"));
    EXPECT_STREQ("192.0.2.1", entries[0].szAddr);
    EXPECT_STREQ("255.255.255.0", entries[0].szMask);
}

TEST_F(NetGetInterfaceInfo, TellsThatThePairHasNoAddressYet)
{
    card("eth0", "192.0.2.1/24");
    ha("has_ha_if=yes\nactive=yes\n");
    EXPECT_THAT(list(USABLE | NET_IF_OPT_HA_ADDRESS), IsEmpty());
    EXPECT_EQ(0, result);
    EXPECT_EQ(LOG_ERR, logged("net_get_interface_info", "HA is running but HA IP not ready (2)"));
    forget();
    list(USABLE_PPP | NET_IF_OPT_HA_ADDRESS | NET_IF_OPT_HEARTBEAT);
    EXPECT_EQ(LOG_ERR, logged("net_get_interface_info", "HA is running but HA IP not ready (8)"));
}

TEST_F(NetGetInterfaceInfo, SaysNothingOfThePairOtherwise)
{
    card("eth0", "192.0.2.1/24", false);
    for (const char *state : {"has_ha_if=yes\nactive=no\n", "has_ha_if=no\nactive=yes\n", "active=yes\n"}) {
        ha(state);
        EXPECT_THAT(list(USABLE | NET_IF_OPT_HA_ADDRESS), IsEmpty()) << state;
    }
    ha("has_ha_if=yes\nactive=yes\n");
    EXPECT_THAT(list(USABLE), IsEmpty());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

// ---- What is refused and what fails

TEST_F(NetGetInterfaceInfo, RefusesANegativeMaximum)
{
    Guarded<KAVONETIFENTRY> entry;
    for (const int max : {-1, INT32_MIN}) {
        forget();
        EXPECT_EQ(-1, KLIBNetGetInterfaceInfo(entry.get(), max, USABLE));
        EXPECT_EQ(bad_parameter(FILE_NAME, 113), last_error());
    }
    EXPECT_EQ(-1, KLIBNetGetInterfaceInfo(entry.get(), -1, 0));
    EXPECT_EQ(bad_parameter(FILE_NAME, 113), last_error());
    EXPECT_TRUE(entry.untouched());
}

TEST_F(NetGetInterfaceInfo, RefusesANegativeMaximumBeforeItAsksForModules)
{
    int questions = 0;
    support::on_call("KLIBCModuleIsLoad", [&] { ++questions; });
    EXPECT_EQ(-1, KLIBNetGetInterfaceInfo(nullptr, -1, USABLE));
    EXPECT_EQ(bad_parameter(FILE_NAME, 113), last_error());
    EXPECT_EQ(0, questions);
}

TEST_F(NetGetInterfaceInfo, RefusesASelectorWithoutKind)
{
    card("eth0");
    Guarded<KAVONETIFENTRY> entry;
    for (const unsigned int selector : {0U, 4U, 16U, 20U}) {
        forget();
        EXPECT_EQ(-1, KLIBNetGetInterfaceInfo(entry.get(), 1, selector)) << selector;
        EXPECT_EQ(bad_parameter(FILE_NAME, 173), last_error());
    }
    EXPECT_TRUE(entry.untouched());
}

TEST_F(NetGetInterfaceInfo, TakesTheOptionsOffBeforeItLooksAtTheKind)
{
    card("eth0");
    card("eth1");
    drivers.more_flags["eth1"] = IFF_MASTER;
    use_drivers();
    EXPECT_THAT(list(17), ElementsAre("eth0")) << "the physical ones, with addresses of the pair";
    EXPECT_THAT(list(5), ElementsAre("eth0")) << "the physical ones, with the heartbeat";
    EXPECT_THAT(list(7), ElementsAre("eth0", "eth1"));
}

TEST_F(NetGetInterfaceInfo, LooksForTheHeartbeatBeforeItRefusesTheKind)
{
    ha("running=yes\n");
    EXPECT_EQ(-1, KLIBNetGetInterfaceInfo(nullptr, 1, 0));
    EXPECT_EQ(LOG_ERR, logged("net_get_interface_info", "Failed to get heartbeat interface."));
    EXPECT_EQ(bad_parameter(FILE_NAME, 173), last_error());
}

TEST_F(NetGetInterfaceInfo, FailsWhenModulesCannotBeListed)
{
    card("eth0");
    fail_call("KLIBCModuleIsLoad");
    EXPECT_THAT(list(0), IsEmpty());
    EXPECT_EQ(-1, result);
    EXPECT_EQ(0x5151U, last_error().code) << "the platform's record stays";
}

TEST_F(NetGetInterfaceInfo, FailsWithoutMemory)
{
    card("eth0");
    fail_call("calloc");
    EXPECT_THAT(list(USABLE), IsEmpty());
    EXPECT_EQ(-1, result);
    EXPECT_EQ((Error{NET_ERR_OUT_OF_MEMORY, FILE_NAME, 181}), last_error());
}

TEST_F(NetGetInterfaceInfo, FailsWithoutASocket)
{
    card("eth0");
    fail_call("socket");
    EXPECT_THAT(list(USABLE), IsEmpty());
    EXPECT_EQ(-1, result);
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetGetInterfaceInfo, FailsOnAnEmptyTable)
{
    plain_proc_net();
    write_file("/proc/net/dev", "Inter-|   Receive\n face |bytes\n");
    EXPECT_THAT(list(USABLE), IsEmpty());
    EXPECT_EQ(-1, result);
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetGetInterfaceInfo, FailsWithoutTheTable)
{
    plain_proc_net();
    EXPECT_THAT(list(USABLE), IsEmpty());
    EXPECT_EQ(-1, result);
    EXPECT_EQ(NET_ERR_OPEN_FAILED, static_cast<int>(last_error().code));
}

TEST_F(NetGetInterfaceInfo, HoldsOutWithMoreInterfacesThanItLooksAt)
{
    plain_proc_net();
    std::string table = "Inter-|   Receive\n face |bytes\n";
    for (int i = 0; i < 300; ++i)
        table += "  eth" + std::to_string(i) + ": 1 2 3 4 5 6 7 8 9 10\n";
    write_file("/proc/net/dev", table);
    load_8021q();
    for (int i = 0; i < 300; ++i) {
        drivers.flags["eth" + std::to_string(i)] = IFF_UP | IFF_RUNNING;
        drivers.vlan_parents["eth" + std::to_string(i)] = "lan0";
    }
    use_drivers();
    EXPECT_EQ(256U, list(USABLE, 300).size());
    EXPECT_EQ(256, drivers.count(SIOCGIFVLAN));
    EXPECT_STREQ("eth255", entries[255].szName);
}

} // namespace
