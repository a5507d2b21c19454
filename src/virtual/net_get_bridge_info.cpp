#include "kavonetsdk/virtual.h"

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "frame/paths.h"

using namespace kavonet;

namespace {

// Gives back the role; fills the record, if there is one, with the peer that the key of the ifcfg file names, if any.
int describe(int32_t role, const char *name, const char *peer_key, KLIBNETBRIDGEINFO *info)
{
    if (info == nullptr)
        return role;
    *info = {};
    info->type = role;
    copy_text(info->szIfname, name);
    if (peer_key == nullptr)
        return role;
    const Path path = ifcfg_path(name);
    if (KLIBCFileGetKeyValue(path.c_str(), peer_key, info->szPeer, sizeof info->szPeer, 0) < 1)
        log_err("Failed to get key[%s] in file[%s].", peer_key, path.c_str());
    return role;
}

} // namespace

int KLIBNETGetBridgeInfo(const char *szIf, KLIBNETBRIDGEINFO *p)
{
    if (!is_short_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, 0);
    if (KAVONetIsIFUp(szIf) != 1)
        return 0;
    if (KLIBNetBridgeIfIsMaster(szIf) == 1) {
        const bool is_local_lan = KLIBNetIFIsLocalLan(szIf) == 1;
        return describe(is_local_lan ? NET_BRIDGE_LOCAL_LAN : NET_BRIDGE_MASTER, szIf, "PRIMARY", p);
    }
    if (KLIBNetBridgeIfIsSlave(szIf) == 1)
        return describe(NET_BRIDGE_PORT, szIf, "BRIDGE", p);
    return describe(NET_BRIDGE_NONE, szIf, nullptr, p);
}
