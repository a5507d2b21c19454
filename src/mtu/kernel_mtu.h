// The MTU that the kernel holds for an interface.
#pragma once

#include "frame/ifrequest.h"

namespace kavonet {

// The MTU; 0 when the kernel does not know the interface, -1 without a socket.
inline int kernel_mtu(const Socket &socket, const char *name)
{
    if (!socket)
        return -1;
    InterfaceRequest request(socket, name);
    return request.ask(SIOCGIFMTU) ? request.mtu() : 0;
}

} // namespace kavonet
