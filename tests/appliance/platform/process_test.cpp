#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "kavo/core.h"
#include "support/private_root.h"
#include "support/read_back.h"

using namespace support;

namespace {

constexpr unsigned BAD_PARAMETER = 0x0D00;
// What a sleeper is like: it ends at once, it does not listen to SIGTERM, or its memory takes the kernel a while to free.
enum Kind : char { GENTLE = '-', STUBBORN = 's', LARGE = 'l' };

constexpr char ROLE[] = "KAVO_TEST_SLEEPER"; // the program of this test as a process that only lives

// Takes the program over before the tests do when it was started as a sleeper.
__attribute__((constructor)) void sleep_when_asked()
{
    const char *role = getenv(ROLE);
    if (role == nullptr)
        return;
    if (role[0] == STUBBORN)
        signal(SIGTERM, SIG_IGN);
    if (role[0] == LARGE) {
        constexpr size_t SIZE = 512U << 20U;
        void *memory = mmap(nullptr, SIZE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED)
            _exit(1);
        memset(memory, 1, SIZE);
    }
    prctl(PR_SET_NAME, role + 1);
    if (write(STDOUT_FILENO, "!", 1) != 1)
        _exit(1);
    for (;;)
        pause();
}

// A living process with these argument words. It is named "sleeper" unless another name is given.
class Sleeper {
public:
    explicit Sleeper(std::vector<std::string> words, Kind kind = GENTLE, const std::string &name = "sleeper")
    {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            return;
        std::vector<char *> argv;
        for (std::string &word : words)
            argv.push_back(word.data());
        argv.push_back(nullptr);
        const std::string role = std::string(ROLE) + "=" + static_cast<char>(kind) + name;
        const char *const environment[] = {role.c_str(), nullptr};
        pid_ = fork();
        if (pid_ == 0) {
            dup2(ends[1], STDOUT_FILENO);
            execve("/proc/self/exe", argv.data(), const_cast<char *const *>(environment));
            _exit(1);
        }
        close(ends[1]);
        char byte = 0;
        alive_ = read(ends[0], &byte, 1) == 1;
        close(ends[0]);
    }
    Sleeper(const Sleeper &) = delete;
    Sleeper &operator=(const Sleeper &) = delete;
    ~Sleeper()
    {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }

    [[nodiscard]] bool alive() const { return alive_; }
    [[nodiscard]] pid_t pid() const { return pid_; }

    // The signal that ended it; 0 while it lives.
    int ended_by()
    {
        int status = 0;
        if (pid_ <= 0 || waitpid(pid_, &status, WNOHANG) != pid_)
            return 0;
        pid_ = -1;
        return WTERMSIG(status);
    }

private:
    pid_t pid_ = -1;
    bool alive_ = false;
};

std::string own_words()
{
    KLIBCPROC self{};
    EXPECT_EQ(0, KLIBCProcGetByPid(getpid(), &self));
    return self.szCmdline;
}

using ProcessTest = PrivateRoot;

} // namespace

// ---- Argument words

