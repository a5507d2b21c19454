// A table of routes through the reader of the default route.
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include <arpa/inet.h>

#include "frame/dotted.h"
#include "fuzz/property.h"
#include "resolve/default_route.h"

using kavonet::Route;
using kavonet::RouteSearch;

namespace {

// The lines of a text, as a file hands them out.
class Lines {
public:
    explicit Lines(const std::string &text) : text_(text) {}

    template <size_t Size> bool next_line(kavonet::Text<Size> &line)
    {
        if (at_ == text_.size())
            return false;
        const size_t newline = text_.find('\n', at_);
        const size_t length = std::min(newline == std::string::npos ? text_.size() - at_ : newline + 1 - at_, Size - 1);
        text_.copy(line.buffer(), length, at_);
        line.buffer()[length] = '\0';
        at_ += length;
        return true;
    }

private:
    const std::string &text_;
    size_t at_ = 0;
};

// The format once more, with nothing but strtoul and strtol.
struct Expected {
    std::string name;
    unsigned long hex[4] = {}; // destination, gateway, flags, mask

    bool read(const char *text)
    {
        while (isspace(static_cast<unsigned char>(*text)) != 0)
            ++text;
        while (*text != '\0' && isspace(static_cast<unsigned char>(*text)) == 0)
            name += *text++;
        if (name.empty() || name.size() > 15)
            return false;
        int hexes = 0;
        for (const char field : std::string("xxxdddxddd")) {
            if (field == 'x' ? !next_hex(text, hex[hexes++]) : !next_decimal(text))
                return false;
        }
        return true;
    }

private:
    static bool next_decimal(const char *&text)
    {
        char *end = nullptr;
        strtol(text, &end, 10);
        const char *before = std::exchange(text, end);
        return before != end;
    }

    static bool next_hex(const char *&text, unsigned long &number)
    {
        char *end = nullptr;
        number = strtoul(text, &end, 16);
        if (end == text)
            return false;
        // The system's scanner takes a bare "0x" for a zero.
        const size_t first = strspn(text, " \t\n\v\f\r+-");
        const bool zero = text + first + 1 == end && text[first] == '0';
        text = zero && (*end == 'x' || *end == 'X') ? end + 1 : end;
        return true;
    }
};

RouteSearch expected_search(const std::string &table, Expected &route)
{
    Lines lines(table);
    kavonet::RouteLine line;
    lines.next_line(line);
    while (lines.next_line(line)) {
        route = {};
        if (!route.read(line.c_str()))
            return RouteSearch::UNKNOWN_FORMAT;
        if ((route.hex[2] & 3) == 3 && route.hex[0] == 0 && route.hex[3] == 0)
            return RouteSearch::FOUND;
    }
    return RouteSearch::NONE;
}

RouteSearch search(const std::string &table, Route &route)
{
    Lines lines(table);
    return kavonet::find_default_route(lines, route);
}

void check_gateway(const Route &route, unsigned long expected, const char *text)
{
    ExactText dotted(kavonet::DOTTED_SIZE, "");
    kavonet::write_dotted(route.gateway_address(), dotted.get());
    in_addr back{};
    HOLDS(inet_pton(AF_INET, dotted.get(), &back) == 1 && back.s_addr == route.gateway_address(), text);
    HOLDS(back.s_addr == std::min<unsigned long>(expected, UINT32_MAX), text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string table(reinterpret_cast<const char *>(data), size);
    const char *text = table.c_str();
    const std::unique_ptr<Route> route(new Route);
    Expected expected;
    const RouteSearch found = search(table, *route);
    HOLDS(found == expected_search(table, expected), text);
    if (found != RouteSearch::FOUND)
        return 0;
    HOLDS(route->interface.c_str() == expected.name, text);
    HOLDS(route->is_default(), text);
    check_gateway(*route, expected.hex[1], text);

    // What stands behind the default route is not read.
    Route again;
    HOLDS(search(table + "\nbroken\n", again) == RouteSearch::FOUND, text);
    HOLDS(again.interface.is(route->interface.c_str()) && again.gateway == route->gateway, text);
    return 0;
}
