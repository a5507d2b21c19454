#include "kavonetsdk/virtual.h"

#include <strings.h>

#include "frame/error.h"
#include "frame/text.h"

using namespace kavonet;

int KAVONetLinkAggrConfUpdateBootProto(const char *szPath, PKLIBSZHASH *ppSet)
{
    constexpr char KEY[] = "BOOTPROTO";
    constexpr const char *ADDRESS_KEYS[] = {"IPADDR", "NETMASK"};
    if (szPath == nullptr || szPath[0] == '\0' || ppSet == nullptr || *ppSet == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    Text<64> method;
    const bool is_set = KLIBCFileGetKeyValue(szPath, KEY, method.buffer(), method.size(), 0) > 0;
    if (is_set && (strcasecmp(method.c_str(), "static") == 0 || strcasecmp(method.c_str(), "dhcp") == 0))
        return 0;
    int result = KLIBCSzHashSetValue(ppSet, KEY, "dhcp");
    // An address without its method is none; what stands beside a missing method is left alone.
    for (const char *key : ADDRESS_KEYS) {
        if (is_set && result >= 0)
            result = KLIBCSzHashSetValue(ppSet, key, "");
    }
    return result;
}
