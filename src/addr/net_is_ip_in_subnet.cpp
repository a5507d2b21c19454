#include <arpa/inet.h>

#include "kavonetsdk/addr.h"

#include "addr/dotted.h"
#include "frame/error.h"
#include "frame/log.h"
#include "frame/text.h"

using namespace kavonet;

extern "C" int KAVONetIsIpInSubnet(const char *szIP, const char *szSubnet)
{
    if (szIP == nullptr || szSubnet == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, 0);

    Text<20> network;
    unsigned prefix = 0;
    if (KAVONetSeperateSubnet(szSubnet, network.buffer(), network.size(), &prefix) != 0) {
        log_err("Failed to seperate Subnet IP and prefix length");
        return 0;
    }

    in_addr address{};
    if (inet_aton(szIP, &address) == 0) {
        log_err("Failed to parse IP");
        return 0;
    }
    in_addr subnet{};
    if (inet_aton(network.c_str(), &subnet) == 0) {
        log_err("Failed to parse Subnet IP");
        return 0;
    }

    const uint32_t mask = mask_of(prefix);
    if ((ntohl(subnet.s_addr) & ~mask) != 0) {
        log_err("Invalid subnet with non-zero host identifier: %s", szSubnet);
        return 0;
    }
    return ((ntohl(address.s_addr) ^ ntohl(subnet.s_addr)) & mask) == 0 ? 1 : 0;
}
