// The keys of an ifcfg file that block an interface for a feature.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "frame/text.h"
#include "kavonetsdk/iface.h"

namespace kavonet {

struct BlockKey {
    unsigned int flag;
    const char *key;
};

inline constexpr BlockKey BLOCK_KEYS[] = {
    {NET_IF_BLOCK_HA, "BLOCK_HA"},
    {NET_IF_BLOCK_AHA, "BLOCK_AHA"},
    {NET_IF_BLOCK_VIRTUAL, "BLOCK_VIRTUAL"},
    {NET_IF_BLOCK_QUENTRA, "BLOCK_QUENTRA"},
};

inline constexpr char BLOCK_COUNT_KEY[] = "BLOCK_CNT";

using BlockValue = Text<1024>;

inline bool says_yes(const BlockValue &value)
{
    return strncmp(value.c_str(), "yes", 3) == 0;
}

// What a file counts; a number that no count reaches stays in the range of one, so that counting on cannot wrap round.
inline int block_count(const BlockValue &value)
{
    return static_cast<int>(std::clamp<long>(strtol(value.c_str(), nullptr, 10), INT_MIN + 1, INT_MAX - 1));
}

} // namespace kavonet
