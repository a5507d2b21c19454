#include "kavonetsdk/diag.h"

#include <cstdlib>

void KLIBNetStatFree(NetStat *p)
{
    free(p);
}
