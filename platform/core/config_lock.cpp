#include <cstddef>

#include <pthread.h>

#include "core/fail.h"
#include "core/lock_file.h"
#include "core/lock_wait.h"

namespace {

struct LockClass {
    int word;
    const char *file;
};

constexpr LockClass CLASSES[] = {
    {0x100, "config.network"},
    {0x800, "config.settings"},
};
constexpr size_t CLASS_COUNT = sizeof(CLASSES) / sizeof(CLASSES[0]);

// A thread's holds of a class. From its exclusive_from-th hold on the lock is exclusive, below it is shared.
struct Holds {
    int fd; // the open lock file; only while there are holds
    unsigned depth;
    unsigned exclusive_from; // 0: the lock is shared
};

// Part of the thread's own block from its start on, so that locking needs no memory for it.
[[gnu::tls_model("initial-exec")]] constinit thread_local Holds thread_holds[CLASS_COUNT] = {};

// A thread that ends gives back what it still holds.
pthread_key_t end_of_thread;
bool end_of_thread_known = false;

void release_all(void *own_holds)
{
    auto *holds = static_cast<Holds *>(own_holds);
    for (size_t i = 0; i < CLASS_COUNT; ++i) {
        if (holds[i].depth > 0)
            kavo::close_lock_file(holds[i].fd);
        holds[i] = {};
    }
}

void forget_all()
{
    for (Holds &holds : thread_holds)
        holds = {};
}

// Before the first hold of the process: loading the library does nothing.
void prepare()
{
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once(&once, [] {
        end_of_thread_known = pthread_key_create(&end_of_thread, release_all) == 0;
        kavo::on_lock_fork(forget_all);
    });
}

// The position of a class; CLASS_COUNT when there is none.
size_t class_of(int word)
{
    size_t i = 0;
    while (i < CLASS_COUNT && CLASSES[i].word != word)
        ++i;
    return i;
}

int first_hold(Holds &holds, const char *file, kavo::LockMode mode, int wait)
{
    prepare();
    if (!end_of_thread_known || pthread_setspecific(end_of_thread, thread_holds) != 0)
        return kavo::fail(kavo::ERROR_LOCK, -1);
    const int fd = kavo::open_lock_file(file);
    if (fd < 0)
        return kavo::fail(kavo::ERROR_LOCK, -1);
    if (!kavo::lock_open_file(fd, mode, wait)) {
        kavo::close_lock_file(fd);
        return kavo::fail(kavo::ERROR_LOCK, -1);
    }
    holds = {fd, 1, mode == kavo::LockMode::EXCLUSIVE ? 1U : 0U};
    return 0;
}

int further_hold(Holds &holds, kavo::LockMode mode, int wait)
{
    if (mode == kavo::LockMode::EXCLUSIVE && holds.exclusive_from == 0) {
        if (!kavo::lock_open_file(holds.fd, mode, wait))
            return kavo::fail(kavo::ERROR_LOCK, -1);
        holds.exclusive_from = holds.depth + 1;
    }
    ++holds.depth;
    return 0;
}

} // namespace

extern "C" int KLIBCFileLock(int lockWord, int wait)
{
    const size_t i = class_of(lockWord & 0xF00);
    const int mode_word = lockWord & 0xF;
    if (i == CLASS_COUNT || (mode_word != 5 && mode_word != 6))
        return kavo::fail(kavo::ERROR_PARAMETER, -1);

    const kavo::LockMode mode = mode_word == 6 ? kavo::LockMode::EXCLUSIVE : kavo::LockMode::SHARED;
    Holds &holds = thread_holds[i];
    return holds.depth == 0 ? first_hold(holds, CLASSES[i].file, mode, wait) : further_hold(holds, mode, wait);
}

// Leaves the error record alone: callers unlock on their way out of a failure that they have recorded, held or not.
extern "C" int KLIBCFileUnlock(int lockClass)
{
    const size_t i = class_of(lockClass);
    if (i == CLASS_COUNT || thread_holds[i].depth == 0)
        return -1;

    Holds &holds = thread_holds[i];
    if (holds.depth == 1) {
        kavo::close_lock_file(holds.fd);
        holds = {};
        return 0;
    }
    if (holds.exclusive_from == holds.depth) {
        kavo::lock_open_file(holds.fd, kavo::LockMode::SHARED, 0); // giving away always succeeds
        holds.exclusive_from = 0;
    }
    --holds.depth;
    return 0;
}
