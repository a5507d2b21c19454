// The bridge roles that the network topologies give their interfaces.
#pragma once

#include <array>

#include "kavonetsdk/virtual.h"

namespace kavonet {

// A row ends at its first entry without a name, or where it is full.
using BridgeTopology = std::array<KLIBNETBRIDGEINFO, 4>;

// By the topology's number; there is none of number 0.
inline constexpr std::array<BridgeTopology, 4> BRIDGE_TOPOLOGIES{{
    {},
    {{{NET_BRIDGE_NONE, "eth0", ""}, {NET_BRIDGE_NONE, "wlan0", ""}}},
    {{{NET_BRIDGE_PORT, "eth0", "br0"}, {NET_BRIDGE_PORT, "wlan0", "br0"}, {NET_BRIDGE_MASTER, "br0", "eth0"}}},
    {{{NET_BRIDGE_NONE, "eth0", ""}, {NET_BRIDGE_PORT, "wlan0", "lbr0"}, {NET_BRIDGE_LOCAL_LAN, "lbr0", "wlan0"}}},
}};

} // namespace kavonet
