// The kernel's table of IPv6 addresses: whatever it holds, each row is taken or passed over, every address is a text that
// can be read back, and nothing is written beyond the room. The same rows then say which duplicates are taken off.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <dlfcn.h>

#include "fuzz/property.h"
#include "kavonetsdk/ipv4.h"
#include "kavonetsdk/ipv6.h"
#include "support/log_capture.h"

namespace {

constexpr char NAME[] = "eth0";
constexpr int ROOM = 3;

std::string table;
std::vector<std::string> taken_off;

bool is_zero(const KAVOV6IPINFO &info)
{
    static const KAVOV6IPINFO zero{};
    return memcmp(&zero, &info, sizeof info) == 0;
}

bool is_whole(const KAVOV6IPINFO &info)
{
    in6_addr address;
    return strnlen(info.szAddr, sizeof info.szAddr) < sizeof info.szAddr &&
           inet_pton(AF_INET6, info.szAddr, &address) == 1;
}

int check_rows()
{
    KAVOV6IPINFO found[ROOM + 1];
    memset(found, 0x5a, sizeof found);
    const int count = KAVOLnxV6IPGet(NAME, found, ROOM);
    HOLDS(count >= 0, table.c_str());
    for (int i = 0; i < ROOM; ++i)
        HOLDS(i < count ? is_whole(found[i]) : is_zero(found[i]), table.c_str());
    HOLDS(found[ROOM].szAddr[0] == 0x5a, table.c_str());
    // No row is shorter than its columns and the name.
    HOLDS(static_cast<size_t>(count) * 40 <= table.size(), table.c_str());
    return count;
}

void check_duplicates(int count)
{
    taken_off.clear();
    KAVOV6IPINFO removed[ROOM];
    memset(removed, 0x5a, sizeof removed);
    const int result = KAVONetIPv6RemoveDADFailedIP(NAME, removed, ROOM);
    HOLDS(result >= -1 && result <= count, table.c_str());
    HOLDS(result == -1 || taken_off.size() == static_cast<size_t>(result), table.c_str());
    for (int i = 0; i < ROOM && i < result; ++i) {
        HOLDS((removed[i].flags & 0x08) != 0 && is_whole(removed[i]), table.c_str());
        HOLDS(taken_off[static_cast<size_t>(i)] == removed[i].szAddr, table.c_str());
    }
}

} // namespace

// The input stands in the place of the kernel's table, and addresses are only written down.
extern "C" FILE *fopen64(const char *path, const char *mode)
{
    if (strcmp(path, "/proc/net/if_inet6") != 0) {
        static const auto next = reinterpret_cast<FILE *(*)(const char *, const char *)>(dlsym(RTLD_NEXT, "fopen64"));
        return next(path, mode);
    }
    static char empty[] = "\n";
    return table.empty() ? fmemopen(empty, 1, "r") : fmemopen(table.data(), table.size(), "r");
}

extern "C" int KAVONetSetIP(const char *, const char *, const char *szAddr, unsigned int prefix, const char *szAction)
{
    HOLDS(prefix <= 128 && strcmp(szAction, "del") == 0, table.c_str());
    taken_off.emplace_back(szAddr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    table.assign(reinterpret_cast<const char *>(data), size);
    check_duplicates(check_rows());
    support::clear_log();
    return 0;
}
