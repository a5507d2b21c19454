#include <chrono>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>

#include "appliance/platform/processes.h"
#include "kavo/core.h"
#include "support/private_root.h"
#include "support/read_back.h"

using platform_test::Child;
using platform_test::Signal;

namespace {

class FileLockTest : public support::PrivateRoot {
protected:
    void SetUp() override
    {
        PrivateRoot::SetUp();
        if (IsSkipped())
            return;
        path = ifcfg("eth0");
        descriptors = support::open_descriptors();
    }
    void TearDown() override
    {
        if (!IsSkipped()) {
            EXPECT_EQ(descriptors, support::open_descriptors());
        }
        PrivateRoot::TearDown();
    }

    std::string path;
    std::vector<std::string> descriptors;
};

int lock(const std::string &path, int mode = 1, int timeout = 0)
{
    int fd = -7;
    const int result = KLIBCFileLockTimeByFile(path.c_str(), mode, timeout, &fd);
    EXPECT_EQ(result == 1, fd > 2);
    EXPECT_TRUE(result == 1 || fd == -1) << fd;
    return fd;
}

// Whether the name is locked for another process.
bool locked(const std::string &path, int mode = 1)
{
    return Child([&] { return lock(path, mode) < 0 ? 1 : 0; }).result() == 1;
}

} // namespace

TEST_F(FileLockTest, LocksAFileThatNeedNotExist)
{
    const int fd = lock(path);
    ASSERT_GE(fd, 0);
    EXPECT_FALSE(support::exists(path));
    EXPECT_TRUE(locked(path));
    EXPECT_TRUE(locked(path, 0));
    EXPECT_FALSE(locked(ifcfg("eth1")));
    EXPECT_EQ(1, KLIBCFileUnlockByFile(fd));
    EXPECT_FALSE(locked(path));
    const int nowhere = lock("/no/such/folder/file");
    EXPECT_GE(nowhere, 0);
    EXPECT_TRUE(locked("/no/such/folder/file"));
    EXPECT_EQ(1, KLIBCFileUnlockByFile(nowhere));
}

TEST_F(FileLockTest, SharedHoldersShare)
{
    const int fd = lock(path, 0);
    ASSERT_GE(fd, 0);
    EXPECT_FALSE(locked(path, 0));
    EXPECT_TRUE(locked(path, 1));
    EXPECT_EQ(1, KLIBCFileUnlockByFile(fd));
}

TEST_F(FileLockTest, IsNotCounted)
{
    const int fd = lock(path);
    EXPECT_EQ(-1, lock(path)) << "the holder's second request waits like anybody's";
    EXPECT_EQ(0x0400U, KLIBCErrGet());
    EXPECT_EQ(1, KLIBCFileUnlockByFile(fd));
}

TEST_F(FileLockTest, SurvivesTheReplacementOfTheFile)
{
    support::write_file(path, "A=1\n");
    const int fd = lock(path);
    support::write_file(path + ".new", "A=2\n");
    ASSERT_EQ(0, rename((path + ".new").c_str(), path.c_str()));
    EXPECT_TRUE(locked(path));
    ASSERT_EQ(0, unlink(path.c_str()));
    EXPECT_TRUE(locked(path));
    EXPECT_EQ(1, KLIBCFileUnlockByFile(fd));
}

TEST_F(FileLockTest, KnowsANameByEverySpellingOfItsFolder)
{
    shell("ln -s /etc/sysconfig /etc/alias");
    const int fd = lock(path);
    EXPECT_TRUE(locked("/etc/alias/network-scripts/ifcfg-eth0"));
    EXPECT_TRUE(locked("/etc//sysconfig/./../sysconfig/network-scripts//ifcfg-eth0"));
    EXPECT_EQ(0, chdir("/etc/sysconfig/network-scripts"));
    EXPECT_TRUE(locked("ifcfg-eth0"));
    EXPECT_TRUE(locked("./ifcfg-eth0"));
    EXPECT_EQ(0, chdir("/"));
    EXPECT_EQ(1, KLIBCFileUnlockByFile(fd));
}

TEST_F(FileLockTest, TellsUnusualAndLongNamesApart)
{
    const std::string longest = "/tmp/" + std::string(254, 'x');
    const std::vector<std::string> names = {"/tmp/a+b",    "/tmp/a%b",       "/tmp/a b",  "/tmp/a/b",
                                            "/tmp/a.b",    "/tmp/a\xc3\xa4", "/tmp/a\nb", longest + "a",
                                            longest + "b", "/tmp/a%2Fb",     "/tmp/a#b",  "/file-in-root"};
    shell("mkdir /tmp/a");
    std::vector<int> held;
    for (const std::string &name : names)
        held.push_back(lock(name));
    for (size_t i = 0; i < names.size(); ++i) {
        EXPECT_GE(held[i], 0) << names[i];
        EXPECT_TRUE(locked(names[i])) << names[i];
    }
    for (const int fd : held)
        EXPECT_EQ(1, KLIBCFileUnlockByFile(fd));
}

