#include "kavonetsdk/mtu.h"

#include <cstring>

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "mtu/kernel_mtu.h"

using namespace kavonet;

int KAVOGetMTU(const char *szIf)
{
    // A name of 16 characters is cut to the 15 that the kernel holds, a longer one is refused.
    constexpr size_t LONGEST = 16;
    if (!is_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    if (strlen(szIf) > LONGEST) {
        log_err("interface name is too long");
        return -1;
    }
    return kernel_mtu(Socket(), szIf);
}
