// Paths as the system sees them.
#pragma once

#include <climits>
#include <string_view>

#include <sys/stat.h>

namespace kavo {

using PathBuffer = char[PATH_MAX];

// Joins up to three texts into a path. False with ENAMETOOLONG when they do not fit.
bool join(PathBuffer &path, std::string_view first, std::string_view second = {}, std::string_view third = {});

// The folder of a path with its trailing slash; empty for a bare name.
std::string_view folder_of(std::string_view path);

// What follows the folder.
std::string_view base_of(std::string_view path);

// The one spelling of a name: its folder without links, "." and "..", then its last part. The file need not exist, nor
// need its folder. False with errno.
bool canonical(const char *path, PathBuffer &result);

// Whether what stands in a folder may be relied on, as far as its owner goes: in a folder like /tmp, sticky and writable by
// all, only what is the caller's or the folder's owner's. Others can neither replace nor remove that, so it stays what was
// looked at. False with errno (EACCES).
bool is_trusted(const PathBuffer &path, const struct stat &status);

// The file that a path stands for: symbolic links in its last part are followed, also to a file that does not exist yet;
// only those that are trusted, as the system does by itself where it is told to. The result is canonical. False with errno.
bool follow_links(const char *path, PathBuffer &result);

} // namespace kavo
