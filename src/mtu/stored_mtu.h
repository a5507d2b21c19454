// Where an interface's MTU is kept: the key "<interface>_mtu" of the system's settings.
#pragma once

#include <syslog.h>

#include "frame/error.h"
#include "frame/name.h"
#include "kavonetsdk/virtual.h"

namespace kavonet {

// Readers of the settings know the key as cut to 20 characters.
class MtuKey : public Text<21> {
public:
    explicit MtuKey(const char *name) : Text("%s_mtu", name) {}
};

// The interface under whose name a value is kept: of an Open vSwitch interface its port's, of a bond what follows "ovs_".
// The log line tells the place of the call: log readers look for the file of the function that was called.
class MtuKeeper : public Text<1024> {
public:
    explicit MtuKeeper(const char *name, const char *caller = __builtin_FILE(), int line = __builtin_LINE())
        : Text("%s", name)
    {
        if (KLIBNetOVSIfIsMaster(name) < 1 || KLIBNetOVSGetOriginalIf(name, buffer(), capacity) == 0)
            return;
        syslog(LOG_ERR, "%s:%d Failed to fetch slave interface from OVS master %s", bare_name(caller), line, name);
        format("%s", name);
    }
};

} // namespace kavonet
