#include "spawn/spawn.h"

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <linux/futex.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

// What runs in the waiter and in the command before its program stands on memory that is not its own. It is left alone
// by the sanitizers and makes system calls only: libc keeps state that belongs to the caller's thread.
#define BORROWED __attribute__((no_sanitize("address", "undefined", "thread"), no_stack_protector))

// libc's clone by its other name: under the first one the thread sanitizer has a stand-in that runs code of its own in
// the new process.
extern "C" int __clone(int (*run)(void *), void *stack, int flags, void *argument, ...) noexcept;

namespace kavo {
namespace {

// The futex of a start. The kernel itself writes ENDED when the waiter is gone, however it went.
enum Phase : uint32_t { ENDED = 0, STARTING = 1, RUNNING = 2 };

constexpr size_t STACK_SIZE = 16384;
constexpr int LAST_SIGNAL = 64;

// The kernel's own set of signals, and its default action in the kernel's own layout (which is all zero everywhere).
using SignalSet = uint64_t;
constexpr SignalSet ALL_SIGNALS = ~SignalSet{0};
struct alignas(8) DefaultAction {
    char zero[64] = {};
};

constexpr SignalSet signal_bit(int signal)
{
    return SignalSet{1} << (signal - 1);
}

// The kernel's own time of the system calls that take a `long`.
struct KernelTimer {
    long interval_seconds, interval_microseconds, seconds, microseconds;
};

// One entry of a directory as the kernel lists it.
struct KernelEntry {
    uint64_t inode;
    int64_t offset;
    uint16_t length;
    unsigned char type;
    char name[1];
};

} // namespace

// Shared by the caller, the waiter and the command until its program starts.
struct RunningCommand {
    Command command;
    pid_t waiter;
    uint32_t phase;
    bool started;
    bool late;
    int error;  // why it could not be run
    int status; // as wait4 tells it; -1 as long as it is not known
    alignas(64) char waiter_stack[STACK_SIZE];
    alignas(64) char command_stack[STACK_SIZE];
};

namespace {

BORROWED void default_dispositions()
{
    const DefaultAction action;
    for (int signal = 1; signal <= LAST_SIGNAL; ++signal) {
        if (signal != SIGKILL && signal != SIGSTOP)
            syscall(SYS_rt_sigaction, signal, &action, nullptr, sizeof(SignalSet));
    }
}

BORROWED int descriptor_number(const char *name)
{
    int number = 0;
    for (; *name >= '0' && *name <= '9'; ++name)
        number = number * 10 + (*name - '0');
    return *name == '\0' ? number : -1;
}

// For kernels without close_range: closes what the process's own descriptor folder lists.
BORROWED bool close_listed(int first)
{
    syscall(SYS_close, first); // makes room for one more where the limit is reached
    const int folder = static_cast<int>(syscall(SYS_openat, AT_FDCWD, "/proc/self/fd", O_RDONLY | O_DIRECTORY));
    if (folder < 0)
        return false;
    alignas(8) char buffer[1024];
    long size = 0;
    while ((size = syscall(SYS_getdents64, folder, buffer, sizeof buffer)) > 0) {
        for (long at = 0; at < size;) {
            const auto *entry = reinterpret_cast<const KernelEntry *>(buffer + at);
            const int fd = descriptor_number(entry->name);
            if (fd >= first && fd != folder)
                syscall(SYS_close, fd);
            at += entry->length;
        }
    }
    syscall(SYS_close, folder);
    return size == 0;
}

BORROWED bool close_from(int first)
{
    return syscall(SYS_close_range, first, ~0U, 0) == 0 || close_listed(first);
}

BORROWED bool place(int fd, int target)
{
    return fd == target || syscall(SYS_dup3, fd, target, 0) == target;
}

// Input, output and error in their places and nothing else open. Any of the three may be closed in the caller, so the
// pipe's end may be one of them: it goes out of the way first.
BORROWED bool set_descriptors(int output)
{
    constexpr int ASIDE = 3;
    if (output >= 0 && !place(output, ASIDE))
        return false;
    if (!close_from(output >= 0 ? ASIDE + 1 : ASIDE))
        return false;
    const int null = static_cast<int>(syscall(SYS_openat, AT_FDCWD, "/dev/null", O_RDWR));
    if (null < 0)
        return false;
    // The output comes last: until then its place may be the one that holds /dev/null.
    return place(null, STDIN_FILENO) && place(null, STDERR_FILENO) &&
           place(output >= 0 ? ASIDE : null, STDOUT_FILENO) && close_from(ASIDE);
}

// The command, up to its program.
BORROWED int run_program(void *argument)
{
    auto *running = static_cast<RunningCommand *>(argument);
    const Command &command = running->command;
    const SignalSet none = 0;
    syscall(SYS_rt_sigprocmask, SIG_SETMASK, &none, nullptr, sizeof none);
    syscall(SYS_execve, command.program, command.arguments, command.environment);
    running->error = errno;
    syscall(SYS_exit_group, 127);
    return 127;
}

// Waits for the command and kills it when its time is over. Both news come as signals, which stay blocked and are asked
// for: so nobody but the waiter ever reaps the command, and the kill cannot hit another process of the same number.
BORROWED void await_command(RunningCommand *running, pid_t command)
{
    const SignalSet news = signal_bit(SIGCHLD) | signal_bit(SIGALRM);
    const bool limited = running->command.seconds > 0;
    if (limited) {
        const KernelTimer timer{0, 0, running->command.seconds, 0};
        syscall(SYS_setitimer, 0 /* ITIMER_REAL */, &timer, nullptr);
    }
    for (;;) {
        const long signal = limited ? syscall(SYS_rt_sigtimedwait, &news, nullptr, nullptr, sizeof news) : SIGCHLD;
        if (signal == SIGALRM) {
            running->late = true;
            syscall(SYS_kill, command, SIGKILL);
        }
        int status = 0;
        const long ended = syscall(SYS_wait4, command, &status, limited ? __WALL | WNOHANG : __WALL, nullptr);
        if (ended == command)
            running->status = status;
        if (ended != 0)
            return;
    }
}

BORROWED void announce(RunningCommand *running)
{
    __atomic_store_n(&running->phase, RUNNING, __ATOMIC_RELEASE);
    syscall(SYS_futex, &running->phase, FUTEX_WAKE, 1, nullptr, nullptr, 0);
}

// The waiter. It holds none of the caller's descriptors, so that a lock or a pipe of the caller ends with the caller.
BORROWED int wait_for_command(void *argument)
{
    auto *running = static_cast<RunningCommand *>(argument);
    syscall(SYS_prctl, PR_SET_NAME, WAITER_NAME, 0, 0, 0);
    // A caller that dies while it waits takes the waiter along, and with it the last hold of its memory. The reader of
    // a stream may be another thread than the one that opened it, whose end must not count.
    if (running->command.output < 0)
        syscall(SYS_prctl, PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0);
    default_dispositions();
    pid_t command = -1;
    if (set_descriptors(running->command.output))
        command = __clone(run_program, running->command_stack + STACK_SIZE, CLONE_VM | CLONE_VFORK | SIGCHLD, running);
    if (command < 0)
        running->error = errno;
    running->started = command >= 0 && running->error == 0;
    close_from(0);
    announce(running);
    if (command >= 0)
        await_command(running, command);
    syscall(SYS_exit_group, 0);
    return 0;
}

pid_t start_waiter(RunningCommand *running)
{
    char *stack = running->waiter_stack + STACK_SIZE;
    const pid_t waiter =
        __clone(wait_for_command, stack, CLONE_VM | CLONE_CHILD_CLEARTID, running, nullptr, nullptr, &running->phase);
    if (waiter >= 0 || errno != EINVAL)
        return waiter;
    // An emulated processor knows plain copies of a process only; what is shared then is the mapping of `running`.
    return __clone(wait_for_command, stack, SIGCHLD, running);
}

// Signals stay blocked from before the waiter is made until the program runs: no handler of the caller's may run on
// borrowed memory, and none sees errno change under it.
void start_with_signals_blocked(RunningCommand *running)
{
    SignalSet before = 0;
    syscall(SYS_rt_sigprocmask, SIG_SETMASK, &ALL_SIGNALS, &before, sizeof before);
    running->waiter = start_waiter(running);
    if (running->waiter < 0)
        running->error = errno;
    while (running->waiter >= 0 && __atomic_load_n(&running->phase, __ATOMIC_ACQUIRE) == STARTING)
        syscall(SYS_futex, &running->phase, FUTEX_WAIT, STARTING, nullptr, nullptr, 0);
    syscall(SYS_rt_sigprocmask, SIG_SETMASK, &before, nullptr, sizeof before);
}

int result_of(const RunningCommand &running)
{
    const int status = running.status;
    if (running.error != 0 || status == -1)
        return -1;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

} // namespace

RunningCommand *start_command(const Command &command)
{
    void *room = mmap(nullptr, sizeof(RunningCommand), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (room == MAP_FAILED)
        return nullptr;
    auto *running = static_cast<RunningCommand *>(room);
    running->command = command;
    running->phase = STARTING;
    running->status = -1;
    start_with_signals_blocked(running);
    if (running->started)
        return running;
    const int error = running->error != 0 ? running->error : ECHILD;
    finish_command(running);
    errno = error;
    return nullptr;
}

CommandEnd finish_command(RunningCommand *running)
{
    // Not libc's wait4: that is a point of cancellation, and the memory must outlive the waiter.
    while (running->waiter >= 0 && syscall(SYS_wait4, running->waiter, nullptr, __WALL, nullptr) < 0 &&
           errno == EINTR) {
    }
    const CommandEnd end{result_of(*running), running->late};
    munmap(running, sizeof *running);
    return end;
}

} // namespace kavo