TEST_F(ProcessTest, AProcessIsFoundByItsFirstWords)
{
    const Sleeper relay({"/usr/sbin/relay", "-C", "br0", "-S", "eth1"});
    ASSERT_TRUE(relay.alive());
    for (const char *words : {"/usr/sbin/relay", "/usr/sbin/relay -C", "/usr/sbin/relay -C br0",
                              "/usr/sbin/relay -C br0 -S eth1", "  /usr/sbin/relay \t-C  br0 "})
        EXPECT_EQ(1, KLIBCIsProcAlive(words)) << words;
    for (const char *words :
         {"relay", "/usr/sbin/rela", "/usr/sbin/relay -C br", "/usr/sbin/relay -C br01", "/usr/sbin/relay br0",
          "-C br0", "/usr/sbin/relay -C br0 -S eth1 -v", "/usr/sbin/relay -C br0 -S eth"})
        EXPECT_EQ(0, KLIBCIsProcAlive(words)) << words;
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(ProcessTest, OneWordWithABlankIsNotTwo)
{
    const Sleeper relay({"/usr/sbin/relay", "-C br0"});
    ASSERT_TRUE(relay.alive());
    EXPECT_EQ(0, KLIBCIsProcAlive("/usr/sbin/relay -C br0"));
    EXPECT_EQ(1, KLIBCIsProcAlive("/usr/sbin/relay"));
}

TEST_F(ProcessTest, LongArgumentsAreCompared)
{
    const std::string word(20000, 'x');
    const Sleeper relay({"/usr/sbin/relay", word, "end"});
    ASSERT_TRUE(relay.alive());
    EXPECT_EQ(1, KLIBCIsProcAlive(("/usr/sbin/relay " + word + " end").c_str()));
    EXPECT_EQ(0, KLIBCIsProcAlive(("/usr/sbin/relay " + word + "x end").c_str()));
}

TEST_F(ProcessTest, ADeadProcessThatNobodyReapedIsNotAlive)
{
    const Sleeper relay({"/usr/sbin/relay", "-C", "br7"});
    ASSERT_TRUE(relay.alive());
    kill(relay.pid(), SIGKILL);
    siginfo_t info{};
    ASSERT_EQ(0, waitid(P_PID, static_cast<id_t>(relay.pid()), &info, WEXITED | WNOWAIT));
    EXPECT_EQ(0, KLIBCIsProcAlive("/usr/sbin/relay -C br7"));
    EXPECT_EQ(0, KLIBCKill("/usr/sbin/relay -C br7", 1));
}

TEST_F(ProcessTest, NoWordsAreRefused)
{
    for (const char *words : {static_cast<const char *>(nullptr), "", "  \t"}) {
        clear_error();
        EXPECT_EQ(0, KLIBCIsProcAlive(words));
        EXPECT_EQ(BAD_PARAMETER, last_error().code);
        clear_error();
        EXPECT_EQ(-1, KLIBCKill(words, 1));
        EXPECT_EQ(BAD_PARAMETER, last_error().code);
    }
    clear_error();
    EXPECT_EQ(-1, KLIBCKill("/usr/sbin/relay", 0));
    EXPECT_EQ(BAD_PARAMETER, last_error().code);
}

TEST_F(ProcessTest, KillEndsThoseThatMatchAndNoOthers)
{
    Sleeper first({"/usr/sbin/relay", "-C", "br0", "-S", "eth1"});
    Sleeper second({"/usr/sbin/relay", "-C", "br0"});
    Sleeper other({"/usr/sbin/relay", "-C", "br01"});
    ASSERT_TRUE(first.alive() && second.alive() && other.alive());
    EXPECT_EQ(0, KLIBCKill("/usr/sbin/relay -C br0", 1));
    EXPECT_EQ(SIGTERM, first.ended_by());
    EXPECT_EQ(SIGTERM, second.ended_by());
    EXPECT_EQ(0, other.ended_by());
    EXPECT_EQ(1, KLIBCIsProcAlive("/usr/sbin/relay -C br01"));
    EXPECT_EQ(0, KLIBCKill("/usr/sbin/relay -C br0", 1)) << "none is left, which is what was asked for";
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(ProcessTest, KillForcesAProcessThatDoesNotListen)
{
    Sleeper stubborn({"/usr/sbin/relay", "-C", "br0"}, STUBBORN);
    Sleeper gentle({"/usr/sbin/relay", "-C", "br0"});
    ASSERT_TRUE(stubborn.alive() && gentle.alive());
    timespec before{};
    timespec after{};
    clock_gettime(CLOCK_MONOTONIC, &before);
    EXPECT_EQ(0, KLIBCKill("/usr/sbin/relay -C br0", 1));
    clock_gettime(CLOCK_MONOTONIC, &after);
    EXPECT_GE(after.tv_sec - before.tv_sec, 4) << "it had its time to end by itself";
    EXPECT_EQ(SIGKILL, stubborn.ended_by());
    EXPECT_EQ(SIGTERM, gentle.ended_by());
}

// It loses its argument words long before its files and ports are free for a successor.
TEST_F(ProcessTest, KillWaitsForTheRealEnd)
{
    Sleeper large({"/usr/sbin/relay", "-C", "br0"}, LARGE);
    ASSERT_TRUE(large.alive());
    EXPECT_EQ(0, KLIBCKill("/usr/sbin/relay -C br0", 1));
    EXPECT_EQ(SIGTERM, large.ended_by());
}

TEST_F(ProcessTest, TheCallerIsNeverMeant)
{
    const std::string words = own_words();
    EXPECT_EQ(0, KLIBCIsProcAlive(words.c_str()));
    EXPECT_EQ(0, KLIBCKill(words.c_str(), 1));
    // Nor is what waits in its name for a command.
    write_file("/tmp/go", "");
    FILE *stream = KLIBCPopen("/bin/sh", "r", "-c", "while [ -e /tmp/go ]; do sleep 0.01; done; exit 3",
                              static_cast<char *>(nullptr));
    ASSERT_NE(nullptr, stream);
    EXPECT_EQ(0, KLIBCIsProcAlive(words.c_str()));
    EXPECT_EQ(0, KLIBCKill(words.c_str(), 1));
    unlink("/tmp/go");
    EXPECT_EQ(3, KLIBCPclose(stream));
}

// ---- Names

TEST_F(ProcessTest, ProcessesAreCountedByTheirName)
{
    char pid[256] = "old";
    EXPECT_EQ(0, KLIBCPs("kavo-sleeper", pid, sizeof pid));
    EXPECT_STREQ("", pid);
    const Sleeper first({"/opt/anything"}, GENTLE, "kavo-sleeper");
    const Sleeper second({"/opt/kavo-sleeper", "-x"});
    const Sleeper third({"kavo-sleeper"});
    const Sleeper other({"/opt/kavo-sleeper2", "kavo-sleeper"}, GENTLE, "kavo-sleeper2");
    ASSERT_TRUE(first.alive() && second.alive() && third.alive() && other.alive());
    EXPECT_EQ(3, KLIBCPs("kavo-sleeper", pid, sizeof pid));
    const std::vector<std::string> pids = {std::to_string(first.pid()), std::to_string(second.pid()),
                                           std::to_string(third.pid())};
    EXPECT_NE(pids.end(), std::find(pids.begin(), pids.end(), pid)) << pid;
    EXPECT_EQ(3, KLIBCPs("kavo-sleeper", nullptr, 0));
    EXPECT_EQ(1, KLIBCPs("kavo-sleeper2", nullptr, 0));
    EXPECT_EQ(0, KLIBCPs("kavo", nullptr, 0));
}

TEST_F(ProcessTest, ALongNameIsFoundByItsPath)
{
    const Sleeper relay({"/opt/kavo-sleeper-of-a-long-name"}, GENTLE, "kavo-sleeper-of");
    ASSERT_TRUE(relay.alive());
    EXPECT_EQ(1, KLIBCPs("kavo-sleeper-of-a-long-name", nullptr, 0));
}

TEST_F(ProcessTest, TheDeadAreNotCounted)
{
    const Sleeper relay({"/opt/x"}, GENTLE, "kavo-sleeperd");
    ASSERT_TRUE(relay.alive());
    kill(relay.pid(), SIGKILL);
    siginfo_t info{};
    ASSERT_EQ(0, waitid(P_PID, static_cast<id_t>(relay.pid()), &info, WEXITED | WNOWAIT));
    EXPECT_EQ(0, KLIBCPs("kavo-sleeperd", nullptr, 0));
}

TEST_F(ProcessTest, WhatWaitsForACommandIsNotCounted)
{
    prctl(PR_SET_NAME, "kavo-counted");
    write_file("/tmp/go", "");
    FILE *stream =
        KLIBCPopen("/bin/sh", "r", "-c", "while [ -e /tmp/go ]; do sleep 0.01; done", static_cast<char *>(nullptr));
    ASSERT_NE(nullptr, stream);
    EXPECT_EQ(1, KLIBCPs("kavo-counted", nullptr, 0));
    EXPECT_EQ(0, KLIBCPs("kavo-wait", nullptr, 0));
    unlink("/tmp/go");
    EXPECT_EQ(0, KLIBCPclose(stream));
}

TEST_F(ProcessTest, ANameIsNeeded)
{
    char pid[8];
    for (const int result : {KLIBCPs(nullptr, pid, sizeof pid), KLIBCPs("", pid, sizeof pid), KLIBCPs("x", pid, 0)}) {
        EXPECT_EQ(-1, result);
        EXPECT_EQ(BAD_PARAMETER, last_error().code);
    }
}

// ---- Pid files

TEST_F(ProcessTest, APidFileHoldsAPlainNumber)
{
    const struct {
        std::string text;
        int pid;
    } cases[] = {{"1234\n", 1234},
                 {"1234", 1234},
                 {"1\n\n", 1},
                 {"007\n", 7},
                 {"2147483647\n", INT_MAX},
                 {"1234 \t\r\n", 1234},
                 {"", 0},
                 {"\n", 0},
                 {"0\n", 0},
                 {"-1\n", 0},
                 {"+1\n", 0},
                 {" 1\n", 0},
                 {"12x\n", 0},
                 {"x12\n", 0},
                 {"0x10\n", 0},
                 {"1 2\n", 0},
                 {"1\n2\n", 0},
                 {"2147483648\n", 0},
                 {"4294967297\n", 0},
                 {"18446744073709551617\n", 0},
                 {"1.5\n", 0},
                 {std::string("12\0\n", 4), 0},
                 {std::string(100, '1'), 0},
                 {"12" + std::string(62, '\n') + "x", 0}};
    for (const auto &[text, pid] : cases) {
        write_file("/run/x.pid", text);
        EXPECT_EQ(pid, KLIBCReadPidFile("/run/x.pid")) << text;
    }
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(ProcessTest, APidFileThatCannotBeReadIsAnError)
{
    EXPECT_EQ(-1, KLIBCReadPidFile("/run/none.pid"));
    EXPECT_EQ(0x0900U, last_error().code);
    EXPECT_EQ(-1, KLIBCReadPidFile("/run"));
    clear_error();
    EXPECT_EQ(-1, KLIBCReadPidFile(nullptr));
    EXPECT_EQ(BAD_PARAMETER, last_error().code);
    EXPECT_EQ(-1, KLIBCReadPidFile(""));
}

// ---- One process

TEST_F(ProcessTest, AProcessIsDescribed)
{
    const Sleeper relay({"/usr/sbin/relay", "-C", "two words", "", "end"});
    ASSERT_TRUE(relay.alive());
    KLIBCPROC process{};
    ASSERT_EQ(0, KLIBCProcGetByPid(relay.pid(), &process));
    EXPECT_EQ(relay.pid(), process.pid);
    EXPECT_EQ(getpid(), process.ppid);
    EXPECT_NE(nullptr, strchr("SR", process.state)) << process.state;
    EXPECT_STREQ("sleeper", process.szName);
    EXPECT_STREQ("/usr/sbin/relay -C two words  end", process.szCmdline);
}

TEST_F(ProcessTest, ANameMayHoldParenthesesAndBlanks)
{
    for (const char *name : {"a) Z 1 (b", ") S 99999 1", "((", "x y  z", ")"}) {
        const Sleeper relay({"/usr/sbin/relay"}, GENTLE, name);
        ASSERT_TRUE(relay.alive());
        KLIBCPROC process{};
        ASSERT_EQ(0, KLIBCProcGetByPid(relay.pid(), &process));
        EXPECT_STREQ(name, process.szName);
        EXPECT_EQ(getpid(), process.ppid) << name;
        EXPECT_NE('Z', process.state) << name;
    }
}

TEST_F(ProcessTest, ALongCommandLineIsCut)
{
    const Sleeper relay({"/usr/sbin/relay", std::string(10000, 'x')});
    ASSERT_TRUE(relay.alive());
    KLIBCPROC process{};
    ASSERT_EQ(0, KLIBCProcGetByPid(relay.pid(), &process));
    EXPECT_EQ("/usr/sbin/relay " + std::string(4095 - 16, 'x'), process.szCmdline);
}

TEST_F(ProcessTest, NoProcessIsNotDescribed)
{
    KLIBCPROC process{};
    process.pid = 77;
    EXPECT_EQ(-1, KLIBCProcGetByPid(INT_MAX, &process));
    EXPECT_EQ(77, process.pid);
    clear_error();
    EXPECT_EQ(-1, KLIBCProcGetByPid(0, &process));
    EXPECT_EQ(BAD_PARAMETER, last_error().code);
    clear_error();
    EXPECT_EQ(-1, KLIBCProcGetByPid(1, nullptr));
    EXPECT_EQ(BAD_PARAMETER, last_error().code);
}
