#include "kavonetsdk/ipv6.h"

#include <algorithm>

#include <unistd.h>

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "ipv6/kernel_switch.h"
#include "kavonetsdk/iface.h"

using namespace kavonet;

namespace {

constexpr uint32_t SCOPE_LINK = 0x20;
constexpr uint32_t FLAG_TENTATIVE = 0x40;
constexpr int LOOKED_AT = 16;

bool switch_off(const char *name, bool off)
{
    const SwitchPath path = switch_path(name, "disable_ipv6");
    const Switched switched = write_switch(path, off ? "1\n" : "0\n");
    if (switched == Switched::NOT_OPENED)
        log_err("open file %s failed", path.c_str());
    if (switched == Switched::NOT_WRITTEN)
        log_err("write file %s failed", path.c_str());
    return switched == Switched::DONE;
}

// Whether the interface's link-local address is not there yet or still being checked for duplicates.
bool is_settling(const char *name)
{
    KAVOV6IPINFO addresses[LOOKED_AT];
    const int found = KAVOLnxV6IPGet(name, addresses, LOOKED_AT);
    if (found == 0)
        return true;
    const KAVOV6IPINFO *begin = addresses;
    const KAVOV6IPINFO *end = begin + std::clamp(found, 0, LOOKED_AT);
    return std::any_of(begin, end, [](const KAVOV6IPINFO &info) {
        return (info.scope & SCOPE_LINK) != 0 && (info.flags & FLAG_TENTATIVE) != 0;
    });
}

void wait_for_link_local(const char *name)
{
    constexpr int ROUNDS = 10;
    constexpr useconds_t ROUND_MICROSECONDS = 500'000;
    for (int round = 0; round < ROUNDS && is_settling(name); ++round)
        usleep(ROUND_MICROSECONDS);
}

} // namespace

int KAVOLnxIPv6ProcAction(const char *szIf, int blDisable)
{
    if (!is_short_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    if (KAVONetIsDevTypeMatch(szIf, NET_IF_SEL_USABLE) != 1)
        return -1;
    const bool disable = blDisable != 0;
    if (!switch_off(szIf, disable))
        return -1;
    // Whatever the wait finds, IPv6 is on.
    if (!disable)
        wait_for_link_local(szIf);
    return 0;
}
