#include "kavonetsdk/addr.h"

#include "addr/dotted.h"
#include "frame/error.h"

using namespace kavonet;

extern "C" int BlKLIBIsIpMask(char *szMask)
{
    if (szMask == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, 0);

    // Whatever failed inside, the record names this refusal.
    int part[4];
    if (cKLIBISepIP(szMask, part) != 4 || cKLIBICalMask(part) == 0)
        return fail_at(17, NET_ERR_BAD_ADDRESS, 0);

    // In decimal no part is longer than it was in octal or hexadecimal, so the text's own room is enough.
    snprintf(szMask, strlen(szMask) + 1, "%s", dotted(joined(part)).c_str());
    return 1;
}
