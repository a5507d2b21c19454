#include "kavonetsdk/iface.h"

#include <net/if.h>

int KLIBNetIfUp(const char *szIf)
{
    return KLIBNetISetIfFlags(szIf, IFF_UP);
}
