// IPv4 addresses as text.
#pragma once

#include <cstdint>
#include <cstring>

namespace kavonet {

inline constexpr int DOTTED_SIZE = 16; // "255.255.255.255" and the terminator

// Writes an address (network byte order) as dotted text of at most DOTTED_SIZE bytes. Lists of interfaces write hundreds
// of them, so it is done by hand.
inline void write_dotted(uint32_t address, char *text)
{
    uint8_t octets[sizeof address];
    memcpy(octets, &address, sizeof octets);
    char *out = text;
    for (const unsigned int octet : octets) {
        if (octet >= 100)
            *out++ = static_cast<char>('0' + octet / 100);
        if (octet >= 10)
            *out++ = static_cast<char>('0' + octet / 10 % 10);
        *out++ = static_cast<char>('0' + octet % 10);
        *out++ = '.';
    }
    out[-1] = '\0';
}

} // namespace kavonet
