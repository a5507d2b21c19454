#include "kavonetsdk/mtu.h"

#include "frame/error.h"
#include "frame/log.h"
#include "frame/owner.h"
#include "frame/paths.h"
#include "mtu/stored_mtu.h"

using namespace kavonet;

namespace {

bool store(const char *name, const char *mtu)
{
    if (KLIBCFileSetKeyValue(SETTINGS_FILE, MtuKey(name).c_str(), mtu, "%s=\"%s\"\n") >= 0)
        return true;
    log_err("Failed to set %s MTU config value[0x%04X %s:%d]", name, PLATFORM_ERROR);
    return false;
}

} // namespace

int KAVOConfSetMTUValue(const char *szMTU, const char *szIf)
{
    if (szMTU == nullptr || szMTU[0] == '\0' || !is_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    const MtuKeeper keeper(szIf);
    KLIBNETVLANINFO vlan;
    const int is_vlan = KLIBNetVlanGet(szIf, &vlan);
    if (is_vlan < 0)
        return 0; // nothing to do: callers count an interface that cannot be asked as stored
    ConfigLock lock(ConfigLock::SETTINGS_WRITE);
    if (!lock) {
        log_err("Failed to lock kavoinfo [0x%04X %s:%d]", PLATFORM_ERROR);
        return fail(NET_ERR_LOCK_FAILED, -1);
    }
    // A VLAN needs its parent's value at least as large, so the parent gets it too. Neither failure stops the other.
    const bool parent_stored = is_vlan != 1 || store(vlan.szRowDev, szMTU);
    const bool stored = store(keeper.c_str(), szMTU);
    if (!lock.release()) {
        log_err("Failed to unlock kavoinfo[0x%04X %s:%d]", PLATFORM_ERROR);
        return -1;
    }
    return parent_stored && stored ? 0 : -1;
}
