#include "support/kill_stepper.h"

#include <cerrno>
#include <csignal>
#include <cstring>

#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace support {
namespace {

constexpr int CALL_STOP = SIGTRAP | 0x80; // how PTRACE_O_TRACESYSGOOD marks a stop at a system call

pid_t start(const std::function<void()> &work)
{
    const pid_t child = fork();
    if (child != 0)
        return child;
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
        _exit(126);
    raise(SIGSTOP);
    work();
    _exit(0);
}

// Lets the child run to its next stop and gives its status.
int run_on(pid_t child, int signal)
{
    int status = -1;
    ptrace(PTRACE_SYSCALL, child, nullptr, signal);
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

// Calls that change nothing but the child's own memory: a kill before one leaves what a kill before the next one leaves.
// How many an allocator makes differs from child to child, with sanitizers above all, and the others are to be counted.
bool is_about_memory(uint64_t call)
{
#ifdef SYS_mmap
    constexpr long MAP = SYS_mmap;
#else
    constexpr long MAP = SYS_mmap2; // of 32-bit machines
#endif
    for (const long own :
         {MAP, long{SYS_munmap}, long{SYS_mremap}, long{SYS_mprotect}, long{SYS_madvise}, long{SYS_brk}}) {
        if (call == static_cast<uint64_t>(own))
            return true;
    }
    return false;
}

// There is a stop before each call and one after it.
bool enters_call(pid_t child)
{
    __ptrace_syscall_info info = {};
    return ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof info, &info) > 0 && info.op == PTRACE_SYSCALL_INFO_ENTRY &&
           !is_about_memory(info.entry.nr);
}

// True when the child was killed before its n-th call, false when it ended before that; `status` tells how.
bool kill_before_call(pid_t child, int n, int &status)
{
    waitpid(child, &status, 0); // at its SIGSTOP
    if (!WIFSTOPPED(status))
        return false;
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    int signal = 0;
    for (int calls = 0; calls < n;) {
        status = run_on(child, signal);
        if (!WIFSTOPPED(status))
            return false;
        const bool at_call = WSTOPSIG(status) == CALL_STOP;
        signal = at_call ? 0 : WSTOPSIG(status);
        calls += at_call && enters_call(child) ? 1 : 0;
    }
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
    return true;
}

} // namespace

int kill_before_each_call(const std::function<void()> &work, const std::function<void(int)> &check)
{
    for (int n = 1;; ++n) {
        const pid_t child = start(work);
        if (child < 0) {
            ADD_FAILURE() << "fork: " << strerror(errno);
            return n - 1;
        }
        int status = -1;
        if (!kill_before_call(child, n, status)) {
            EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the work failed, status " << status;
            return n - 1;
        }
        check(n);
        if (testing::Test::HasFatalFailure())
            return n;
    }
}

} // namespace support
