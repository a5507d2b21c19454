#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "kavonetsdk/iface.h"
#include "kavonetsdk/pppoe.h"
#include "kavonetsdk/virtual.h"

using namespace kavonet;

namespace {

constexpr char RELAY[] = "/usr/sbin/pppoe-relay";
using CommandLine = Text<1024>;

bool is_wanted(const char *interface, const PPPoERelayConf &conf)
{
    constexpr int BRIDGE_OF_LOCAL_LAN = 3;
    return KAVONetIsIfBridgeType(interface, BRIDGE_OF_LOCAL_LAN) == 1 && conf.enable == 1 &&
           KAVONetIsIFUp(interface) == 1;
}

bool is_running(const char *interface)
{
    return KLIBCIsProcAlive(CommandLine("%s -C %s", RELAY, interface).c_str()) != 0;
}

bool is_running_with(const char *interface, const char *server)
{
    return KLIBCIsProcAlive(CommandLine("%s -C %s -S %s", RELAY, interface, server).c_str()) != 0;
}

bool stop(const char *interface)
{
    if (KLIBCKill(CommandLine("%s -C %s", RELAY, interface).c_str(), 1) >= 0)
        return true;
    log_err("Failed to kill process");
    return false;
}

bool start(const char *interface, const char *server)
{
    return KLIBCExec(RELAY, "-C", interface, "-S", server) == 0;
}

} // namespace

int KAVONetApplyPPPoERelayConfig(const char *szIf)
{
    if (szIf == nullptr)
        log_err("Bad parameter");
    if (!is_short_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    PPPoERelayConf conf;
    if (KAVONetGetPPPoERelayConfig(szIf, &conf) != 0)
        return -1;
    const bool wanted = is_wanted(szIf, conf);
    if (is_running(szIf)) {
        if (wanted && is_running_with(szIf, conf.szServer))
            return 0;
        if (!stop(szIf))
            return -1;
    }
    return !wanted || start(szIf, conf.szServer) ? 0 : -1;
}
