#include "support/fake_clock.h"

#include <unistd.h>

namespace support {
namespace {

long long total = 0;
int count = 0;
void (*wait_action)() = nullptr;

void wait(long long microseconds)
{
    total += microseconds;
    ++count;
    if (wait_action != nullptr)
        wait_action();
}

} // namespace

long long waited()
{
    return total;
}

int waits()
{
    return count;
}

void clear_waits()
{
    total = 0;
    count = 0;
    wait_action = nullptr;
}

void on_wait(void (*action)())
{
    wait_action = action;
}

} // namespace support

extern "C" unsigned int sleep(unsigned int seconds)
{
    support::wait(seconds * 1'000'000LL);
    return 0;
}

extern "C" int usleep(useconds_t microseconds)
{
    support::wait(microseconds);
    return 0;
}
