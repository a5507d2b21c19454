// The files that the rest of the appliance shares with the library.
#pragma once

#include "frame/text.h"

namespace kavonet {

inline constexpr char SETTINGS_FILE[] = "/etc/kavoinfo.conf";
inline constexpr char DEFAULTS_FILE[] = "/etc.defaults/kavoinfo.conf";

// Room for the longest path that the system takes.
using Path = Text<4096>;

inline Path ifcfg_path(const char *name)
{
    return Path("/etc/sysconfig/network-scripts/ifcfg-%s", name);
}

// Where the DHCP client leaves what it was given for an interface.
inline Path lease_path(const char *name)
{
    return Path("/etc/dhclient/ipv4/dhcpcd-%s.info", name);
}

} // namespace kavonet
