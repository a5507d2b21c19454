// Dotted IPv4 addresses: reading their numbers, and writing them in decimal.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <arpa/inet.h>

#include "addr/ascii.h"
#include "frame/dotted.h"
#include "frame/text.h"

namespace kavonet {

// The most that is written of a subnet, whether its mask is dotted or a length.
inline constexpr size_t SUBNET_SIZE = 64;

// As strtol in base 0 or 10, held to 32 bits: where long is wider, 4294967297 must not wrap into the valid octet 1.
inline int read_number(const char *text, char **end, int base)
{
    return static_cast<int>(std::clamp<long>(strtol(text, end, base), INT_MIN, INT_MAX));
}

// The same in base 0, without the call for what nearly every part is: one to three digits that begin with no 0.
inline int read_part(const char *text, char **end)
{
    int value = 0;
    int digits = 0;
    while (digits < 3 && is_ascii_digit(text[digits]))
        value = value * 10 + (text[digits++] - '0');
    if (digits == 0 || text[0] == '0' || is_ascii_digit(text[digits]))
        return read_number(text, end, 0);
    *end = const_cast<char *>(text) + digits;
    return value;
}

// Compared as unsigned, so that a negative part counts as too large.
inline bool is_octet(int part)
{
    return static_cast<unsigned>(part) <= 255;
}

inline bool are_octets(const int (&part)[4])
{
    return std::all_of(part, part + 4, is_octet);
}

// Four octets as one number in host byte order, the first in the top byte.
inline uint32_t joined(const int (&part)[4])
{
    uint32_t value = 0;
    for (const int octet : part)
        value = value << 8 | static_cast<uint32_t>(octet);
    return value;
}

// The mask of a prefix length of 0..32, in host byte order.
inline uint32_t mask_of(unsigned prefix)
{
    return prefix == 0 ? 0 : UINT32_MAX << (32 - prefix);
}

// An address in host byte order as "a.b.c.d".
inline Text<DOTTED_SIZE> dotted(uint32_t address)
{
    Text<DOTTED_SIZE> text;
    write_dotted(htonl(address), text.buffer());
    return text;
}

} // namespace kavonet
