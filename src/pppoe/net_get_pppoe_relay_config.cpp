#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "kavonetsdk/pppoe.h"
#include "pppoe/relay_files.h"

using namespace kavonet;

int KAVONetGetPPPoERelayConfig(const char *szIf, PPPoERelayConf *p)
{
    if (szIf == nullptr || p == nullptr) {
        log_err("Wrong Parameter.");
        return fail(NET_ERR_BAD_PARAMETER, -1);
    }
    if (!is_short_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    *p = {};
    const RelayFile file(szIf);
    if (!make_relay_file(file))
        return -1;
    p->enable = KLIBCFileCheckKeyValue(file.c_str(), "enable", "yes", 0) != 0 ? 1 : 0;
    if (KLIBCFileGetKeyValue(file.c_str(), "server", p->szServer, sizeof p->szServer, 0) < 0) {
        log_err("Failed to get key[%s] in file[%s].", "server", file.c_str());
        return -1;
    }
    return 0;
}
