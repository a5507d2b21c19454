#include "kavonetsdk/ipv4.h"

#include <cstdio>
#include <cstring>

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "frame/text.h"
#include "kavonetsdk/virtual.h"

using namespace kavonet;

namespace {

constexpr int OVS_BOND = 2;

using Address = Text<1024>;

// Room for any member's name behind "ovs_": one that no interface can have is refused, not cut to another's.
using ConfigName = Text<32>;

bool is_same(const Address &address, const Address &other)
{
    return strncmp(address.c_str(), other.c_str(), Address::capacity) == 0;
}

} // namespace

int KAVONetBondIPConflict(const char *szBond, char *szMember, int cbMember)
{
    if (!is_short_interface_name(szBond) || szMember == nullptr || cbMember < 1)
        return fail_at(32, NET_ERR_BAD_PARAMETER, -1);
    const bool ovs = KLIBNetOVSIfIsMaster(szBond) == OVS_BOND;
    KAVOLINKAGGROPT bond;
    if (KAVONetLinkAggrGet(szBond, &bond) != 0) {
        log_err("get %s information failed", szBond);
        return -1;
    }
    Address own;
    if (KAVOILnxGetIPFromCfg(szBond, own.buffer(), Address::size()) < 0) {
        log_err("get %s's IP failed", szBond);
        return -1;
    }
    // The first member is left out: callers expect a bond to share its address.
    for (int i = 1; i < bond.nSlave; ++i) {
        const char *member = bond.szSlave[i];
        Address address;
        if (KAVOILnxGetIPFromCfg(ConfigName(ovs ? "ovs_%s" : "%s", member).c_str(), address.buffer(), Address::size()) <
            0) {
            log_err("get %s's IP from config failed", member);
            return -1;
        }
        if (address.empty()) {
            log_info("%s's IP is empty", member);
            continue;
        }
        if (!is_same(address, own))
            continue;
        // However long the name and the buffer are, callers get its first four characters.
        snprintf(szMember, static_cast<size_t>(cbMember), "%.4s", member);
        return 1;
    }
    return 0;
}
