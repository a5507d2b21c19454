#include "core/lock_wait.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <ctime>

#include <fcntl.h>
#include <unistd.h>

namespace kavo {
namespace {

// A lock is asked for again and again, since the kernel's own waiting knows no limit. Asking alone would be unfair:
// readers that come and go could keep a writer out for ever. So those who wait queue at a gate, the second byte of the
// file, and only who holds the gate asks for the lock itself, the first byte.
enum Place : off_t { LOCK = 0, GATE = 1 };

// A reader does not queue for longer than this. A lock that only readers hold is then given to it beside them: one
// of them may be waiting for it (a command that it runs, say), while the writer ahead in the queue waits for both.
constexpr int64_t READER_PATIENCE = 100'000'000;

constexpr int64_t NANOSECONDS = 1'000'000'000;
constexpr int64_t SHORTEST_SLEEP = 50'000;
constexpr int64_t LONGEST_SLEEP = 4'000'000;

int64_t now()
{
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * NANOSECONDS + time.tv_nsec;
}

void sleep_until(int64_t when)
{
    timespec time;
    time.tv_sec = static_cast<time_t>(when / NANOSECONDS);
    time.tv_nsec = static_cast<long>(when % NANOSECONDS);
    // A signal ends the sleep early, which costs no more than one question.
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr);
}

// Half to one and a half of a sleep, so that those who began to wait together do not ask together.
class Jitter {
public:
    explicit Jitter(int fd)
        : state_((static_cast<uint64_t>(now()) * 2654435761U + static_cast<uint64_t>(gettid() + fd)) | 1U)
    {
    }

    int64_t spread(int64_t sleep)
    {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 7;
        state_ ^= state_ << 17;
        return sleep / 2 + static_cast<int64_t>(state_ % static_cast<uint64_t>(sleep));
    }

private:
    uint64_t state_;
};

bool set_lock(int fd, Place place, short type)
{
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = place;
    lock.l_len = 1;
    return fcntl(fd, F_OFD_SETLK, &lock) == 0;
}

// Whether a refusal means that somebody else holds the lock; any other will not go away by waiting.
bool held_by_others()
{
    return errno == EAGAIN || errno == EACCES || errno == EINTR;
}

bool wait_for_lock(int fd, Place place, short type, int64_t deadline)
{
    if (set_lock(fd, place, type))
        return true;
    Jitter jitter(fd);
    for (int64_t sleep = SHORTEST_SLEEP; held_by_others(); sleep = std::min(sleep * 2, LONGEST_SLEEP)) {
        const int64_t time = now();
        if (time >= deadline)
            return false;
        sleep_until(std::min(deadline, time + jitter.spread(sleep)));
        if (set_lock(fd, place, type))
            return true;
    }
    return false;
}

} // namespace

bool lock_open_file(int fd, LockMode mode, int seconds)
{
    const short type = mode == LockMode::SHARED ? F_RDLCK : F_WRLCK;
    if (seconds <= 0)
        return set_lock(fd, LOCK, type);

    const int64_t begin = now();
    const int64_t deadline = begin + seconds * NANOSECONDS;
    const int64_t patience = mode == LockMode::SHARED ? std::min(deadline, begin + READER_PATIENCE) : deadline;
    const bool queued = wait_for_lock(fd, GATE, F_WRLCK, patience);
    if (!queued && mode == LockMode::EXCLUSIVE)
        return false;
    const bool held = wait_for_lock(fd, LOCK, type, deadline);
    if (queued)
        set_lock(fd, GATE, F_UNLCK);
    return held;
}

} // namespace kavo
