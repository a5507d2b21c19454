#include "kavonetsdk/resolve.h"

#include "frame/error.h"
#include "resolve/default_route.h"

using namespace kavonet;

int KAVONetDefaultGatewayInterfaceGet(char *sz, int cb)
{
    if (sz == nullptr || cb <= 0)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    return default_gateway_get(nullptr, 0, sz, cb);
}
