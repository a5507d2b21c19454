// Waiting for a lock on an open lock file.
#pragma once

namespace kavo {

enum class LockMode { SHARED, EXCLUSIVE };

// Takes the lock, or turns a lock that this open file holds into the other mode. Waits for at most so many seconds; 0 or
// less is one try. When it fails, the open file holds what it held before.
bool lock_open_file(int fd, LockMode mode, int seconds);

} // namespace kavo
