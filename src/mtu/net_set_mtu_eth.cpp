#include "kavonetsdk/mtu.h"

#include <cstring>

#include "frame/error.h"
#include "frame/ifrequest.h"
#include "frame/log.h"
#include "frame/name.h"
#include "kavonetsdk/iface.h"
#include "kavonetsdk/virtual.h"
#include "mtu/mtu_text.h"

using namespace kavonet;

namespace {

bool set_kernel_mtu(const char *name, int mtu)
{
    const Socket socket;
    if (!socket)
        return false;
    log_warning("we temporarily do the eth up/down in sdk when setting MTU");
    KLIBNetIfDown(name);
    InterfaceRequest request(socket, name);
    request.raw().ifr_mtu = mtu;
    return request.ask(SIOCSIFMTU);
}

bool set_device(const char *name, int mtu);

// A VLAN's parent is set first: the kernel refuses a VLAN a larger value than its parent's.
bool set_parent(const char *name, int mtu)
{
    KLIBNETVLANINFO vlan;
    const int is_vlan = KLIBNetVlanGet(name, &vlan);
    if (is_vlan != 1)
        return is_vlan == 0;
    if (strcmp(vlan.szRowDev, name) == 0)
        return fail(NET_ERR_SYSTEM, false);
    return set_device(vlan.szRowDev, mtu);
}

bool set_checked(const char *name, int mtu)
{
    constexpr size_t LONGEST = 16;
    if (strlen(name) > LONGEST)
        return fail(NET_ERR_BAD_PARAMETER, false);
    const InterfaceName device("%s", name); // one of 16 is cut, as the kernel's requests cut it
    return set_parent(device.c_str(), mtu) && set_kernel_mtu(device.c_str(), mtu);
}

// Whatever fails, and even where nothing took it down, the device is up afterwards.
bool set_device(const char *name, int mtu)
{
    const bool set = set_checked(name, mtu);
    KLIBNetIfUp(name);
    return set;
}

int set_members(const char *bond_name, const char *mtu)
{
    KAVOLINKAGGROPT bond;
    if (KAVONetLinkAggrGet(bond_name, &bond) != 0) {
        log_err("Failed to get OVS bond slave of %s", bond_name);
        return -1;
    }
    for (int i = 0; i < bond.nSlave; ++i) {
        if (!set_device(bond.szSlave[i], mtu_number(mtu))) {
            log_err("Failed to set the MTU %s to OVS bonding slave %s", mtu, bond.szSlave[i]);
            return -1;
        }
    }
    return bond.nSlave > 0 ? 0 : -1;
}

} // namespace

int KAVONetSetMTUEth(const char *szMTU, const char *szIf)
{
    if (szMTU == nullptr || szMTU[0] == '\0' || !is_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    const int ovs = KLIBNetOVSIfIsMaster(szIf);
    if (ovs == 2)
        return set_members(szIf, szMTU);
    Text<1024> name("%s", szIf);
    if (ovs == 1 && KLIBNetOVSGetOriginalIf(szIf, name.buffer(), Text<1024>::capacity) != 0) {
        log_err("get ovs origin interface error");
        return -1;
    }
    if (!set_device(name.c_str(), mtu_number(szMTU))) {
        log_err("Failed to set MTU %s of %s", szMTU, name.c_str());
        return -1;
    }
    return 0;
}
