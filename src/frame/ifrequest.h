// One interface's questions to the kernel, all through one socket.
#pragma once

#include <cstring>

#include <linux/if_vlan.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>

#include "frame/dotted.h"
#include "frame/owner.h"
#include "frame/text.h"

namespace kavonet {

class InterfaceRequest {
public:
    // Names are cut to the 15 characters that the kernel holds; callers that must refuse longer ones do so before.
    InterfaceRequest(const Socket &socket, const char *name) : socket_(socket.get())
    {
        copy_text(request_.ifr_name, name);
    }

    // False with errno when the kernel refuses.
    bool ask(unsigned long question) { return ioctl(socket_, question, &request_) >= 0; }

    // The flags as callers see them: sign-extended from the kernel's 16 bits.
    [[nodiscard]] int flags() const { return request_.ifr_flags; }
    [[nodiscard]] int mtu() const { return request_.ifr_mtu; }

    // The address of an answer to SIOCGIFADDR or SIOCGIFNETMASK (all zero when the question failed), in network byte
    // order and as text.
    [[nodiscard]] uint32_t address() const
    {
        return reinterpret_cast<const sockaddr_in *>(&request_.ifr_addr)->sin_addr.s_addr;
    }
    template <size_t Size> void address_text(char (&field)[Size]) const
    {
        static_assert(Size >= DOTTED_SIZE);
        write_dotted(address(), field);
    }

    ifreq &raw() { return request_; }

private:
    ifreq request_{};
    int socket_;
};

// A question about a VLAN interface; it fails for every other interface.
class VlanRequest {
public:
    VlanRequest(const Socket &socket, const char *name) : socket_(socket.get()) { copy_text(request_.device1, name); }

    bool ask_parent() { return ask(GET_VLAN_REALDEV_NAME_CMD); }
    bool ask_id() { return ask(GET_VLAN_VID_CMD); }

    [[nodiscard]] const char *parent() const { return request_.u.device2; }
    [[nodiscard]] int id() const { return request_.u.VID; }

private:
    bool ask(int command)
    {
        request_.cmd = command;
        return ioctl(socket_, SIOCGIFVLAN, &request_) >= 0;
    }

    vlan_ioctl_args request_{};
    int socket_;
};

} // namespace kavonet
