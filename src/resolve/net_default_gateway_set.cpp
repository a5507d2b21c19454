#include "kavonetsdk/resolve.h"

#include "frame/error.h"
#include "frame/log.h"
#include "resolve/gateway_setting.h"
#include "resolve/route_command.h"

using namespace kavonet;

int KAVONetDefaultGatewaySet(const char *szGateway)
{
    const bool none = is_no_gateway(szGateway);
    if (!none && !is_gateway_word(szGateway))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    // There may be no default route to delete. Callers know that a failure below leaves none.
    KLIBCExec(ROUTE_COMMAND, "delete", "default", nullptr, nullptr);
    if (none)
        return 0;
    const int result = KLIBCExec(ROUTE_COMMAND, "add", "default", "gw", szGateway);
    if (result != 0) {
        log_err("failed to set default gateway %s (%d).", szGateway, result);
        return fail(NET_ERR_EXEC_FAILED, -1);
    }
    return 0;
}
