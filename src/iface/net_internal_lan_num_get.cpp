#include "kavonetsdk/iface.h"

#include <cstdlib>

#include "frame/kernel_file.h"
#include "frame/log.h"
#include "frame/paths.h"
#include "kavo/core.h"

using namespace kavonet;

int KAVONetInternalLanNumGet(void)
{
    constexpr char FILE_NAME[] = "/proc/sys/kernel/kavo_internal_netif_num";
    KernelFile file(FILE_NAME);
    if (!file) {
        log_err("open file %s failed", FILE_NAME);
        return -1;
    }
    Text<32> line;
    const long number = file.next_line(line) ? strtol(line.c_str(), nullptr, 10) : 0;
    if (number > 0)
        return static_cast<int>(number);
    Text<16> ports;
    if (KLIBCFileGetKeyValue(DEFAULTS_FILE, "maxlanport", ports.buffer(), ports.size(), 0) > 0)
        return static_cast<int>(strtol(ports.c_str(), nullptr, 10));
    return 1;
}
