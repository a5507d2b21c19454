#include "kavonetsdk/iface.h"

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "iface/net_info.h"
#include "kavonetsdk/net_int.h"

using namespace kavonet;

int KAVONetIFGetInfo(const char *szIf, KAVONETIFENTRY *pEntry, KAVONETINFO *pNetInfo)
{
    if (szIf == nullptr) {
        log_invalid_argument("((void *)0) != szIfname", 0);
        return fail_at(127, NET_ERR_BAD_PARAMETER, -1);
    }
    if (!is_short_interface_name(szIf))
        return fail_at(45, NET_ERR_BAD_PARAMETER, -1);
    const Socket socket;
    if (!socket)
        return fail_at(50, NET_ERR_SOCKET_FAILED, -1);
    // The caller's name may stand in the very record that is filled.
    const InterfaceName name("%s", szIf);
    InterfaceRequest request(socket, name.c_str());
    if (!request.ask(SIOCGIFFLAGS))
        return fail_at(55, NET_ERR_IOCTL_FAILED, -1);
    const int flags = request.flags();
    const bool up = (flags & IFF_UP) != 0;

    KAVONETIFENTRY own;
    KAVONETIFENTRY &entry = pEntry != nullptr ? *pEntry : own;
    if (pEntry != nullptr || pNetInfo != nullptr)
        fill_live_entry(request, name.c_str(), entry);
    if (pNetInfo != nullptr) {
        fill_net_info(entry, *pNetInfo);
        OvsBondMembers ovs_members;
        if (up && !is_bond_member(name.c_str(), flags, ovs_members) &&
            KAVONetIFGetIPConfig(name.c_str(), pNetInfo) != 0)
            return -1;
    }
    return up ? 1 : 0;
}
