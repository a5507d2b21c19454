#include "kavonetsdk/iface.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>

#include "frame/error.h"
#include "frame/ifrequest.h"
#include "frame/log.h"
#include "frame/name.h"
#include "kavo/core.h"
#include "kavo/ha.h"
#include "kavonetsdk/virtual.h"

using namespace kavonet;

namespace {

// Why there is no hardware address; callers show it.
enum Reason { FOUND = 0, BAD_OR_LOCAL = 1, PORT_FAILED = 2, NO_HA_ADDRESS = 3, TWO_CONTROLLERS = 4 };

// The hardware address of the interface eth<N>, as text.
bool read_port(int port, char *mac, size_t size)
{
    const Socket socket;
    if (!socket) {
        log_err("Failed to open socket");
        return false;
    }
    InterfaceRequest request(socket, InterfaceName("eth%d", port).c_str());
    if (!request.ask(SIOCGIFHWADDR)) {
        log_err("ioctl mac failed");
        return false;
    }
    uint8_t address[6];
    memcpy(address, request.raw().ifr_hwaddr.sa_data, sizeof address);
    snprintf(mac, size, "%02x:%02x:%02x:%02x:%02x:%02x", address[0], address[1], address[2], address[3], address[4],
             address[5]);
    return true;
}

bool read_ha(int port, char *mac, size_t size)
{
    return KAVOHAGetMac(port, mac, static_cast<int>(std::min<size_t>(size, INT_MAX))) == 0 && mac[0] != '\0';
}

// Puts a bond's first member into the place of the bond.
bool resolve_bond(InterfaceName &name)
{
    KAVOLINKAGGROPT bond;
    if (KAVONetLinkAggrGet(name.c_str(), &bond) != 0) {
        log_err("LinkAddrGet failed [%s]", name.c_str());
        return false;
    }
    if (bond.nSlave < 1) {
        log_err("No slave on bond [%s]", name.c_str());
        return false;
    }
    name.format("%s", bond.szSlave[0]);
    return true;
}

// Puts the port into the place of an Open vSwitch interface.
bool resolve_ovs(InterfaceName &name)
{
    if (KLIBNetOVSIfIsMaster(name.c_str()) < 1)
        return true;
    InterfaceName port;
    if (KLIBNetOVSGetOriginalIf(name.c_str(), port.buffer(), InterfaceName::capacity) != 0) {
        log_err("get ovs origin interface error");
        return false;
    }
    name.format("%s", port.c_str());
    return true;
}

bool begins_with(const InterfaceName &name, const char *beginning)
{
    return strncmp(name.c_str(), beginning, strlen(beginning)) == 0;
}

} // namespace

int KLIBNetGetMacAddr(int port, char *szMac, size_t cbMac, int blLocalOnly)
{
    if (szMac == nullptr || cbMac == 0)
        return fail_at(32, NET_ERR_BAD_PARAMETER, static_cast<int>(BAD_OR_LOCAL));
    const bool ha = blLocalOnly == 0 && KAVOHAIsRunning() != 0;
    if (ha) {
        if (read_ha(port, szMac, cbMac))
            return FOUND;
        log_err("Failed to get mac in SHA mode");
        return NO_HA_ADDRESS;
    }
    // A controller of a pair does not answer with its own address: the other one may be the one that is seen.
    if (blLocalOnly == 0 && KLIBCSupportDualhead() != 0) {
        log_err("Failed to get mac in AHA mode");
        return TWO_CONTROLLERS;
    }
    if (read_port(port, szMac, cbMac))
        return FOUND;
    log_err("Failed to get local original mac");
    return blLocalOnly != 0 ? BAD_OR_LOCAL : PORT_FAILED;
}

int KLIBNetGetMacAddrByInterface(const char *szIf, char *szMac, size_t cbMac, int blLocalOnly)
{
    if (!is_short_interface_name(szIf) || szMac == nullptr || cbMac == 0)
        return fail_at(102, NET_ERR_BAD_PARAMETER, static_cast<int>(BAD_OR_LOCAL));
    InterfaceName name;
    if (sscanf(szIf, "%15[^.]s", name.buffer()) != 1) {
        log_err("Failed to sscanf: %s", szIf);
        return BAD_OR_LOCAL;
    }
    if ((begins_with(name, "bond") || begins_with(name, "ovs_bond")) && !resolve_bond(name))
        return BAD_OR_LOCAL;
    if (!resolve_ovs(name))
        return BAD_OR_LOCAL;
    int port = 0;
    // NOLINTNEXTLINE(cert-err34-c): a number that fits no int is cut to one, and the port of that number answers
    if (sscanf(name.c_str(), "eth%d", &port) != 1) {
        log_debug("Failed to get interface idx: %s", name.c_str());
        return BAD_OR_LOCAL;
    }
    return KLIBNetGetMacAddr(port, szMac, cbMac, blLocalOnly);
}
