#include <cstring>

#include "kavonetsdk/addr.h"

#include "addr/binary.h"
#include "frame/error.h"
#include "frame/log.h"

using namespace kavonet;

extern "C" int KLIBIsIpInRange(const char *szIP, const char *szStart, const char *szEnd, int family)
{
    if (szIP == nullptr || szStart == nullptr || szEnd == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    if (family != AF_INET && family != AF_INET6) {
        log_err("Unknown address family, %d.", family);
        return -1;
    }

    const BinaryAddress address = parse_as(family, szIP);
    const BinaryAddress start = parse_as(family, szStart);
    const BinaryAddress end = parse_as(family, szEnd);
    if (address.family == 0 || start.family == 0 || end.family == 0)
        return -1;

    // A reversed range is the same range.
    const int from_start = memcmp(address.bytes.data(), start.bytes.data(), address.size());
    const int from_end = memcmp(address.bytes.data(), end.bytes.data(), address.size());
    return (from_start >= 0 && from_end <= 0) || (from_start <= 0 && from_end >= 0) ? 1 : 0;
}
