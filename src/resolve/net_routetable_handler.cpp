#include "kavonetsdk/resolve.h"

#include <cstring>

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "frame/paths.h"
#include "kavo/core.h"
#include "kavonetsdk/iface.h"
#include "kavonetsdk/ipv4.h"
#include "kavonetsdk/virtual.h"

using namespace kavonet;

namespace {

// An Ethernet port of Open vSwitch has no routes of its own: the interface in front of it does.
Text<1024> route_device(const char *name)
{
    const bool behind_ovs = KLIBNetOVSIfIsSlave(name) == 1 && strncmp(name, "eth", 3) == 0;
    return Text<1024>("%s%s", behind_ovs ? "ovs_" : "", name);
}

// Clearing is for every interface; a subnet route is added where nobody else keeps it.
bool goes_on(unsigned int action, const char *name, bool dhcp)
{
    if (action == NET_ROUTE_CLEAR)
        return true;
    return action == NET_ROUTE_ADD && !dhcp && KLIBNetBridgeIfIsSlave(name) != 1 &&
           KAVONetIfIsBondingPassive(name) != 1;
}

bool read_value(const Path &path, const char *key, Text<20> &value)
{
    return KLIBCFileGetKeyValue(path.c_str(), key, value.buffer(), value.size(), 0) > 0;
}

} // namespace

int NetRoutetableHandler(unsigned int action, const char *szIf)
{
    if (!is_short_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    const Text<1024> device = route_device(szIf);
    if (KAVONetIsDevTypeMatch(device.c_str(), NET_IF_SEL_USABLE) != 1)
        return 0;
    const bool dhcp = BlKAVOLnxIsDHCP(szIf) == 1;
    const Path path = dhcp ? lease_path(szIf) : ifcfg_path(szIf);
    if (dhcp && !KLIBCFileExist(path.c_str())) {
        log_err("/etc/dhclient/ipv4/dhcpcd-%s.info is not exist", szIf);
        return -1;
    }
    if (!goes_on(action, szIf, dhcp))
        return 0;
    Text<20> address;
    if (!read_value(path, "IPADDR", address)) {
        log_err("Get IP from %s fail", path.c_str());
        return -1;
    }
    Text<20> mask;
    if (!read_value(path, "NETMASK", mask)) {
        log_err("Get netmask from %s fail", path.c_str());
        return -1;
    }
    // The editor has logged what went wrong; a route that cannot be changed is no failure of the interface.
    NetRoutetableEdit(action, address.c_str(), mask.c_str(), device.c_str());
    return 0;
}
