#include "kavonetsdk/iface.h"

#include <cstring>

#include "frame/error.h"
#include "frame/ifrequest.h"
#include "frame/log.h"
#include "frame/name.h"
#include "kavonetsdk/diag.h"

using namespace kavonet;

namespace {

// The kernel makes a name of its own of such a text.
bool is_pattern(const char *name)
{
    return strchr(name, '%') != nullptr;
}

bool rename_in_kernel(const char *from, const char *to)
{
    const Socket socket;
    if (!socket) {
        log_err("failed to open socket for net\n");
        return false;
    }
    InterfaceRequest request(socket, from);
    if (!request.ask(SIOCGIFHWADDR)) {
        log_err("can't get info of %s\n", from);
        return false;
    }
    copy_text(request.raw().ifr_newname, to);
    if (!request.ask(SIOCSIFNAME)) {
        log_err("can't change %s to %s\n", from, to);
        return false;
    }
    return true;
}

} // namespace

int KAVONetRenameEth(const char *szOld, const char *szNew)
{
    if (!is_interface_name(szOld) || !is_interface_name(szNew) || is_pattern(szNew))
        return fail_at(26, NET_ERR_BAD_PARAMETER, -1);
    const Owned<NetStat, KLIBNetStatFree> found(KLIBNetStatInit(1));
    if (!found)
        return fail_at(31, NET_ERR_OUT_OF_MEMORY, -1);
    if (!is_short_interface_name(szOld) || !is_short_interface_name(szNew)) {
        log_err("interface name is too long");
        return -1;
    }
    if (KLIBNetStatGetSingle(szNew, found.get()) == 0) {
        log_err("%s is already exist, can't rename to it", szNew);
        return -1;
    }
    if (KAVONetIsIFUp(szOld) == 1) {
        log_err("%s is up, please down it before rename", szOld);
        return -1;
    }
    return rename_in_kernel(szOld, szNew) ? 0 : -1;
}
