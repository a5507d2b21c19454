#include "kavonetsdk/ipv4.h"

#include <cstdio>

#include "frame/error.h"
#include "frame/ifrequest.h"
#include "frame/log.h"
#include "frame/name.h"

using namespace kavonet;

int KAVOILnxGetIP(const char *szIf, char *szAddr, int cbAddr)
{
    if (!is_interface_name(szIf) || szAddr == nullptr || cbAddr <= 0)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    const Socket socket;
    if (!socket)
        return fail(NET_ERR_SOCKET_FAILED, -1);
    InterfaceRequest request(socket, szIf);
    request.raw().ifr_addr.sa_family = AF_INET;
    const bool has_address = request.ask(SIOCGIFADDR);
    if (!has_address)
        log_info("get ip failed");
    // Without an address the text is 0.0.0.0: callers compare it.
    char text[INET_ADDRSTRLEN];
    request.address_text(text);
    snprintf(szAddr, static_cast<size_t>(cbAddr), "%s", text);
    return has_address ? 1 : 0;
}
