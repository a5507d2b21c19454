#include <cerrno>
#include <cstring>

#include "frame/name.h"
#include "kavonetsdk/virtual.h"
#include "virtual/vlan_change.h"

using namespace kavonet;

namespace {

// The device gets the VLAN's addresses. The last prefix has no equals sign, unlike in the making of a VLAN: whatever else
// begins so is taken along.
bool write_device_file(NewConfig &file, const char *device, const char *name)
{
    if (!file.open())
        return false;
    if (!file.copy(ifcfg_path(device).c_str(), NewConfig::Take::ALL_OTHERS,
                   {"BOOTPROTO=", "IPV6INIT=", "IPV6ADDR=", "IPV6PREFIXLENG="}))
        return false;
    if (!file.copy(ifcfg_path(name).c_str(), NewConfig::Take::BEGINNING_SO,
                   {"BOOTPROTO=", "IPADDR=", "NETMASK=", "IPV6INIT=", "IPV6ADDR=", "IPV6PREFIXLENG=", "IPV6_DEFAULTGW=",
                    "IPV6DNS"}))
        return false;
    return file.finish();
}

bool remove_vlan(NewConfig &device_file, const char *name, const char *device)
{
    if (!disable_pppoe(name))
        return false;
    KLIBCINFORemoveKey(Text<21>("%s_mtu", name).c_str());
    if (!write_device_file(device_file, device, name))
        return false;
    const char *end = nullptr;
    if (KLIBCExecl(NETWORK_SCRIPT, RUN_OPTIONS, "stop", device, name, end) != 0)
        log_warning("Failed to deactivate %s, %s.", device, name);
    if (!device_file.move_to(ifcfg_path(device).c_str()))
        return false;
    if (unlink(ifcfg_path(name).c_str()) != 0)
        log_err("Failed to remove %s. (%s)", ifcfg_path(name).c_str(), strerror(errno));
    if (KLIBCExecl(NETWORK_SCRIPT, RUN_OPTIONS, "start", device, end) != 0)
        log_err("Failed to activate %s.", device);
    return tell_tools(name, device);
}

} // namespace

int KLIBNetVlanRemove(const char *szVlan)
{
    if (!is_short_interface_name(szVlan))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    KLIBNETVLANINFO vlan;
    if (KLIBNetVlanGet(szVlan, &vlan) != 1)
        return -1;
    NewConfig device_file("/etc/sysconfig/network-scripts/DEV_XXXXXX"); // taken away behind the event
    NameChange change(szVlan, vlan.szRowDev);
    if (!change) {
        log_err("Fail to init plugin) [0x%04X %s:%d]", PLATFORM_ERROR);
        return -1;
    }
    if (!change.announce_before())
        log_err("Fail to execute net plugin (PRE) [0x%04X %s:%d]", PLATFORM_ERROR);
    const int result = remove_vlan(device_file, szVlan, vlan.szRowDev) ? 0 : -1;
    const KeptFailure failure;
    if (!change.announce_after(result))
        log_err("Fail to execute net plugin (POST) [0x%04X %s:%d]", PLATFORM_ERROR);
    if (result != 0)
        failure.put_back();
    return result;
}
