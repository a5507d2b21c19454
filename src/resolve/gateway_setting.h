// The configured default gateway and what callers may pass as one.
#pragma once

namespace kavonet {

inline constexpr char NETWORK_FILE[] = "/etc/sysconfig/network";
inline constexpr char GATEWAY_KEY[] = "GATEWAY";

// A null or empty gateway means that there is to be none.
inline bool is_no_gateway(const char *gateway)
{
    return gateway == nullptr || gateway[0] == '\0';
}

// A gateway becomes an argument of a command and a line of a file: it must be one word, and no option.
inline bool is_gateway_word(const char *gateway)
{
    if (gateway[0] == '\0' || gateway[0] == '-')
        return false;
    for (const char *c = gateway; *c != '\0'; ++c) {
        if (static_cast<unsigned char>(*c) <= ' ' || *c == '\x7f')
            return false;
    }
    return true;
}

} // namespace kavonet
