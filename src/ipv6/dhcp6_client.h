// The DHCPv6 clients of an interface: one that gets addresses, one that only gets information.
#pragma once

#include <cstring>

#include "frame/error.h"
#include "frame/text.h"
#include "kavo/core.h"

namespace kavonet {

inline constexpr char DHCP6_CLIENT[] = "client";
inline constexpr char DHCP6_INFO[] = "info";

using UnitName = Text<256>;

inline UnitName dhcp6_unit(const char *name, const char *type)
{
    return UnitName("dhclient6@%s-%s.service", name, type);
}

// Whether the client's pid file names a live client.
inline bool dhcp6_runs(const char *name, const char *type)
{
    const int pid = KLIBCReadPidFile(Text<128>("/tmp/dhclient6-%s-%s.pid", name, type).c_str());
    KLIBCPROC process;
    if (pid < 1 || KLIBCProcGetByPid(pid, &process) < 0)
        return false;
    const bool alive = process.state != 'Z' && process.state != 'X';
    return alive && strcmp(process.szName, "dhclient") == 0;
}

// The type of the client that runs, null when none does. Where both do, the one that gets addresses counts.
inline const char *dhcp6_running(const char *name)
{
    const KeptFailure failure;
    const char *type = dhcp6_runs(name, DHCP6_CLIENT) ? DHCP6_CLIENT : nullptr;
    if (type == nullptr && dhcp6_runs(name, DHCP6_INFO))
        type = DHCP6_INFO;
    // That there is no pid file or no such process is no failure.
    failure.put_back();
    return type;
}

} // namespace kavonet
