// What the system's resolver knows of a host.
#pragma once

#include <netdb.h>
#include <sys/socket.h>

#include "frame/owner.h"

namespace kavonet {

using ResolvedAddresses = Owned<addrinfo, freeaddrinfo>;

// The addresses of a host, and of a service on it, for streams. False when the resolver gives none.
inline bool resolve(const char *host, const char *service, ResolvedAddresses &addresses)
{
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    return getaddrinfo(host, service, &hints, addresses.handle()) == 0;
}

} // namespace kavonet
