#include <cstring>

#include "frame/error.h"
#include "frame/name.h"
#include "kavonetsdk/pppoe.h"

using namespace kavonet;

int KLIBDisablePPPoEOnIf(const char *szIf)
{
    if (!is_short_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    const int status = KAVOPPPoECheckStatus(1);
    if (status <= 0)
        return status;
    PPPoEConf conf;
    if (PPPoEConfigGet(&conf) != 0)
        return -1;
    if (strcmp(conf.szEth, szIf) != 0)
        return 0;
    return KAVOPPPoEService(0) == 0 ? 0 : -1;
}
