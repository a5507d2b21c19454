#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kavo/core.h"
#include "support/faults.h"
#include "support/private_root.h"
#include "support/read_back.h"

using namespace support;

namespace {

constexpr char OUTPUT[] = "/tmp/output";
constexpr unsigned BAD_PARAMETER = 0x0D00;
constexpr unsigned EXEC_FAILED = 0x2A00;

// A shell's own descriptors; not the last command, which would take the shell's place.
constexpr char LIST_OWN[] = "ls /proc/$$/fd; exit 0";

int sh(const std::string &text)
{
    return KLIBCExecl("/bin/sh", 0xBB, "-c", text.c_str(), static_cast<char *>(nullptr));
}

std::string all_of(FILE *stream)
{
    std::string text;
    char buffer[4096];
    while (const size_t got = fread(buffer, 1, sizeof buffer, stream))
        text.append(buffer, got);
    return text;
}

// What a shell prints. The status must be 0.
std::string printed(const std::string &text)
{
    FILE *stream = KLIBCPopen("/bin/sh", "r", "-c", text.c_str(), static_cast<char *>(nullptr));
    if (stream == nullptr)
        return "not run";
    const std::string output = all_of(stream);
    return KLIBCPclose(stream) == 0 ? output : "failed";
}

// The result of `body` in a copy of the test, so that what it does to itself (limits, closed descriptors) ends with it.
template <class Body> int in_a_copy(Body body)
{
    const pid_t pid = fork();
    if (pid == 0)
        _exit(body());
    int status = 0;
    EXPECT_EQ(pid, waitpid(pid, &status, 0));
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

// The thread sanitizer delivers signals when it likes, not when they come.
#ifdef __SANITIZE_THREAD__
constexpr bool SIGNALS_COME_LATE = true;
#else
constexpr bool SIGNALS_COME_LATE = false;
#endif

class CommandTest : public PrivateRoot {
protected:
    void SetUp() override
    {
        PrivateRoot::SetUp();
        descriptors_ = open_descriptors();
        sigprocmask(SIG_SETMASK, nullptr, &mask_);
    }

    // No test leaves a descriptor, a child of any kind or another signal mask behind.
    void TearDown() override
    {
        if (!IsSkipped()) {
            EXPECT_EQ(descriptors_, open_descriptors());
            EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG | __WALL));
            EXPECT_EQ(ECHILD, errno);
            sigset_t mask;
            sigprocmask(SIG_SETMASK, nullptr, &mask);
            for (int signal = 1; signal < SIGRTMAX; ++signal)
                EXPECT_EQ(sigismember(&mask_, signal), sigismember(&mask, signal)) << signal;
        }
        PrivateRoot::TearDown();
    }

private:
    std::vector<std::string> descriptors_;
    sigset_t mask_{};
};

// A disposition for the length of a test.
class Disposition {
public:
    Disposition(int signal, void (*handler)(int)) : signal_(signal)
    {
        struct sigaction action {};
        action.sa_handler = handler;
        sigaction(signal, &action, &before_);
    }
    Disposition(const Disposition &) = delete;
    Disposition &operator=(const Disposition &) = delete;
    ~Disposition() { sigaction(signal_, &before_, nullptr); }

private:
    int signal_;
    struct sigaction before_ {};
};

} // namespace

// ---- Results

