// Several processes at once, for what must hold between them.
#pragma once

#include <cerrno>
#include <csignal>
#include <functional>
#include <vector>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace platform_test {

// Numbers that forked children share with the test.
class SharedNumbers {
public:
    SharedNumbers()
        : numbers_(static_cast<int *>(mmap(nullptr, SIZE, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)))
    {
    }
    SharedNumbers(const SharedNumbers &) = delete;
    SharedNumbers &operator=(const SharedNumbers &) = delete;
    ~SharedNumbers() { munmap(numbers_, SIZE); }

    volatile int &operator[](int i) { return numbers_[i]; }
    int add(int i, int n = 1) { return __atomic_add_fetch(&numbers_[i], n, __ATOMIC_SEQ_CST); }
    int get(int i) { return __atomic_load_n(&numbers_[i], __ATOMIC_SEQ_CST); }

private:
    static constexpr size_t SIZE = 4096;
    int *numbers_;
};

// A forked child; it ends with the work's result and is killed when the test forgets it.
class Child {
public:
    explicit Child(const std::function<int()> &work) : pid_(fork())
    {
        if (pid_ == 0)
            _exit(work());
    }
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;
    ~Child()
    {
        if (pid_ > 0)
            kill_now();
    }

    // The result of its work, or 128 and the signal that ended it.
    int result()
    {
        int status = 0;
        while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    void kill_now()
    {
        kill(pid_, SIGKILL);
        result();
    }

private:
    pid_t pid_;
};

// A pipe that tells a child or the test to go on.
class Signal {
public:
    Signal() { EXPECT_EQ(0, pipe(ends_)); }
    Signal(const Signal &) = delete;
    Signal &operator=(const Signal &) = delete;
    ~Signal()
    {
        close(ends_[0]);
        close(ends_[1]);
    }
    void give() { EXPECT_EQ(1, write(ends_[1], "x", 1)); }
    void take()
    {
        char c;
        EXPECT_EQ(1, read(ends_[0], &c, 1));
    }

private:
    int ends_[2];
};

} // namespace platform_test
