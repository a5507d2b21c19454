#include "kavonetsdk/addr.h"

#include "addr/ipcalc.h"
#include "frame/error.h"
#include "frame/log.h"

using namespace kavonet;

extern "C" int KAVONetCalBroadcast(const char *szArg, char *szOut, size_t cbOut)
{
    if (szArg == nullptr || szArg[0] == '\0' || szOut == nullptr || cbOut == 0)
        return fail(NET_ERR_BAD_PARAMETER, -1);

    // Of the line no more is read than the caller's buffer holds, the key included.
    IpcalcLine line;
    if (!ask_ipcalc("-b", szArg, cbOut, line)) {
        log_err("excute cmd /bin/ipcalc -b %s failed", szArg);
        return -1;
    }
    copy_ipcalc_value(line, "BROADCAST=", szOut, cbOut);
    return 0;
}