TEST_F(CommandTest, GivesTheExitStatus)
{
    for (const int status : {0, 1, 2, 126, 127, 128, 255})
        EXPECT_EQ(status, sh("exit " + std::to_string(status)));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(CommandTest, GivesTheSignalThatEndedIt)
{
    EXPECT_EQ(128 + SIGKILL, sh("kill -KILL $$"));
    EXPECT_EQ(128 + SIGTERM, sh("kill -TERM $$"));
    EXPECT_EQ(128 + SIGUSR1, sh("kill -USR1 $$"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(CommandTest, WhatCannotBeRunIsNoStatus)
{
    write_file("/tmp/plain", "#!/bin/sh\nexit 0\n", 0644);
    write_file("/tmp/no-program", "neither a program nor a script\n", 0755);
    write_file("/tmp/no-interpreter", "#!/nowhere/sh\n", 0755);
    for (const char *program :
         {"/nowhere/at-all", "/tmp/plain", "/tmp", "/tmp/no-program", "/tmp/no-interpreter", "/bin/sh/below", "sh"}) {
        clear_error();
        EXPECT_EQ(-1, KLIBCExec(program, nullptr, nullptr, nullptr, nullptr)) << program;
        EXPECT_EQ(EXEC_FAILED, last_error().code) << program;
        EXPECT_EQ("command.cpp", last_error().file);
        clear_error();
        EXPECT_EQ(nullptr, KLIBCPopen(program, "r", static_cast<char *>(nullptr))) << program;
        EXPECT_EQ(EXEC_FAILED, last_error().code) << program;
    }
}

TEST_F(CommandTest, TellsWhyItCouldNotBeRun)
{
    EXPECT_EQ(-1, KLIBCExec("/nowhere/at-all", nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_EQ(-1, KLIBCExec("/tmp", nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(EACCES, errno);
}

TEST_F(CommandTest, RefusesBadArguments)
{
    char name[] = "sh";
    char *const none[] = {nullptr};
    char *const some[] = {name, nullptr};
    const auto refused = [](int result) {
        const bool right = result == -1 && last_error().code == BAD_PARAMETER && last_error().file == "command.cpp";
        clear_error();
        return right;
    };
    char *const end = nullptr;
    EXPECT_TRUE(refused(KLIBCExec(nullptr, nullptr, nullptr, nullptr, nullptr)));
    EXPECT_TRUE(refused(KLIBCExec("", nullptr, nullptr, nullptr, nullptr)));
    EXPECT_TRUE(refused(KLIBCExecl(nullptr, 0xBB, end)));
    EXPECT_TRUE(refused(KLIBCExecl("", 0xBB, end)));
    EXPECT_TRUE(refused(KLIBCExecl("/bin/true", 0, end)));
    EXPECT_TRUE(refused(KLIBCExecl("/bin/true", 0xBA, end)));
    EXPECT_TRUE(refused(KLIBCExecv(nullptr, some, 1)));
    EXPECT_TRUE(refused(KLIBCExecv("/bin/true", nullptr, 1)));
    EXPECT_TRUE(refused(KLIBCExecv("/bin/true", none, 1)));
    EXPECT_TRUE(refused(KLIBCExecv("/bin/true", some, 0)));
    EXPECT_TRUE(refused(KLIBCPopen(nullptr, "r", end) == nullptr ? -1 : 0));
    EXPECT_TRUE(refused(KLIBCPopen("/bin/true", nullptr, end) == nullptr ? -1 : 0));
    EXPECT_TRUE(refused(KLIBCPopen("/bin/true", "w", end) == nullptr ? -1 : 0));
    EXPECT_TRUE(refused(KLIBCPopen("/bin/true", "re", end) == nullptr ? -1 : 0));
    EXPECT_TRUE(refused(KLIBCPclose(nullptr)));
}

TEST_F(CommandTest, MemoryRunsOut)
{
    ASSERT_EQ(0, sh("exit 0"));
    ASSERT_EQ("text\n", printed("echo text"));
    fail_call("calloc");
    EXPECT_EQ(-1, sh("exit 0"));
    EXPECT_EQ(0x0200U, last_error().code);
    for (const int n : {1, 2}) {
        clear_error();
        fail_call("calloc", n);
        EXPECT_EQ("not run", printed("echo text")) << n;
        EXPECT_EQ(0x0200U, last_error().code) << n;
    }
}

// ---- What a command gets

TEST_F(CommandTest, ArgumentsArriveAsTheyAre)
{
    script("/usr/kavo/bin/show", "printf '%s\\0' \"$@\" >/tmp/output");
    std::string bytes;
    for (int byte = 1; byte < 256; ++byte)
        bytes.push_back(static_cast<char>(byte));
    const std::string end(1, '\0');
    EXPECT_EQ(0, KLIBCExec("/usr/kavo/bin/show", "two words", "", "'\"$(id)`\\", "line\nline\r"));
    EXPECT_EQ("two words" + end + end + "'\"$(id)`\\" + end + "line\nline\r" + end, read_file(OUTPUT));
    EXPECT_EQ(0, KLIBCExecl("/usr/kavo/bin/show", 0xBB, bytes.c_str(), "*", static_cast<char *>(nullptr)));
    EXPECT_EQ(bytes + end + "*" + end, read_file(OUTPUT));
}

TEST_F(CommandTest, TheFirstEmptySlotEndsTheArguments)
{
    record("/usr/kavo/bin/tool");
    EXPECT_EQ(0, KLIBCExec("/usr/kavo/bin/tool", nullptr, "b", "c", "d"));
    EXPECT_EQ(0, KLIBCExec("/usr/kavo/bin/tool", "a", "b", nullptr, "d"));
    EXPECT_EQ(0, KLIBCExec("/usr/kavo/bin/tool", "a", "b", "c", "d"));
    const std::vector<std::string> expected = {"[/usr/kavo/bin/tool]", "[/usr/kavo/bin/tool] [a] [b]",
                                               "[/usr/kavo/bin/tool] [a] [b] [c] [d]"};
    EXPECT_EQ(expected, calls());
}

TEST_F(CommandTest, ManyArgumentsArrive)
{
    std::vector<std::string> words(500, "word");
    std::vector<char *> argv;
    char name[] = "sh";
    char option[] = "-c";
    char text[] = "exit $(($# / 2))";
    argv.insert(argv.end(), {name, option, text, name});
    for (std::string &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    EXPECT_EQ(250, KLIBCExecv("/bin/sh", argv.data(), 1));
}

TEST_F(CommandTest, TheVectorNamesTheProgram)
{
    char name[] = "a name of its own";
    char option[] = "-c";
    char text[] = "tr '\\0' '|' </proc/$$/cmdline >/tmp/output";
    char *const argv[] = {name, option, text, nullptr};
    EXPECT_EQ(0, KLIBCExecv("/bin/sh", argv, 1));
    EXPECT_EQ(std::string("a name of its own|-c|") + text + "|", read_file(OUTPUT));
}

TEST_F(CommandTest, TheEnvironmentIsFixed)
{
    setenv("KAVO_SECRET", "leaks", 1);
    const std::string expected = "PATH=/sbin:/bin:/usr/sbin:/usr/bin\nLANG=C\n";
    EXPECT_EQ(0, sh("tr '\\0' '\\n' </proc/$$/environ >/tmp/output"));
    EXPECT_EQ(expected, read_file(OUTPUT));
    EXPECT_EQ(expected, printed("tr '\\0' '\\n' </proc/$$/environ"));
    unsetenv("KAVO_SECRET");
}

TEST_F(CommandTest, NoDescriptorIsInherited)
{
    const int plain = open("/etc/kavoinfo.conf", O_RDONLY);
    const int high = fcntl(plain, F_DUPFD, 700);
    ASSERT_GE(high, 700);
    EXPECT_EQ(0, sh("(ls /proc/$$/fd >/tmp/output); exit 0"));
    EXPECT_EQ("0\n1\n2\n", read_file(OUTPUT));
    EXPECT_EQ("0\n1\n2\n", printed(LIST_OWN));
    close(plain);
    close(high);
}

TEST_F(CommandTest, InputAndOutputAreNowhere)
{
    const char *const shown = "for n in 0 1 2; do readlink /proc/$$/fd/$n; done";
    EXPECT_EQ(0, sh("for n in 0 1 2; do (readlink /proc/$$/fd/$n >>/tmp/output); done"));
    EXPECT_EQ("/dev/null\n/dev/null\n/dev/null\n", read_file(OUTPUT));
    const std::vector<std::string> of_stream = lines_of(printed(shown));
    ASSERT_EQ(3U, of_stream.size());
    EXPECT_EQ("/dev/null", of_stream[0]);
    EXPECT_EQ(0U, of_stream[1].find("pipe:"));
    EXPECT_EQ("/dev/null", of_stream[2]);
}

TEST_F(CommandTest, SignalsAreAsAtTheStart)
{
    const Disposition pipe(SIGPIPE, SIG_IGN);
    const Disposition interrupt(SIGINT, SIG_IGN);
    const Disposition real_time(SIGRTMAX, SIG_IGN);
    const Disposition user(SIGUSR1, [](int) {});
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigaddset(&blocked, SIGCHLD);
    sigprocmask(SIG_BLOCK, &blocked, &before);
    FILE *stream = KLIBCPopen("/bin/cat", "r", "/proc/self/status", static_cast<char *>(nullptr));
    ASSERT_NE(nullptr, stream);
    EXPECT_THAT(all_of(stream), testing::HasSubstr("SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n"
                                                   "SigCgt:\t0000000000000000\n"));
    EXPECT_EQ(0, KLIBCPclose(stream));
    EXPECT_EQ(128 + SIGTERM, sh("kill -TERM $$"));
    sigprocmask(SIG_SETMASK, &before, nullptr);
}

// ---- The caller's own affairs

TEST_F(CommandTest, IgnoredChildSignalMakesNoDifference)
{
    const Disposition child(SIGCHLD, SIG_IGN);
    EXPECT_EQ(7, sh("exit 7"));
    EXPECT_EQ("text\n", printed("echo text"));
}

TEST_F(CommandTest, ChildSignalWithoutZombiesMakesNoDifference)
{
    struct sigaction action {};
    struct sigaction before {};
    action.sa_handler = SIG_DFL;
    action.sa_flags = SA_NOCLDWAIT;
    sigaction(SIGCHLD, &action, &before);
    EXPECT_EQ(7, sh("exit 7"));
    sigaction(SIGCHLD, &before, nullptr);
}

namespace {

volatile sig_atomic_t child_signals = 0;
volatile sig_atomic_t reaped = 0;

void reap_everything(int)
{
    const int saved = errno;
    child_signals = child_signals + 1;
    while (waitpid(-1, nullptr, WNOHANG) > 0)
        reaped = reaped + 1;
    errno = saved;
}

} // namespace

TEST_F(CommandTest, HandlerThatReapsEverythingMakesNoDifference)
{
    child_signals = 0;
    reaped = 0;
    const Disposition child(SIGCHLD, reap_everything);
    for (int i = 0; i < 50; ++i)
        ASSERT_EQ(i, sh("exit " + std::to_string(i)));
    EXPECT_EQ("text\n", printed("echo text"));
    EXPECT_EQ(0, child_signals);
    EXPECT_EQ(0, reaped);
}

TEST_F(CommandTest, ThreadThatReapsEverythingMakesNoDifference)
{
    // A child that lives as long as the test keeps the other thread waiting for any child at all.
    int ends[2];
    ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
    const pid_t own = fork();
    if (own == 0) {
        close(ends[1]);
        char byte;
        _exit(read(ends[0], &byte, 1) == 0 ? 3 : 4);
    }
    std::vector<pid_t> found;
    int status = 0;
    std::thread reaper([&] {
        for (pid_t pid = 0; (pid = waitpid(-1, &status, 0)) > 0;)
            found.push_back(pid);
    });
    for (int i = 0; i < 50; ++i)
        EXPECT_EQ(i, sh("exit " + std::to_string(i)));
    close(ends[0]);
    close(ends[1]);
    reaper.join();
    EXPECT_EQ(std::vector<pid_t>{own}, found);
    EXPECT_EQ(3, WEXITSTATUS(status));
}

TEST_F(CommandTest, OwnChildrenStayTheCallers)
{
    const pid_t own = fork();
    if (own == 0)
        _exit(3);
    siginfo_t info{};
    ASSERT_EQ(0, waitid(P_PID, static_cast<id_t>(own), &info, WEXITED | WNOWAIT));
    EXPECT_EQ(0, sh("exit 0"));
    EXPECT_EQ("text\n", printed("echo text"));
    int status = 0;
    ASSERT_EQ(own, waitpid(own, &status, 0));
    EXPECT_EQ(3, WEXITSTATUS(status));
}

namespace {

volatile sig_atomic_t alarms = 0;

} // namespace

TEST_F(CommandTest, HandlersRunWhileTheCommandDoes)
{
    if (SIGNALS_COME_LATE)
        GTEST_SKIP() << "signals come late here";
    alarms = 0;
    const Disposition alarm(SIGALRM, [](int) { alarms = alarms + 1; });
    const itimerval often{{0, 5000}, {0, 5000}};
    const itimerval never{};
    setitimer(ITIMER_REAL, &often, nullptr);
    // The command ends when the handler has run several times.
    write_file("/tmp/go", "");
    std::thread releaser([] {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, nullptr);
        while (alarms < 5)
            std::this_thread::yield();
        unlink("/tmp/go");
    });
    EXPECT_EQ(9, sh("while [ -e /tmp/go ]; do sleep 0.01; done; exit 9"));
    setitimer(ITIMER_REAL, &never, nullptr);
    releaser.join();
    EXPECT_GE(alarms, 5);
}

TEST_F(CommandTest, ErrnoHoldsNoStrangersValueInHandlers)
{
    if (SIGNALS_COME_LATE)
        GTEST_SKIP() << "signals come late here";
    static std::atomic<bool> wrong;
    wrong = false;
    const Disposition alarm(SIGALRM, [](int) {
        const int saved = errno;
        volatile int &value = errno;
        for (int i = 0; i < 200; ++i) {
            value = EXDEV;
            for (int spin = 0; spin < 50; ++spin)
                std::atomic_signal_fence(std::memory_order_seq_cst);
            if (value != EXDEV)
                wrong = true;
        }
        errno = saved;
    });
    const itimerval often{{0, 300}, {0, 300}};
    const itimerval never{};
    setitimer(ITIMER_REAL, &often, nullptr);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(-1, KLIBCExec("/nowhere/at-all", nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(0, sh("exit 0"));
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_FALSE(wrong);
}

TEST_F(CommandTest, ClosedStandardDescriptorsMakeNoDifference)
{
    for (int closed = 1; closed < 8; ++closed) {
        EXPECT_EQ(0, in_a_copy([=] {
                      for (int fd = 0; fd < 3; ++fd) {
                          if ((closed & 1 << fd) != 0)
                              close(fd);
                      }
                      if (sh("(readlink /proc/$$/fd/0 >/tmp/output); (ls /proc/$$/fd >>/tmp/output); exit 7") != 7 ||
                          read_file(OUTPUT) != "/dev/null\n0\n1\n2\n")
                          return 1;
                      if (printed("echo text; echo error >&2") != "text\n")
                          return 2;
                      if (printed(LIST_OWN) != "0\n1\n2\n")
                          return 3;
                      return KLIBCExec("/nowhere/at-all", nullptr, nullptr, nullptr, nullptr) == -1 ? 0 : 4;
                  }))
            << closed;
    }
}

TEST_F(CommandTest, RunsWhenTheCallerHasNoDescriptorLeft)
{
    EXPECT_EQ(0, in_a_copy([] {
                  const rlimit few{64, 64};
                  setrlimit(RLIMIT_NOFILE, &few);
                  while (dup(1) >= 0) {
                  }
                  if (sh("exit 7") != 7)
                      return 1;
                  clear_error();
                  if (KLIBCPopen("/bin/true", "r", static_cast<char *>(nullptr)) != nullptr ||
                      last_error().code != 0x0900)
                      return 2;
                  close(62);
                  close(63);
                  return printed("echo text") == "text\n" ? 0 : 3;
              }));
}

TEST_F(CommandTest, RunsOnKernelsWithoutCloseRange)
{
    EXPECT_EQ(0, in_a_copy([] {
                  sock_filter filter[] = {
                      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_close_range, 0, 1),
                      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
                      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
                  };
                  const sock_fprog program{sizeof filter / sizeof filter[0], filter};
                  for (int i = 0; i < 200; ++i)
                      dup(1);
                  fcntl(1, F_DUPFD, 900);
                  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
                      prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
                      return 1;
                  if (syscall(SYS_close_range, 3, ~0U, 0) != -1 || errno != ENOSYS)
                      return 2;
                  if (printed(LIST_OWN) != "0\n1\n2\n")
                      return 3;
                  const rlimit few{905, 905};
                  setrlimit(RLIMIT_NOFILE, &few);
                  while (dup(1) >= 0) {
                  }
                  const int result = sh("(ls /proc/$$/fd >/tmp/output); exit 7");
                  for (int fd = 100; fd < 905; ++fd) // the sanitizers need descriptors of their own to look at memory
                      close(fd);
                  return result == 7 && read_file(OUTPUT) == "0\n1\n2\n" ? 0 : 4;
              }));
}

// A copy of the caller's memory would write-protect each of its pages: the caller's next writes would fault again.
TEST_F(CommandTest, TheCallersMemoryIsNotCopied)
{
    constexpr size_t SIZE = 200U << 20;
    constexpr size_t PAGE = 4096;
    auto *memory = static_cast<char *>(mmap(nullptr, SIZE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(MAP_FAILED, static_cast<void *>(memory));
    madvise(memory, SIZE, MADV_NOHUGEPAGE);
    const auto faults_of_touching = [=] {
        rusage before{};
        rusage after{};
        getrusage(RUSAGE_SELF, &before);
        for (size_t at = 0; at < SIZE; at += PAGE)
            *static_cast<volatile char *>(memory + at) = 1;
        getrusage(RUSAGE_SELF, &after);
        return after.ru_minflt - before.ru_minflt;
    };
    constexpr long PAGES = SIZE / PAGE;
    EXPECT_GE(faults_of_touching(), PAGES);
    EXPECT_LT(faults_of_touching(), PAGES / 100);
    ASSERT_EQ(7, sh("exit 7"));
    EXPECT_LT(faults_of_touching(), PAGES / 100);
    ASSERT_EQ("text\n", printed("echo text"));
    EXPECT_LT(faults_of_touching(), PAGES / 100);
    // What the measure shows when the memory is copied.
    EXPECT_EQ(0, in_a_copy([] { return 0; }));
    EXPECT_GE(faults_of_touching(), PAGES);
    munmap(memory, SIZE);
}

// ---- Streams

TEST_F(CommandTest, AStreamGivesTheWholeOutput)
{
    const std::string text = printed("head -c 1000000 /dev/zero");
    EXPECT_EQ(std::string(1000000, '\0'), text);
    EXPECT_EQ("", printed("echo error >&2"));
}

TEST_F(CommandTest, ClosingAStreamGivesTheResult)
{
    FILE *stream = KLIBCPopen("/bin/sh", "r", "-c", "echo text; exit 5", static_cast<char *>(nullptr));
    ASSERT_NE(nullptr, stream);
    EXPECT_EQ("text\n", all_of(stream));
    EXPECT_EQ(5, KLIBCPclose(stream));
    // A command that writes on finds nobody who reads.
    stream = KLIBCPopen("/usr/bin/yes", "r", static_cast<char *>(nullptr));
    ASSERT_NE(nullptr, stream);
    EXPECT_EQ(128 + SIGPIPE, KLIBCPclose(stream));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(CommandTest, StreamsAreNotInheritedByOthers)
{
    FILE *stream = KLIBCPopen("/bin/cat", "r", "/etc/kavoinfo.conf", static_cast<char *>(nullptr));
    ASSERT_NE(nullptr, stream);
    EXPECT_EQ(FD_CLOEXEC, fcntl(fileno(stream), F_GETFD));
    EXPECT_EQ(0, KLIBCPclose(stream));
}

TEST_F(CommandTest, SeveralStreamsAreClosedInAnyOrder)
{
    std::vector<FILE *> streams;
    for (int i = 0; i < 6; ++i)
        streams.push_back(
            KLIBCPopen("/bin/sh", "r", "-c", ("exit " + std::to_string(i)).c_str(), static_cast<char *>(nullptr)));
    for (const int i : {3, 0, 5, 1, 4, 2}) {
        ASSERT_NE(nullptr, streams[static_cast<size_t>(i)]);
        EXPECT_EQ(i, KLIBCPclose(streams[static_cast<size_t>(i)]));
    }
}

TEST_F(CommandTest, AForeignStreamIsLeftAlone)
{
    FILE *foreign = fopen("/etc/passwd", "re");
    ASSERT_NE(nullptr, foreign);
    EXPECT_EQ(-1, KLIBCPclose(foreign));
    EXPECT_EQ(BAD_PARAMETER, last_error().code);
    EXPECT_NE(EOF, fgetc(foreign));
    fclose(foreign);
}

// The end of a stream is the end of the command's output, not of the command.
TEST_F(CommandTest, AStreamEndsWhenTheCommandClosesItsOutput)
{
    write_file("/tmp/go", "");
    FILE *stream =
        KLIBCPopen("/bin/sh", "r", "-c", "echo text; exec >/dev/null; while [ -e /tmp/go ]; do sleep 0.01; done",
                   static_cast<char *>(nullptr));
    ASSERT_NE(nullptr, stream);
    EXPECT_EQ("text\n", all_of(stream));
    unlink("/tmp/go");
    EXPECT_EQ(0, KLIBCPclose(stream));
}

TEST_F(CommandTest, WhatWaitsForACommandHoldsNoDescriptors)
{
    const int held = open("/etc/kavoinfo.conf", O_RDONLY);
    write_file("/tmp/go", "");
    FILE *stream = KLIBCPopen("/bin/sh", "r", "-c", "echo $PPID; while [ -e /tmp/go ]; do sleep 0.01; done",
                              static_cast<char *>(nullptr));
    ASSERT_NE(nullptr, stream);
    char line[32];
    ASSERT_NE(nullptr, fgets(line, sizeof line, stream));
    KLIBCPROC waiter{};
    ASSERT_EQ(0, KLIBCProcGetByPid(atoi(line), &waiter));
    EXPECT_STREQ("kavo-wait", waiter.szName);
    EXPECT_EQ(getpid(), waiter.ppid);
    EXPECT_EQ(std::vector<std::string>{}, entries("/proc/" + std::to_string(waiter.pid) + "/fd"));
    unlink("/tmp/go");
    EXPECT_EQ(0, KLIBCPclose(stream));
    close(held);
}

TEST_F(CommandTest, AResultThatIsLostIsNoResult)
{
    FILE *stream = KLIBCPopen("/bin/sh", "r", "-c", "echo $PPID; exec sleep 1", static_cast<char *>(nullptr));
    ASSERT_NE(nullptr, stream);
    char line[32];
    ASSERT_NE(nullptr, fgets(line, sizeof line, stream));
    kill(atoi(line), SIGKILL);
    EXPECT_EQ(-1, KLIBCPclose(stream));
    EXPECT_EQ(EXEC_FAILED, last_error().code);
}

// ---- Threads

TEST_F(CommandTest, ThreadsRunCommandsAtTheSameTime)
{
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&wrong, i] {
            for (int round = 0; round < 20; ++round) {
                if (sh("exit " + std::to_string(i * 20 + round)) != i * 20 + round)
                    ++wrong;
                // Neither the pipes of the others nor anything else of them is open in this command.
                if (printed(LIST_OWN) != "0\n1\n2\n")
                    ++wrong;
                if (KLIBCExec("/nowhere/at-all", nullptr, nullptr, nullptr, nullptr) != -1)
                    ++wrong;
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(0, wrong);
}

TEST_F(CommandTest, AStreamMayOutliveTheThreadThatOpenedIt)
{
    FILE *stream = nullptr;
    write_file("/tmp/go", "");
    std::thread([&] {
        stream = KLIBCPopen("/bin/sh", "r", "-c", "while [ -e /tmp/go ]; do sleep 0.01; done; echo text; exit 4",
                            static_cast<char *>(nullptr));
    }).join();
    ASSERT_NE(nullptr, stream);
    unlink("/tmp/go");
    EXPECT_EQ("text\n", all_of(stream));
    EXPECT_EQ(4, KLIBCPclose(stream));
}

TEST_F(CommandTest, RunsOnTheSmallestStack)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 64 * 1024);
    pthread_t thread;
    static int result;
    result = 0;
    ASSERT_EQ(0, pthread_create(
                     &thread, &attributes,
                     [](void *) -> void * {
                         result = KLIBCExecl("/bin/sh", 0xBB, "-c", "exit 6", static_cast<char *>(nullptr));
                         return nullptr;
                     },
                     nullptr));
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    EXPECT_EQ(6, result);
}
