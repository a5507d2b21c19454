#include "kavonetsdk/iface.h"

#include "iface/ha_address.h"

using namespace kavonet;

int KAVONetGetCard1Ex(unsigned int index, const char *szAddr, KAVONETINFO *pNetInfo)
{
    const int found = KAVONetGetCard1(index, szAddr, pNetInfo);
    if (found != 1 || KAVOHAHasHAIF() != 1)
        return found;
    HaAddress ha;
    if (!ha.read(pNetInfo->szName))
        return -1;
    ha.put_into(*pNetInfo);
    return found;
}
