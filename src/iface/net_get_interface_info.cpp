#include "kavonetsdk/iface.h"

#include <algorithm>
#include <cstring>

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "iface/ha_address.h"
#include "iface/ha_view.h"
#include "iface/interface_table.h"
#include "iface/live_entry.h"
#include "kavonetsdk/net_int.h"

using namespace kavonet;

namespace {

constexpr unsigned int OPTIONS = NET_IF_OPT_HEARTBEAT | NET_IF_OPT_HA_ADDRESS;

// What is asked for.
struct Selection {
    explicit Selection(unsigned int selector)
        : kind(selector & ~OPTIONS),
          keep_heartbeat((selector & NET_IF_OPT_HEARTBEAT) != 0),
          ha((selector & NET_IF_OPT_HA_ADDRESS) != 0)
    {
        if (!ha.find_heartbeat())
            log_err("Failed to get heartbeat interface.");
    }

    [[nodiscard]] bool usable() const { return kind == NET_IF_SEL_USABLE || kind == NET_IF_SEL_USABLE_PPP; }

    [[nodiscard]] int excluded_flags() const
    {
        if (kind == NET_IF_SEL_PHYSICAL)
            return IFF_MASTER | IFF_POINTOPOINT | IFF_LOOPBACK;
        return kind == NET_IF_SEL_USABLE_PPP ? IFF_LOOPBACK : IFF_POINTOPOINT | IFF_LOOPBACK;
    }

    [[nodiscard]] bool is_hidden_heartbeat(const char *name) const { return !keep_heartbeat && ha.is_heartbeat(name); }

    unsigned int kind;
    bool keep_heartbeat;
    HaView ha;
};

// The devices underneath the VLAN interfaces that were met, one for each VLAN.
struct VlanParents {
    void add(const char *name) { copy_text(names[count++], name); }

    char names[InterfaceTable::ROOM][IFNAMSIZ];
    int count = 0;
};

bool is_internal(const char *name)
{
    return strstr(name, "gbr") != nullptr || strstr(name, "gwlan") != nullptr;
}

// One walk over the kernel's interfaces.
class Walk {
public:
    Walk(const Selection &selection, bool vlans, const Socket &socket)
        : selection_(selection),
          vlans_(vlans),
          socket_(socket)
    {
    }

    // Whether the interface is kept; its entry, when one is wanted, is then filled.
    bool keep(const char *name, KAVONETIFENTRY *entry)
    {
        if (is_internal(name))
            return false;
        InterfaceRequest request(socket_, name);
        if (!request.ask(SIOCGIFFLAGS))
            return false;
        if (vlans_ && is_vlan(name) && selection_.kind == NET_IF_SEL_PHYSICAL)
            return false;
        HaAddress ha;
        if (!is_kept(name, request.flags(), ha))
            return false;
        if (entry != nullptr) {
            fill_live_entry(request, name, *entry);
            if (selection_.ha.addresses())
                ha.put_into(*entry);
        }
        return true;
    }

    // Takes the parents of VLANs out of the kept entries. The last entry moves into a freed place: callers know that the
    // order is not kept.
    int drop_vlan_parents(KAVONETIFENTRY *entries, int kept) const
    {
        // Callers get the whole list when there are more VLANs than entries, with the code to tell them.
        if (kept < parents_.count)
            return fail_at(31, NET_ERR_BAD_PARAMETER, kept);
        for (int i = 0; i < parents_.count; ++i) {
            const char *parent = parents_.names[i];
            if (i > 0 && strcmp(parent, parents_.names[i - 1]) == 0)
                continue;
            KAVONETIFENTRY *end = entries + kept;
            KAVONETIFENTRY *found =
                std::find_if(entries, end, [&](const KAVONETIFENTRY &e) { return strcmp(e.szName, parent) == 0; });
            if (found != end)
                *found = entries[--kept];
        }
        return kept;
    }

private:
    bool is_vlan(const char *name)
    {
        VlanRequest vlan(socket_, name);
        if (!vlan.ask_parent())
            return false;
        if (selection_.usable())
            parents_.add(vlan.parent());
        return true;
    }

    bool is_kept(const char *name, int flags, HaAddress &ha)
    {
        if ((flags & IFF_UP) == 0 || (flags & selection_.excluded_flags()) != 0)
            return false;
        if (selection_.usable() && devices_.is_bridge_port(name))
            return false;
        if (devices_.has_ovs_interface(name) || is_bond_member(name, flags, ovs_members_))
            return false;
        if (selection_.is_hidden_heartbeat(name))
            return false;
        return !selection_.ha.addresses() || ha.read(name);
    }

    const Selection &selection_;
    bool vlans_;
    const Socket &socket_;
    VirtualDevices devices_;
    OvsBondMembers ovs_members_;
    VlanParents parents_;
};

} // namespace

int KLIBNetGetInterfaceInfo(KAVONETIFENTRY *rgEntry, int max, unsigned int selector)
{
    if (max < 0)
        return fail_at(113, NET_ERR_BAD_PARAMETER, -1);
    const int vlans = KLIBCModuleIsLoad("8021q");
    if (vlans == -1)
        return -1;
    const Selection selection(selector);
    if (selection.kind == 0)
        return fail_at(173, NET_ERR_BAD_PARAMETER, -1);
    InterfaceTable table;
    if (!table)
        return fail_at(181, NET_ERR_OUT_OF_MEMORY, -1);
    if (!table.read())
        return -1;

    Walk walk(selection, vlans != 0, table.socket());
    int kept =
        table.walk(rgEntry, max, [&](const char *name, KAVONETIFENTRY *entry) { return walk.keep(name, entry); });
    if (rgEntry != nullptr)
        kept = walk.drop_vlan_parents(rgEntry, kept);
    if (selection.ha.is_not_ready(kept))
        log_err("HA is running but HA IP not ready (%d)", static_cast<int>(selection.kind));
    return kept;
}
