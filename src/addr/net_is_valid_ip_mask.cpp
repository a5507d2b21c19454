#include <arpa/inet.h>

#include "kavonetsdk/addr.h"

#include "frame/error.h"
#include "frame/log.h"
#include "frame/text.h"

using namespace kavonet;

extern "C" int BlKLIBIsValidIpMask(const char *szIP, const char *szMask)
{
    if (szIP == nullptr || szMask == nullptr) {
        log_invalid_argument(szIP == nullptr ? "((void *)0) != szIP" : "NULL != szMask", 0);
        return fail_at(30, NET_ERR_BAD_PARAMETER, 0);
    }

    // The validator rewrites the mask, so it works on a copy. A mask that does not fit is refused without a code.
    Text<20> copy("%s", szMask);
    if (copy.cut() || BlKLIBIsIpAddr(szIP) == 0 || BlKLIBIsIpMask(copy.buffer()) == 0)
        return 0;

    in_addr address{};
    in_addr mask{};
    if (inet_aton(szIP, &address) == 0 || inet_aton(copy.c_str(), &mask) == 0)
        return fail_at(42, NET_ERR_BAD_ADDRESS, 0);

    const bool whole = mask.s_addr == INADDR_BROADCAST;
    const bool broadcast = (address.s_addr | mask.s_addr) == INADDR_BROADCAST;
    return whole || !broadcast ? 1 : fail_at(46, NET_ERR_BAD_ADDRESS, 0);
}
