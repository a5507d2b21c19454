// Counts the system calls of a piece of work, by stepping a child through it.
#pragma once

#include <csignal>
#include <cstdlib>

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

template <class Work> long count_syscalls(Work work)
{
    const pid_t child = fork();
    if (child == 0) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        work();
        _exit(0);
    }
    int status = 0;
    long stops = 0;
    waitpid(child, &status, 0);
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    while (true) {
        ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        waitpid(child, &status, 0);
        if (WIFEXITED(status) || WIFSIGNALED(status))
            break;
        if (WIFSTOPPED(status) && WSTOPSIG(status) == (SIGTRAP | 0x80))
            ++stops;
    }
    return stops / 2; // each call stops at its entry and at its end; the exit has no end
}

} // namespace bench
