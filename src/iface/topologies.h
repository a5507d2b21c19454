// The network topologies that the appliance knows.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "kavonetsdk/iface.h"

namespace kavonet {

inline constexpr char TOPOLOGY_KEY[] = "net_topology";

// Each row's id is its index. The first stands for every setting that names none.
inline constexpr std::array<KAVOTOPOLOGYINFO, 4> TOPOLOGIES{{
    {0, "unknown", "eth0", {0, 3}},
    {1, "client", "eth0", {1, 1}},
    {2, "bridge", "br0", {0, 2}},
    {3, "router", "eth0", {0, 3}},
}};

constexpr char ascii_lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// The id of the topology of that name, whatever its case and whatever locale the program has set; 0 when there is none.
constexpr uint32_t topology_of_name(std::string_view name)
{
    const auto same = [](char a, char b) { return ascii_lower(a) == ascii_lower(b); };
    for (const KAVOTOPOLOGYINFO &row : TOPOLOGIES) {
        const std::string_view own(row.szName);
        if (std::equal(own.begin(), own.end(), name.begin(), name.end(), same))
            return row.id;
    }
    return 0;
}

} // namespace kavonet