TEST_F(FileLockTest, WaitsForItsTimeAtMost)
{
    const int fd = lock(path);
    double waited = 0;
    for (int attempt = 0; attempt < 5 && (attempt == 0 || waited > 1.05);
         ++attempt) { // a busy machine may come late once
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(-1, lock(path, 1, 1));
        waited = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
        EXPECT_GE(waited, 1.0);
    }
    EXPECT_LE(waited, 1.05);
    EXPECT_EQ(1, KLIBCFileUnlockByFile(fd));
    const int next = lock(path, 1, 1);
    EXPECT_GE(next, 0);
    EXPECT_EQ(1, KLIBCFileUnlockByFile(next));
}

TEST_F(FileLockTest, AWaiterGetsItWhenTheHolderIsKilled)
{
    Signal held;
    Child holder([&] {
        lock(path);
        held.give();
        pause();
        return 0;
    });
    held.take();
    EXPECT_EQ(-1, lock(path));
    holder.kill_now();
    const int fd = lock(path);
    EXPECT_GE(fd, 0);
    EXPECT_EQ(1, KLIBCFileUnlockByFile(fd));
}

TEST_F(FileLockTest, AForkedChildHoldsNothing)
{
    Signal forked;
    Signal done;
    Child parent([&] {
        const int fd = lock(path);
        if (fork() == 0) {
            const bool closed = fcntl(fd, F_GETFD) == -1 && KLIBCFileUnlockByFile(fd) == 0;
            if (closed)
                forked.give();
            done.take();
            _exit(0);
        }
        pause();
        return 0;
    });
    forked.take();
    EXPECT_TRUE(locked(path));
    parent.kill_now();
    EXPECT_FALSE(locked(path)) << "though the child lives on";
    done.give();
}

TEST_F(FileLockTest, ReleasesOnlyDescriptorsThatHoldALock)
{
    EXPECT_EQ(0, KLIBCFileUnlockByFile(-1));
    EXPECT_EQ(0, KLIBCFileUnlockByFile(1));
    EXPECT_NE(-1, fcntl(1, F_GETFD)) << "somebody else's descriptor stays open";
    const int fd = lock(path);
    EXPECT_TRUE((fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0);
    EXPECT_EQ(1, KLIBCFileUnlockByFile(fd));
    EXPECT_EQ(0, KLIBCFileUnlockByFile(fd));
    EXPECT_EQ(0x0D00U, KLIBCErrGet());
}

TEST_F(FileLockTest, ItsHolderMayStillChangeTheFile)
{
    support::write_file(path, "A=1\n");
    const int fd = lock(path);
    EXPECT_EQ(0, KLIBCFileSetKeyValue(path.c_str(), "A", "2", "%s=%s\n"));
    EXPECT_EQ("A=2\n", support::read_file(path));
    EXPECT_TRUE(locked(path));
    EXPECT_EQ(1, KLIBCFileUnlockByFile(fd));
}

TEST_F(FileLockTest, FollowsNoLinkThatIsPlantedWhereAnyoneMayWrite)
{
    support::write_file("/etc/victim", "content");
    shell("ln -s /etc/victim /tmp/file; ln -s /etc/victim /tmp/file.lock; ln -s /etc/new /tmp/other");
    const int fd = lock("/tmp/file");
    const int other = lock("/tmp/other");
    ASSERT_GE(fd, 0);
    ASSERT_GE(other, 0);
    EXPECT_FALSE(locked("/etc/victim")) << "the link's own name is locked";
    EXPECT_EQ("content", support::read_file("/etc/victim"));
    EXPECT_FALSE(support::exists("/etc/new"));
    EXPECT_EQ(1, KLIBCFileUnlockByFile(fd));
    EXPECT_EQ(1, KLIBCFileUnlockByFile(other));
}

TEST_F(FileLockTest, Refuses)
{
    int fd = 5;
    EXPECT_EQ(0, KLIBCFileLockTimeByFile(nullptr, 1, 1, &fd));
    EXPECT_EQ(-1, fd);
    for (const char *name : {"", "/", "/etc/", "/etc/.", "..", "/etc/passwd/file"}) {
        fd = 5;
        EXPECT_EQ(0, KLIBCFileLockTimeByFile(name, 1, 1, &fd)) << name;
        EXPECT_EQ(-1, fd);
    }
    EXPECT_EQ(0, KLIBCFileLockTimeByFile(path.c_str(), 2, 1, &fd));
    EXPECT_EQ(0x0D00U, KLIBCErrGet());
    EXPECT_EQ(0, KLIBCFileLockTimeByFile(path.c_str(), 1, 1, nullptr));
    const std::string too_long = "/tmp/" + std::string(5000, 'x');
    EXPECT_EQ(0, KLIBCFileLockTimeByFile(too_long.c_str(), 1, 1, &fd));
    EXPECT_EQ(-1, fd);
}
