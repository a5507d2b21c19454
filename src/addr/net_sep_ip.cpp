#include "kavonetsdk/addr.h"

#include "addr/bounded.h"
#include "addr/dotted.h"
#include "frame/error.h"

using namespace kavonet;

// The one parser of dotted addresses; every other function reads them through it.
extern "C" int cKLIBISepIP(const char *szIP, int rgPart[4])
{
    if (szIP == nullptr || rgPart == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, -1);

    const Text<32> copy = bounded_copy<32>(szIP);
    const char *part = copy.c_str();
    char *end = nullptr;
    for (int dots = 0; dots < 3; ++dots) {
        rgPart[dots] = read_part(part, &end);
        if (end[0] != '.' || end[1] == '.')
            return fail_at(27, NET_ERR_BAD_ADDRESS, dots);
        part = end + 1;
    }

    // An address without its fourth part is no error of its own: callers see that it has not four parts.
    if (*part == '\0')
        return 3;
    rgPart[3] = read_part(part, &end);
    return *end == '\0' ? 4 : fail_at(38, NET_ERR_BAD_ADDRESS, 3);
}
