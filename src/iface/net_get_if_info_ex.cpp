#include "kavonetsdk/iface.h"

#include "iface/ha_address.h"

using namespace kavonet;

int KAVONetIFGetInfoEx(const char *szIf, KAVONETIFENTRY *pEntry, KAVONETINFO *pNetInfo)
{
    const int up = KAVONetIFGetInfo(szIf, pEntry, pNetInfo);
    if (up < 0 || KAVOHAHasHAIF() != 1 || KAVOHAIsActive() != 1)
        return up;
    HaAddress ha;
    if (!ha.read(szIf))
        return -1;
    if (pEntry != nullptr)
        ha.put_into(*pEntry);
    if (pNetInfo != nullptr)
        ha.put_into(*pNetInfo);
    return up;
}
