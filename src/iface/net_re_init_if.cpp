#include "kavonetsdk/iface.h"

#include "frame/error.h"
#include "frame/ifrequest.h"
#include "frame/name.h"

using namespace kavonet;

int KLIBNetReInitIf(const char *szIf)
{
    if (!is_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, 0);
    const Socket socket;
    if (!socket)
        return 0;
    InterfaceRequest request(socket, szIf);
    if (!request.ask(SIOCGIFFLAGS))
        return 0;
    const int flags = request.flags();
    if ((flags & IFF_UP) != 0) {
        request.raw().ifr_flags = static_cast<short>(flags & ~IFF_UP);
        if (!request.ask(SIOCSIFFLAGS))
            return 0;
    }
    request.raw().ifr_flags = static_cast<short>(flags | IFF_UP);
    return request.ask(SIOCSIFFLAGS) ? 1 : 0;
}
