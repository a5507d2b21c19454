#include "kavonetsdk/iface.h"

#include <cstdlib>
#include <cstring>

#include "frame/error.h"
#include "frame/log.h"
#include "frame/owner.h"
#include "iface/net_info.h"
#include "kavonetsdk/ipv4.h"

using namespace kavonet;

namespace {

constexpr unsigned int CARDS = 32;

// The entry whose current address is the given one; null when there is none.
const KAVONETIFENTRY *find_address(const KAVONETIFENTRY *entries, int count, const char *address)
{
    for (int i = 0; i < count; ++i) {
        Text<20> current;
        if (KAVOILnxGetIP(entries[i].szName, current.buffer(), current.size()) >= 0 && current.is(address))
            return &entries[i];
    }
    return nullptr;
}

} // namespace

int KAVONetGetCard1(unsigned int index, const char *szAddr, KAVONETINFO *pNetInfo)
{
    if (pNetInfo == nullptr || (szAddr == nullptr && index >= CARDS))
        return fail_at(63, NET_ERR_BAD_PARAMETER, -1);
    const ConfigLock lock(ConfigLock::NETWORK_READ);
    if (!lock)
        return fail_at(68, NET_ERR_LOCK_FAILED, -1);
    const Allocated<KAVONETIFENTRY> entries(static_cast<KAVONETIFENTRY *>(calloc(CARDS, sizeof(KAVONETIFENTRY))));
    if (!entries)
        return fail_at(73, NET_ERR_OUT_OF_MEMORY, -1);

    const int count = KLIBNetGetInterfaceInfo(entries.get(), CARDS, NET_IF_SEL_USABLE);
    if (count < 1) {
        syslog(LOG_ERR, "%s(%d): %s", __func__, __LINE__, count == 0 ? "No interface." : "Get interface info fail.");
        return count == 0 ? 0 : -1;
    }
    if (index >= static_cast<unsigned int>(count))
        return 0;
    const KAVONETIFENTRY *entry =
        szAddr != nullptr ? find_address(entries.get(), count, szAddr) : entries.get() + index;
    if (entry == nullptr)
        return 0;
    fill_net_info(*entry, *pNetInfo);
    return KAVONetIFGetIPConfig(entry->szName, pNetInfo) == 0 ? 1 : -1;
}
