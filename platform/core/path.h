// Paths as the system sees them.
#pragma once

#include <climits>
#include <string_view>

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

// The file that a path stands for: symbolic links in its last part are followed, also to a file that does not exist yet.
// In a folder like /tmp, sticky and writable by all, only a link of the caller or of the folder's owner is followed, as the
// system does by itself where it is told to; another one is refused (EACCES). The result is canonical. False with errno.
bool follow_links(const char *path, PathBuffer &result);

} // namespace kavo
