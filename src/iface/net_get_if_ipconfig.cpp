#include "kavonetsdk/iface.h"

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "frame/owner.h"
#include "frame/paths.h"
#include "kavonetsdk/ipv4.h"

using namespace kavonet;

int KAVONetIFGetIPConfig(const char *szIf, KAVONETINFO *pNetInfo)
{
    if (szIf == nullptr) {
        log_invalid_argument("((void *)0) != szIfname", 0);
        return fail_at(33, NET_ERR_BAD_PARAMETER, -1);
    }
    if (pNetInfo == nullptr) {
        log_invalid_argument("NULL != pNetInfo", 0);
        return fail_at(33, NET_ERR_BAD_PARAMETER, -1);
    }
    if (!is_short_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    const ConfigLock lock(ConfigLock::NETWORK_READ);
    if (!lock)
        return fail_at(36, NET_ERR_LOCK_FAILED, -1);

    copy_text(pNetInfo->szAddr, "");
    copy_text(pNetInfo->szMask, "");
    pNetInfo->blStatic = BlKAVOLnxIsDHCP(szIf) == 1 ? 0 : 1;
    const Path source = pNetInfo->blStatic != 0 ? ifcfg_path(szIf) : lease_path(szIf);
    if (pNetInfo->blStatic == 0 && !KLIBCFileExist(source.c_str())) {
        log_info("/etc/dhclient/ipv4/dhcpcd-%s.info is not exist", szIf);
        return 0;
    }
    if (KLIBCFileGetKeyValue(source.c_str(), "IPADDR", pNetInfo->szAddr, sizeof pNetInfo->szAddr, 0) < 1 ||
        KLIBCFileGetKeyValue(source.c_str(), "NETMASK", pNetInfo->szMask, sizeof pNetInfo->szMask, 0) < 1)
        return -1;
    return 0;
}
