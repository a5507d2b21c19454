// The IPv4 configuration record of an interface.
#pragma once

#include <cstring>

#include "frame/text.h"
#include "iface/live_entry.h"
#include "kavonetsdk/iface.h"

namespace kavonet {

// What the configuration record takes from the live interface; the rest is zero.
inline void fill_net_info(const KAVONETIFENTRY &entry, KAVONETINFO &info)
{
    info = {};
    copy_text(info.szName, entry.szName);
    memcpy(info.rgMac, entry.rgMac, sizeof info.rgMac);
    info.nLink = entry.nLink == LINK_CARRIER ? 1 : 0;
}

} // namespace kavonet
