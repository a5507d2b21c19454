#include "kavonetsdk/virtual.h"

#include "frame/error.h"
#include "frame/ifrequest.h"
#include "frame/name.h"

using namespace kavonet;

int KLIBNetVlanGet(const char *szIf, KLIBNETVLANINFO *p)
{
    if (!is_short_interface_name(szIf) || p == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    *p = {};
    copy_text(p->szIfname, szIf);
    const Socket socket;
    if (!socket)
        return fail(NET_ERR_SOCKET_FAILED, -1);
    VlanRequest request(socket, szIf);
    if (!request.ask_parent())
        return 0;
    copy_text(p->szRowDev, request.parent());
    if (!request.ask_id())
        return 0;
    p->vlanId = request.id();
    return 1;
}
