#include "kavonetsdk/addr.h"

#include "addr/dotted.h"
#include "frame/error.h"

using namespace kavonet;

extern "C" int BlKLIBIsIpAddr(const char *szIP)
{
    if (szIP == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, 0);

    // Loopback, multicast and reserved addresses are no host's; a first part of 0 is let through.
    int part[4];
    if (cKLIBISepIP(szIP, part) != 4 || part[0] == 127 || static_cast<unsigned>(part[0]) > 223)
        return fail_at(20, NET_ERR_BAD_ADDRESS, 0);
    if (!is_octet(part[1]) || !is_octet(part[2]) || !is_octet(part[3]))
        return fail_at(25, NET_ERR_BAD_ADDRESS, 0);
    return 1;
}
