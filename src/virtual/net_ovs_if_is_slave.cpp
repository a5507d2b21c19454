#include "kavonetsdk/virtual.h"

#include <unistd.h>

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "frame/text.h"
#include "kavonetsdk/net_int.h"

namespace kavonet {

bool has_ovs_interface(const char *name)
{
    return access(Text<256>("/sys/devices/virtual/net/ovs_%s", name).c_str(), R_OK) == 0;
}

} // namespace kavonet

using namespace kavonet;

int KLIBNetOVSIfIsSlave(const char *szIf)
{
    if (!is_short_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    if (has_ovs_interface(szIf))
        return 1;
    OvsBondMembers members;
    if (members.hold(szIf))
        return 1;
    if (members.read() == OvsBondMembers::State::NO_MEMORY)
        log_err("Failed to alloc memory.");
    if (members.read() == OvsBondMembers::State::NOT_OPENED)
        log_err("Failed to open %s.", OVS_BONDS_FILE);
    return 0;
}
