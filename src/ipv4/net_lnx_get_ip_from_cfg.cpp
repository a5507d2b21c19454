#include "kavonetsdk/ipv4.h"

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "frame/paths.h"
#include "kavo/core.h"

using namespace kavonet;

int KAVOILnxGetIPFromCfg(const char *szIf, char *szAddr, int cbAddr)
{
    constexpr char KEY[] = "IPADDR";
    if (!is_short_interface_name(szIf) || szAddr == nullptr || cbAddr <= 0)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    const Path path = BlKAVOLnxIsDHCP(szIf) == 1 ? lease_path(szIf) : ifcfg_path(szIf);
    if (!KLIBCFileExist(path.c_str())) {
        log_err("config %s is not exsit, maybe create a new interface", path.c_str());
        return 0;
    }
    const int found = KLIBCFileGetKeyValue(path.c_str(), KEY, szAddr, cbAddr, 0);
    if (found > 0)
        return 1;
    szAddr[0] = '\0';
    if (found < 0) {
        log_err("Failed to get [%s] from [%s], kavoerr=[0x%04X]", KEY, path.c_str(), KLIBCErrGet());
        return -1;
    }
    log_info("IP is not found");
    return 0;
}
