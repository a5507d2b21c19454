// Opening files for reading. It never waits, and no link that somebody else put into a folder like /tmp leads it away.
#pragma once

#include <sys/stat.h>

#include "core/descriptor.h"

namespace kavo {

// Opens a file by its path; links are followed as follow_links() does. No descriptor with errno.
Descriptor open_file(const char *path);

// Opens a plain file by a path that follow_links() gave, and describes it. Nothing else is opened, not even to look at it:
// opening a device may already make it do something. No descriptor with errno; ENOENT when there is no such file.
Descriptor open_plain_file(const char *path, struct stat &status);

} // namespace kavo
