#include "kavonetsdk/virtual.h"

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "frame/paths.h"

using namespace kavonet;

int KLIBNetBridgeSlaveEnum(const char *szBridge, PKLIBSZLIST *ppList)
{
    constexpr int PORTS = 64;
    if (!is_short_interface_name(szBridge) || ppList == nullptr || *ppList == nullptr) {
        log_err("Bad Parameter.");
        return fail(NET_ERR_BAD_PARAMETER, -1);
    }
    if (KLIBNetBridgeIfIsMaster(szBridge) != 1) {
        log_err("[%s] is not bridge master.", szBridge);
        return -1;
    }
    return KLIBCFileEnumDir(Path("/sys/class/net/%s/brif/", szBridge).c_str(), 0, ppList, PORTS);
}
