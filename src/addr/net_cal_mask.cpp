#include <bit>

#include "kavonetsdk/addr.h"

#include "addr/dotted.h"
#include "frame/error.h"

using namespace kavonet;

extern "C" int cKLIBICalMask(const int rgPart[4])
{
    if (rgPart == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, 0);

    const int part[4] = {rgPart[0], rgPart[1], rgPart[2], rgPart[3]};
    if (!are_octets(part))
        return fail_at(27, NET_ERR_BAD_ADDRESS, 0);

    const uint32_t mask = joined(part);
    const int ones = std::countl_one(mask);
    const bool hole = mask != mask_of(static_cast<unsigned>(ones));
    return hole ? fail_at(37, NET_ERR_BAD_ADDRESS, 0) : ones;
}
