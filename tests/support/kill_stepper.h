// Kills a piece of work before each of its system calls in turn.
#pragma once

#include <functional>

namespace support {

// Runs `work` in a child process again and again. The n-th child is killed just before its n-th system call, so that
// exactly n - 1 of them have happened; then `check(n)` is called. It ends when a child gets through by itself: that one's
// calls were fewer than n. Gives the number of children that were killed; fails the test when stepping is not possible
// or when the last child does not end with status 0.
int kill_before_each_call(const std::function<void()> &work, const std::function<void(int)> &check);

} // namespace support
