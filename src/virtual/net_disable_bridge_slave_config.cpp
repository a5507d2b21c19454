#include "kavonetsdk/virtual.h"

#include "frame/error.h"
#include "frame/name.h"
#include "virtual/bridge_keys.h"

using namespace kavonet;

int KAVONetDisableBridgeSlave(const KAVONETINFO *pIp)
{
    if (pIp == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    const auto name = record_name(pIp->szName);
    if (!is_short_interface_name(name.c_str()))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    IfcfgKeys keys;
    if (!keys)
        return fail(NET_ERR_OUT_OF_MEMORY, -1);
    keys.set("DEVICE", name.c_str());
    keys.set("ONBOOT", "yes");
    set_address_keys(keys, *pIp);
    keys.remove("BRIDGE");
    keys.remove("TYPE");
    if (!keys)
        return fail(NET_ERR_OUT_OF_MEMORY, -1);
    const Path path = ifcfg_path(name.c_str());
    save_copy(path);
    return keys.write(path) ? 0 : -1;
}
