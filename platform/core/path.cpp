#include "core/path.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

namespace kavo {
namespace {

constexpr int MOST_LINKS = 40; // as many as the kernel follows

std::string_view cut_to(std::string_view text, size_t length)
{
    return {text.data(), length};
}

std::string_view without_slashes_behind(std::string_view folder)
{
    while (folder.size() > 1 && folder.back() == '/')
        folder.remove_suffix(1);
    return folder;
}

// The folder of a name, its links resolved. A folder that does not exist is spelled by the part of it that does.
bool resolve_folder(std::string_view folder, PathBuffer &result)
{
    PathBuffer name;
    PathBuffer resolved;
    folder = without_slashes_behind(folder);
    std::string_view existing = folder;
    // The slash behind it asks for a folder; a file in its place is refused.
    while (!join(name, existing.empty() ? "." : existing, "/") || realpath(name, resolved) == nullptr) {
        if (errno != ENOENT || existing.empty())
            return false;
        existing = without_slashes_behind(folder_of(existing));
    }
    folder.remove_prefix(existing.size());
    while (!folder.empty() && folder.front() == '/')
        folder.remove_prefix(1);
    const bool root = resolved[1] == '\0';
    return join(result, root && !folder.empty() ? "" : resolved, folder.empty() ? "" : "/", folder);
}

} // namespace

bool join(PathBuffer &path, std::string_view first, std::string_view second, std::string_view third)
{
    if (first.size() + second.size() + third.size() >= sizeof path) {
        errno = ENAMETOOLONG;
        return false;
    }
    size_t used = 0;
    for (const std::string_view part : {first, second, third}) {
        if (!part.empty())
            memmove(path + used, part.data(), part.size());
        used += part.size();
    }
    path[used] = '\0';
    return true;
}

std::string_view folder_of(std::string_view path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? std::string_view() : cut_to(path, slash + 1);
}

std::string_view base_of(std::string_view path)
{
    path.remove_prefix(folder_of(path).size());
    return path;
}

bool canonical(const char *path, PathBuffer &result)
{
    const std::string_view base = base_of(path);
    if (base.empty() || base == "." || base == "..") {
        errno = EISDIR;
        return false;
    }
    PathBuffer folder;
    if (!resolve_folder(folder_of(path), folder))
        return false;
    const bool root = folder[1] == '\0';
    return join(result, root ? "" : folder, "/", base);
}

bool is_trusted(const PathBuffer &path, const struct stat &status)
{
    constexpr mode_t SHARED = S_ISVTX | S_IWOTH;
    if (status.st_uid == geteuid())
        return true;
    PathBuffer name;
    struct stat folder;
    if (!join(name, folder_of(path)) || stat(name, &folder) != 0)
        return false;
    if ((folder.st_mode & SHARED) != SHARED || folder.st_uid == status.st_uid)
        return true;
    errno = EACCES;
    return false;
}

bool follow_links(const char *path, PathBuffer &result)
{
    PathBuffer name;
    if (!join(name, path))
        return false;
    for (int links = 0; links <= MOST_LINKS; ++links) {
        if (!canonical(name, result))
            return false;
        struct stat status;
        if (lstat(result, &status) != 0)
            return errno == ENOENT; // nothing there
        if (!S_ISLNK(status.st_mode))
            return true;
        if (!is_trusted(result, status))
            return false;
        PathBuffer target;
        const ssize_t length = readlink(result, target, sizeof target);
        if (length < 0)
            return errno == EINVAL || errno == ENOENT; // it is gone, with or without another file in its place
        const std::string_view link(target, static_cast<size_t>(length));
        const bool absolute = !link.empty() && link.front() == '/';
        if (!join(name, absolute ? "" : folder_of(result), link))
            return false;
    }
    errno = ELOOP;
    return false;
}

} // namespace kavo
