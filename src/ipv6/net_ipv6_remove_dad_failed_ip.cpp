#include "kavonetsdk/ipv6.h"

#include <algorithm>
#include <cstdlib>

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "frame/owner.h"

using namespace kavonet;

namespace {

constexpr uint32_t FLAG_DUPLICATE = 0x08;
constexpr int USUAL = 16; // addresses that an interface has at most, as a rule

// Takes the duplicates among the addresses off the interface. Returns their number, or -1 at the first that stays.
int remove_duplicates(const char *name, const KAVOV6IPINFO *addresses, int count, KAVOV6IPINFO *removed, int room)
{
    int done = 0;
    for (int i = 0; i < count; ++i) {
        const KAVOV6IPINFO &info = addresses[i];
        if ((info.flags & FLAG_DUPLICATE) == 0)
            continue;
        const auto prefix = static_cast<unsigned int>(info.prefix);
        if (KAVONetIPv6IPAction(KAVO_IPV6_IP_DEL, name, info.szAddr, prefix, nullptr) != 0) {
            log_err("Fail to remove DAD fail ipv6 address, %s:%s/%d", name, info.szAddr, info.prefix);
            return -1;
        }
        if (done < room)
            removed[done] = info;
        ++done;
    }
    return done;
}

} // namespace

int KAVONetIPv6RemoveDADFailedIP(const char *szIf, KAVOV6IPINFO *rgOut, int cOut)
{
    if (!is_short_interface_name(szIf) || rgOut == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    KAVOV6IPINFO usual[USUAL];
    const int count = KAVOLnxV6IPGet(szIf, usual, USUAL);
    if (count < 0)
        return -1;
    if (count <= USUAL)
        return remove_duplicates(szIf, usual, count, rgOut, cOut);
    const Allocated<KAVOV6IPINFO> all(static_cast<KAVOV6IPINFO *>(calloc(static_cast<size_t>(count), sizeof *usual)));
    if (!all)
        return fail(NET_ERR_NO_SPACE, -1);
    // Meanwhile there may be more of them, or fewer.
    const int now = KAVOLnxV6IPGet(szIf, all.get(), count);
    return now < 0 ? -1 : remove_duplicates(szIf, all.get(), std::min(now, count), rgOut, cOut);
}
