#include "kavonetsdk/ipv6.h"

#include <cstring>

#include "frame/error.h"
#include "frame/ifrequest.h"
#include "frame/log.h"
#include "frame/owner.h"
#include "frame/paths.h"
#include "ipv6/accept_ra.h"
#include "ipv6/keys.h"
#include "kavonetsdk/diag.h"
#include "kavonetsdk/net_int.h"

using namespace kavonet;

namespace {

constexpr int ROOM = 256; // interfaces that are looked at
constexpr int KEPT = 32;  // interfaces that are set

// Which interfaces have an IPv6 of their own.
class Eligible {
public:
    explicit Eligible(const Socket &socket) : socket_(socket) {}

    bool has(const char *name)
    {
        InterfaceRequest request(socket_, name);
        if (!request.ask(SIOCGIFFLAGS) || (request.flags() & IFF_LOOPBACK) != 0)
            return false;
        return !is_bond_member(name, request.flags(), ovs_members_) && !devices_.is_bridge_port(name) &&
               !devices_.has_ovs_interface(name);
    }

private:
    const Socket &socket_;
    VirtualDevices devices_;
    OvsBondMembers ovs_members_;
};

enum class Listens { YES, NO, UNKNOWN };

// Whether the interface listens to routers: what is configured for just that wins over what its mode says.
Listens configured(const Path &path)
{
    struct Key {
        const char *name;
        const char *no;
    };
    constexpr Key KEYS[] = {{ACCEPT_RA_KEY, "0"}, {MODE_KEY, "static"}};
    for (const Key &key : KEYS) {
        Text<46> value;
        const int found = KLIBCFileGetKeyValue(path.c_str(), key.name, value.buffer(), value.size(), 0);
        if (found < 0) {
            log_err("Failed to get key %s in %s", key.name, path.c_str());
            return Listens::UNKNOWN;
        }
        if (found > 0)
            return strcasecmp(value.c_str(), key.no) == 0 ? Listens::NO : Listens::YES;
    }
    return Listens::YES;
}

// False when the interface's switch could not be set.
bool set_as_configured(const char *name)
{
    const Path path = ifcfg_path(name);
    if (KLIBCFileExist(path.c_str()) == 0)
        return true;
    const Listens listens = configured(path);
    return listens == Listens::UNKNOWN || set_accept_ra(name, listens == Listens::YES);
}

} // namespace

int KAVONetIpv6Init(void)
{
    const Owned<NetStat, KLIBNetStatFree> rows(KLIBNetStatInit(ROOM));
    if (!rows)
        return fail(NET_ERR_OUT_OF_MEMORY, -1);
    const int count = KLIBNetStatGetAll(rows.get(), ROOM);
    const Socket socket;
    if (count <= 0 || !socket)
        return -1;
    Eligible eligible(socket);
    for (int i = 0, kept = 0; i < count && kept < KEPT; ++i) {
        if (!eligible.has(rows[i].szName))
            continue;
        ++kept;
        if (!set_as_configured(rows[i].szName)) {
            log_err("Failed to set ipv6 accept_ra.");
            return -1;
        }
    }
    return 0;
}
