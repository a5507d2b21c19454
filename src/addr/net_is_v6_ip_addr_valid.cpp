#include <algorithm>
#include <cstdlib>
#include <string_view>

#include <arpa/inet.h>

#include "kavonetsdk/addr.h"

#include "addr/ascii.h"
#include "addr/bounded.h"

using namespace kavonet;

// The longest address that is looked at.
static constexpr size_t LONGEST = 46;

static bool is_v6(const char *text)
{
    in6_addr address;
    return inet_pton(AF_INET6, text, &address) == 1;
}

static bool is_prefix(std::string_view text)
{
    return !text.empty() && text.size() <= 3 && std::all_of(text.begin(), text.end(), is_ascii_digit) &&
           strtol(text.data(), nullptr, 10) <= 128;
}

extern "C" int BlKLIBIsv6IpAddrValid(const char *sz)
{
    if (sz == nullptr)
        return 0;

    const char *slash = strchr(sz, '/');
    if (slash == nullptr)
        return strnlen(sz, LONGEST + 1) <= LONGEST && is_v6(sz) ? 1 : 0;

    const auto length = static_cast<size_t>(slash - sz);
    if (length > LONGEST || !is_prefix(slash + 1))
        return 0;
    return is_v6(first_bytes<LONGEST + 1>(sz, length).c_str()) ? 1 : 0;
}
