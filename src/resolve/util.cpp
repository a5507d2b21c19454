#include <cerrno>
#include <cstdio>

#include "frame/dotted.h"
#include "frame/error.h"
#include "frame/kernel_file.h"
#include "frame/log.h"
#include "resolve/default_route.h"

namespace kavonet {
namespace {

void put(char *buffer, int size, const char *text)
{
    if (buffer != nullptr && size > 0)
        snprintf(buffer, static_cast<size_t>(size), "%s", text);
}

} // namespace

int default_gateway_get(char *gateway, int gateway_size, char *interface, int interface_size)
{
    KernelFile table("/proc/net/route");
    if (!table) {
        log_file_err("Failed to open /proc/net/route, errno=[%m/%d]", errno);
        return -1;
    }
    errno = 0; // the line below shows what the reading left, not what was before
    Route route;
    const RouteSearch search = find_default_route(table, route);
    if (search == RouteSearch::UNKNOWN_FORMAT) {
        log_file_err("Unknow kernel routing table format, errno=[%m/%d]", errno);
        return -1;
    }
    if (table.failed())
        return fail(NET_ERR_READ_FAILED, -1);
    if (search == RouteSearch::FOUND) {
        char text[DOTTED_SIZE];
        write_dotted(route.gateway_address(), text);
        put(gateway, gateway_size, text);
        put(interface, interface_size, route.interface.c_str());
    }
    return 0;
}

} // namespace kavonet
