#include "kavonetsdk/iface.h"

#include <cerrno>

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "iface/ethtool.h"
#include "iface/link_modes.h"
#include "kavonetsdk/mtu.h"
#include "kavonetsdk/virtual.h"

using namespace kavonet;

namespace {

constexpr int UNKNOWN = -1;

void set_best_mode(KAVOETHINFO &info, const LinkMode &mode)
{
    info.nBestSpeed = mode.speed;
    info.nBestDuplex = mode.duplex;
    copy_text(info.szBestMode, mode.suffix);
}

// Takes what the driver says. A driver without these questions leaves the record as it was.
bool read_settings(EthtoolRequest &request, KAVOETHINFO &info)
{
    constexpr uint32_t NO_SPEED = 0xFFFF;
    ethtool_cmd settings;
    if (!request.ask_settings(settings))
        return errno == EOPNOTSUPP;
    const uint32_t speed = ethtool_cmd_speed(&settings);
    info.nSpeed = speed == 0 || speed == NO_SPEED ? UNKNOWN : static_cast<int32_t>(speed);
    info.nDuplex = settings.duplex > FULL ? UNKNOWN : settings.duplex;
    info.uSupported = settings.supported;
    set_best_mode(info, best_link_mode(settings.supported));
    return true;
}

// Whether a member answers for its link; its duplex is then known, as far as its driver tells.
bool read_member(const Socket &socket, const char *name, KAVOETHINFO &member)
{
    EthtoolRequest request(socket, name);
    bool link_up = false;
    if (!request.ask_link(link_up))
        return false;
    read_settings(request, member);
    return true;
}

// Of an Open vSwitch bond only the duplex is known: that of the first member that answers for its link.
bool read_bond(const char *name, KAVOETHINFO &info)
{
    info.nSpeed = UNKNOWN;
    info.nDuplex = UNKNOWN;
    set_best_mode(info, NO_LINK_MODE);
    KAVOLINKAGGROPT bond;
    if (KAVONetLinkAggrGet(name, &bond) != 0) {
        log_err("Failed to get bond slave of %s", name);
        log_err("Failed to get ovs bond setting");
        return false;
    }
    const Socket socket;
    for (int i = 0; i < bond.nSlave; ++i) {
        KAVOETHINFO member{};
        member.nDuplex = UNKNOWN;
        if (read_member(socket, bond.szSlave[i], member)) {
            info.nDuplex = member.nDuplex;
            break;
        }
    }
    return true;
}

bool read_port(const char *name, KAVOETHINFO &info)
{
    const Socket socket;
    if (!socket)
        return fail(NET_ERR_SOCKET_FAILED, false);
    EthtoolRequest request(socket, name);
    if (!read_settings(request, info))
        return false;
    bool link_up = false;
    if (request.ask_link(link_up) && !link_up)
        info.nSpeed = UNKNOWN;
    return true;
}

bool read_link(const char *name, KAVOETHINFO &info)
{
    const int ovs = KLIBNetOVSIfIsMaster(name);
    if (ovs == 2)
        return read_bond(name, info);
    InterfaceName port("%s", name);
    if (ovs == 1 && KLIBNetOVSGetOriginalIf(name, port.buffer(), InterfaceName::capacity) != 0) {
        log_err("Failed to fetch slave interface from OVS master %s", name);
        port.format("%s", name);
    }
    return read_port(port.c_str(), info);
}

} // namespace

int KAVONetGetEthInfo(KAVOETHINFO *pInfo, const char *szIf)
{
    if (pInfo == nullptr || !is_interface_name(szIf))
        return fail_at(128, NET_ERR_BAD_PARAMETER, -1);
    if (!is_short_interface_name(szIf))
        return fail_at(153, NET_ERR_BAD_PARAMETER, -1);
    if (!read_link(szIf, *pInfo))
        return -1;
    const int mtu = KAVOGetMTUSetting(szIf);
    pInfo->nMTU = mtu > 0 ? mtu : UNKNOWN;
    return mtu > 0 ? 0 : -1;
}
