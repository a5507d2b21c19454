#include "kavonetsdk/resolve.h"

#include <span>

#include "frame/error.h"
#include "frame/log.h"
#include "frame/owner.h"
#include "frame/paths.h"
#include "kavo/systemd.h"
#include "resolve/dns_files.h"
#include "resolve/server_lines.h"

using namespace kavonet;

namespace {

constexpr char OPTION_FILE[] = "/etc/resolv.conf.option";
constexpr const char *ADMINISTRATORS[] = {STATIC_RESOLV_FILE};
// IPv4 servers come first.
constexpr const char *AUTOMATIC[] = {"/etc/iproute2/config/resolv4.conf", "/etc/iproute2/config/resolv6.conf"};
constexpr const char *DEPENDENT_UNITS[] = {"ddnsd", "kavorelayd"};

// Gives the lock back on every way out, also on those where it was not taken: callers that hold it themselves count on
// one unlock.
struct Unlock {
    Unlock() = default;
    Unlock(const Unlock &) = delete;
    Unlock &operator=(const Unlock &) = delete;
    ~Unlock() { KLIBCFileUnlock(ConfigLock::NETWORK_WRITE & 0xF00); }
};

bool push(StringList &list, const char *text)
{
    if (KLIBCSzListPush(list.handle(), text) >= 0)
        return true;
    log_err("Cannot push the list");
    return false;
}

// Adds the servers of a source, which may be missing. `server` is the one before.
bool add_source(const char *path, StringList &lines, StringList &servers, SourceText &server)
{
    KLIBCSzListRemoveAll(lines.get());
    if (KLIBCFileExist(path) == 0)
        return true;
    if (KLIBCFileReadLines(path, lines.handle()) < 0) {
        log_err("Failed to read %s.[0x%04X %s:%d]", path, PLATFORM_ERROR);
        return false;
    }
    for (int i = 0; i < lines->nItem; ++i) {
        scan_source_line(KLIBCSzListGet(lines.get(), i), server);
        if (!push(servers, server.c_str()))
            return false;
    }
    return true;
}

// Adds the servers of the mode's sources.
bool add_sources(StringList &lines, StringList &servers)
{
    const bool is_static = KLIBCFileCheckKeyValue(SETTINGS_FILE, "dns_mode", "static", 0) != 0;
    const std::span<const char *const> sources = is_static ? std::span<const char *const>(ADMINISTRATORS) : AUTOMATIC;
    SourceText server;
    for (const char *path : sources) {
        if (!add_source(path, lines, servers, server))
            return false;
    }
    return true;
}

bool add_option(StringList &options)
{
    Text<1024> line;
    if (KLIBCFileExist(OPTION_FILE) == 0 ||
        KLIBCFileGetLine(OPTION_FILE, "domain\t", line.buffer(), line.size(), 2) <= 0)
        return true;
    return push(options, line.c_str());
}

} // namespace

int KAVONetDNSUpdate(void)
{
    const Unlock unlock; // after the lists are freed
    StringList lines(KLIBCSzListAlloc(SERVER_LIST_ROOM));
    StringList servers(KLIBCSzListAlloc(SERVER_LIST_ROOM));
    StringList options(KLIBCSzListAlloc(SERVER_LIST_ROOM));
    if (!lines || !servers || !options) {
        log_err("Failed to alloc memory.");
        return fail(NET_ERR_OUT_OF_MEMORY, -1);
    }
    if (KLIBCFileLock(ConfigLock::NETWORK_WRITE, ConfigLock::WAIT_SECONDS) == -1) {
        log_err("KLIBCFileLock failed.[0x%04X %s:%d]", PLATFORM_ERROR);
        return fail(NET_ERR_LOCK_FAILED, -1);
    }
    if (!add_sources(lines, servers))
        return -1;
    // Sources that are not there yet take no server away.
    if (servers->nItem == 0)
        return 0;
    if (!add_option(options) || KAVONetDNSFileSet(servers.get(), options.get()) < 0)
        return -1;
    for (const char *unit : DEPENDENT_UNITS) {
        if (KAVOCSystemdActiveStatusGet(unit) == 1)
            KAVOCSystemdReload(unit);
    }
    return 0;
}
