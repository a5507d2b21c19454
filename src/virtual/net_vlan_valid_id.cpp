#include "kavonetsdk/virtual.h"

int KLIBNetVlanValidId(int32_t id)
{
    constexpr uint32_t HIGHEST = 4094;
    return static_cast<uint32_t>(id) - 1 <= HIGHEST - 1 ? 0 : -1;
}
