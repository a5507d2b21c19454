#include <algorithm>
#include <string_view>

#include "kavonetsdk/addr.h"

// Bytes of 127 and above are let through: as unsigned they are neither control characters nor specials.
static bool ends_atom(char c)
{
    constexpr std::string_view SPECIALS = "\"(),.:;<>[\\]@";
    return static_cast<unsigned char>(c) <= ' ' || SPECIALS.find(c) != std::string_view::npos;
}

extern "C" int BlKLIBIsAtom(const char *sz)
{
    if (sz == nullptr || *sz == '\0')
        return 0;
    const std::string_view text = sz;
    return std::none_of(text.begin(), text.end(), ends_atom) ? 1 : 0;
}
