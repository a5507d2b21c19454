#include "kavonetsdk/ipv6.h"

#include <cstring>

#include <arpa/inet.h>

#include "frame/log.h"

namespace {

constexpr unsigned int ADDRESS_BITS = 128;

bool parse(const char *text, in6_addr &address)
{
    if (inet_pton(AF_INET6, text, &address) == 1)
        return true;
    log_err("Invalid network address: %s", text);
    return false;
}

bool have_same_start(const in6_addr &a, const in6_addr &b, unsigned int bits)
{
    const unsigned int whole = bits / 8;
    const unsigned int rest = bits % 8;
    if (memcmp(a.s6_addr, b.s6_addr, whole) != 0)
        return false;
    return rest == 0 || a.s6_addr[whole] >> (8 - rest) == b.s6_addr[whole] >> (8 - rest);
}

} // namespace

int KAVONetIPv6IsSameSubnet(const char *szA, const char *szB, unsigned int prefix)
{
    // Bad arguments are "different" here, not a failure: callers depend on it.
    if (szA == nullptr || szB == nullptr || prefix > ADDRESS_BITS) {
        log_err("Bad parameter.");
        return 0;
    }
    in6_addr a;
    in6_addr b;
    if (!parse(szA, a) || !parse(szB, b))
        return -1;
    return have_same_start(a, b, prefix) ? 1 : 0;
}
