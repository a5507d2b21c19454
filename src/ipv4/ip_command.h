// The address changes that /sbin/ip makes.
#pragma once

#include "frame/command.h"
#include "kavo/core.h"

namespace kavonet {

inline constexpr char IP_COMMAND[] = "/sbin/ip";

// Runs a command and gives its exit status, or -1 when it could not be run.
template <class... Argument> int run_command(const char *program, Argument... arguments)
{
    return KLIBCExecl(program, RUN_OPTIONS, arguments..., static_cast<char *>(nullptr));
}

// Runs "ip FAMILY address ARGUMENTS...". False when it could not be run: what ip itself says does not count here, because
// the callers judge by the kernel's state.
template <class... Argument> bool ip_address(const char *family, Argument... arguments)
{
    return run_command(IP_COMMAND, family, "address", arguments...) >= 0;
}

} // namespace kavonet
