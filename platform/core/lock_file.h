// The files that locks are taken on. They stand in a folder of their own that only the system's administrator can
// reach, hold no content and are never removed, so that all who lock mean the same file.
//
// Locks belong to the open file, not to the process: threads exclude each other too, and a process that dies lets go of
// everything. An open file is shared with forked children, so every open lock file is written down and a child closes
// its copies before it runs on: else a child that outlives its parent would keep the parent's locks.
#pragma once

#include <string_view>

namespace kavo {

// Opens (and creates) a lock file and gives its descriptor, which is above 2. -1 with errno.
int open_lock_file(const char *name);

// Lets go of all its locks and closes it. False when the descriptor is not that of an open lock file.
bool close_lock_file(int fd);

// What a forked child does to forget the locks of the thread that it continues.
void on_lock_fork(void (*forget)());

} // namespace kavo
