// The link modes of Ethernet drivers that callers know, by the bit of the ethtool "supported" word.
#pragma once

#include <cstdint>

namespace kavonet {

struct LinkMode {
    uint32_t bit;
    int32_t speed;
    int32_t duplex;
    const char *suffix;
};

inline constexpr int HALF = 0;
inline constexpr int FULL = 1;

// Searched from the last row to the first: the later row is the better mode.
inline constexpr LinkMode LINK_MODES[] = {
    {0x1, 10, HALF, "baseT"},
    {0x2, 10, FULL, "baseT"},
    {0x4, 100, HALF, "baseT"},
    {0x8, 100, FULL, "baseT"},
    {0x10, 1000, HALF, "baseT"},
    {0x20, 1000, FULL, "baseT"},
    {0x20000, 1000, FULL, "baseKX"},
    {0x8000, 2500, FULL, "baseX"},
    {0x1000, 10000, FULL, "baseT"},
    {0x40000, 10000, FULL, "baseKX4"},
    {0x80000, 10000, FULL, "baseKR"},
    {0x200000, 20000, FULL, "baseMLD2"},
    {0x400000, 20000, FULL, "baseKR2"},
    {0x800000, 40000, FULL, "baseKR4"},
    {0x1000000, 40000, FULL, "baseCR4"},
    {0x2000000, 40000, FULL, "baseSR4"},
    {0x4000000, 40000, FULL, "baseLR4"},
};

// What is reported when a driver supports none of them.
inline constexpr LinkMode NO_LINK_MODE{0, -1, -1, ""};

constexpr const LinkMode &best_link_mode(uint32_t supported)
{
    for (int i = static_cast<int>(sizeof LINK_MODES / sizeof LINK_MODES[0]) - 1; i >= 0; --i) {
        if ((supported & LINK_MODES[i].bit) != 0)
            return LINK_MODES[i];
    }
    return NO_LINK_MODE;
}

} // namespace kavonet
