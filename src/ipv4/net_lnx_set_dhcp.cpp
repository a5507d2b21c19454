#include "kavonetsdk/net_int.h"

#include "frame/error.h"
#include "frame/ifcfg_keys.h"
#include "frame/log.h"
#include "frame/name.h"
#include "ipv4/dhcp_unit.h"
#include "kavo/systemd.h"

using namespace kavonet;

int KAVOILnxSetDHCP(const char *szIf)
{
    if (!is_short_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    IfcfgKeys keys;
    if (!keys)
        return -1;
    const Text<256> unit = dhcp_unit(szIf);
    if (KAVOCSystemdStop(unit.c_str()) != 1)
        log_function_warning("unable to stop %s", unit.c_str());
    if (KAVOCSystemdStart(unit.c_str()) != 1) {
        log_function_err("unable to start %s", unit.c_str());
        return fail(NET_ERR_EXEC_FAILED, -1);
    }
    // The file is written last: it says DHCP only when the client runs.
    const Path path = ifcfg_path(szIf);
    keys.set("DEVICE", szIf);
    keys.set("ONBOOT", "yes");
    keys.set("BOOTPROTO", "dhcp");
    for (const char *key : {"IPADDR", "NETMASK", "MASTER", "SLAVE"})
        keys.remove(key);
    if (!keys.write(path)) {
        log_err("Set %s error.", path.c_str());
        return -2;
    }
    return 0;
}
