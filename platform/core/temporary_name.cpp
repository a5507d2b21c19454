#include "core/temporary_name.h"

#include <algorithm>

#include <sys/random.h>

namespace kavo {

bool temporary_name(std::string_view prefix, std::string_view base, TemporaryName &name)
{
    static constexpr char LETTERS[] = "abcdefghijklmnopqrstuvwxyz0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ-_";
    constexpr size_t COUNT = 8;
    static_assert(sizeof LETTERS == 64 + 1);

    unsigned char random[COUNT];
    if (getrandom(random, sizeof random, 0) != static_cast<ssize_t>(sizeof random))
        return false;
    const size_t room = NAME_MAX - COUNT - 1 - prefix.size();
    char *end = std::copy(prefix.begin(), prefix.end(), name);
    end = std::copy_n(base.data(), std::min(base.size(), room), end);
    *end++ = '.';
    for (const unsigned char byte : random)
        *end++ = LETTERS[byte % 64];
    *end = '\0';
    return true;
}

} // namespace kavo
