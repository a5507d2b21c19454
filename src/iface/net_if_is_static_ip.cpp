#include "kavonetsdk/iface.h"

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "frame/owner.h"
#include "frame/paths.h"

using namespace kavonet;

int KAVONetIfIsStaticIP(const char *szIf)
{
    if (!is_short_interface_name(szIf))
        return fail_at(20, NET_ERR_BAD_PARAMETER, 0);
    const ConfigLock lock(ConfigLock::NETWORK_READ);
    if (!lock) {
        log_err("KLIBCFileLock() failed.(%X)", KLIBCErrGet());
        return fail(NET_ERR_LOCK_FAILED, 0);
    }
    Text<16> protocol;
    if (KLIBCFileGetKeyValue(ifcfg_path(szIf).c_str(), "BOOTPROTO", protocol.buffer(), protocol.size(), 0) < 1) {
        log_err("Get BOOTPROTO key failed.(%X)", KLIBCErrGet());
        return 0;
    }
    return protocol.is("static") ? 1 : 0;
}
