// The default route in the kernel's table of routes.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include <net/route.h>

#include "frame/name.h"
#include "frame/text.h"

namespace kavonet {

using RouteLine = Text<256>;

// One line of the table, the numbers as the kernel writes them: addresses in network byte order.
struct Route {
    InterfaceName interface;
    unsigned long destination = 0;
    unsigned long gateway = 0;
    unsigned long mask = 0;
    unsigned int flags = 0;

    // False when the line does not hold all the fields.
    bool read(const RouteLine &line)
    {
        constexpr char BLANKS[] = " \t\n\v\f\r";
        constexpr int FIELDS = 11;
        const char *name = line.c_str() + strspn(line.c_str(), BLANKS);
        // The rest of a name that does not fit would be taken for the number behind it.
        if (strcspn(name, BLANKS) >= InterfaceName::capacity)
            return false;
        int references = 0;
        int uses = 0;
        int metric = 0;
        int mtu = 0;
        int window = 0;
        int round_trip = 0;
        static_assert(InterfaceName::capacity == 16, "the width below");
        // NOLINTNEXTLINE(cert-err34-c): the kernel writes numbers of at most 32 bits
        return sscanf(name, "%15s%lx%lx%X%d%d%d%lx%d%d%d", interface.buffer(), &destination, &gateway, &flags,
                      &references, &uses, &metric, &mask, &mtu, &window, &round_trip) == FIELDS;
    }

    [[nodiscard]] bool is_default() const
    {
        constexpr unsigned int USABLE = RTF_UP | RTF_GATEWAY;
        return (flags & USABLE) == USABLE && destination == 0 && mask == 0;
    }

    // A number that no address has becomes the largest, on machines of any word size.
    [[nodiscard]] uint32_t gateway_address() const
    {
        return static_cast<uint32_t>(std::min<unsigned long>(gateway, UINT32_MAX));
    }
};

enum class RouteSearch { FOUND, NONE, UNKNOWN_FORMAT };

// Looks for the first default route in the lines of the table, of which the first is its header.
template <class Lines> RouteSearch find_default_route(Lines &lines, Route &route)
{
    RouteLine line;
    lines.next_line(line);
    while (lines.next_line(line)) {
        if (!route.read(line))
            return RouteSearch::UNKNOWN_FORMAT;
        if (route.is_default())
            return RouteSearch::FOUND;
    }
    return RouteSearch::NONE;
}

// Writes gateway and interface of the kernel's default route, each cut to its size; either may be null. Without a
// default route both stay as they are. Returns 0, or -1 when the table cannot be read.
int default_gateway_get(char *gateway, int gateway_size, char *interface, int interface_size);

} // namespace kavonet
