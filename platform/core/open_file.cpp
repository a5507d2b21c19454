#include "core/open_file.h"

#include <cerrno>

#include <fcntl.h>

#include "core/path.h"

namespace kavo {
namespace {

// O_NONBLOCK: a pipe must not hold the caller up. It means nothing for files.
constexpr int FLAGS = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

} // namespace

Descriptor open_file(const char *path)
{
    Descriptor file(open(path, FLAGS));
    if (file || errno != ELOOP)
        return file;
    PathBuffer target;
    return follow_links(path, target) ? Descriptor(open(target, FLAGS)) : Descriptor();
}

Descriptor open_plain_file(const char *path, struct stat &status)
{
    if (lstat(path, &status) != 0)
        return Descriptor();
    if (S_ISREG(status.st_mode)) {
        Descriptor file(open(path, FLAGS));
        // The name may have passed to another file meanwhile, so the one that is open counts.
        if (!file || fstat(file.get(), &status) != 0)
            return Descriptor();
        if (S_ISREG(status.st_mode))
            return file;
    }
    errno = EINVAL;
    return Descriptor();
}

} // namespace kavo
