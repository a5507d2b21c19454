#include "kavonetsdk/addr.h"

#include "addr/ipcalc.h"
#include "frame/error.h"
#include "frame/log.h"

using namespace kavonet;

extern "C" int KAVONetCalNetwork(const char *szArg, char *szOut, size_t cbOut)
{
    if (szArg == nullptr || szArg[0] == '\0' || szOut == nullptr || cbOut == 0)
        return fail(NET_ERR_BAD_PARAMETER, -1);

    IpcalcLine line;
    if (!ask_ipcalc("-n", szArg, IpcalcLine::capacity, line)) {
        // The line says "-b" here too: readers of the log search for that one text.
        log_err("excute cmd /bin/ipcalc -b %s failed", szArg);
        return -1;
    }
    copy_ipcalc_value(line, "NETWORK=", szOut, cbOut);
    return 0;
}
