#include "kavonetsdk/event.h"

#include "frame/error.h"

using namespace kavonet;

int KLIBNetIFChgPluginSetArgs(KLIBPLUGINHANDLE h, const char *const *rgOrigin, int nOrigin, const char *const *rgNew,
                              int nNew, int result)
{
    if (h == 0 || rgOrigin == nullptr || rgNew == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    const bool set = KLIBPluginSetArgByArray(h, "ORIGIN_IFNAME", rgOrigin, nOrigin) >= 0 &&
                     KLIBPluginSetArgByArray(h, "IFNAME", rgNew, nNew) >= 0 &&
                     KLIBPluginSetArgByInt(h, "RESULT", result) >= 0;
    return set ? 0 : -1;
}
