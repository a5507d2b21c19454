#include "role.h"

#include <algorithm>

#include "kavonetsdk/kavonetsdk.h"

namespace cli {
namespace {

void add_bond(const char *name, std::vector<Role> &roles)
{
    KAVOLINKAGGROPT bond{};
    if (KAVONetLinkAggrGet(name, &bond) != 0 || bond.mode <= 0)
        return;
    Role role{"bond", std::string("bond, ") + KAVONetLinkAggrModeToString(bond.mode)};
    role.mode = KAVONetLinkAggrModeToString(bond.mode);
    for (int i = 0; i < std::min(bond.nSlave, 32); ++i) {
        role.members.emplace_back(bond.szSlave[i]);
        role.text += (i == 0 ? " of " : " and ") + role.members.back();
    }
    roles.push_back(std::move(role));
}

void add_vlan(const char *name, std::vector<Role> &roles)
{
    KLIBNETVLANINFO vlan{};
    if (KLIBNetVlanGet(name, &vlan) != 1)
        return;
    roles.push_back(
        {"vlan", "VLAN " + std::to_string(vlan.vlanId) + " of " + vlan.szRowDev, vlan.szRowDev, vlan.vlanId});
}

void add_open_vswitch(const char *name, std::vector<Role> &roles)
{
    const int master = KLIBNetOVSIfIsMaster(name);
    char port[16] = "";
    if (master == 2)
        roles.push_back({"ovs-bond", "Open vSwitch bond"});
    else if (master == 1 && KLIBNetOVSGetOriginalIf(name, port, sizeof port) == 0)
        roles.push_back({"ovs-bridge", std::string("Open vSwitch bridge over ") + port, port});
    else if (master == 1)
        roles.push_back({"ovs-bridge", "Open vSwitch bridge"});
    if (KLIBNetOVSIfIsSlave(name) == 1)
        roles.push_back({"ovs-port", "Open vSwitch port"});
}

} // namespace

std::vector<Role> roles_of(const std::string &name)
{
    std::vector<Role> roles;
    add_bond(name.c_str(), roles);
    if (KAVONetIfIsBondingPassive(name.c_str()) == 1)
        roles.push_back({"bond-member", "member of a bond"});
    add_vlan(name.c_str(), roles);
    if (KLIBNetBridgeIfIsMaster(name.c_str()) == 1)
        roles.push_back({"bridge", "bridge"});
    if (KLIBNetBridgeIfIsSlave(name.c_str()) == 1)
        roles.push_back({"bridge-port", "port of a bridge"});
    add_open_vswitch(name.c_str(), roles);
    return roles;
}

std::string text_of(const std::vector<Role> &roles)
{
    std::string text;
    for (const Role &role : roles)
        text += (text.empty() ? "" : "; ") + role.text;
    return text;
}

void put_roles(Json &json, const std::vector<Role> &roles)
{
    json.key("roles").begin_array();
    for (const Role &role : roles) {
        json.begin_object().field("kind", role.kind);
        if (!role.device.empty())
            json.field("device", role.device);
        if (role.id != 0)
            json.field("id", role.id);
        if (!role.mode.empty()) {
            json.field("mode", role.mode).key("members").begin_array();
            for (const std::string &member : role.members)
                json.value(member);
            json.end_array();
        }
        json.end_object();
    }
    json.end_array();
}

} // namespace cli
