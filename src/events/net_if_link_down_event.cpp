#include "kavonetsdk/event.h"

#include "events/link_event.h"
#include "frame/error.h"
#include "frame/name.h"

using namespace kavonet;

int KLIBNetIfLinkDownEvent(const char *szIf)
{
    if (!is_short_interface_name(szIf))
        return fail_at(11, NET_ERR_BAD_PARAMETER, -1);
    return fire_link_event("net/if_link_down", szIf);
}
