// Pid files, which any user may read and which may stand where everybody can write.
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "kavo/core.h"
#include "support/read_back.h"

namespace fs = std::filesystem;

namespace {

constexpr unsigned LONGEST_WAIT = 20; // seconds

class PidFileTest : public testing::Test {
protected:
    void SetUp() override
    {
        char name[] = "/tmp/kavo-pid-XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(name));
        folder = name;
        path = folder + "/x.pid";
        shared = folder + "/shared";
        support::write_file(path, "1234\n");
        ASSERT_EQ(0, mkdir(shared.c_str(), 0700));
        ASSERT_EQ(0, chmod(shared.c_str(), 01777));
        descriptors = support::open_descriptors();
        support::clear_error();
        alarm(LONGEST_WAIT); // whoever waits for a pipe would do so for ever
    }
    void TearDown() override
    {
        alarm(0);
        EXPECT_EQ(descriptors, support::open_descriptors());
        fs::remove_all(folder);
    }

    static void expect_refused(const std::string &name)
    {
        support::clear_error();
        EXPECT_EQ(-1, KLIBCReadPidFile(name.c_str())) << name;
        EXPECT_EQ(0x0900U, KLIBCErrGet()) << name;
    }

    std::string folder;
    std::string path;
    std::string shared; // like /tmp: sticky and writable by all
    std::vector<std::string> descriptors;
};

} // namespace

TEST_F(PidFileTest, IsReadWhereverItStands)
{
    EXPECT_EQ(1234, KLIBCReadPidFile(path.c_str()));
    support::write_file(shared + "/y.pid", "77\n");
    EXPECT_EQ(77, KLIBCReadPidFile((shared + "/y.pid").c_str()));
    EXPECT_EQ(support::NO_ERROR_SET, support::last_error());
}

TEST_F(PidFileTest, AnOwnLinkIsFollowed)
{
    fs::create_symlink("x.pid", folder + "/link");
    fs::create_symlink("../link", shared + "/link");
    EXPECT_EQ(1234, KLIBCReadPidFile((folder + "/link").c_str()));
    EXPECT_EQ(1234, KLIBCReadPidFile((shared + "/link").c_str()));
    EXPECT_EQ(support::NO_ERROR_SET, support::last_error());
}

TEST_F(PidFileTest, ALinkThatLeadsNowhereIsAnError)
{
    fs::create_symlink("none", folder + "/dangling");
    fs::create_symlink("loop", folder + "/loop");
    expect_refused(folder + "/dangling");
    expect_refused(folder + "/loop");
    EXPECT_FALSE(support::exists(folder + "/none"));
}

TEST_F(PidFileTest, OnlyAPlainFileIsOpened)
{
    const std::string pipe = shared + "/pipe";
    const std::string local = shared + "/socket";
    ASSERT_EQ(0, mkfifo(pipe.c_str(), 0666));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(local.size(), sizeof address.sun_path);
    local.copy(address.sun_path, local.size());
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(0, bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address));
    close(fd);
    fs::create_symlink(pipe, folder + "/to-pipe");
    fs::create_symlink("/dev/null", folder + "/to-device");
    for (const std::string &other :
         {pipe, local, shared, std::string("/dev/null"), folder + "/to-pipe", folder + "/to-device"})
        expect_refused(other);
}

TEST_F(PidFileTest, AFileThatSomebodyElsePlantedIsNotBelieved)
{
    const std::string planted = shared + "/z.pid";
    support::write_file(planted, "77\n");
    if (chown(planted.c_str(), 65534, 65534) != 0 || chown(path.c_str(), 65534, 65534) != 0)
        GTEST_SKIP() << "this user cannot give files away";
    expect_refused(planted);
    EXPECT_EQ(1234, KLIBCReadPidFile(path.c_str())) << "not everybody can plant one there";
    ASSERT_EQ(0, chown(shared.c_str(), 65534, 65534));
    EXPECT_EQ(77, KLIBCReadPidFile(planted.c_str()));
}

TEST_F(PidFileTest, ALinkThatSomebodyElsePlantedIsNotFollowed)
{
    const std::string link = shared + "/link";
    const std::string beside = folder + "/link";
    fs::create_symlink(path, link);
    fs::create_symlink(path, beside);
    if (lchown(link.c_str(), 65534, 65534) != 0 || lchown(beside.c_str(), 65534, 65534) != 0)
        GTEST_SKIP() << "this user cannot give links away";
    expect_refused(link);
    EXPECT_EQ(1234, KLIBCReadPidFile(beside.c_str())) << "not everybody can plant one there";
    // The folder's owner may have one there, whoever calls.
    ASSERT_EQ(0, chown(shared.c_str(), 65534, 65534));
    EXPECT_EQ(1234, KLIBCReadPidFile(link.c_str()));
    ASSERT_EQ(0, chown(shared.c_str(), 1000, 1000));
    expect_refused(link);
    // Without the sticky bit, or where others may not write, it is a folder like any other.
    for (const mode_t mode : {0777U, 01775U}) {
        ASSERT_EQ(0, chmod(shared.c_str(), mode));
        EXPECT_EQ(1234, KLIBCReadPidFile(link.c_str()));
    }
}
