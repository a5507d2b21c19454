// Every published function that takes an interface name, with names that must never get further than the first check.
#include <functional>
#include <string>
#include <vector>

#include "kavonetsdk/kavonetsdk.h"
#include "support/private_root.h"
#include "support/read_back.h"
#include "support/recorded_units.h"

namespace {

enum class Long { REFUSED, CUT }; // what becomes of a name of 16 characters

struct Function {
    const char *name;
    int failure;
    std::function<int(const char *)> call;
    Long long_names = Long::REFUSED;
    unsigned code = NET_ERR_BAD_PARAMETER; // 0: it sets none
};

KAVONETIFENTRY entry;
KAVONETINFO info;
KAVOETHINFO link_info;
KAVOLINKAGGROPT bond;
KLIBNETVLANINFO vlan;
KLIBNETBRIDGEINFO bridge;
KAVOV6IPINFO addresses[4];
NetStat statistics;
char text[64];
unsigned int flags;
uint32_t address, mask;
int mode, prefix;

KAVONETINFO wanted(const char *name, int is_static)
{
    KAVONETINFO record = {};
    record.blStatic = is_static;
    snprintf(record.szName, sizeof record.szName, "%s", name);
    snprintf(record.szAddr, sizeof record.szAddr, "10.1.0.2");
    snprintf(record.szMask, sizeof record.szMask, "255.255.255.0");
    return record;
}

int set_card(const char *name, int is_static)
{
    const KAVONETINFO record = wanted(name == nullptr ? "" : name, is_static);
    return KAVONetSetCard1(&record, nullptr);
}

int make_vlan(const char *device, int is_static)
{
    const KAVONETINFO record = wanted("", is_static);
    return KLIBNetVlanCreate(device, 100, &record);
}

int set_mac_of(const char *name)
{
    return KLIBNetGetMacAddrByInterface(name, text, sizeof text, 1);
}

int probe_dhcp(const char *name)
{
    KAVONETINFO record = wanted(name == nullptr ? "" : name, 0);
    return KAVOIGetDHCPTestNetInfo(&record);
}

int wake_on(const char *name)
{
    EtherWakeTarget target = {};
    snprintf(target.szIfName, sizeof target.szIfName, "%s", name == nullptr ? "" : name);
    return KLIBNetEtherWake(&target);
}

int set_bridge(const char *name)
{
    KLIBNETBRIDGEINFO record = {};
    record.type = NET_BRIDGE_PORT;
    snprintf(record.szIfname, sizeof record.szIfname, "%s", name == nullptr ? "" : name);
    snprintf(record.szPeer, sizeof record.szPeer, "br0");
    return KAVONetSetBridgeConfig(nullptr, &record);
}

int disable_port(const char *name)
{
    const KAVONETINFO record = wanted(name == nullptr ? "" : name, 1);
    return KAVONetDisableBridgeSlave(&record);
}

// A bond's record holds its names in fields of the kernel's size; one of sixteen characters leaves no terminator.
void put_name(char (&field)[16], const char *name)
{
    std::string(name == nullptr ? "" : name).copy(field, sizeof field);
}

KAVOLINKAGGROPT bond_of(const char *name, const char *member)
{
    KAVOLINKAGGROPT record = {};
    put_name(record.szIfname, name);
    record.mode = 4;
    record.nSlave = 2;
    put_name(record.szSlave[0], "eth0");
    put_name(record.szSlave[1], member);
    return record;
}

int set_bond(const char *name, const char *member)
{
    KAVOLINKAGGROPT record = bond_of(name, member);
    return KAVONetLinkAggrSet(&record);
}

int remove_bond(const char *name)
{
    KAVOLINKAGGROPT record = {};
    put_name(record.szIfname, name);
    return KAVONetLinkAggrSet(&record);
}

int remove_bond_files(const char *name, const char *member)
{
    KAVOLINKAGGROPT record = {};
    put_name(record.szIfname, name);
    record.nSlave = 1;
    put_name(record.szSlave[0], member);
    return KAVONetLinkAggrConfDel(&record);
}

int set_pppoe(const char *name)
{
    PPPoEConf record = {};
    snprintf(record.szEth, sizeof record.szEth, "%s", name == nullptr ? "" : name);
    return PPPoEConfigSet(record);
}

PPPoERelayConf relay;

int set_relay_server(const char *name)
{
    PPPoERelayConf record = {};
    snprintf(record.szServer, sizeof record.szServer, "%s", name == nullptr || *name == '\0' ? "." : name);
    return KAVONetSetPPPoERelayConfig("eth0", &record);
}

PKLIBSZLIST list;

// Null stands for all interfaces there.
int apply_aliases(const char *name)
{
    return IpAliasApply(name == nullptr ? "" : name, nullptr);
}

int unapply_aliases(const char *name)
{
    return IpAliasUnapply(name == nullptr ? "" : name, nullptr);
}

const std::vector<Function> FUNCTIONS = {
    {"KAVONetIPChangePreHook", -1, [](auto *name) { return KAVONetIPChangePreHook(0, name, "1.1.1.1", "1.1.1.2", 8); }},
    {"KAVONetGatewayConfigChangeHook", -1,
     [](auto *name) { return KAVONetGatewayConfigChangeHook(5, "ipv4", name, "1.1.1.1", "1.1.1.2"); }},
    {"KAVONetMTUChangeHook", -1, [](auto *name) { return KAVONetMTUChangeHook(name, "1500", 4); }},
    {"KLIBNetIfLinkUpEvent", -1, [](auto *name) { return KLIBNetIfLinkUpEvent(name); }},
    {"KLIBNetIfLinkDownEvent", -1, [](auto *name) { return KLIBNetIfLinkDownEvent(name); }},
    {"KAVONetIsDevTypeMatch", 0, [](auto *name) { return KAVONetIsDevTypeMatch(name, NET_IF_SEL_USABLE); }},
    {"KLIBNetIFIsLocalLan", -1, [](auto *name) { return KLIBNetIFIsLocalLan(name); }},
    {"KAVONetIFGetInfo", -1, [](auto *name) { return KAVONetIFGetInfo(name, &entry, &info); }},
    {"KAVONetIFGetInfoEx", -1, [](auto *name) { return KAVONetIFGetInfoEx(name, &entry, &info); }},
    {"KAVONetIFGetIPConfig", -1, [](auto *name) { return KAVONetIFGetIPConfig(name, &info); }},
    {"KAVONetIfIsStaticIP", 0, [](auto *name) { return KAVONetIfIsStaticIP(name); }},
    {"KLIBNetGetIfCfg", 0, [](auto *name) { return KLIBNetGetIfCfg(name, &address, &mask); }, Long::CUT},
    {"KLIBNetSetIfCfg", 0, [](auto *name) { return KLIBNetSetIfCfg(name, &address, &mask); }, Long::CUT},
    {"KAVONetGetIfBlock", -1, [](auto *name) { return KAVONetGetIfBlock(name, &flags); }},
    {"KAVONetSetIfBlock", -1, [](auto *name) { return KAVONetSetIfBlock(name, 15, 1); }},
    {"KAVONetGetEthInfo", -1, [](auto *name) { return KAVONetGetEthInfo(&link_info, name); }},
    {"KAVONetIsIFUp", 0, [](auto *name) { return KAVONetIsIFUp(name); }},
    {"KAVONetIfIsLink", -1, [](auto *name) { return KAVONetIfIsLink(name); }},
    {"KLIBNetISetIfFlags", 0, [](auto *name) { return KLIBNetISetIfFlags(name, 1); }, Long::CUT},
    {"KLIBNetIfUp", 0, [](auto *name) { return KLIBNetIfUp(name); }, Long::CUT},
    {"KLIBNetIfDown", 0, [](auto *name) { return KLIBNetIfDown(name); }, Long::CUT},
    {"KLIBNetReInitIf", 0, [](auto *name) { return KLIBNetReInitIf(name); }, Long::CUT},
    {"KLIBNetGetMacAddrByInterface", 1, set_mac_of},
    {"KAVONetRenameEth, old", -1, [](auto *name) { return KAVONetRenameEth(name, "eth9"); }, Long::CUT},
    {"KAVONetRenameEth, new", -1, [](auto *name) { return KAVONetRenameEth("eth0", name); }, Long::CUT},
    {"KAVONetSetCard1, static", -1, [](auto *name) { return set_card(name, 1); }, Long::CUT},
    {"KAVONetSetCard1, DHCP", -1, [](auto *name) { return set_card(name, 0); }, Long::CUT},
    {"KAVONetSetIP", -1, [](auto *name) { return KAVONetSetIP("-6", name, "2001:db8::1", 64, "add"); }},
    {"KAVONetFlushIP", -1, [](auto *name) { return KAVONetFlushIP("-4", name); }},
    {"KAVOILnxSetIPNetmask", -1, [](auto *name) { return KAVOILnxSetIPNetmask(name, "10.1.0.2", "255.255.255.0"); }},
    {"KAVOILnxGetIP", -1, [](auto *name) { return KAVOILnxGetIP(name, text, sizeof text); }, Long::CUT},
    {"KAVOILnxGetIPFromCfg", -1, [](auto *name) { return KAVOILnxGetIPFromCfg(name, text, sizeof text); }},
    {"BlKAVOLnxIsDHCP", 0, [](auto *name) { return BlKAVOLnxIsDHCP(name); }},
    {"KAVOIIpConflict", -1, [](auto *name) { return KAVOIIpConflict(name, "10.1.0.9"); }},
    {"KAVONetBondIPConflict", -1, [](auto *name) { return KAVONetBondIPConflict(name, text, sizeof text); }},
    {"KAVONetIpAliasAdd", -1, [](auto *name) { return KAVONetIpAliasAdd(name, "10.1.0.2", 24); }, Long::REFUSED, 0},
    {"KAVONetIpAliasList", -1, [](auto *name) { return KAVONetIpAliasList(name, &list); }, Long::REFUSED, 0},
    {"IpAliasApply", -1, apply_aliases, Long::REFUSED, 0},
    {"IpAliasUnapply", -1, unapply_aliases, Long::REFUSED, 0},
    {"SetIpAlias", -1, [](auto *name) { return SetIpAlias(name, "10.1.0.2", 24, 0); }, Long::REFUSED, 0},
    {"UnsetIpAlias", -1, [](auto *name) { return UnsetIpAlias(name, "10.1.0.2", 24, 0); }, Long::REFUSED, 0},
    {"SetRouteSrc", -1, [](auto *name) { return SetRouteSrc(name, "10.0.0.0/8", nullptr); }, Long::REFUSED, 0},
    {"UnsetRouteSrc", -1, [](auto *name) { return UnsetRouteSrc(name, "10.0.0.0/8"); }, Long::REFUSED, 0},
    {"IpAliasHook", -1, [](auto *name) { return IpAliasHook(0, 4, name, "10.1.0.2", 24); }, Long::REFUSED, 0},
    {"KAVONetLinkAggrGet", -1, [](auto *name) { return KAVONetLinkAggrGet(name, &bond); }, Long::CUT},
    {"KAVONetLinkAggrPhyGet", -1, [](auto *name) { return KAVONetLinkAggrPhyGet(name, &list); }, Long::CUT},
    {"KAVONetLinkAggrOptSlsaveAdd", -1, [](auto *name) { return KAVONetLinkAggrOptSlsaveAdd(&bond, name); }, Long::CUT},
    {"KAVONetLinkAggrSet", -1, [](auto *name) { return set_bond(name, "eth1"); }},
    {"KAVONetLinkAggrSet, removal", -1, remove_bond},
    {"KAVONetLinkAggrConfSetSlave", -1, [](auto *name) { return KAVONetLinkAggrConfSetSlave(name, 0, nullptr); }},
    {"KAVONetLinkAggrConfSetSlave, master", -1,
     [](auto *name) { return KAVONetLinkAggrConfSetSlave("eth0", 1, name); }},
    {"KAVONetLinkAggrConfDel", -1, [](auto *name) { return remove_bond_files(name, "eth0"); }},
    {"KAVONetLinkAggrConfDel, member", -1, [](auto *name) { return remove_bond_files("bond0", name); }},
    {"KAVONetIfIsBondingPassive", 0, [](auto *name) { return KAVONetIfIsBondingPassive(name); }, Long::CUT},
    {"KLIBNetVlanGet", -1, [](auto *name) { return KLIBNetVlanGet(name, &vlan); }},
    {"KLIBNetVlanGetByRowDev", -1, [](auto *name) { return KLIBNetVlanGetByRowDev(name, 100, &vlan); }},
    {"KLIBNetVlanCreate, static", -1, [](auto *name) { return make_vlan(name, 1); }},
    {"KLIBNetVlanCreate, DHCP", -1, [](auto *name) { return make_vlan(name, 0); }},
    {"KLIBNetVlanRemove", -1, [](auto *name) { return KLIBNetVlanRemove(name); }},
    {"KLIBNetBridgeIfIsMaster", -1, [](auto *name) { return KLIBNetBridgeIfIsMaster(name); }},
    {"KLIBNetBridgeIfIsSlave", -1, [](auto *name) { return KLIBNetBridgeIfIsSlave(name); }},
    {"KLIBNetBridgeSlaveEnum", -1, [](auto *name) { return KLIBNetBridgeSlaveEnum(name, &list); }},
    {"KLIBNETGetBridgeInfo", 0, [](auto *name) { return KLIBNETGetBridgeInfo(name, &bridge); }},
    {"KLIBNETGetBridgeInfoByTopology", -1, [](auto *name) { return KLIBNETGetBridgeInfoByTopology(name, &bridge, 2); }},
    {"KAVONetGetBridgeConfig", -1, [](auto *name) { return KAVONetGetBridgeConfig(name, &info, &bridge); }},
    {"KAVONetSetBridgeConfig", -1, set_bridge, Long::CUT},
    {"KAVONetDisableBridgeSlave", -1, disable_port, Long::CUT},
    {"KAVONetIsIfBridgeType", 0, [](auto *name) { return KAVONetIsIfBridgeType(name, 4); }},
    {"KLIBNetOVSIfIsMaster", -1, [](auto *name) { return KLIBNetOVSIfIsMaster(name); }},
    {"KLIBNetOVSIfIsSlave", -1, [](auto *name) { return KLIBNetOVSIfIsSlave(name); }},
    {"KLIBNetOVSGetOriginalIf", -1, [](auto *name) { return KLIBNetOVSGetOriginalIf(name, text, sizeof text); }},
    {"KAVOLnxV6IPGet", -1, [](auto *name) { return KAVOLnxV6IPGet(name, addresses, 4); }},
    {"KAVOLnxIPv6ProcAction", -1, [](auto *name) { return KAVOLnxIPv6ProcAction(name, 1); }},
    {"KAVOLnxIPv6FlushAddr", -1, [](auto *name) { return KAVOLnxIPv6FlushAddr(name); }},
    {"KAVONetSetMTUValue", -1, [](auto *name) { return KAVONetSetMTUValue("9000", name); }, Long::CUT},
    {"KAVOConfSetMTUValue", -1, [](auto *name) { return KAVOConfSetMTUValue("9000", name); }, Long::CUT},
    {"KAVOConfGetMTUValue", -1, [](auto *name) { return KAVOConfGetMTUValue(name, text, sizeof text); }, Long::CUT},
    {"KAVONetSetMTUEth", -1, [](auto *name) { return KAVONetSetMTUEth("9000", name); }, Long::CUT},
    {"KAVONetIPv6ConfGet", -1,
     [](auto *name) { return KAVONetIPv6ConfGet(name, &mode, text, sizeof text, &prefix, nullptr, 0); }},
    {"KAVONetIPv6ConfSet", -1, [](auto *name) { return KAVONetIPv6ConfSet(KAVO_IPV6_OFF, name, nullptr, 0, nullptr); }},
    {"KAVONetIPv6IPAction, address", -1,
     [](auto *name) { return KAVONetIPv6IPAction(KAVO_IPV6_IP_ADD, name, "2001:db8::1", 64, nullptr); }},
    {"KAVONetIPv6IPAction, route", -1,
     [](auto *name) { return KAVONetIPv6IPAction(KAVO_IPV6_IP_ADD, name, "2001:db8::1", 64, "fe80::1"); }},
    {"KAVONetIPv6RemoveDADFailedIP", -1, [](auto *name) { return KAVONetIPv6RemoveDADFailedIP(name, addresses, 4); }},
    {"KAVOGetMTUSetting", -1, [](auto *name) { return KAVOGetMTUSetting(name); }, Long::CUT},
    {"KAVOGetMTU", -1, [](auto *name) { return KAVOGetMTU(name); }, Long::CUT},
    {"NetRoutetableHandler, add", -1, [](auto *name) { return NetRoutetableHandler(NET_ROUTE_ADD, name); }},
    {"NetRoutetableHandler, clear", -1, [](auto *name) { return NetRoutetableHandler(NET_ROUTE_CLEAR, name); }},
    {"NetRoutetableEdit", -1,
     [](auto *name) { return NetRoutetableEdit(NET_ROUTE_CLEAR, "10.1.0.1", "255.255.255.0", name); }},
    {"PPPoEConfigSet", -1, set_pppoe, Long::CUT},
    {"KLIBDisablePPPoEOnIf", -1, [](auto *name) { return KLIBDisablePPPoEOnIf(name); }},
    {"KAVONetGetPPPoERelayConfig", -1, [](auto *name) { return KAVONetGetPPPoERelayConfig(name, &relay); }},
    {"KAVONetSetPPPoERelayConfig", -1, [](auto *name) { return KAVONetSetPPPoERelayConfig(name, &relay); }},
    {"KAVONetSetPPPoERelayConfig, server", -1, set_relay_server, Long::CUT},
    {"KAVONetApplyPPPoERelayConfig", -1, [](auto *name) { return KAVONetApplyPPPoERelayConfig(name); }},
    {"KLIBNetStatGetSingle", -1, [](auto *name) { return KLIBNetStatGetSingle(name, &statistics); }, Long::CUT},
    {"KAVOIGetDHCPTestNetInfo", -1, probe_dhcp, Long::CUT},
    {"KLIBNetEtherWake", -1, wake_on, Long::CUT},
};

class EveryFunction : public support::PrivateRoot {
protected:
    void SetUp() override
    {
        PrivateRoot::SetUp();
        if (IsSkipped())
            return;
        list = KLIBCSzListAlloc(0);
        add_card("eth0", "10.1.0.1/24");
        write_ifcfg("eth0", "BOOTPROTO=static\nIPADDR=10.1.0.1\nNETMASK=255.255.255.0\n");
        // What a hostile name would reach if it left its folder.
        support::write_file("/etc/sysconfig/secret", "IPADDR=9.9.9.9\n");
        for (const char *program :
             {"/sbin/ip", "/sbin/route", "/bin/cp", "/usr/kavo/sbin/kavonetdtool", "/sbin/arping", "/usr/sbin/dhclient",
              "/bin/mv", "/etc/rc.network", "/usr/kavo/sbin/kavostoragecore"})
            record(program);
        support::record_units();
        before_ = world();
    }

