// Addresses in binary, as inet_pton reads them. Bytes are in network order, so memcmp compares addresses as numbers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include <arpa/inet.h>
#include <sys/socket.h>

namespace kavonet {

struct BinaryAddress {
    int family = 0; // AF_INET, AF_INET6, or 0 when the text is neither
    std::array<uint8_t, sizeof(in6_addr)> bytes{};

    [[nodiscard]] size_t size() const { return family == AF_INET ? sizeof(in_addr) : sizeof(in6_addr); }
};

inline BinaryAddress parse_as(int family, const char *text)
{
    BinaryAddress address;
    if (inet_pton(family, text, address.bytes.data()) > 0)
        address.family = family;
    return address;
}

// IPv4 first and, failing that, IPv6.
inline BinaryAddress parse_any(const char *text)
{
    const BinaryAddress address = parse_as(AF_INET, text);
    return address.family != 0 ? address : parse_as(AF_INET6, text);
}

} // namespace kavonet
