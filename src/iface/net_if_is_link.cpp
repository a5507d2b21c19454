#include "kavonetsdk/iface.h"

#include "frame/error.h"
#include "frame/ifrequest.h"
#include "frame/log.h"
#include "frame/name.h"
#include "kavonetsdk/virtual.h"

using namespace kavonet;

namespace {

// 1 carrier, 0 none, -1 when the kernel cannot be asked.
int ask_flags(const Socket &socket, const char *name)
{
    if (!socket) {
        log_err("Cannot open control socket");
        return -1;
    }
    InterfaceRequest request(socket, name);
    if (!request.ask(SIOCGIFFLAGS)) {
        log_info("Cannot get link status of the %s: %m", name);
        return -1;
    }
    return (request.flags() & IFF_RUNNING) != 0 ? 1 : 0;
}

int query_link(const Socket &socket, const char *name)
{
    const int link = ask_flags(socket, name);
    if (link < 0)
        log_info("get link status failed on %s", name);
    return link;
}

// The first member with a carrier, or the first that cannot be asked, answers for an Open vSwitch bond.
int query_bond(const char *name)
{
    KAVOLINKAGGROPT bond;
    if (KAVONetLinkAggrGet(name, &bond) != 0) {
        log_err("Failed to get OVS bond slave of %s", name);
        return -1;
    }
    const Socket socket;
    int link = -1;
    for (int i = 0; i < bond.nSlave; ++i) {
        link = query_link(socket, bond.szSlave[i]);
        if (link != 0)
            break;
    }
    return link;
}

} // namespace

int KAVONetIfIsLink(const char *szIf)
{
    if (!is_short_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    const int ovs = KLIBNetOVSIfIsMaster(szIf);
    if (ovs == 2)
        return query_bond(szIf);
    InterfaceName port("%s", szIf);
    if (ovs == 1 && KLIBNetOVSGetOriginalIf(szIf, port.buffer(), InterfaceName::capacity) != 0) {
        log_err("get ovs origin interface error");
        return -1;
    }
    return query_link(Socket(), port.c_str());
}
