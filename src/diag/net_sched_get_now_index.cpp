#include "kavonetsdk/diag.h"

#include <ctime>

int KAVOSchedGetNowIndex(void)
{
    constexpr int HOURS_OF_A_DAY = 24;
    const time_t now = time(nullptr);
    tm local{};
    // The zone may have changed since the program was started.
    tzset();
    if (localtime_r(&now, &local) == nullptr)
        return -1;
    return local.tm_wday * HOURS_OF_A_DAY + local.tm_hour;
}
