// The kernel's tables of sockets, and what a line of them says.
#pragma once

#include <array>
#include <cstdlib>

#include "frame/text.h"

namespace kavonet {

using SocketTables = std::array<const char *, 2>;
using SocketLine = Text<1024>;

// The tables of a protocol in the order in which they are read: 1 is TCP, everything else UDP.
inline const SocketTables &socket_tables(unsigned int protocol)
{
    static constexpr SocketTables TCP = {"/proc/net/tcp", "/proc/net/tcp6"};
    static constexpr SocketTables UDP = {"/proc/net/udp", "/proc/net/udp6"};
    return protocol == 1 ? TCP : UDP;
}

// Walks along one line. Each step takes what the scanf directive in its comment takes and says whether it matched. A server
// holds a hundred thousand sockets, and scanf itself costs nearly as much a line as the kernel does.
class SocketColumns {
public:
    explicit SocketColumns(const SocketLine &line) : at_(line.c_str()) {}

    bool skip_decimal() // %*d
    {
        skip_blanks();
        if (*at_ == '-' || *at_ == '+')
            ++at_;
        const char *first = at_;
        while (*at_ >= '0' && *at_ <= '9')
            ++at_;
        return at_ != first;
    }

    bool skip_address() // %*64[0-9A-Fa-f]
    {
        constexpr int LONGEST = 64;
        int digits = 0;
        for (; digits < LONGEST && is_hex(*at_); ++digits)
            ++at_;
        return digits > 0;
    }

    bool skip(char c)
    {
        const bool matches = *at_ == c;
        at_ += matches ? 1 : 0;
        return matches;
    }

    void skip_blanks()
    {
        while (*at_ == ' ' || (*at_ >= '\t' && *at_ <= '\r'))
            ++at_;
    }

    bool number(unsigned int &value) // %X
    {
        constexpr int BASE = 16;
        char *end = nullptr;
        const unsigned long read = strtoul(at_, &end, BASE);
        if (end == at_)
            return false;
        at_ = end;
        value = static_cast<unsigned int>(read);
        return true;
    }

private:
    static bool is_hex(char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f'); }

    const char *at_;
};

// "%*d: %*64[0-9A-Fa-f]:%X"; the header of a table does not match.
inline bool read_local_port(SocketColumns &columns, unsigned int &port)
{
    if (!columns.skip_decimal() || !columns.skip(':'))
        return false;
    columns.skip_blanks();
    return columns.skip_address() && columns.skip(':') && columns.number(port);
}

// The same and " %*64[0-9A-Fa-f]:%*X %X" behind it.
inline bool read_port_and_state(SocketColumns &columns, unsigned int &port, unsigned int &state)
{
    unsigned int remote_port = 0;
    if (!read_local_port(columns, port))
        return false;
    columns.skip_blanks();
    return columns.skip_address() && columns.skip(':') && columns.number(remote_port) && columns.number(state);
}

} // namespace kavonet
