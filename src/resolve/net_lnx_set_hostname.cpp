#include "kavonetsdk/resolve.h"

#include <cstring>

#include <unistd.h>

#include "frame/error.h"
#include "frame/log.h"
#include "frame/owner.h"
#include "frame/text.h"
#include "kavo/systemd.h"
#include "kavonetsdk/event.h"

using namespace kavonet;

namespace {

constexpr size_t LONGEST_NAME = 63;
constexpr char HOSTS_FILE[] = "/etc/hosts";

// Any other character is taken, but a newline would make two lines of one.
bool is_usable(const char *name)
{
    const size_t length = strnlen(name, LONGEST_NAME + 1);
    return length > 0 && length <= LONGEST_NAME && strchr(name, '\n') == nullptr;
}

bool close_file(File &file)
{
    return fclose(file.release()) == 0;
}

bool write_hostname(const char *name)
{
    File file(fopen("/etc/hostname", "we"));
    if (!file) {
        log_err("fopen failed: %m");
        return fail(NET_ERR_OPEN_FAILED, false);
    }
    if (fprintf(file.get(), "%s\n", name) < 0 || !close_file(file))
        return fail(NET_ERR_WRITE_FAILED, false);
    return true;
}

bool write_hosts_lines(FILE *file, const char *name)
{
    return fputs("# Any manual change will be lost if the host name is changed or system upgrades.\n"
                 "127.0.0.1\tlocalhost\n::1\t\tlocalhost\n",
                 file) >= 0 &&
           fprintf(file, "127.0.0.1\t%s\n::1\t\t%s\n", name, name) >= 0;
}

bool write_hosts(const char *path, const char *name)
{
    File file(fopen(path, "we"));
    if (!file)
        return fail(NET_ERR_OPEN_FAILED, false);
    const bool written = write_hosts_lines(file.get(), name) && fflush(file.get()) == 0 &&
                         fsync(fileno(file.get())) == 0 && close_file(file);
    return written || fail(NET_ERR_WRITE_FAILED, false);
}

bool replace_hosts(const char *name)
{
    Text<1024> temporary;
    if (KLIBCFileITmpName(HOSTS_FILE, temporary.buffer(), temporary.size()) < 0)
        return false;
    const bool replaced = write_hosts(temporary.c_str(), name) &&
                          (rename(temporary.c_str(), HOSTS_FILE) == 0 || fail(NET_ERR_RENAME_FAILED, false));
    if (!replaced)
        unlink(temporary.c_str());
    return replaced;
}

} // namespace

int KAVOLnxSetHostname(const char *szName)
{
    if (szName == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    if (!is_usable(szName))
        return fail(NET_ERR_BAD_HOSTNAME, -1);
    const ConfigLock lock(ConfigLock::NETWORK_WRITE);
    if (!lock)
        return fail(NET_ERR_LOCK_FAILED, -1);
    // The kernel is given the terminator too, as it always was.
    if (sethostname(szName, strlen(szName) + 1) != 0)
        return fail(NET_ERR_SYSTEM, -1);
    if (!write_hostname(szName) || !replace_hosts(szName))
        return -1;
    if (KAVOCSystemdReload("syslog-ng") != 1)
        return -1;
    // The one event whose failure is the call's, although all is done.
    return KAVONetHostnameChangeHook(szName) < 0 ? -1 : 0;
}
