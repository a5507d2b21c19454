// What an interface's ifcfg file says of its IPv6.
#pragma once

#include <algorithm>
#include <array>

#include <strings.h>

namespace kavonet {

inline constexpr char MODE_KEY[] = "IPV6INIT";
inline constexpr char ADDRESS_KEY[] = "IPV6ADDR";
inline constexpr char PREFIX_KEY[] = "IPV6PREFIXLENG";
inline constexpr char ROUTER_KEY[] = "IPV6_DEFAULTGW";
inline constexpr char ACCEPT_RA_KEY[] = "IPV6_ACCEPT_RA";

// The modes' texts, each at its number.
inline constexpr std::array<const char *, 5> MODE_TEXTS = {"auto", "off", "dhcp", "static", "auto_dhcp"};

// The number of a mode's text, in any case of letters; -1 for any other text.
inline int mode_of(const char *text)
{
    const auto *found = std::find_if(MODE_TEXTS.begin(), MODE_TEXTS.end(),
                                     [&](const char *mode) { return strcasecmp(mode, text) == 0; });
    return found == MODE_TEXTS.end() ? -1 : static_cast<int>(found - MODE_TEXTS.begin());
}

} // namespace kavonet
