#include "core/lock_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/descriptor.h"

namespace kavo {
namespace {

// The open lock files of the process. The mutex also covers the opening and closing itself, so that a fork finds every
// open one written down.
pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
int *open_files = nullptr;
size_t open_count = 0;
size_t open_room = 0;
void (*forget_locks)() = nullptr;

class Guard {
public:
    Guard() { pthread_mutex_lock(&mutex); }
    Guard(const Guard &) = delete;
    Guard &operator=(const Guard &) = delete;
    ~Guard() { pthread_mutex_unlock(&mutex); }
};

void before_fork()
{
    pthread_mutex_lock(&mutex);
}

void after_fork_in_parent()
{
    pthread_mutex_unlock(&mutex);
}

void after_fork_in_child()
{
    const int saved = errno;
    for (size_t i = 0; i < open_count; ++i)
        close(open_files[i]);
    open_count = 0;
    if (forget_locks != nullptr)
        forget_locks();
    pthread_mutex_unlock(&mutex);
    errno = saved;
}

// Without the handlers a child would inherit locks, so no lock is given then.
bool fork_handled = false;

// Asked for at the first lock: loading the library does nothing.
void handle_forks()
{
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once(&once,
                 [] { fork_handled = pthread_atfork(before_fork, after_fork_in_parent, after_fork_in_child) == 0; });
}

bool room_for_one_more()
{
    if (open_count < open_room)
        return true;
    const size_t room = std::max<size_t>(16, open_room * 2);
    auto *moved = static_cast<int *>(realloc(open_files, room * sizeof(int)));
    if (moved == nullptr)
        return false;
    open_files = moved;
    open_room = room;
    return true;
}

// Opens a folder, making it when it is missing. No link is followed: whoever could plant one could also move the locks.
Descriptor open_folder(int parent, const char *name, mode_t mode)
{
    constexpr int FLAGS = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    Descriptor folder(openat(parent, name, FLAGS));
    if (folder || errno != ENOENT)
        return folder;
    const bool made = mkdirat(parent, name, mode) == 0;
    if (!made && errno != EEXIST)
        return folder;
    folder = Descriptor(openat(parent, name, FLAGS));
    if (folder && made && fchmod(folder.get(), mode) != 0) // whatever the caller's umask took off
        return Descriptor();
    return folder;
}

// A folder that others may write to would let them take the place of a lock file.
bool only_ours(const Descriptor &folder)
{
    struct stat status;
    if (fstat(folder.get(), &status) != 0)
        return false;
    if ((status.st_uid == 0 || status.st_uid == geteuid()) && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0)
        return true;
    errno = EPERM;
    return false;
}

Descriptor open_in_lock_folder(const char *name)
{
    const Descriptor run = Descriptor(open("/run", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!run)
        return Descriptor();
    const Descriptor platform = open_folder(run.get(), "kavo", 0755);
    if (!platform)
        return Descriptor();
    const Descriptor folder = open_folder(platform.get(), "lock", 0700);
    if (!folder || !only_ours(platform) || !only_ours(folder))
        return Descriptor();
    return Descriptor(
        openat(folder.get(), name, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0600));
}

// Moves a descriptor out of the place of standard input, output or error, which others read from and write to.
Descriptor above_standard(Descriptor file)
{
    if (!file || file.get() > STDERR_FILENO)
        return file;
    return Descriptor(fcntl(file.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

} // namespace

int open_lock_file(const char *name)
{
    handle_forks(); // without the mutex: a fork meanwhile must not leave it held in the child
    const Guard guard;
    if (!fork_handled || !room_for_one_more()) {
        errno = ENOMEM;
        return -1;
    }
    Descriptor file = above_standard(open_in_lock_folder(name));
    if (file)
        open_files[open_count++] = file.get();
    return file.release();
}

bool close_lock_file(int fd)
{
    const Guard guard;
    int *end = open_files + open_count;
    int *found = std::find(open_files, end, fd);
    if (found == end)
        return false;
    *found = end[-1];
    --open_count;
    // Unlocked by itself first: a command that is just being started may hold a copy of the open file for a moment.
    struct flock all = {};
    all.l_type = F_UNLCK;
    all.l_whence = SEEK_SET;
    fcntl(fd, F_OFD_SETLK, &all);
    close(fd);
    return true;
}

void on_lock_fork(void (*forget)())
{
    forget_locks = forget;
}

} // namespace kavo
