#include "kavonetsdk/iface.h"

#include <climits>
#include <cstdlib>

#include "frame/kernel_file.h"
#include "frame/log.h"
#include "frame/paths.h"
#include "kavo/core.h"

using namespace kavonet;

namespace {

// The number that a text begins with; 0 when it begins with none, or with one that fits no int.
int number_of(const char *text)
{
    const long long number = strtoll(text, nullptr, 10);
    return number >= INT_MIN && number <= INT_MAX ? static_cast<int>(number) : 0;
}

} // namespace

int KAVONetInternalLanNumGet(void)
{
    constexpr char FILE_NAME[] = "/proc/sys/kernel/kavo_internal_netif_num";
    KernelFile file(FILE_NAME);
    if (!file) {
        log_err("open file %s failed", FILE_NAME);
        return -1;
    }
    Text<32> line;
    const int number = file.next_line(line) ? number_of(line.c_str()) : 0;
    if (number > 0)
        return number;
    Text<16> ports;
    if (KLIBCFileGetKeyValue(DEFAULTS_FILE, "maxlanport", ports.buffer(), ports.size(), 0) > 0)
        return number_of(ports.c_str());
    return 1;
}