    void TearDown() override
    {
        KLIBCSzListFree(list);
        PrivateRoot::TearDown();
    }

    // Everything that a function could have touched.
    static std::string world()
    {
        std::string all;
        for (const char *folder :
             {"/etc/sysconfig", "/etc/sysconfig/network-scripts", "/etc/dhclient/ipv4", "/usr/kavo/etc/net", "/tmp"}) {
            for (const std::string &name : support::entries(folder))
                all += std::string(folder) + "/" + name + ": " + support::read_file(std::string(folder) + "/" + name);
        }
        for (const std::string &call : calls())
            all += call + "\n";
        return all + shell("/usr/bin/ip -o link show; /usr/bin/ip -o -4 address show");
    }

    static void refuse(const Function &function, const char *name)
    {
        SCOPED_TRACE(std::string(function.name) + " of " + (name == nullptr ? "null" : name));
        support::clear_error();
        bond = {};
        const auto descriptors = support::open_descriptors();
        EXPECT_EQ(function.failure, function.call(name));
        EXPECT_EQ(function.code, KLIBCErrGet());
        EXPECT_EQ(descriptors, support::open_descriptors());
    }

    std::string before_;
};

TEST_F(EveryFunction, RefusesNamesThatAreNone)
{
    for (const Function &function : FUNCTIONS) {
        for (const char *name : {static_cast<const char *>(nullptr), ""})
            refuse(function, name);
    }
    EXPECT_EQ(before_, world());
}

TEST_F(EveryFunction, RefusesNamesThatLeaveTheirFolder)
{
    for (const Function &function : FUNCTIONS) {
        for (const char *name : {".", "..", "/", "../secret", "eth0/..", "a/b", "/etc/passwd"})
            refuse(function, name);
    }
    EXPECT_EQ(before_, world());
}

TEST_F(EveryFunction, RefusesBlanksAndControlCharacters)
{
    for (const Function &function : FUNCTIONS) {
        for (const char *name : {" ", "eth0 ", " eth0", "et h0", "eth0\t", "eth0\n", "eth0\nX=1", "eth\r0", "eth\v0",
                                 "\x01", "eth0\x7f", "ovs_ e", "ovs_\n", "bond0 x"})
            refuse(function, name);
    }
    EXPECT_EQ(before_, world());
}

TEST_F(EveryFunction, RefusesSixteenCharacters)
{
    for (const Function &function : FUNCTIONS) {
        if (function.long_names == Long::REFUSED)
            refuse(function, "abcdefghijklmnop");
    }
    EXPECT_EQ(before_, world());
}

TEST_F(EveryFunction, TakesShellCharactersAsTheyAre)
{
    // Names that a shell would read otherwise reach no shell: there are just no such interfaces.
    const auto before = support::entries("/tmp");
    for (const Function &function : FUNCTIONS) {
        for (const char *name : {"$(id>/tmp/x)", "`id`", ";id", "a|b", "-h", "*", "%s%n", "a'b", "a\"b"})
            function.call(std::string(name).find('/') == std::string::npos ? name : "$(id>x)");
    }
    EXPECT_EQ(before, support::entries("/tmp"));
    EXPECT_FALSE(support::exists("/x"));
    EXPECT_EQ("IPADDR=9.9.9.9\n", support::read_file("/etc/sysconfig/secret"));
}

} // namespace
