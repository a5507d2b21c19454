#include "kavonetsdk/mtu.h"

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "kavonetsdk/virtual.h"
#include "mtu/kernel_mtu.h"

using namespace kavonet;

namespace {

// The smallest MTU of the members, up to the first that cannot be asked; -1 when there is none.
int bond_mtu(const char *name)
{
    KAVOLINKAGGROPT bond;
    if (KAVONetLinkAggrGet(name, &bond) != 0) {
        log_err("Failed to get OVS bond slave of %s", name);
        return -1;
    }
    const Socket socket;
    int smallest = -1;
    for (int i = 0; i < bond.nSlave; ++i) {
        const int mtu = kernel_mtu(socket, bond.szSlave[i]);
        if (mtu < 0) {
            log_err("Failed to Get the MTU of %s", bond.szSlave[i]);
            break;
        }
        if (smallest < 0 || mtu < smallest)
            smallest = mtu;
    }
    return smallest;
}

} // namespace

int KAVOGetMTUSetting(const char *szIf)
{
    if (!is_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    const int ovs = KLIBNetOVSIfIsMaster(szIf);
    if (ovs == 2)
        return bond_mtu(szIf);
    Text<1024> name("%s", szIf);
    if (ovs == 1 && KLIBNetOVSGetOriginalIf(szIf, name.buffer(), Text<1024>::capacity) != 0) {
        log_err("get ovs origin interface error");
        return -1;
    }
    const int mtu = KAVOGetMTU(name.c_str());
    if (mtu < 0)
        log_err("Failed to get MTU of %s", name.c_str());
    return mtu;
}
