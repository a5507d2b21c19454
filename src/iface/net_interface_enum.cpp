#include "kavonetsdk/iface.h"

#include <cerrno>
#include <cstring>

#include "frame/error.h"
#include "frame/log.h"
#include "iface/ha_address.h"
#include "iface/ha_view.h"
#include "iface/interface_table.h"
#include "iface/live_entry.h"
#include "kavonetsdk/net_int.h"

using namespace kavonet;

namespace {

bool has_mark_of_kind(const char *name, unsigned int kind)
{
    if (kind != NET_IF_ENUM_NOT_LOCAL_LAN && kind != NET_IF_ENUM_LOCAL_LAN)
        return true;
    return (KLIBNetIFIsLocalLan(name) == 1) == (kind == NET_IF_ENUM_LOCAL_LAN);
}

// One walk over the interfaces of a kind.
class Walk {
public:
    Walk(const Socket &socket, const HaView &ha, unsigned int kind) : socket_(socket), ha_(ha), kind_(kind) {}

    // Whether the interface is kept; its entry, when one is wanted, is then filled.
    bool keep(const char *name, KAVONETIFENTRY *entry)
    {
        InterfaceRequest request(socket_, name);
        if (!request.ask(SIOCGIFFLAGS) || !stands_alone(name, request.flags()))
            return false;
        HaAddress ha;
        // The mark is in a file of each interface: it is looked for last.
        if (ha_.is_heartbeat(name) || (ha_.addresses() && !ha.read(name)) || !has_mark_of_kind(name, kind_))
            return false;
        if (entry != nullptr) {
            fill_entry(request, name, *entry);
            if (ha_.addresses())
                ha.put_into(*entry);
        }
        return true;
    }

private:
    bool stands_alone(const char *name, int flags)
    {
        return (flags & IFF_UP) != 0 && (flags & IFF_LOOPBACK) == 0 && !devices_.is_bridge_port(name) &&
               !devices_.has_ovs_interface(name) && !is_bond_member(name, flags, ovs_members_);
    }

    const Socket &socket_;
    const HaView &ha_;
    unsigned int kind_;
    VirtualDevices devices_;
    OvsBondMembers ovs_members_;
};

// Tells VLAN interfaces from others.
class VlanTest {
public:
    explicit VlanTest(const Socket &socket) : socket_(socket) {}

    bool is_vlan(const char *name)
    {
        if (no_vlans_)
            return false;
        VlanRequest vlan(socket_, name);
        if (vlan.ask_parent())
            return vlan.ask_id();
        // A kernel without VLANs looks for their module at each question: one is enough.
        no_vlans_ = errno == ENOPKG;
        return false;
    }

private:
    const Socket &socket_;
    bool no_vlans_ = false;
};

} // namespace

int KLIBNetInterfaceEnum(KAVONETIFENTRY *rgEntry, int max, unsigned int kind)
{
    if (max < 0)
        return fail_at(65, NET_ERR_BAD_PARAMETER, -1);
    InterfaceTable table;
    if (!table)
        return fail_at(70, NET_ERR_OUT_OF_MEMORY, -1);
    if (!table.read())
        return -1;
    HaView ha((kind & NET_IF_OPT_HA_ADDRESS) != 0);
    if (!ha.find_heartbeat())
        log_err("Failed to get heartbeat interface.");
    // Only this option is taken off: the other one makes another kind of it.
    kind &= ~static_cast<unsigned int>(NET_IF_OPT_HA_ADDRESS);

    Walk walk(table.socket(), ha, kind);
    const int listed =
        table.walk(rgEntry, max, [&](const char *name, KAVONETIFENTRY *entry) { return walk.keep(name, entry); });
    if (ha.is_not_ready(listed))
        log_err("HA is running but HA IP not ready (%d)", static_cast<int>(kind));
    return listed;
}

int KLIBNetEthEnum(KAVONETIFENTRY *rgEntry, int max)
{
    if (max < 0)
        return fail_at(180, NET_ERR_BAD_PARAMETER, -1);
    InterfaceTable table;
    if (!table)
        return fail_at(185, NET_ERR_OUT_OF_MEMORY, -1);
    if (!table.read())
        return -1;
    VlanTest vlans(table.socket());
    return table.walk(rgEntry, max, [&](const char *name, KAVONETIFENTRY *entry) {
        if (strncmp(name, "eth", 3) != 0)
            return false;
        InterfaceRequest request(table.socket(), name);
        if (!request.ask(SIOCGIFFLAGS) || (request.flags() & IFF_UP) == 0 || vlans.is_vlan(name))
            return false;
        if (entry != nullptr)
            fill_entry(request, name, *entry);
        return true;
    });
}
