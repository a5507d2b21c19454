#include "kavonetsdk/ipv4.h"

#include <cstring>

#include <unistd.h>

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "frame/owner.h"
#include "kavo/systemd.h"
#include "kavonetsdk/addr.h"
#include "kavonetsdk/net_int.h"

using namespace kavonet;

namespace {

constexpr char DDNS_UNIT[] = "ddnsd";

// A field of a caller's record, which may fill its bytes without a terminator.
template <size_t Size> Text<Size + 1> field(const char (&bytes)[Size])
{
    return Text<Size + 1>("%.*s", static_cast<int>(Size), bytes);
}

using AddressField = Text<20>;

AddressField address_field(const char (&bytes)[20])
{
    return AddressField("%.*s", AddressField::size() - 1, bytes);
}

// The dynamic DNS service publishes the address, so it must hear of a new one.
void reload_ddns(const AddressField &address, const AddressField &mask, const KAVONETINFO *old)
{
    const bool changed = old == nullptr || !address.is(address_field(old->szAddr).c_str()) ||
                         !mask.is(address_field(old->szMask).c_str());
    if (changed && KAVOCSystemdActiveStatusGet(DDNS_UNIT) == 1)
        KAVOCSystemdReload(DDNS_UNIT);
}

int set_static(const char *name, const KAVONETINFO &wanted, const KAVONETINFO *old)
{
    const AddressField address = address_field(wanted.szAddr);
    const AddressField mask = address_field(wanted.szMask);
    if (BlKLIBIsValidIpMask(address.c_str(), mask.c_str()) == 0)
        return -1;
    if (KAVOILnxSetIPNetmask(name, address.c_str(), mask.c_str()) < 0)
        return -1;
    // What PPPoE kept of the time before it took over is out of date now.
    unlink("/etc/ppp/old_gateway.bak");
    unlink("/etc/resolv.conf.bak");
    reload_ddns(address, mask, old);
    return 0;
}

} // namespace

int KAVONetSetCard1(const KAVONETINFO *pNew, const KAVONETINFO *pOld)
{
    if (pNew == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    const auto name = field(pNew->szName);
    if (!is_short_interface_name(name.c_str()))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    const ConfigLock lock(ConfigLock::NETWORK_WRITE);
    if (!lock)
        return fail(NET_ERR_LOCK_FAILED, -1);
    if (pNew->blStatic == 0) {
        const int result = KAVOILnxSetDHCP(name.c_str());
        return result < 0 ? result : 0;
    }
    return set_static(name.c_str(), *pNew, pOld);
}
