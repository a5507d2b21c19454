#include "kavonetsdk/virtual.h"

#include "frame/error.h"
#include "frame/ifrequest.h"
#include "frame/log.h"
#include "frame/name.h"
#include "kavonetsdk/net_int.h"

using namespace kavonet;

int KAVONetIfIsBondingPassive(const char *szIf)
{
    if (!is_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, 0);
    const Socket socket;
    if (!socket) {
        log_err("Cannot open control socket");
        return 0;
    }
    InterfaceRequest request(socket, szIf);
    if (!request.ask(SIOCGIFFLAGS)) {
        log_info("Cannot get flags of network interface: %m");
        return 0;
    }
    OvsBondMembers ovs;
    if (is_bond_member(szIf, request.flags(), ovs))
        return 1;
    if (ovs.read() == OvsBondMembers::State::NO_MEMORY)
        log_err("Failed to alloc memory.");
    if (ovs.read() == OvsBondMembers::State::NOT_OPENED)
        log_err("Failed to open %s.", OVS_BONDS_FILE);
    return 0;
}
