#include <cstring>

#include "frame/error.h"
#include "frame/log.h"
#include "kavonetsdk/pppoe.h"

using namespace kavonet;

int KAVONetIsSamePPPoERelayConfig(const PPPoERelayConf *pA, const PPPoERelayConf *pB)
{
    if (pA == nullptr || pB == nullptr) {
        log_err("Bad parameters");
        return fail(NET_ERR_BAD_PARAMETER, 0);
    }
    const bool same = pA->enable == pB->enable && strncmp(pA->szServer, pB->szServer, sizeof pA->szServer) == 0;
    return same ? 1 : 0;
}
