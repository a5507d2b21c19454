// What the writers of the bridge keys of an ifcfg file share.
#pragma once

#include "frame/ifcfg_keys.h"
#include "frame/paths.h"
#include "kavonetsdk/iface.h"

namespace kavonet {

// A name in a caller's record, which may fill its bytes without a terminator: it is then too long to be one.
inline Text<17> record_name(const char (&bytes)[16])
{
    return Text<17>("%.*s", 16, bytes);
}

// An address or mask in a caller's record, cut to what a terminated one can hold.
inline Text<20> record_address(const char (&bytes)[20])
{
    return Text<20>("%.*s", Text<20>::size() - 1, bytes);
}

inline void set_address_keys(IfcfgKeys &keys, const KAVONETINFO &ip)
{
    if (ip.blStatic == 0) {
        keys.set("BOOTPROTO", "dhcp");
        keys.remove("IPADDR");
        keys.remove("NETMASK");
        return;
    }
    keys.set("IPADDR", record_address(ip.szAddr).c_str());
    keys.set("NETMASK", record_address(ip.szMask).c_str());
    keys.set("BOOTPROTO", "static");
}

// Keeps a copy of the file beside it. A change is not refused for want of one.
inline void save_copy(const Path &path)
{
    KLIBCExec("/bin/cp", "-f", path.c_str(), Path("%s.saved", path.c_str()).c_str(), nullptr);
}

} // namespace kavonet
