// The servers of a finished resolver file.
#pragma once

#include <syslog.h>

#include "frame/error.h"
#include "frame/owner.h"
#include "resolve/server_lines.h"

namespace kavonet {

// Appends the servers of a file; one that cannot be opened has none. Returns 0, or -1 when the list cannot grow. Log lines
// tell the place of the call: log readers look for the file of the getter itself.
inline int read_servers(const char *path, PKLIBSZLIST *list, const char *caller = __builtin_FILE(),
                        int line_number = __builtin_LINE())
{
    const File file(fopen(path, "re"));
    if (!file) {
        syslog(LOG_ERR, "%s:%d Failed to open %s. (%m)", bare_name(caller), line_number, path);
        return 0;
    }
    ResolverLine line;
    while (next_resolver_line(file.get(), line)) {
        const char *server = server_of_line(line);
        if (server != nullptr && KLIBCSzListPush(list, server) < 0) {
            syslog(LOG_ERR, "%s:%d Cannot push the list", bare_name(caller), line_number);
            return -1;
        }
    }
    return 0;
}

} // namespace kavonet
