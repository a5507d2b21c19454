#include "kavonetsdk/diag.h"

#include <cerrno>
#include <utility>

#include "diag/socket_table.h"
#include "frame/kernel_file.h"
#include "frame/log.h"

using namespace kavonet;

int KAVONetIsPortRangeUsed(int lowest, int highest, unsigned int protocol)
{
    for (const char *path : socket_tables(protocol)) {
        KernelFile table(path);
        if (!table) {
            log_err("Fail to open [%s], errno=[%d/%m]", path, errno);
            continue;
        }
        SocketLine line;
        while (table.next_line(line)) {
            SocketColumns columns(line);
            unsigned int port = 0;
            if (read_local_port(columns, port) && std::cmp_greater_equal(port, lowest) &&
                std::cmp_less_equal(port, highest))
                return 1;
        }
    }
    return 0;
}
