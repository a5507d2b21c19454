#include "kavonetsdk/addr.h"

#include "addr/bounded.h"
#include "addr/dotted.h"
#include "frame/error.h"

using namespace kavonet;

extern "C" int ErrKLIBSubnetToIpMask(char *szSubnet, char *szOut)
{
    if (szSubnet == nullptr)
        return fail_at(33, NET_ERR_BAD_PARAMETER, -1);

    Text<SUBNET_SIZE> copy = bounded_copy<SUBNET_SIZE>(szSubnet);
    char *slash = strchr(copy.buffer(), '/');
    if (slash == nullptr)
        return fail_at(44, NET_ERR_BAD_PARAMETER, -1);
    *slash = '\0';

    int part[4];
    if (cKLIBISepIP(copy.c_str(), part) != 4)
        return -1;
    if (!are_octets(part))
        return fail_at(51, NET_ERR_BAD_ADDRESS, -1);

    char *end = nullptr;
    const int prefix = read_number(slash + 1, &end, 0);
    if (*end != '\0')
        return fail_at(57, NET_ERR_BAD_ADDRESS, -1);
    if (prefix < 1 || prefix > 32)
        return fail_at(62, NET_ERR_BAD_ADDRESS, -1);

    const uint32_t mask = mask_of(static_cast<unsigned>(prefix));
    snprintf(szOut == nullptr ? szSubnet : szOut, SUBNET_SIZE, "%s/%s", dotted(joined(part) & mask).c_str(),
             dotted(mask).c_str());
    return 0;
}
