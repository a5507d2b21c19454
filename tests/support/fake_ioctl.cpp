#include "support/fake_ioctl.h"

#include <cstdarg>

#include <sys/syscall.h>
#include <unistd.h>

namespace support {
namespace {

IoctlAnswer stand_in;
int calls = 0;

} // namespace

void answer_ioctl(IoctlAnswer answer)
{
    stand_in = std::move(answer);
    calls = 0;
}

int ioctl_calls()
{
    return calls;
}

} // namespace support

extern "C" int ioctl(int fd, unsigned long request, ...) noexcept
{
    va_list args;
    va_start(args, request);
    void *argument = va_arg(args, void *);
    va_end(args);
    ++support::calls;
    if (support::stand_in) {
        const int answer = support::stand_in(fd, request, argument);
        if (answer != support::ASK_KERNEL)
            return answer;
    }
    return static_cast<int>(syscall(SYS_ioctl, fd, request, argument));
}
