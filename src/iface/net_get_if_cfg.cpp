#include "kavonetsdk/iface.h"

#include "frame/error.h"
#include "frame/ifrequest.h"
#include "frame/name.h"

using namespace kavonet;

int KLIBNetGetIfCfg(const char *szIf, uint32_t *pAddr, uint32_t *pMask)
{
    if (!is_interface_name(szIf) || pAddr == nullptr || pMask == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, 0);
    const Socket socket;
    if (!socket)
        return 0;
    InterfaceRequest request(socket, szIf);
    if (!request.ask(SIOCGIFADDR))
        return 0;
    *pAddr = request.address();
    if (!request.ask(SIOCGIFNETMASK))
        return 0;
    *pMask = request.address();
    return 1;
}
