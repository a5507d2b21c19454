#include "kavonetsdk/iface.h"

#include "frame/error.h"
#include "frame/ifrequest.h"
#include "frame/name.h"

using namespace kavonet;

int KLIBNetISetIfFlags(const char *szIf, int value)
{
    if (!is_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, 0);
    const Socket socket;
    if (!socket)
        return 0;
    InterfaceRequest request(socket, szIf);
    if (!request.ask(SIOCGIFFLAGS))
        return 0;
    // A negative value -k takes the bits k away; -k - 1 is their complement.
    const auto flags = static_cast<unsigned int>(request.flags());
    const auto bits = static_cast<unsigned int>(value);
    request.raw().ifr_flags = static_cast<short>(value >= 0 ? flags | bits : flags & (bits - 1));
    return request.ask(SIOCSIFFLAGS) ? 1 : 0;
}
