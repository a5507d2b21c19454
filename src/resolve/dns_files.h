// The files of the DNS servers.
#pragma once

namespace kavonet {

inline constexpr char RESOLV_FILE[] = "/etc/resolv.conf";
inline constexpr char STATIC_RESOLV_FILE[] = "/etc/resolv.conf.static"; // the administrator's servers

// The room that a list of servers begins with.
inline constexpr int SERVER_LIST_ROOM = 512;

} // namespace kavonet
