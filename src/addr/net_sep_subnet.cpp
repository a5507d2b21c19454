#include "kavonetsdk/addr.h"

#include "addr/bounded.h"
#include "addr/dotted.h"
#include "frame/error.h"
#include "frame/log.h"

using namespace kavonet;

// Finds where the address ends and reads the decimal prefix behind it. A negative one counts as too large, text after
// it is let through.
static bool split(const char *subnet, size_t room, size_t &length, unsigned &prefix)
{
    // Only digits and dots make the address here, unlike one that stands alone, and it must fit whole.
    length = strspn(subnet, "0123456789.");
    if (length == 0 || length >= room || subnet[length] != '/')
        return false;
    const char *number = subnet + length + 1;
    char *end = nullptr;
    prefix = static_cast<unsigned>(read_number(number, &end, 10));
    return end != number;
}

extern "C" int KAVONetSeperateSubnet(const char *szSubnet, char *szIP, int cbIP, unsigned int *pPrefix)
{
    if (szSubnet == nullptr || szIP == nullptr || cbIP < 2 || pPrefix == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, -1);

    // The validator looks at no more of an address than its copy here holds.
    size_t length = 0;
    unsigned prefix = 0;
    if (!split(szSubnet, static_cast<size_t>(cbIP), length, prefix) ||
        BlKLIBIsIpAddr(first_bytes<32>(szSubnet, length).c_str()) == 0 || prefix > 32) {
        log_err("invalid subnet format: %s", szSubnet);
        return -1;
    }

    memmove(szIP, szSubnet, length);
    szIP[length] = '\0';
    *pPrefix = prefix;
    return 0;
}
