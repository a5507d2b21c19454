#include "kavonetsdk/addr.h"

#include "addr/binary.h"
#include "frame/error.h"

using namespace kavonet;

extern "C" int KAVONetIsSameSubnet(const char *szA, const char *szB, const char *szMask)
{
    if (szA == nullptr || szB == nullptr || szMask == nullptr)
        return fail_at(83, NET_ERR_BAD_PARAMETER, 0);

    const BinaryAddress a = parse_any(szA);
    const BinaryAddress b = parse_any(szB);
    const BinaryAddress mask = parse_any(szMask);
    if (a.family == 0 || a.family != b.family || a.family != mask.family)
        return 0;

    for (size_t i = 0; i < a.size(); ++i) {
        if (((a.bytes[i] ^ b.bytes[i]) & mask.bytes[i]) != 0)
            return 0;
    }
    return 1;
}
