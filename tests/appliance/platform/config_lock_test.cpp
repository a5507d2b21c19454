#include <chrono>
#include <deque>
#include <thread>

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/time.h>

#include "appliance/platform/processes.h"
#include "kavo/core.h"
#include "support/private_root.h"
#include "support/read_back.h"

using platform_test::Child;
using platform_test::SharedNumbers;
using platform_test::Signal;

namespace {

class ConfigLockTest : public support::PrivateRoot {
protected:
    void SetUp() override
    {
        PrivateRoot::SetUp();
        if (!IsSkipped())
            descriptors = support::open_descriptors();
    }
    void TearDown() override
    {
        while (KLIBCFileUnlock(0x100) == 0 || KLIBCFileUnlock(0x800) == 0) {
        }
        if (!IsSkipped()) {
            EXPECT_EQ(descriptors, support::open_descriptors());
        }
        PrivateRoot::TearDown();
    }

    std::vector<std::string> descriptors;
};

// Whether somebody else, a thread or a process, gets the lock at once. It is given back.
bool another_thread_gets(int word)
{
    bool got = false;
    std::thread([&] { got = KLIBCFileLock(word, 0) == 0; }).join();
    return got;
}

bool another_process_gets(int word)
{
    return Child([word] { return KLIBCFileLock(word, 0) == 0 ? 1 : 0; }).result() == 1;
}

#define EXPECT_FREE_FOR(word)                                                                                          \
    EXPECT_TRUE(another_thread_gets(word));                                                                            \
    EXPECT_TRUE(another_process_gets(word))
#define EXPECT_CLOSED_FOR(word)                                                                                        \
    EXPECT_FALSE(another_thread_gets(word));                                                                           \
    EXPECT_FALSE(another_process_gets(word))

double seconds_of(const std::function<void()> &work)
{
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

} // namespace

TEST_F(ConfigLockTest, ExclusiveKeepsEverybodyElseOut)
{
    ASSERT_EQ(0, KLIBCFileLock(0x106, 5));
    EXPECT_CLOSED_FOR(0x105);
    EXPECT_CLOSED_FOR(0x106);
    EXPECT_EQ(0, KLIBCFileUnlock(0x100));
    EXPECT_FREE_FOR(0x106);
}

TEST_F(ConfigLockTest, ReadersShare)
{
    ASSERT_EQ(0, KLIBCFileLock(0x105, 5));
    EXPECT_FREE_FOR(0x105);
    EXPECT_CLOSED_FOR(0x106);
    EXPECT_EQ(0, KLIBCFileUnlock(0x100));
    EXPECT_FREE_FOR(0x106);
}

TEST_F(ConfigLockTest, TheClassesAreIndependent)
{
    ASSERT_EQ(0, KLIBCFileLock(0x106, 5));
    EXPECT_FREE_FOR(0x806);
    ASSERT_EQ(0, KLIBCFileLock(0x806, 5));
    EXPECT_CLOSED_FOR(0x805);
    EXPECT_EQ(0, KLIBCFileUnlock(0x100));
    EXPECT_CLOSED_FOR(0x805);
    EXPECT_FREE_FOR(0x106);
}

TEST_F(ConfigLockTest, HoldsAreCounted)
{
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(0, KLIBCFileLock(0x106, 0));
    EXPECT_EQ(0, KLIBCFileUnlock(0x100));
    EXPECT_EQ(0, KLIBCFileUnlock(0x100));
    EXPECT_CLOSED_FOR(0x105);
    EXPECT_EQ(0, KLIBCFileUnlock(0x100));
    EXPECT_FREE_FOR(0x106);
    EXPECT_EQ(-1, KLIBCFileUnlock(0x100));
}

TEST_F(ConfigLockTest, SharedInsideExclusiveStaysExclusive)
{
    ASSERT_EQ(0, KLIBCFileLock(0x106, 0));
    ASSERT_EQ(0, KLIBCFileLock(0x105, 0));
    EXPECT_CLOSED_FOR(0x105);
    EXPECT_EQ(0, KLIBCFileUnlock(0x100));
    EXPECT_CLOSED_FOR(0x105);
    EXPECT_EQ(0, KLIBCFileUnlock(0x100));
    EXPECT_FREE_FOR(0x106);
}

TEST_F(ConfigLockTest, ExclusiveInsideSharedIsAnUpgradeThatEndsWithItsHold)
{
    ASSERT_EQ(0, KLIBCFileLock(0x105, 0));
    ASSERT_EQ(0, KLIBCFileLock(0x106, 0));
    ASSERT_EQ(0, KLIBCFileLock(0x105, 0));
    EXPECT_CLOSED_FOR(0x105);
    EXPECT_EQ(0, KLIBCFileUnlock(0x100)); // the inner reader's
    EXPECT_CLOSED_FOR(0x105);
    EXPECT_EQ(0, KLIBCFileUnlock(0x100)); // the upgrade's
    EXPECT_FREE_FOR(0x105);
    EXPECT_CLOSED_FOR(0x106);
    ASSERT_EQ(0, KLIBCFileLock(0x106, 0)); // and once more
    EXPECT_CLOSED_FOR(0x105);
    EXPECT_EQ(0, KLIBCFileUnlock(0x100));
    EXPECT_FREE_FOR(0x105);
    EXPECT_EQ(0, KLIBCFileUnlock(0x100));
    EXPECT_FREE_FOR(0x106);
}

TEST_F(ConfigLockTest, AnUpgradeThatFailsKeepsTheSharedHold)
{
    Signal locked;
    Signal done;
    Child reader([&] {
        const int result = KLIBCFileLock(0x105, 5);
        locked.give();
        done.take();
        return result;
    });
    locked.take();
    ASSERT_EQ(0, KLIBCFileLock(0x105, 5));
    for (const int wait : {0, 1}) {
        support::clear_error();
        EXPECT_EQ(-1, KLIBCFileLock(0x106, wait));
        EXPECT_EQ(0x0400U, KLIBCErrGet());
        EXPECT_FREE_FOR(0x105);
    }
    done.give();
    EXPECT_EQ(0, reader.result());
    EXPECT_CLOSED_FOR(0x106);
    EXPECT_EQ(0, KLIBCFileLock(0x106, 0)) << "the other reader has gone";
    EXPECT_CLOSED_FOR(0x105);
    EXPECT_EQ(0, KLIBCFileUnlock(0x100));
    EXPECT_EQ(0, KLIBCFileUnlock(0x100));
    EXPECT_EQ(-1, KLIBCFileUnlock(0x100)) << "the failed requests owe no unlock";
    EXPECT_FREE_FOR(0x106);
}

TEST_F(ConfigLockTest, AnUpgradeWaitsForTheOtherReaders)
{
    Signal locked;
    Child reader([&] {
        const int result = KLIBCFileLock(0x105, 5);
        locked.give();
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        return result;
    });
    locked.take();
    ASSERT_EQ(0, KLIBCFileLock(0x105, 5));
    EXPECT_EQ(0, KLIBCFileLock(0x106, 5));
    EXPECT_CLOSED_FOR(0x105);
    EXPECT_EQ(0, reader.result());
}

TEST_F(ConfigLockTest, UnlockWithoutAHoldDoesNothing)
{
    EXPECT_EQ(-1, KLIBCFileUnlock(0x100));
    EXPECT_EQ(-1, KLIBCFileUnlock(0x300));
    EXPECT_EQ(support::NO_ERROR_SET, support::last_error()) << "callers unlock after they recorded their own failure";
    ASSERT_EQ(0, KLIBCFileLock(0x106, 0));
    EXPECT_EQ(-1, KLIBCFileUnlock(0x800));
    std::thread([] { EXPECT_EQ(-1, KLIBCFileUnlock(0x100)); }).join();
    EXPECT_CLOSED_FOR(0x105);
}

TEST_F(ConfigLockTest, WordsThatNameNoLockAreRefused)
{
    for (const int word : {0, 5, 6, 0x100, 0x104, 0x107, 0x205, 0x306, 0x906, 0x800, 0xF06}) {
        support::clear_error();
        EXPECT_EQ(-1, KLIBCFileLock(word, 5)) << word;
        EXPECT_EQ(0x0D00U, KLIBCErrGet()) << word;
    }
    EXPECT_FREE_FOR(0x106);
}

TEST_F(ConfigLockTest, AWaiterGivesUpAtItsLimitAndCanTryAgain)
{
    Signal locked;
    Child writer([&] {
        const int result = KLIBCFileLock(0x106, 5);
        locked.give();
        pause();
        return result;
    });
    locked.take();
    for (const int word : {0x105, 0x106}) {
        support::clear_error();
        // A machine that does something else meanwhile may come late once, a waiter that polls too seldom always does.
        double waited = 0;
        for (int attempt = 0; attempt < 5 && (attempt == 0 || waited > 1.05); ++attempt) {
            int refused = 0;
            waited = seconds_of([&] { refused = KLIBCFileLock(word, 1); });
            EXPECT_EQ(-1, refused);
            EXPECT_EQ(0x0400U, KLIBCErrGet());
            EXPECT_GE(waited, 1.0);
        }
        EXPECT_LE(waited, 1.05);
        int result = 0;
        waited = 1;
        for (int attempt = 0; attempt < 5 && waited > 0.05; ++attempt)
            waited = seconds_of([&] { result = KLIBCFileLock(word, 0); });
        EXPECT_LE(waited, 0.05);
        EXPECT_EQ(-1, result);
        EXPECT_EQ(-1, KLIBCFileLock(word, -5));
    }
    EXPECT_EQ(-1, KLIBCFileUnlock(0x100));
    writer.kill_now();
    EXPECT_EQ(0, KLIBCFileLock(0x106, 0)) << "a killed holder frees the lock at once";
}

TEST_F(ConfigLockTest, SignalsNeitherEndNorProlongAWait)
{
    ASSERT_EQ(0, KLIBCFileLock(0x106, 0));
    Child waiter([] {
        struct sigaction action = {};
        action.sa_handler = [](int) {};
        sigaction(SIGALRM, &action, nullptr);
        const itimerval often = {{0, 1000}, {0, 1000}};
        setitimer(ITIMER_REAL, &often, nullptr);
        for (int attempt = 0; attempt < 5; ++attempt) { // a busy machine may come late once
            int result = 0;
            const double waited = seconds_of([&] { result = KLIBCFileLock(0x106, 1); });
            if (result != -1 || waited < 1.0 || waited <= 1.05)
                return result == -1 && waited >= 1.0 ? 0 : 1;
        }
        return 2;
    });
    EXPECT_EQ(0, waiter.result());
}

TEST_F(ConfigLockTest, AWaiterGetsTheLockWhenItIsFreed)
{
    ASSERT_EQ(0, KLIBCFileLock(0x106, 0));
    Signal begins;
    Child waiter([&] {
        begins.give();
        return KLIBCFileLock(0x106, 5) == 0 ? 0 : 1;
    });
    begins.take();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(0, KLIBCFileUnlock(0x100));
    EXPECT_EQ(0, waiter.result());
}

TEST_F(ConfigLockTest, AThreadThatEndsFreesItsHolds)
{
    std::thread([] {
        EXPECT_EQ(0, KLIBCFileLock(0x106, 0));
        EXPECT_EQ(0, KLIBCFileLock(0x106, 0));
        EXPECT_EQ(0, KLIBCFileLock(0x805, 0));
    }).join();
    EXPECT_FREE_FOR(0x106);
    EXPECT_FREE_FOR(0x806);
    EXPECT_EQ(descriptors, support::open_descriptors());
}

TEST_F(ConfigLockTest, AThreadThatIsCancelledFreesItsHolds)
{
    Signal locked;
    pthread_t thread;
    ASSERT_EQ(0, pthread_create(
                     &thread, nullptr,
                     [](void *signal) -> void * {
                         EXPECT_EQ(0, KLIBCFileLock(0x106, 0));
                         static_cast<Signal *>(signal)->give();
                         for (;;)
                             pause();
                     },
                     &locked));
    locked.take();
    EXPECT_CLOSED_FOR(0x105);
    EXPECT_EQ(0, pthread_cancel(thread));
    EXPECT_EQ(0, pthread_join(thread, nullptr));
    EXPECT_FREE_FOR(0x106);
}

TEST_F(ConfigLockTest, AForkedChildHoldsNothing)
{
    ASSERT_EQ(0, KLIBCFileLock(0x106, 0));
    Child child([&] {
        if (support::open_descriptors() != descriptors)
            return 1;
        if (KLIBCFileUnlock(0x100) != -1)
            return 2;
        return KLIBCFileLock(0x105, 0) == -1 && KLIBCErrGet() == 0x0400 ? 0 : 3;
    });
    EXPECT_EQ(0, child.result());
    EXPECT_CLOSED_FOR(0x105);
}

TEST_F(ConfigLockTest, AChildThatOutlivesItsParentKeepsNoLockOfItsThreads)
{
    Signal forked;
    Signal done;
    Child parent([&] {
        Signal second;
        std::thread other([&] {
            KLIBCFileLock(0x806, 0);
            second.give();
            pause();
        });
        second.take();
        KLIBCFileLock(0x106, 0);
        if (fork() == 0) {
            forked.give();
            done.take();
            _exit(0);
        }
        pause();
        return 0;
    });
    forked.take();
    EXPECT_CLOSED_FOR(0x105);
    EXPECT_CLOSED_FOR(0x805);
    parent.kill_now();
    EXPECT_FREE_FOR(0x106);
    EXPECT_FREE_FOR(0x806);
    done.give();
}

TEST_F(ConfigLockTest, AChildLocksForItselfAndItsParentKeepsItsOwn)
{
    ASSERT_EQ(0, KLIBCFileLock(0x105, 0));
    EXPECT_EQ(0, Child([] {
                     return KLIBCFileLock(0x105, 0) == 0 && KLIBCFileUnlock(0x100) == 0 && KLIBCFileUnlock(0x100) == -1
                                ? 0
                                : 1;
                 }).result());
    EXPECT_CLOSED_FOR(0x106);
}

TEST_F(ConfigLockTest, CommandsInheritNothing)
{
    ASSERT_EQ(0, KLIBCFileLock(0x106, 0));
    EXPECT_EQ("", shell("ls -l /proc/self/fd | grep /run/kavo || true"));
}

TEST_F(ConfigLockTest, TheLockFilesAreTheAdministratorsAlone)
{
    const mode_t mask = umask(0);
    ASSERT_EQ(0, KLIBCFileLock(0x106, 0));
    umask(mask);
    struct stat status;
    ASSERT_EQ(0, stat("/run/kavo", &status));
    EXPECT_EQ(0755U, status.st_mode & 07777);
    ASSERT_EQ(0, stat("/run/kavo/lock", &status));
    EXPECT_EQ(0700U, status.st_mode & 07777);
    for (const std::string &name : support::entries("/run/kavo/lock")) {
        ASSERT_EQ(0, stat(("/run/kavo/lock/" + name).c_str(), &status));
        EXPECT_EQ(0600U, status.st_mode & 07777) << name;
    }
}

TEST_F(ConfigLockTest, NoLinkIsFollowedToALockFile)
{
    support::write_file("/tmp/victim", "content");
    shell("mkdir -m 700 -p /tmp/elsewhere; ln -s /tmp/elsewhere /run/kavo");
    EXPECT_EQ(-1, KLIBCFileLock(0x106, 1));
    EXPECT_EQ(0x0400U, KLIBCErrGet());
    shell("rm /run/kavo; mkdir /run/kavo; ln -s /tmp/elsewhere /run/kavo/lock");
    EXPECT_EQ(-1, KLIBCFileLock(0x106, 1));
    shell("rm /run/kavo/lock; mkdir -m 700 /run/kavo/lock");
    ASSERT_EQ(0, KLIBCFileLock(0x106, 1));
    const std::vector<std::string> names = support::entries("/run/kavo/lock");
    ASSERT_EQ(1U, names.size());
    EXPECT_EQ(0, KLIBCFileUnlock(0x100));
    shell("cd /run/kavo/lock; rm " + names[0] + "; ln -s /tmp/victim " + names[0]);
    EXPECT_EQ(-1, KLIBCFileLock(0x106, 1));
    EXPECT_TRUE(support::entries("/tmp/elsewhere").empty());
    EXPECT_EQ("content", support::read_file("/tmp/victim"));
}

TEST_F(ConfigLockTest, AFolderThatOthersMayWriteToIsNotTrusted)
{
    shell("mkdir -p /run/kavo/lock; chmod 777 /run/kavo/lock");
    EXPECT_EQ(-1, KLIBCFileLock(0x106, 1));
    EXPECT_EQ(0x0400U, KLIBCErrGet());
}

TEST_F(ConfigLockTest, TheLockStaysOutOfTheStandardDescriptors)
{
    EXPECT_EQ(0, Child([] {
                     for (int fd = 0; fd <= 2; ++fd)
                         close(fd);
                     if (KLIBCFileLock(0x106, 0) != 0)
                         return 1;
                     for (int fd = 0; fd <= 2; ++fd) {
                         if (fcntl(fd, F_GETFD) != -1)
                             return 2;
                     }
                     return KLIBCFileUnlock(0x100) == 0 ? 0 : 3;
                 }).result());
}

TEST_F(ConfigLockTest, EightThreadsInEightProcessesLoseNoCount)
{
    constexpr int TURNS = 100;
    SharedNumbers numbers; // the count, those inside, failures, threads that are ready
    std::deque<Child> processes;
    for (int p = 0; p < 8; ++p) {
        processes.emplace_back([&] {
            std::vector<std::thread> threads;
            for (int t = 0; t < 8; ++t) {
                threads.emplace_back([&] {
                    numbers.add(3);
                    while (numbers.get(3) < 8 * 8)
                        std::this_thread::yield();
                    for (int i = 0; i < TURNS; ++i) {
                        if (KLIBCFileLock(0x106, 60) != 0 || numbers.add(1) != 1)
                            numbers.add(2);
                        const int before = numbers[0];
                        std::this_thread::yield();
                        numbers[0] = before + 1;
                        numbers.add(1, -1);
                        if (KLIBCFileUnlock(0x100) != 0)
                            numbers.add(2);
                    }
                });
            }
            for (std::thread &thread : threads)
                thread.join();
            return 0;
        });
    }
    for (Child &process : processes)
        EXPECT_EQ(0, process.result());
    EXPECT_EQ(8 * 8 * TURNS, numbers.get(0));
    EXPECT_EQ(0, numbers.get(2));
}

TEST_F(ConfigLockTest, AWriterIsNotStarvedByReadersThatComeAndGo)
{
    constexpr int READERS = 16;
    SharedNumbers numbers; // whether to stop, failures, turns taken
    std::deque<Child> readers;
    for (int p = 0; p < READERS; ++p) {
        readers.emplace_back([&] {
            while (numbers.get(0) == 0) {
                if (KLIBCFileLock(0x105, 60) != 0)
                    numbers.add(1);
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
                KLIBCFileUnlock(0x100);
                numbers.add(2);
            }
            return 0;
        });
    }
    while (numbers.get(2) < 2 * READERS)
        std::this_thread::yield();
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(0, KLIBCFileLock(0x106, 30)) << i;
        KLIBCFileUnlock(0x100);
    }
    numbers.add(0);
    for (Child &reader : readers)
        EXPECT_EQ(0, reader.result());
    EXPECT_EQ(0, numbers.get(1));
}

TEST_F(ConfigLockTest, AReaderPassesAWriterThatWaitsForAnotherReader)
{
    ASSERT_EQ(0, KLIBCFileLock(0x105, 0));
    Signal begins;
    Child writer([&] {
        begins.give();
        return KLIBCFileLock(0x106, 60) == 0 ? 0 : 1;
    });
    begins.take();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    // A command that the holder waits for, say. If it stood behind the writer, the writer would get nothing.
    Child reader([] { return KLIBCFileLock(0x105, 30) == 0 ? 0 : 1; });
    EXPECT_EQ(0, reader.result());
    EXPECT_EQ(0, KLIBCFileUnlock(0x100));
    EXPECT_EQ(0, writer.result());
}
