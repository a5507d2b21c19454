#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "frame/owner.h"
#include "kavonetsdk/pppoe.h"
#include "pppoe/relay_files.h"

using namespace kavonet;

namespace {

bool put(StringHash &keys, const PPPoERelayConf &conf)
{
    return KLIBCSzHashSetValue(keys.handle(), "enable", conf.enable == 1 ? "yes" : "no") >= 0 &&
           KLIBCSzHashSetValue(keys.handle(), "server", conf.szServer) >= 0;
}

} // namespace

int KAVONetSetPPPoERelayConfig(const char *szIf, const PPPoERelayConf *p)
{
    if (p == nullptr) {
        log_err("Wrong Parameter.");
        return fail(NET_ERR_BAD_PARAMETER, -1);
    }
    const Text<17> server("%.*s", int{sizeof p->szServer}, p->szServer);
    if (!is_short_interface_name(szIf) || (!server.empty() && !is_short_interface_name(server.c_str())))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    const RelayFile file(szIf);
    if (!make_relay_file(file))
        return -1;
    StringHash set(KLIBCSzHashAlloc(1024));
    const StringHash remove(KLIBCSzHashAlloc(1024));
    if (!set || !remove)
        return fail(NET_ERR_OUT_OF_MEMORY, -1);
    const bool written = put(set, *p) && KLIBCFileSetKeys(file.c_str(), set.get(), remove.get(), "%s=%s\n") >= 0;
    return written ? 0 : -1;
}
