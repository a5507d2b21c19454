#include "kavonetsdk/ipv4.h"

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "frame/owner.h"
#include "frame/paths.h"

using namespace kavonet;

int BlKAVOLnxIsDHCP(const char *szIf)
{
    if (!is_short_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, 0);
    const ConfigLock lock(ConfigLock::NETWORK_READ);
    if (!lock) {
        log_function_err("KLIBCFileLock failed.");
        return fail(NET_ERR_LOCK_FAILED, 0);
    }
    const Path path = ifcfg_path(szIf);
    Text<16> protocol;
    if (KLIBCFileGetKeyValue(path.c_str(), "BOOTPROTO", protocol.buffer(), protocol.size(), 0) > 0)
        return protocol.is("dhcp") ? 1 : 0;
    // An interface always has a method: a file that names none is given the one that asks nobody.
    log_function_err("Get BOOTPROTO failed.(%X)", KLIBCErrGet());
    if (KLIBCFileSetKeyValue(path.c_str(), "BOOTPROTO", "static", "%s=%s\n") < 0)
        log_function_err("KLIBCFileSetKeyValue(%s, BOOTPROTO, static) failed.(%X)", path.c_str(), KLIBCErrGet());
    return 0;
}
