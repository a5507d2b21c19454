#include "kavonetsdk/ipv6.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <arpa/inet.h>

#include "frame/error.h"
#include "frame/kernel_file.h"
#include "frame/log.h"
#include "frame/name.h"

using namespace kavonet;

namespace {

constexpr size_t HEX_DIGITS = 32; // of an address, without colons
// Where the numbers begin: behind the address, the interface's index and two blanks. An index of four digits (4096 and
// more) moves them, so its row is not counted: callers know it so.
constexpr size_t NUMBERS = 36;

using Line = Text<256>;

// The canonical text of the address of 32 hexadecimal digits that a line begins with. A shorter line has none, which is
// logged as every text that does not parse.
void write_address(const char *digits, char (&text)[46])
{
    Text<64> grouped;
    if (strnlen(digits, HEX_DIGITS) == HEX_DIGITS)
        grouped.format("%.4s:%.4s:%.4s:%.4s:%.4s:%.4s:%.4s:%.4s", digits, digits + 4, digits + 8, digits + 12,
                       digits + 16, digits + 20, digits + 24, digits + 28);
    in6_addr address{};
    if (inet_pton(AF_INET6, grouped.c_str(), &address) != 1)
        log_err("inet_pton failed. %m");
    inet_ntop(AF_INET6, &address, text, sizeof text);
}

// Whether the line is one of the interface; the record is then filled.
bool read_line(const Line &line, const char *name, KAVOV6IPINFO &info)
{
    info = {};
    write_address(line.c_str(), info.szAddr);
    if (strnlen(line.c_str(), NUMBERS) < NUMBERS)
        return false;
    unsigned int prefix = 0;
    InterfaceName device;
    static_assert(HEX_DIGITS < NUMBERS && InterfaceName::capacity == 16, "the width below");
    const char *numbers = line.c_str() + NUMBERS;
    // NOLINTNEXTLINE(cert-err34-c): the kernel writes numbers of at most 32 bits
    const int fields = sscanf(numbers, "%x %x %x %15s", &prefix, &info.scope, &info.flags, device.buffer());
    info.prefix = static_cast<int32_t>(prefix);
    return fields == 4 && device.is(name);
}

} // namespace

int KAVOLnxV6IPGet(const char *szIf, KAVOV6IPINFO *rg, int c)
{
    constexpr char TABLE[] = "/proc/net/if_inet6";
    if (!is_short_interface_name(szIf) || rg == nullptr || c <= 0)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    memset(rg, 0, static_cast<size_t>(c) * sizeof *rg);
    KernelFile table(TABLE);
    if (!table) {
        log_err("Fail to open [%s], errno=[%d/%m]", TABLE, errno);
        return fail(NET_ERR_OPEN_FAILED, -1);
    }
    Line line;
    int count = 0;
    while (table.next_line(line)) {
        KAVOV6IPINFO info;
        if (!read_line(line, szIf, info))
            continue;
        if (count < c)
            rg[count] = info;
        ++count;
    }
    return count;
}
