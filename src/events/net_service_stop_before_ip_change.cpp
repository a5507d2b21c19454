#include "kavonetsdk/event.h"

// Callers of earlier versions call it before they change an address; nothing is to be stopped any more.
int KLIBServiceStopBeforeIPChange(void)
{
    return 0;
}
