#include "kavonetsdk/resolve.h"

#include <cstring>

#include <sys/stat.h>

#include "frame/error.h"
#include "frame/log.h"
#include "kavonetsdk/event.h"
#include "resolve/dns_files.h"
#include "resolve/new_file.h"

using namespace kavonet;

namespace {

// Whether each text is there and stays on the one line that it gets.
bool fit_lines(const KLIBSZLIST *texts)
{
    for (int i = 0; i < texts->nItem; ++i) {
        const char *text = KLIBCSzListGet(texts, i);
        if (text == nullptr || strchr(text, '\n') != nullptr)
            return false;
    }
    return true;
}

} // namespace

int KAVONetDNSFileSet(const KLIBSZLIST *pServers, const KLIBSZLIST *pOptions)
{
    if (pServers == nullptr || pServers->nItem < 1)
        return -1; // without a code
    if (!fit_lines(pServers) || (pOptions != nullptr && !fit_lines(pOptions)))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    NewFile file(RESOLV_FILE);
    if (!file)
        return fail(NET_ERR_OPEN_FAILED, -1);
    if (!file.write_servers(pServers) || (pOptions != nullptr && !file.write_options(pOptions)) || !file.flush())
        return fail(NET_ERR_WRITE_FAILED, -1);
    KAVONetDNSChangeHook(Event::PRE, pServers);
    if (!file.put_in_place())
        return fail(NET_ERR_RENAME_FAILED, -1);
    if (chmod(RESOLV_FILE, 0644) != 0)
        log_err("chmod %s failed: %m", RESOLV_FILE);
    KAVONetDNSChangeHook(Event::POST, pServers);
    return 0;
}
