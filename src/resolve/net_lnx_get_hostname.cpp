#include "kavonetsdk/resolve.h"

#include <cerrno>
#include <cstring>

#include <unistd.h>

#include "frame/error.h"
#include "frame/owner.h"
#include "frame/text.h"

using namespace kavonet;

int KAVOLnxGetHostname(char *szName)
{
    if (szName == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    const ConfigLock lock(ConfigLock::NETWORK_READ);
    if (!lock)
        return fail(NET_ERR_LOCK_FAILED, -1);
    Text<64> name;
    errno = 0;
    // Some systems cut a long name and succeed; errno tells.
    if (gethostname(name.buffer(), Text<64>::capacity) != 0 || errno == ENAMETOOLONG)
        return fail(NET_ERR_SYSTEM, -1);
    name.buffer()[strcspn(name.c_str(), ".")] = '\0';
    snprintf(szName, Text<64>::capacity, "%s", name.c_str());
    return name.empty() ? 0 : 1;
}
