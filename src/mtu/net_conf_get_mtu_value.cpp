#include "kavonetsdk/mtu.h"

#include "frame/error.h"
#include "frame/log.h"
#include "frame/paths.h"
#include "mtu/stored_mtu.h"

using namespace kavonet;

int KAVOConfGetMTUValue(const char *szIf, char *szMTU, int cbMTU)
{
    if (!is_interface_name(szIf) || szMTU == nullptr || cbMTU <= 0)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    const MtuKeeper keeper(szIf);
    szMTU[0] = '\0';
    const int found = KLIBCFileGetKeyValue(SETTINGS_FILE, MtuKey(keeper.c_str()).c_str(), szMTU, cbMTU, 0);
    if (found < 0) {
        log_file_err("Failed to get %s_mtu (%X)", keeper.c_str(), KLIBCErrGet());
        return -1;
    }
    if (found == 0)
        snprintf(szMTU, static_cast<size_t>(cbMTU), "1500");
    return 0;
}
