#include "kavonetsdk/resolve.h"

#include "frame/error.h"
#include "kavo/core.h"
#include "resolve/gateway_setting.h"

using namespace kavonet;

int KAVONetDefaultGatewaySetConf(const char *szGateway)
{
    if (is_no_gateway(szGateway))
        return KLIBCFileRemoveKey(NETWORK_FILE, GATEWAY_KEY) < 0 ? -1 : 0;
    if (!is_gateway_word(szGateway))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    return KLIBCFileSetKeyValue(NETWORK_FILE, GATEWAY_KEY, szGateway, "%s=%s\n") < 0 ? -1 : 0;
}
