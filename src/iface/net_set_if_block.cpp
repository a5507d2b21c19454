#include "kavonetsdk/iface.h"

#include "frame/error.h"
#include "frame/log.h"
#include "frame/name.h"
#include "frame/paths.h"
#include "iface/block_keys.h"
#include "kavo/core.h"

using namespace kavonet;

namespace {

// The lock of one ifcfg file by itself.
class IfcfgLock {
public:
    explicit IfcfgLock(const Path &path) : path_(path)
    {
        held_ = KLIBCFileLockTimeByFile(path.c_str(), EXCLUSIVE, WAIT_SECONDS, &fd_) != 0;
        if (!held_)
            log_err("KLIBCFileLockTimeByFile failed!");
    }
    IfcfgLock(const IfcfgLock &) = delete;
    IfcfgLock &operator=(const IfcfgLock &) = delete;
    ~IfcfgLock()
    {
        // A descriptor of 0 is never given back: the platforms that callers run on hold no lock in it.
        if (held_ && fd_ > 0 && KLIBCFileUnlockByFile(fd_) != 1)
            log_err("Failed to release file lock of [%s]", path_.c_str());
    }

    explicit operator bool() const { return held_; }

private:
    static constexpr int EXCLUSIVE = 1;
    static constexpr int WAIT_SECONDS = 30;

    const Path &path_;
    int fd_ = -1;
    bool held_ = false;
};

bool read_key(const Path &path, const char *key, BlockValue &value)
{
    value.format("%s", "");
    if (KLIBCFileGetKeyValue(path.c_str(), key, value.buffer(), value.size(), 0) >= 0)
        return true;
    log_err("Failed to get key [%s]", key);
    return false;
}

bool write_key(const Path &path, const char *key, const char *value)
{
    if (KLIBCFileSetKeyValue(path.c_str(), key, value, nullptr) >= 0)
        return true;
    log_err("Failed to set key [%s] with value [%s]", key, value);
    return false;
}

// Sets one key and counts it. Every value of `enable` but 0 counts as one more, but only 1 writes "yes".
bool set_key(const Path &path, const char *key, int enable)
{
    BlockValue value;
    if (!read_key(path, key, value))
        return false;
    if (says_yes(value) == (enable != 0))
        return true;
    if (!write_key(path, key, enable == 1 ? "yes" : "no") || !read_key(path, BLOCK_COUNT_KEY, value))
        return false;
    const Text<24> count("%d", block_count(value) + (enable != 0 ? 1 : -1));
    return write_key(path, BLOCK_COUNT_KEY, count.c_str());
}

} // namespace

int KAVONetSetIfBlock(const char *szIf, unsigned int flagMask, int enable)
{
    if (!is_short_interface_name(szIf))
        return fail_at(87, NET_ERR_BAD_PARAMETER, -1);
    const Path path = ifcfg_path(szIf);
    const IfcfgLock lock(path);
    if (!lock) {
        log_err("Failed to get lock");
        return -1;
    }
    for (const BlockKey &block : BLOCK_KEYS) {
        if ((flagMask & block.flag) != 0 && !set_key(path, block.key, enable)) {
            log_err("Failed to set mode [%s] of [%s]", block.key, szIf);
            return -1;
        }
    }
    return 0;
}
