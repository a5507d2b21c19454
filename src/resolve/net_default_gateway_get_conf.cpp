#include "kavonetsdk/resolve.h"

#include "frame/error.h"
#include "frame/log.h"
#include "kavo/core.h"
#include "resolve/gateway_setting.h"

using namespace kavonet;

int KAVONetDefaultGatewayGetConf(char *sz, int cb)
{
    if (sz == nullptr || cb <= 0) {
        log_file_err("Bad parameter.");
        return fail(NET_ERR_BAD_PARAMETER, -1);
    }
    sz[0] = '\0';
    if (KLIBCFileGetKeyValue(NETWORK_FILE, GATEWAY_KEY, sz, cb, 0) < 0) {
        log_function_err("Failed to get default gateway.");
        return -1;
    }
    return 0;
}
