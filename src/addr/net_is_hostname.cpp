#include <cstddef>

#include "kavonetsdk/addr.h"

#include "addr/ascii.h"

using namespace kavonet;

static constexpr size_t LONGEST = 15;

extern "C" int BlKLIBIsHostname(const char *sz)
{
    if (sz == nullptr || (!is_ascii_letter(sz[0]) && sz[0] != '_'))
        return 0;

    size_t length = 1;
    while (is_ascii_letter(sz[length]) || is_ascii_digit(sz[length]) || sz[length] == '-' || sz[length] == '_') {
        if (++length > LONGEST)
            return 0;
    }
    return sz[length] == '\0' ? 1 : 0;
}
