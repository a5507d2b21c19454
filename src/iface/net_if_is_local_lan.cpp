#include "kavonetsdk/iface.h"

#include "frame/error.h"
#include "frame/name.h"
#include "frame/paths.h"
#include "kavo/core.h"

using namespace kavonet;

int KLIBNetIFIsLocalLan(const char *szIf)
{
    if (!is_short_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    Text<1024> mark;
    const int found = KLIBCFileGetKeyValue(ifcfg_path(szIf).c_str(), "LOCAL_LAN", mark.buffer(), mark.size(), 0);
    return found > 0 && mark.is("yes") ? 1 : 0;
}
