// The servers of a DNS event, and its delivery.
#pragma once

#include <syslog.h>

#include "frame/error.h"
#include "frame/owner.h"
#include "frame/text.h"

namespace kavonet {

// Whether there is a list and each of its servers.
inline bool is_server_list(const KLIBSZLIST *servers)
{
    if (servers == nullptr)
        return false;
    for (int i = 0; i < servers->nItem; ++i) {
        if (KLIBCSzListGet(servers, i) == nullptr)
            return false;
    }
    return true;
}

// Attaches NITEMS and the servers as DNS_1, DNS_2, ... and fires the event. Returns 0, or -1 with a log line of the place
// of the call: log readers look for the file of the event's own function.
inline int send_dns_list(Event &event, int phase, const KLIBSZLIST *servers, const char *path = __builtin_FILE(),
                         int line = __builtin_LINE())
{
    const char *file = bare_name(path);
    Text<1024> text("%d", servers->nItem);
    if (!event.set("NITEMS", text.c_str())) {
        syslog(LOG_ERR, "%s:%d KLIBPluginSetArg failed, dns_number = %d", file, line, servers->nItem);
        return -1;
    }
    for (int i = 1; i <= servers->nItem; ++i) {
        const char *server = KLIBCSzListGet(servers, i - 1);
        text.format("DNS_%d", i);
        if (!event.set(text.c_str(), server)) {
            syslog(LOG_ERR, "%s:%d KLIBPluginSetArg failed, dns[%d] = %s", file, line, i, server);
            return -1;
        }
    }
    if (!event.fire(phase)) {
        syslog(LOG_ERR, "%s:%d KLIBPluginAction failed", file, line);
        return -1;
    }
    return 0;
}

} // namespace kavonet
