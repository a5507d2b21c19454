#include "kavonetsdk/iface.h"

#include <cstring>

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"

using namespace kavonet;

int KAVONetIsDevTypeMatch(const char *szIf, unsigned int selector)
{
    constexpr int LISTED = 32;
    if (!is_short_interface_name(szIf))
        return fail_at(34, NET_ERR_BAD_PARAMETER, 0);
    KAVONETIFENTRY entries[LISTED];
    const int count = KLIBNetGetInterfaceInfo(entries, LISTED, selector);
    if (count == -1) {
        log_err("Failed to KLIBNetGetInterfaceInfo(0x%X)=[%d], kavoerr=[0x%04X]", selector, count, KLIBCErrGet());
        return 0;
    }
    for (int i = 0; i < count; ++i) {
        if (strcmp(entries[i].szName, szIf) == 0)
            return 1;
    }
    return count == 0 ? fail_at(44, NET_ERR_NO_SUCH_DEVICE, 0) : fail_at(55, NET_ERR_NO_SUCH_DEVICE, 0);
}
