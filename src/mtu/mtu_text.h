// The number that an MTU's text stands for.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdlib>

namespace kavonet {

// The number at the start of the text, 0 when there is none. One that no int holds is the nearest int, which the kernel
// refuses.
inline int mtu_number(const char *text)
{
    return static_cast<int>(std::clamp<long>(strtol(text, nullptr, 10), INT_MIN, INT_MAX));
}

} // namespace kavonet
