#include "kavonetsdk/iface.h"

#include <net/if.h>

int KLIBNetIfDown(const char *szIf)
{
    return KLIBNetISetIfFlags(szIf, -IFF_UP);
}
