#include "kavonetsdk/ipv4.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include <unistd.h>

#include "frame/error.h"
#include "frame/ifcfg_keys.h"
#include "frame/log.h"
#include "frame/name.h"
#include "ipv4/dhcp_unit.h"
#include "kavo/systemd.h"
#include "kavonetsdk/addr.h"

using namespace kavonet;

namespace {

constexpr char FUNCTION[] = "KAVOILnxSetIPNetmask";

// The copy of the ifcfg file that is put back when the change fails.
class Backup {
public:
    explicit Backup(const Path &original)
        : original_(original),
          copy_("%s.tmp%ld", original.c_str(), static_cast<long>(time(nullptr)))
    {
        made_ = KLIBCExec("/bin/cp", "-f", original_.c_str(), copy_.c_str(), nullptr) == 0;
        if (made_)
            return;
        log_err("copy (%s, %s) failed.(strerror=%s)", original_.c_str(), copy_.c_str(), strerror(errno));
        unlink(copy_.c_str()); // a part of the file may have been copied
    }

    void end(bool changed) const
    {
        if (!made_)
            return;
        if (changed && unlink(copy_.c_str()) != 0)
            syslog(LOG_ERR, "%s(%d): unlink fail.", FUNCTION, __LINE__);
        if (!changed && rename(copy_.c_str(), original_.c_str()) != 0)
            syslog(LOG_ERR, "%s(%d): rename fail.", FUNCTION, __LINE__);
    }

private:
    const Path &original_;
    Path copy_;
    bool made_ = false;
};

// The lock that bringing the interface up and down shares. The change is never refused for want of it.
class UpDownLock {
public:
    explicit UpDownLock(const char *name) : path_("/tmp/interface_up_down_%s.lock", name)
    {
        if (KLIBCFileLockTimeByFile(path_.c_str(), EXCLUSIVE, WAIT_SECONDS, &fd_) == 0) {
            log_err("Failed to lock %s, try to set it without lock then", path_.c_str());
            fd_ = -1;
        }
    }
    UpDownLock(const UpDownLock &) = delete;
    UpDownLock &operator=(const UpDownLock &) = delete;
    ~UpDownLock()
    {
        if (fd_ >= 0 && KLIBCFileUnlockByFile(fd_) != 1)
            log_err("Failed to unlock %s.", path_.c_str());
    }

private:
    static constexpr int EXCLUSIVE = 1;
    static constexpr int WAIT_SECONDS = 10;

    Text<47> path_;
    int fd_ = -1;
};

void fill_static_keys(IfcfgKeys &keys, const char *name, const char *address, const char *mask)
{
    keys.set("DEVICE", name);
    keys.set("ONBOOT", "yes");
    keys.set("IPADDR", address);
    keys.set("NETMASK", mask);
    keys.set("BOOTPROTO", "static");
    keys.remove("MASTER");
    keys.remove("SLAVE");
}

// Writes the file, stops the DHCP client and changes the kernel last.
bool apply(const char *name, const char *address, const char *mask, const Path &path, IfcfgKeys &keys)
{
    const UpDownLock lock(name);
    if (!keys.write(path)) {
        log_err("Set %s error.", path.c_str());
        return false;
    }
    const Text<256> unit = dhcp_unit(name);
    if (KAVOCSystemdStop(unit.c_str()) != 1)
        log_warning("unable to stop %s", unit.c_str());
    const int prefix = KAVONetNetmaskToPrefix(mask);
    if (prefix < 0) {
        log_err("calculate prefix length failed");
        return false;
    }
    if (KAVONetSetIP("-4", name, address, static_cast<unsigned int>(prefix), "add") < 0) {
        log_err("excute command /usr/kavo/sbin/kavonet--set_ip failed");
        return false;
    }
    return true;
}

bool is_given(const char *text)
{
    return text != nullptr && text[0] != '\0';
}

} // namespace

int KAVOILnxSetIPNetmask(const char *szIf, const char *szAddr, const char *szMask)
{
    if (!is_short_interface_name(szIf) || !is_given(szAddr) || !is_given(szMask))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    const Path path = ifcfg_path(szIf);
    IfcfgKeys keys;
    if (!keys)
        return -1;
    const Backup backup(path);
    fill_static_keys(keys, szIf, szAddr, szMask);
    const bool changed = apply(szIf, szAddr, szMask, path, keys);
    backup.end(changed);
    return changed ? 0 : -1;
}
