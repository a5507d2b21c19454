#include "kavonetsdk/iface.h"

#include <cerrno>

#include "frame/error.h"
#include "frame/ifrequest.h"
#include "frame/name.h"

using namespace kavonet;

int KLIBNetSetIfCfg(const char *szIf, const uint32_t *pAddr, const uint32_t *pMask)
{
    if (!is_interface_name(szIf) || pAddr == nullptr || pMask == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, 0);
    const Socket socket;
    if (!socket)
        return 0;
    InterfaceRequest address(socket, szIf);
    auto *in = reinterpret_cast<sockaddr_in *>(&address.raw().ifr_addr);
    in->sin_family = AF_INET;
    in->sin_addr.s_addr = *pAddr;
    if (!address.ask(SIOCSIFADDR) && errno != EEXIST)
        return 0;
    // The family of the mask stays 0: the platforms that callers run on look at it, and it is theirs to accept or refuse.
    InterfaceRequest mask(socket, szIf);
    reinterpret_cast<sockaddr_in *>(&mask.raw().ifr_netmask)->sin_addr.s_addr = *pMask;
    return mask.ask(SIOCSIFNETMASK) ? 1 : 0;
}
