// What the kernel says of one interface.
#pragma once

#include <cstring>

#include "frame/ifrequest.h"
#include "kavonetsdk/iface.h"

namespace kavonet {

inline constexpr int LINK_CARRIER = 2;

// Fills an entry with what the kernel says; a question that fails leaves its field empty. The flags have been asked for
// already: an interface that runs has a carrier.
inline void fill_entry(InterfaceRequest &request, const char *name, KAVONETIFENTRY &entry)
{
    entry = {};
    copy_text(entry.szName, name);
    entry.nFlags = request.flags();
    entry.nLink = (entry.nFlags & IFF_RUNNING) != 0 ? LINK_CARRIER : 0;
    if (request.ask(SIOCGIFHWADDR))
        memcpy(entry.rgMac, request.raw().ifr_hwaddr.sa_data, sizeof entry.rgMac);
    if (request.ask(SIOCGIFADDR))
        request.address_text(entry.szAddr);
    if (request.ask(SIOCGIFNETMASK))
        request.address_text(entry.szMask);
}

// The same, but whether an Open vSwitch interface runs says nothing of its carrier: its port or members tell.
inline void fill_live_entry(InterfaceRequest &request, const char *name, KAVONETIFENTRY &entry)
{
    fill_entry(request, name, entry);
    if (strncmp(name, "ovs_", 4) == 0)
        entry.nLink = KAVONetIfIsLink(name) == 1 ? LINK_CARRIER : 0;
}

} // namespace kavonet
