#include "kavonetsdk/addr.h"

#include "addr/dotted.h"
#include "frame/error.h"

using namespace kavonet;

namespace {

struct Network {
    int part[4];
    unsigned prefix;

    [[nodiscard]] bool holds(uint32_t address) const { return ((address ^ joined(part)) & mask_of(prefix)) == 0; }
};

constexpr Network PRIVATE_NETWORKS[] = {
    {{10, 0, 0, 0}, 8}, {{127, 0, 0, 0}, 8}, {{169, 254, 0, 0}, 16}, {{172, 16, 0, 0}, 12}, {{192, 168, 0, 0}, 16},
};

} // namespace

extern "C" int KAVONetIsPrivateIP(const char *szIP)
{
    if (szIP == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, -1);

    int part[4];
    if (cKLIBISepIP(szIP, part) != 4 || !are_octets(part))
        return 0;
    const uint32_t address = joined(part);
    for (const Network &network : PRIVATE_NETWORKS) {
        if (network.holds(address))
            return 1;
    }
    return 0;
}
