// The commands that change the kernel's routes.
#pragma once

#include "frame/command.h"
#include "kavo/core.h"

namespace kavonet {

inline constexpr char IP_COMMAND[] = "/sbin/ip";
inline constexpr char ROUTE_COMMAND[] = "/sbin/route"; // older, and less particular

// Runs a command with its arguments. False when it could not be run or failed.
template <class... Argument> bool run(const char *program, Argument... arguments)
{
    return KLIBCExecl(program, RUN_OPTIONS, arguments..., static_cast<char *>(nullptr)) == 0;
}

} // namespace kavonet
