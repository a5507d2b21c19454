#include "kavonetsdk/iface.h"

int KAVONetEnumCard(unsigned int selector)
{
    constexpr int MOST = 256;
    return KLIBNetGetInterfaceInfo(nullptr, MOST, selector);
}
