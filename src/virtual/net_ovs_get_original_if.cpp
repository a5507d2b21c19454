#include "kavonetsdk/virtual.h"

#include <cstdio>
#include <cstring>

#include "frame/error.h"
#include "frame/name.h"

using namespace kavonet;

int KLIBNetOVSGetOriginalIf(const char *szIf, char *szPort, size_t cbPort)
{
    constexpr char PREFIX[] = "ovs_";
    constexpr size_t PREFIX_LENGTH = sizeof PREFIX - 1;
    // Names shorter than the prefix are refused by the same comparison: their length wraps round.
    if (!is_interface_name(szIf) || szPort == nullptr || strlen(szIf) - PREFIX_LENGTH >= cbPort)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    memset(szPort, 0, cbPort);
    const char *port = szIf + PREFIX_LENGTH;
    if (strncmp(szIf, PREFIX, PREFIX_LENGTH) != 0 || !is_interface_name(port))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    snprintf(szPort, cbPort, "%s", port);
    return 0;
}
