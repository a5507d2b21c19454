#include <cstring>

#include "frame/name.h"
#include "kavonetsdk/addr.h"
#include "kavonetsdk/iface.h"
#include "kavonetsdk/mtu.h"
#include "kavonetsdk/virtual.h"
#include "virtual/vlan_change.h"

using namespace kavonet;

namespace {

// The texts of the caller's record, which may fill their fields to the last byte.
struct Address {
    explicit Address(const KAVONETINFO &info)
        : is_static(info.blStatic != 0),
          address("%.*s", static_cast<int>(sizeof info.szAddr - 1), info.szAddr),
          mask("%.*s", static_cast<int>(sizeof info.szMask - 1), info.szMask)
    {
    }

    [[nodiscard]] bool is_usable() const
    {
        // Parts of a valid mask may begin with white space. What breaks its line in the file is refused nevertheless.
        return !is_static || (BlKLIBIsValidIpMask(address.c_str(), mask.c_str()) == 1 &&
                              strpbrk(address.c_str(), "\r\n") == nullptr && strpbrk(mask.c_str(), "\r\n") == nullptr);
    }

    bool is_static;
    Text<20> address;
    Text<20> mask;
};

// Both are moved to their places, or taken away behind the event.
struct Files {
    NewConfig vlan{"/etc/sysconfig/network-scripts/VLAN_XXXXXX"};
    NewConfig device{"/etc/sysconfig/network-scripts/DEVICE_XXXXXX"};
};

// Whether a device carries a VLAN already; -1 when that cannot be told.
int carries_vlan(const char *device)
{
    KLIBNETVLANINFO *found = nullptr;
    int32_t count = 0;
    if (KLIBNetVlanEnum(&found, &count) < 0)
        return -1;
    const Allocated<KLIBNETVLANINFO> vlans(found);
    for (int i = 0; i < count; ++i) {
        if (strcmp(vlans[i].szRowDev, device) == 0)
            return 1;
    }
    return 0;
}

// Whether the device can carry the VLAN. The failure's code is set.
bool can_carry(const char *device, int32_t id)
{
    if (KAVONetIFGetInfo(device, nullptr, nullptr) < 0)
        return fail(NET_ERR_NO_SUCH_DEVICE, false);
    KLIBNETVLANINFO vlan;
    const int is_vlan = KLIBNetVlanGet(device, &vlan);
    if (is_vlan != 0)
        return is_vlan > 0 && fail(NET_ERR_BAD_PARAMETER, false);
    const int exists = KLIBNetVlanGetByRowDev(device, id, &vlan);
    if (exists != 0)
        return exists > 0 && fail(NET_ERR_ALREADY_EXISTS, false);
    const int carries = carries_vlan(device);
    return carries == 0 || (carries > 0 && fail(NET_ERR_ALREADY_EXISTS, false));
}

bool copy_mtu(const char *device, const char *name)
{
    Text<16> mtu;
    if (KAVOConfGetMTUValue(device, mtu.buffer(), Text<16>::size()) == 0 && KAVOConfSetMTUValue(mtu.c_str(), name) == 0)
        return true;
    log_err("Set mtu config %s mtu=%s Failed.[0x%04X %s:%d]", name, mtu.c_str(), PLATFORM_ERROR);
    return false;
}

bool write_vlan_file(NewConfig &file, const char *device, int32_t id, const char *name, const Address &address)
{
    if (!file.open())
        return false;
    file.add("DEVICE=%s\nVLAN_ROW_DEVICE=%s\nVLAN_ID=%d\nONBOOT=yes\n", name, device, id);
    if (address.is_static)
        file.add("BOOTPROTO=static\nIPADDR=%s\nNETMASK=%s\n", address.address.c_str(), address.mask.c_str());
    else
        file.add("BOOTPROTO=dhcp\n");
    for (const char *key : {"IPV6INIT", "IPV6ADDR", "IPV6PREFIXLENG", "IPV6_DEFAULTGW", "IPV6DNS"}) {
        Text<1024> value;
        if (KLIBCFileGetKeyValue(ifcfg_path(device).c_str(), key, value.buffer(), Text<1024>::size(), 0) > 0 &&
            !value.empty())
            file.add("%s=%s\n", key, value.c_str());
    }
    return file.finish();
}

// The device's own addresses go. Its static IPv6 address deliberately stays in its file, as well as in the VLAN's.
bool write_device_file(NewConfig &file, const char *device)
{
    if (!file.open())
        return false;
    if (!file.copy(ifcfg_path(device).c_str(), NewConfig::Take::ALL_OTHERS,
                   {"BOOTPROTO=", "IPADDR=", "NETMASK=", "IPV6INIT=", "IPV6_DEFAULTGW=", "IPV6DNS="}))
        return false;
    file.add("BOOTPROTO=none\nIPV6INIT=off\n");
    return file.finish();
}

bool create(Files &files, const char *device, int32_t id, const char *name, const Address &address)
{
    if (!disable_pppoe(device) || !copy_mtu(device, name))
        return false;
    if (!write_vlan_file(files.vlan, device, id, name, address) || !write_device_file(files.device, device))
        return false;
    const char *end = nullptr;
    if (KLIBCExecl(NETWORK_SCRIPT, RUN_OPTIONS, "stop", device, end) != 0)
        log_warning("Failed to deactivate %s.", device);
    if (!files.device.move_to(ifcfg_path(device).c_str()) || !files.vlan.move_to(ifcfg_path(name).c_str()))
        return false;
    if (KLIBCExecl(NETWORK_SCRIPT, RUN_OPTIONS, "start", device, name, end) != 0)
        log_err("Failed to activate %s.", name);
    return tell_tools(device, name);
}

} // namespace

int KLIBNetVlanCreate(const char *szRowDev, int32_t id, const KAVONETINFO *pInfo)
{
    if (!is_short_interface_name(szRowDev) || KLIBNetVlanValidId(id) != 0 || pInfo == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    const Address address(*pInfo);
    if (!address.is_usable())
        return fail(NET_ERR_BAD_PARAMETER, -1);
    if (!can_carry(szRowDev, id))
        return -1;
    const InterfaceName name("%s.%d", szRowDev, id);
    // A longer name is cut; a device whose name has no room behind it would be its own VLAN.
    if (name.is(szRowDev))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    Files files;
    NameChange change(szRowDev, name.c_str());
    if (!change) {
        log_err("Fail to init plugin) [0x%04X %s:%d]", PLATFORM_ERROR);
        return -1;
    }
    if (!change.announce_before())
        log_err("Fail to execute net plugin (PRE) [0x%04X %s:%d]", PLATFORM_ERROR);
    const int result = create(files, szRowDev, id, name.c_str(), address) ? 0 : -1;
    const KeptFailure failure;
    if (!change.announce_after(result))
        log_err("Fail to execute net plugin (POST) [0x%04X %s:%d]", PLATFORM_ERROR);
    if (result != 0)
        failure.put_back();
    return result;
}
