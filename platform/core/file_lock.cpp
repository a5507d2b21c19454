// Locks of a file's name. They are taken on a lock file that is named after the file, so that the file itself may be
// missing or be replaced.

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include "core/fail.h"
#include "core/fingerprint.h"
#include "core/lock_file.h"
#include "core/lock_wait.h"
#include "core/path.h"

namespace {

bool is_plain(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_' ||
           c == '.';
}

// The name of the lock file: "name." and the path with "/" as "+" and other unusual characters in hexadecimal, so that
// an administrator can read who locks what. A path that is too long for that ends in "#" and a hash of the whole.
class LockFileName {
public:
    explicit LockFileName(std::string_view path)
    {
        add_text("name.");
        for (const char c : path)
            add(c);
        if (!cut_)
            return;
        char tail[32];
        snprintf(tail, sizeof tail, "#%016llx", static_cast<unsigned long long>(kavo::fingerprint(path)));
        cut_ = false;
        length_ = NAME_MAX - strlen(tail);
        add_text(tail);
    }

    [[nodiscard]] const char *c_str() const { return name_; }

private:
    void add(char c)
    {
        char hexadecimal[8];
        const char plain[2] = {c == '/' ? '+' : c, '\0'};
        snprintf(hexadecimal, sizeof hexadecimal, "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
        add_text(c == '/' || is_plain(c) ? plain : hexadecimal);
    }

    void add_text(const char *text)
    {
        for (; *text != '\0' && !cut_; ++text) {
            cut_ = length_ == NAME_MAX;
            if (!cut_)
                name_[length_++] = *text;
        }
        name_[length_] = '\0';
    }

    char name_[NAME_MAX + 1];
    size_t length_ = 0;
    bool cut_ = false;
};

} // namespace

extern "C" int KLIBCFileLockTimeByFile(const char *szPath, int mode, int timeout, int *pFd)
{
    if (pFd != nullptr)
        *pFd = -1;
    if (szPath == nullptr || *szPath == '\0' || pFd == nullptr || (mode != 0 && mode != 1))
        return kavo::fail(kavo::ERROR_PARAMETER, 0);

    kavo::PathBuffer path;
    if (!kavo::canonical(szPath, path))
        return kavo::fail(kavo::ERROR_LOCK, 0);
    const int fd = kavo::open_lock_file(LockFileName(path).c_str());
    if (fd < 0)
        return kavo::fail(kavo::ERROR_LOCK, 0);
    if (!kavo::lock_open_file(fd, mode == 1 ? kavo::LockMode::EXCLUSIVE : kavo::LockMode::SHARED, timeout)) {
        kavo::close_lock_file(fd);
        return kavo::fail(kavo::ERROR_LOCK, 0);
    }
    *pFd = fd;
    return 1;
}

extern "C" int KLIBCFileUnlockByFile(int fd)
{
    return kavo::close_lock_file(fd) ? 1 : kavo::fail(kavo::ERROR_PARAMETER, 0);
}
