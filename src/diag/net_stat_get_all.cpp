#include "kavonetsdk/diag.h"

#include <cstdlib>
#include <cstring>

#include "diag/natural_order.h"
#include "frame/error.h"
#include "frame/kernel_file.h"

using namespace kavonet;

namespace {

using Line = Text<512>;

bool is_left_out(const char *name)
{
    return strstr(name, "mon.") != nullptr || strncmp(name, "tap", 3) == 0 || strncmp(name, "docker", 6) == 0 ||
           strncmp(name, "zelm", 4) == 0;
}

// Reads the next number into value and goes on behind it; on anything else the value stays and the rest is not looked at.
bool next_number(const char *&text, int64_t &value)
{
    char *end = nullptr;
    const long long number = strtoll(text, &end, 10);
    if (end == text)
        return false;
    value = number;
    text = end;
    return true;
}

bool is_blank(char c)
{
    return c == ' ' || c == '\t' || c == '\n';
}

bool skip_columns(const char *&text, int count)
{
    for (int i = 0; i < count; ++i) {
        while (is_blank(*text))
            ++text;
        if (*text == '\0')
            return false;
        while (*text != '\0' && !is_blank(*text))
            ++text;
    }
    return true;
}

// The columns of received bytes and packets, six others, transmitted bytes and packets.
void read_counters(const char *columns, NetStat &record)
{
    constexpr int OTHERS = 6;
    if (next_number(columns, record.llRxBytes) && next_number(columns, record.llRxPackets) &&
        skip_columns(columns, OTHERS) && next_number(columns, record.llTxBytes))
        next_number(columns, record.llTxPackets);
}

} // namespace

int KLIBNetStatGetAll(NetStat *p, int max)
{
    if (p == nullptr || max <= 0)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    KernelFile table("/proc/net/dev");
    if (!table)
        return fail(NET_ERR_OPEN_FAILED, -1);

    Line line;
    int count = 0;
    const bool more = table.next_line(line) && table.next_line(line);
    while (more && count < max && table.next_line(line)) {
        char *colon = strchr(line.buffer(), ':');
        // A line of another form ends the reading; callers then get what came before it, in the kernel's order.
        if (colon == nullptr)
            return count;
        *colon = '\0';
        const char *name = line.c_str() + strspn(line.c_str(), " \t");
        if (is_left_out(name))
            continue;
        NetStat &record = p[count++];
        copy_text(record.szName, name);
        read_counters(colon + 1, record);
        record.nFlag = 1;
    }
    if (table.failed())
        return fail(NET_ERR_BAD_FORMAT, -1);
    sort_naturally(p, count);
    return count;
}
