#include <unistd.h>

#include "frame/ifrequest.h"
#include "kavonetsdk/pppoe.h"
#include "pppoe/interface_cache.h"

using namespace kavonet;

namespace {

struct Wanted {
    char *text;
    int size;

    explicit operator bool() const { return text != nullptr && size > 0; }

    bool ask(InterfaceRequest &request, unsigned long question) const
    {
        if (!request.ask(question))
            return false;
        char dotted[DOTTED_SIZE];
        request.address_text(dotted);
        snprintf(text, static_cast<size_t>(size), "%s", dotted);
        return true;
    }
};

bool query(const Wanted &address, const Wanted &mask)
{
    Text<32> name;
    if (KAVOPPPoeIntfGet(name.buffer(), Text<32>::capacity) != 0)
        return false;
    // Only a wanted address opens a socket, so the netmask alone is never answered: callers know it so.
    if (!address)
        return false;
    const Socket socket;
    if (!socket)
        return false;
    InterfaceRequest request(socket, name.c_str());
    return address.ask(request, SIOCGIFADDR) && (!mask || mask.ask(request, SIOCGIFNETMASK));
}

} // namespace

int KAVOPPPoeNetInfoGet(char *szAddr, int cbAddr, char *szMask, int cbMask)
{
    const Wanted address{szAddr, cbAddr};
    const Wanted mask{szMask, cbMask};
    if (!address && !mask)
        return 0;
    if (query(address, mask))
        return 0;
    unlink(INTERFACE_CACHE); // the next question goes to the status command again
    return -1;
}
