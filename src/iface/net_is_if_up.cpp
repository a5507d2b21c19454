#include "kavonetsdk/iface.h"

#include <cstdio>

#include <net/if.h>

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "frame/owner.h"
#include "frame/paths.h"

using namespace kavonet;

int KAVONetIsIFUp(const char *szIf)
{
    if (!is_short_interface_name(szIf))
        return fail(NET_ERR_BAD_PARAMETER, 0);
    const Path path("/sys/class/net/%s/flags", szIf);
    const File file(fopen(path.c_str(), "re"));
    if (!file)
        return 0;
    unsigned int flags = 0;
    if (fscanf(file.get(), "0x%x", &flags) != 1) { // NOLINT(cert-err34-c): the kernel writes 32 bits
        log_err("fscanf failed. %m");
        return 0;
    }
    return (flags & IFF_UP) != 0 ? 1 : 0;
}
