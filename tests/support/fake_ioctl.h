// A stand-in for ioctl(): for drivers that the running kernel lacks and for requests that must fail.
#pragma once

#include <functional>

namespace support {

// What a stand-in answers: the call's result with errno, or nothing of its own (the kernel is asked).
inline constexpr int ASK_KERNEL = -1000;
using IoctlAnswer = std::function<int(int fd, unsigned long request, void *argument)>;

// Installs a stand-in; an empty function takes it away. The private root takes it away after each test.
void answer_ioctl(IoctlAnswer answer);

// The number of calls that were made since answer_ioctl.
int ioctl_calls();

} // namespace support
