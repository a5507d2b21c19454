// What the tests of bridges and Open vSwitch share in the lab: its commands, its cards, and a switch of the machine's own.
#pragma once

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kavonetsdk/kavonetsdk.h"
#include "support/commands.h"
#include "support/read_back.h"

namespace virtual_test {

using support::run;
using support::shell;
using support::wait_for;

// Whether the host on the other side answers through an interface.
inline bool reaches_the_server(const std::string &interface)
{
    return wait_for([&] { return run("arping -c 1 -w 1 -I " + interface + " 10.77.0.1").status == 0; });
}

inline std::string ifcfg(const std::string &name)
{
    return "/etc/sysconfig/network-scripts/ifcfg-" + name;
}

inline std::vector<std::string> lines(const std::string &name)
{
    return support::lines_of(support::read_file(ifcfg(name)));
}

inline std::vector<std::string> items(const KLIBSZLIST *list)
{
    std::vector<std::string> names;
    for (int i = 0; i < list->nItem; ++i)
        names.emplace_back(KLIBCSzListGet(list, i));
    return names;
}

// The ports of a bridge, or the bridges of a kind; "failed" when the library says so or counts otherwise.
template <class Call> std::vector<std::string> listed(Call call)
{
    PKLIBSZLIST list = KLIBCSzListAlloc(0);
    const int count = call(&list);
    std::vector<std::string> names = items(list);
    KLIBCSzListFree(list);
    return count == static_cast<int>(names.size()) ? names : std::vector<std::string>{"failed"};
}

inline std::vector<std::string> ports(const char *bridge)
{
    return listed([bridge](PKLIBSZLIST *list) { return KLIBNetBridgeSlaveEnum(bridge, list); });
}

inline std::vector<std::string> bridges(int32_t kind)
{
    return listed([kind](PKLIBSZLIST *list) { return KLIBNetEnumBridge(list, kind); });
}

// The interfaces that take an address.
inline std::vector<std::string> usable()
{
    KAVONETIFENTRY entries[16];
    std::vector<std::string> names;
    for (int i = 0, count = KLIBNetGetInterfaceInfo(entries, 16, NET_IF_SEL_USABLE); i < count; ++i)
        names.emplace_back(entries[i].szName);
    return names;
}

// Every test finds the lab as it was started.
inline void restore()
{
    run("systemctl stop dhclient@eth0 dhclient@br0");
    run("for i in br0 lbr0 gbr0; do ip link del $i; done; ip -4 address flush dev eth0; "
        "ip link set eth0 down; ip link set eth1 down");
    run("rm -f /etc/sysconfig/network-scripts/* /tmp/dhcpv4.leases.*");
    for (const char *name : {"eth0", "eth1"})
        support::write_file(ifcfg(name), std::string("DEVICE=") + name + "\nONBOOT=yes\nBOOTPROTO=dhcp\n");
}

} // namespace virtual_test
