// Whether an interface listens to router advertisements.
#pragma once

#include <syslog.h>

#include "frame/error.h"
#include "frame/paths.h"
#include "ipv6/kernel_switch.h"
#include "ipv6/keys.h"

namespace kavonet {

// Sets it in the kernel, then in the ifcfg file. The log lines name the caller's place.
inline bool set_accept_ra(const char *name, bool on, const char *file = __builtin_FILE(), int line = __builtin_LINE())
{
    // An appliance may forward packets, and must then be told with 2 to listen all the same.
    const SwitchPath path = switch_path(name, "accept_ra");
    const Switched switched = write_switch(path, on ? "2" : "0");
    if (switched == Switched::NOT_OPENED)
        syslog(LOG_ERR, "%s:%d Failed to open file [%s]", bare_name(file), line, path.c_str());
    if (switched == Switched::NOT_WRITTEN)
        syslog(LOG_ERR, "%s:%d Failed to write file [%s]", bare_name(file), line, path.c_str());
    if (switched != Switched::DONE)
        return false;
    const Path ifcfg = ifcfg_path(name);
    if (KLIBCFileSetKeyValue(ifcfg.c_str(), ACCEPT_RA_KEY, on ? "1" : "0", nullptr) >= 0)
        return true;
    syslog(LOG_ERR, "%s:%d Failed to set key %s in %s", bare_name(file), line, ACCEPT_RA_KEY, ifcfg.c_str());
    return false;
}

} // namespace kavonet
