#include "kavonetsdk/addr.h"

#include "addr/bounded.h"
#include "addr/dotted.h"
#include "frame/error.h"

using namespace kavonet;

extern "C" int ErrKLIBIpMaskToSubnet(char *szIpMask, char *szOut)
{
    if (szIpMask == nullptr)
        return fail_at(17, NET_ERR_BAD_PARAMETER, -1);

    const char *slash = strchr(szIpMask, '/');
    if (slash == nullptr)
        return fail_at(28, NET_ERR_BAD_PARAMETER, -1);

    // The parser looks at no more of an address than this copy holds.
    const Text<32> address = first_bytes<32>(szIpMask, static_cast<size_t>(slash - szIpMask));
    int part[4];
    if (cKLIBISepIP(address.c_str(), part) != 4 || !are_octets(part))
        return fail_at(35, NET_ERR_BAD_ADDRESS, -1);

    int mask[4];
    if (cKLIBISepIP(slash + 1, mask) != 4)
        return -1;
    const int prefix = cKLIBICalMask(mask);
    if (prefix == 0)
        return -1;

    snprintf(szOut == nullptr ? szIpMask : szOut, SUBNET_SIZE, "%s/%d", dotted(joined(part) & joined(mask)).c_str(),
             prefix);
    return 0;
}
