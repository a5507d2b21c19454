// The lease that a new bond takes over. Leases stand in /tmp, where everybody may put something else in their place.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "frame/owner.h"
#include "frame/paths.h"

namespace kavonet {

inline Path lease_file(const char *interface)
{
    return Path("/tmp/dhcpv4.leases.%s", interface);
}

enum class Owner { NOBODY, CALLER, SOMEBODY };

// Whose a file is. The caller's are plain files without a second name; in /tmp nobody else can take them away.
inline Owner owner_of(const Path &path)
{
    struct stat file {};
    if (lstat(path.c_str(), &file) != 0)
        return Owner::NOBODY;
    const bool own = S_ISREG(file.st_mode) && file.st_uid == geteuid() && file.st_nlink == 1;
    return own ? Owner::CALLER : Owner::SOMEBODY;
}

// Keeps a file's place for the caller: what stands there and is not his goes, and an empty file takes its place until the
// real one does.
class KeptPlace {
public:
    explicit KeptPlace(const Path &path) : path_(path)
    {
        const Owner owner = owner_of(path_);
        if (owner == Owner::SOMEBODY)
            unlink(path_.c_str());
        if (owner != Owner::CALLER)
            made_ = static_cast<bool>(
                Descriptor(open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600)));
        ours_ = made_ || owner == Owner::CALLER;
    }
    KeptPlace(const KeptPlace &) = delete;
    KeptPlace &operator=(const KeptPlace &) = delete;
    ~KeptPlace()
    {
        if (made_)
            unlink(path_.c_str());
    }

    explicit operator bool() const { return ours_; }
    void is_taken() { made_ = false; }

private:
    const Path &path_;
    bool made_ = false;
    bool ours_ = false;
};

} // namespace kavonet
