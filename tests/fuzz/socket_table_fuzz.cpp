// Tables of sockets through the functions that look for ports in use, against the scanf formats that describe their lines.
// The first line of an input holds protocol, capacity and the range; a line "--" stands between the tables.
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <memory>
#include <vector>

#include <dlfcn.h>

#include "fuzz/property.h"
#include "kavonetsdk/diag.h"
#include "support/log_capture.h"

namespace {

std::string tables[2];

} // namespace

// The library's tables are the input's.
extern "C" FILE *fopen64(const char *path, const char *mode)
{
    static const auto next = reinterpret_cast<FILE *(*)(const char *, const char *)>(dlsym(RTLD_NEXT, "fopen64"));
    if (strncmp(path, "/proc/net/", 10) != 0)
        return next(path, mode);
    std::string &table = tables[path[strlen(path) - 1] == '6' ? 1 : 0];
    return fmemopen(table.data(), table.size(), "r");
}

namespace {

constexpr size_t LONGEST_PIECE = 1023;
constexpr unsigned LISTENING = 10;

struct Query {
    int protocol = 1;
    int capacity = 8;
    int lowest = 0;
    int highest = 65535;
};

// What a buffer of 1024 bytes gets at a time.
std::vector<std::string> pieces(const std::string &table)
{
    std::vector<std::string> all;
    for (size_t at = 0; at < table.size(); at += all.back().size()) {
        const size_t newline = table.find('\n', at);
        const size_t end = newline == std::string::npos ? table.size() : newline + 1;
        all.push_back(table.substr(at, std::min(end - at, LONGEST_PIECE)));
    }
    return all;
}

bool is_used(const Query &query)
{
    for (const std::string &table : tables) {
        for (const std::string &piece : pieces(table)) {
            unsigned port = 0;
            if (sscanf(piece.c_str(), "%*d: %*64[0-9A-Fa-f]:%X", &port) == 1 &&
                port >= static_cast<int64_t>(query.lowest) && port <= static_cast<int64_t>(query.highest))
                return true;
        }
    }
    return false;
}

std::vector<int> listeners(const Query &query)
{
    std::vector<int> found;
    for (const std::string &table : tables) {
        for (const std::string &piece : pieces(table)) {
            unsigned port = 0;
            unsigned state = 0;
            if (sscanf(piece.c_str(), "%*d: %*64[0-9A-Fa-f]:%X %*64[0-9A-Fa-f]:%*X %X %*X:%*X %*X:%*X %*X %*d %*d %*d ",
                       &port, &state) != 2 ||
                state != LISTENING || port < static_cast<int64_t>(query.lowest) ||
                port > static_cast<int64_t>(query.highest))
                continue;
            const int number = static_cast<int>(port);
            if (found.size() < static_cast<size_t>(query.capacity) &&
                std::find(found.begin(), found.end(), number) == found.end())
                found.push_back(number);
        }
    }
    return found;
}

void check(const Query &query, const char *input)
{
    HOLDS(KAVONetIsPortRangeUsed(query.lowest, query.highest, static_cast<unsigned>(query.protocol)) ==
              (is_used(query) ? 1 : 0),
          input);
    const std::vector<int> expected = listeners(query);
    const std::unique_ptr<int[]> ports(new int[static_cast<size_t>(query.capacity)]);
    int count = query.capacity;
    HOLDS(KAVONetGetPortUsedInRange(ports.get(), &count, query.lowest, query.highest, query.protocol) == 0, input);
    HOLDS(std::equal(expected.begin(), expected.end(), ports.get(), ports.get() + count), input);
}

// C libraries do not agree on what scanf does with a prefix that no digit follows.
bool has_bare_prefix(const std::string &input)
{
    for (size_t at = input.find_first_of("xX"); at != std::string::npos; at = input.find_first_of("xX", at + 1)) {
        if (at > 0 && input[at - 1] == '0' && isxdigit(static_cast<unsigned char>(input[at + 1])) == 0)
            return true;
    }
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string input(reinterpret_cast<const char *>(data), size);
    if (has_bare_prefix(input))
        return 0;
    const size_t first = std::min(input.find('\n'), input.size());
    Query query;
    sscanf(input.substr(0, first).c_str(), "%d %d %d %d", &query.protocol, &query.capacity, &query.lowest,
           &query.highest);
    query.capacity = std::clamp(query.capacity, 0, 100);
    const size_t begin = std::min(first + 1, input.size());
    const size_t middle = input.find("--\n", begin);
    tables[0] = input.substr(begin, middle == std::string::npos ? middle : middle - begin);
    tables[1] = middle == std::string::npos ? "" : input.substr(middle + 3);
    check(query, input.c_str());
    support::clear_log();
    return 0;
}
