#include "kavonetsdk/virtual.h"

#include <cstring>

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "virtual/bridge_keys.h"

using namespace kavonet;

namespace {

// How a role stands in the file; null is a key that is not there.
struct RoleKeys {
    int32_t role;
    const char *type;
    const char *peer_key;
    const char *local_lan;
};

constexpr RoleKeys ROLES[] = {
    {NET_BRIDGE_NONE, nullptr, nullptr, nullptr},
    {NET_BRIDGE_MASTER, "bridge", "PRIMARY", nullptr},
    {NET_BRIDGE_LOCAL_LAN, "bridge", "PRIMARY", "yes"},
    {NET_BRIDGE_PORT, nullptr, "BRIDGE", nullptr},
};

const RoleKeys *keys_of(int32_t role)
{
    for (const RoleKeys &row : ROLES) {
        if (row.role == role)
            return &row;
    }
    return nullptr;
}

void set_or_remove(IfcfgKeys &keys, const char *key, const char *value)
{
    if (value != nullptr)
        keys.set(key, value);
    else
        keys.remove(key);
}

void fill_role(IfcfgKeys &keys, const RoleKeys &row, const char *peer)
{
    set_or_remove(keys, "TYPE", row.type);
    for (const char *key : {"PRIMARY", "BRIDGE"}) {
        const bool is_used = row.peer_key != nullptr && strcmp(row.peer_key, key) == 0;
        set_or_remove(keys, key, is_used ? peer : nullptr);
    }
    set_or_remove(keys, "LOCAL_LAN", row.local_lan);
}

// The script that builds bridges makes commands of a peer, so it must be a name. A bridge may have no port yet.
bool is_peer(const RoleKeys &row, const char *peer)
{
    return row.peer_key == nullptr || peer[0] == '\0' || is_short_interface_name(peer);
}

} // namespace

int KAVONetSetBridgeConfig(const KAVONETINFO *pIp, const KLIBNETBRIDGEINFO *p)
{
    if (p == nullptr) {
        log_err("Wrong Parameter.");
        return -1;
    }
    const auto name = record_name(p->szIfname);
    const auto peer = record_name(p->szPeer);
    if (!is_short_interface_name(name.c_str()))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    IfcfgKeys keys;
    if (!keys)
        return fail(NET_ERR_OUT_OF_MEMORY, -1);
    const RoleKeys *row = keys_of(p->type);
    if (row == nullptr) {
        log_err("Failed to set bridge config with wrong type.");
        return -1;
    }
    if (!is_peer(*row, peer.c_str()))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    keys.set("DEVICE", name.c_str());
    fill_role(keys, *row, peer.c_str());
    if (pIp != nullptr) {
        keys.set("ONBOOT", pIp->blOnBoot != 0 ? "yes" : "no");
        set_address_keys(keys, *pIp);
    }
    if (!keys)
        return fail(NET_ERR_OUT_OF_MEMORY, -1);
    const Path path = ifcfg_path(name.c_str());
    if (KLIBCFileExist(path.c_str()) != 0)
        save_copy(path);
    return keys.write(path) ? 0 : -1;
}
