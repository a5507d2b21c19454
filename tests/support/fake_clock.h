// sleep() and usleep() without the waiting: they only write down what they were asked.
#pragma once

namespace support {

// The waits since the last clear_waits(), in microseconds.
long long waited();
int waits();
void clear_waits();

// Called at each wait; lets a test change the world while the library sleeps.
void on_wait(void (*action)());

} // namespace support
