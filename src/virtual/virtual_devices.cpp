#include "kavonetsdk/net_int.h"

#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "frame/text.h"
#include "kavonetsdk/virtual.h"

namespace kavonet {

namespace {

constexpr char OVS_PREFIX[] = "ovs_";
constexpr size_t OVS_PREFIX_LENGTH = sizeof OVS_PREFIX - 1;

} // namespace

VirtualDevices::VirtualDevices() : folder_(opendir("/sys/devices/virtual/net")), ovs_interfaces_(KLIBCSzListAlloc(0))
{
    listed_ = folder_ && ovs_interfaces_;
    while (const dirent *entry = listed_ ? readdir(folder_.get()) : nullptr) {
        if (strncmp(entry->d_name, OVS_PREFIX, OVS_PREFIX_LENGTH) == 0)
            listed_ = KLIBCSzListPush(ovs_interfaces_.handle(), entry->d_name + OVS_PREFIX_LENGTH) >= 0;
    }
}

bool VirtualDevices::has_ovs_interface(const char *name) const
{
    if (!listed_)
        return kavonet::has_ovs_interface(name);
    for (int i = 0; i < ovs_interfaces_->nItem; ++i) {
        if (strcmp(KLIBCSzListGet(ovs_interfaces_.get(), i), name) == 0)
            return true;
    }
    return false;
}

bool VirtualDevices::is_bridge_port(const char *name) const
{
    // The way through the class folder leads over a link and costs three times as much: it is left to physical ports.
    if (!folder_ || faccessat(dirfd(folder_.get()), name, F_OK, 0) != 0)
        return KLIBNetBridgeIfIsSlave(name) == 1;
    Text<32> port;
    port.append(name);
    port.append("/brport");
    return faccessat(dirfd(folder_.get()), port.c_str(), R_OK, 0) == 0;
}

} // namespace kavonet
