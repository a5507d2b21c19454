#include <bit>

#include <arpa/inet.h>

#include "kavonetsdk/addr.h"

#include "frame/error.h"

using namespace kavonet;

extern "C" int KAVONetNetmaskToPrefix(const char *szMask)
{
    if (szMask == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, -1);

    in_addr mask{};
    return inet_aton(szMask, &mask) == 0 ? -1 : std::popcount(mask.s_addr);
}
