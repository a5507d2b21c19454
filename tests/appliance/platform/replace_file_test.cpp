// What holds for every function that changes a file.
#include <filesystem>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include "appliance/platform/processes.h"
#include "kavo/core.h"
#include "support/faults.h"
#include "support/kill_stepper.h"
#include "support/private_root.h"
#include "support/read_back.h"

namespace fs = std::filesystem;
using platform_test::Child;
using namespace std::string_literals;

namespace {

class ReplaceFileTest : public support::PrivateRoot {
protected:
    void SetUp() override
    {
        PrivateRoot::SetUp();
        if (IsSkipped())
            return;
        support::write_file(path, "A=1\n");
        descriptors = support::open_descriptors();
    }
    void TearDown() override
    {
        if (!IsSkipped()) {
            EXPECT_EQ(descriptors, support::open_descriptors());
        }
        PrivateRoot::TearDown();
    }

    static int set(const std::string &file) { return KLIBCFileSetKeyValue(file.c_str(), "A", "2", "%s=%s\n"); }

    static struct stat status_of(const std::string &file)
    {
        struct stat status = {};
        EXPECT_EQ(0, lstat(file.c_str(), &status));
        return status;
    }

    const std::string folder = "/etc/sysconfig/network-scripts";
    const std::string path = folder + "/ifcfg-eth0";
    std::vector<std::string> descriptors;
};

} // namespace

TEST_F(ReplaceFileTest, ModeAndOwnerAreKept)
{
    for (const mode_t mode : {0600U, 0644U, 0777U, 0400U, 04755U}) {
        ASSERT_EQ(0, chown(path.c_str(), 12, 34));
        ASSERT_EQ(0, chmod(path.c_str(), mode));
        EXPECT_EQ(0, set(path));
        const struct stat status = status_of(path);
        EXPECT_EQ(mode, status.st_mode & 07777);
        EXPECT_EQ(12U, status.st_uid);
        EXPECT_EQ(34U, status.st_gid);
    }
}

TEST_F(ReplaceFileTest, TheFileIsAnotherOneAfterwards)
{
    const int reader = open(path.c_str(), O_RDONLY);
    EXPECT_EQ(0, set(path));
    char old[16] = "";
    EXPECT_EQ(4, read(reader, old, sizeof old));
    EXPECT_STREQ("A=1\n", old) << "who had it open reads the old content to its end";
    close(reader);
    EXPECT_EQ("A=2\n", support::read_file(path));
}

TEST_F(ReplaceFileTest, LinksAreFollowedToTheirTarget)
{
    shell("mkdir /etc/real; mv " + path + " /etc/real/file; ln -s ../../real/file " + path + "; ln -s " + path +
          " /etc/link");
    EXPECT_EQ(0, set("/etc/link"));
    EXPECT_TRUE(fs::is_symlink("/etc/link"));
    EXPECT_TRUE(fs::is_symlink(path));
    EXPECT_EQ("A=2\n", support::read_file("/etc/real/file"));
    EXPECT_EQ(std::vector<std::string>{"file"}, support::entries("/etc/real"));
}

TEST_F(ReplaceFileTest, AFileIsMadeWhereALinkPointsToNothing)
{
    shell("mkdir /etc/real; ln -s real/new /etc/link; ln -s nowhere/new /etc/lost; ln -s /etc/loop /etc/loop");
    PKLIBSZHASH hash = KLIBCSzHashAlloc(0);
    KLIBCSzHashSetValue(&hash, "A", "1");
    EXPECT_EQ(0, KLIBCFileSetKeys("/etc/link", hash, nullptr, "%s=%s\n"));
    EXPECT_TRUE(fs::is_symlink("/etc/link"));
    EXPECT_EQ("A=1\n", support::read_file("/etc/real/new"));
    EXPECT_EQ(-1, KLIBCFileSetKeys("/etc/lost", hash, nullptr, "%s=%s\n"));
    EXPECT_EQ(0x0900U, KLIBCErrGet());
    EXPECT_EQ(-1, KLIBCFileSetKeys("/etc/loop", hash, nullptr, "%s=%s\n"));
    EXPECT_EQ(0x0900U, KLIBCErrGet());
    KLIBCSzHashFree(hash);
    EXPECT_EQ(-1, set("/etc/lost"));
    EXPECT_EQ(0x0900U, KLIBCErrGet());
}

// As the system itself does where it is told to (fs.protected_symlinks).
TEST_F(ReplaceFileTest, ALinkThatSomebodyElsePlantedIsNotFollowed)
{
    constexpr uid_t NOBODY = 65534;
    const std::string shared = "/tmp/shared";
    const std::string link = shared + "/link";
    const struct {
        mode_t mode; // the folder's
        uid_t owner;
        uid_t planter;
        bool followed;
    } cases[] = {
        {01777, 0, NOBODY, false},     {01777, 1000, NOBODY, false}, {01707, 0, NOBODY, false},
        {01777, 0, 0, true},           {01777, 1000, 0, true},   // the caller's own
        {01777, NOBODY, NOBODY, true},                           // the folder's owner's
        {0777, 0, NOBODY, true},       {01775, 0, NOBODY, true}, // no such folder
    };
    shell("mkdir " + shared + "; ln -s " + path + " " + link + "; ln -s " + link + " /etc/lead");
    if (lchown(link.c_str(), NOBODY, NOBODY) != 0)
        GTEST_SKIP() << "this user cannot give links away";
    for (const auto &one : cases) {
        SCOPED_TRACE(&one - cases);
        ASSERT_EQ(0, chown(shared.c_str(), one.owner, 0));
        ASSERT_EQ(0, chmod(shared.c_str(), one.mode));
        ASSERT_EQ(0, lchown(link.c_str(), one.planter, 0));
        for (const char *name : {"/tmp/shared/link", "/etc/lead"}) { // itself, and where root's own link leads
            support::write_file(path, "A=1\n");
            const auto expect = [&](int wanted, int result) {
                EXPECT_EQ(one.followed ? wanted : -1, result) << name;
                EXPECT_TRUE(one.followed || KLIBCErrGet() == 0x0900U) << name;
                support::clear_error();
            };
            char value[8] = "";
            expect(1, KLIBCFileGetKeyValue(name, "A", value, sizeof value, 0));
            EXPECT_STREQ(one.followed ? "1" : "", value);
            expect(0, set(name));
            expect(1, KLIBCFileReplaceSubStr(name, "A=2", "B=3"));
            EXPECT_EQ(one.followed ? "B=3\n" : "A=1\n", support::read_file(path)) << name;
        }
        EXPECT_EQ(std::vector<std::string>{"link"}, support::entries(shared));
    }
}

TEST_F(ReplaceFileTest, NothingIsMadeThroughALinkThatSomebodyElsePlanted)
{
    ASSERT_EQ(0, symlink("/etc/made", "/tmp/link"));
    if (lchown("/tmp/link", 65534, 65534) != 0)
        GTEST_SKIP() << "this user cannot give links away";
    const auto before = support::entries("/tmp");
    PKLIBSZHASH hash = KLIBCSzHashAlloc(0);
    KLIBCSzHashSetValue(&hash, "A", "1");
    EXPECT_EQ(-1, KLIBCFileSetKeys("/tmp/link", hash, nullptr, "%s=%s\n"));
    EXPECT_EQ(0x0900U, KLIBCErrGet());
    support::clear_error();
    EXPECT_EQ(-1, KLIBCFileAddSection("/tmp/link", "one", hash, nullptr));
    EXPECT_EQ(0x0900U, KLIBCErrGet());
    KLIBCSzHashFree(hash);
    EXPECT_FALSE(support::exists("/etc/made"));
    EXPECT_EQ(before, support::entries("/tmp"));
}

TEST_F(ReplaceFileTest, OnlyFilesAreReplaced)
{
    shell("mkfifo /etc/pipe; mkdir /etc/folder; ln -s /dev/null /etc/null");
    for (const char *other : {"/etc/pipe", "/etc/folder", "/etc/null", "/dev/null"}) {
        support::clear_error();
        EXPECT_EQ(-1, set(other)) << other;
        EXPECT_EQ(0x0900U, KLIBCErrGet()) << other;
    }
    EXPECT_TRUE(S_ISCHR(status_of("/dev/null").st_mode));
}

// The new content is on the disk before the old one goes, and the new name before the call returns.
TEST_F(ReplaceFileTest, TheFileIsSyncedBeforeItIsPutInPlaceAndTheFolderAfterwards)
{
    std::vector<std::string> synced;
    support::on_call("fsync", [&] {
        const std::string fd = "/proc/self/fd/" + std::to_string(support::last_synced());
        synced.push_back(fs::read_symlink(fd).string() + " while " + support::read_file(path));
    });
    EXPECT_EQ(0, set(path));
    EXPECT_THAT(synced, testing::ElementsAre(testing::MatchesRegex(folder + "/\\.ifcfg-eth0\\.[^/]+ while A=1\n"),
                                             folder + " while A=2\n"));
}

TEST_F(ReplaceFileTest, WritersByTwoNamesOfOneFileLoseNothing)
{
    shell("ln -s " + path + " /etc/link; ln -s " + folder + " /etc/folder");
    const std::vector<std::string> names = {path, "/etc/link", "/etc/folder/ifcfg-eth0", folder + "/./ifcfg-eth0"};
    {
        std::vector<std::unique_ptr<Child>> writers;
        for (size_t p = 0; p < names.size(); ++p) {
            writers.push_back(std::make_unique<Child>([&, p] {
                for (int i = 0; i < 25; ++i) {
                    const std::string key = "K" + std::to_string(p) + "_" + std::to_string(i);
                    if (KLIBCFileSetKeyValue(names[p].c_str(), key.c_str(), "x", "%s=%s\n") != 0)
                        return 1;
                }
                return 0;
            }));
        }
        for (const auto &writer : writers)
            EXPECT_EQ(0, writer->result());
    }
    EXPECT_EQ(1U + 4 * 25, support::lines_of(support::read_file(path)).size());
}

TEST_F(ReplaceFileTest, TheLongestNameIsNoHindrance)
{
    const std::string longest = folder + "/" + std::string(255, 'n');
    support::write_file(longest, "A=1\n");
    EXPECT_EQ(0, set(longest));
    EXPECT_EQ("A=2\n", support::read_file(longest));
}

TEST_F(ReplaceFileTest, ReplaceSubStrCountsWhatItReplaces)
{
    support::write_file(path, "eth0 eth0eth0\0eth0 ETH0 eth\nlast eth0"s, 0640);
    EXPECT_EQ(5, KLIBCFileReplaceSubStr(path.c_str(), "eth0", "bond0"));
    EXPECT_EQ("bond0 bond0bond0\0bond0 ETH0 eth\nlast bond0"s, support::read_file(path));
    EXPECT_EQ(0640U, status_of(path).st_mode & 07777);
    EXPECT_EQ(5, KLIBCFileReplaceSubStr(path.c_str(), "bond0", ""));
    EXPECT_EQ(" \0 ETH0 eth\nlast "s, support::read_file(path));
    support::write_file(path, "aaaaa");
    EXPECT_EQ(2, KLIBCFileReplaceSubStr(path.c_str(), "aa", "aaa")) << "what was put in is not searched again";
    EXPECT_EQ("aaaaaaa", support::read_file(path));
    const ino_t before = status_of(path).st_ino;
    EXPECT_EQ(0, KLIBCFileReplaceSubStr(path.c_str(), "b", "c"));
    EXPECT_EQ(before, status_of(path).st_ino);
}

TEST_F(ReplaceFileTest, ReplaceSubStrRefuses)
{
    EXPECT_EQ(-1, KLIBCFileReplaceSubStr("/etc/none", "a", "b"));
    EXPECT_EQ(0x0900U, KLIBCErrGet());
    EXPECT_EQ(-1, KLIBCFileReplaceSubStr(path.c_str(), "", "b"));
    EXPECT_EQ(-1, KLIBCFileReplaceSubStr(path.c_str(), nullptr, "b"));
    EXPECT_EQ(-1, KLIBCFileReplaceSubStr(path.c_str(), "A", nullptr));
    EXPECT_EQ(-1, KLIBCFileReplaceSubStr(nullptr, "A", "b"));
    EXPECT_EQ(0x0D00U, KLIBCErrGet());
    EXPECT_EQ("A=1\n", support::read_file(path));
}

TEST_F(ReplaceFileTest, AKillAtAnySystemCallLeavesTheOldFileOrTheNewOne)
{
    const std::string before = "# head\nA=1\n" + std::string(20000, 'x') + "\n";
    const std::string after = "# head\nA=2\n" + std::string(20000, 'x') + "\n";
    support::write_file(path, before, 0640);
    bool seen_old = false;
    bool seen_new = false;
    const int kills = support::kill_before_each_call(
        [&] {
            if (set(path) != 0)
                _exit(1);
        },
        [&](int n) {
            const std::string now = support::read_file(path);
            ASSERT_TRUE(now == before || now == after) << "killed before call " << n << ": " << now.size() << " bytes";
            ASSERT_FALSE(seen_new && now == before) << "killed before call " << n; // what has come stays
            seen_old = seen_old || now == before;
            ASSERT_EQ(0640U, status_of(path).st_mode & 07777);
            // The next writer is not held up, and whatever is left over is no file that a reader of the folder takes.
            ASSERT_EQ(0, KLIBCFileSetKeyValue(path.c_str(), "B", "1", "%s=%s\n"));
            ASSERT_EQ(now + "B=1\n", support::read_file(path));
            for (const std::string &name : support::entries(folder)) {
                ASSERT_TRUE(name == "ifcfg-eth0" || name[0] == '.') << name;
                if (name != "ifcfg-eth0")
                    unlink((folder + "/" + name).c_str());
            }
            seen_new = seen_new || now == after;
            support::write_file(path, before, 0640);
        });
    EXPECT_GT(kills, 20);
    EXPECT_TRUE(seen_old);
    EXPECT_TRUE(seen_new) << "there are calls behind the rename too";
    EXPECT_EQ(after, support::read_file(path)) << "the one that got through";
}

TEST_F(ReplaceFileTest, AKillAtAnySystemCallMakesAFileInWholeOrNotAtAll)
{
    const std::string made = folder + "/ifcfg-eth1";
    bool seen = false;
    const int kills = support::kill_before_each_call(
        [&] {
            PKLIBSZHASH hash = KLIBCSzHashAlloc(0);
            KLIBCSzHashSetValue(&hash, "A", "1");
            if (KLIBCFileAddSection(made.c_str(), "one", hash, "%s=%s\n") != 0)
                _exit(1);
        },
        [&](int n) {
            seen = seen || support::exists(made);
            ASSERT_EQ(seen, support::exists(made)) << "killed before call " << n;
            if (seen) {
                ASSERT_EQ("[one]\nA=1\n", support::read_file(made)) << "killed before call " << n;
                ASSERT_EQ(0644U, status_of(made).st_mode & 07777);
                unlink(made.c_str());
            }
        });
    EXPECT_GT(kills, 20);
    EXPECT_TRUE(seen);
    EXPECT_EQ("[one]\nA=1\n", support::read_file(made));
}

TEST_F(ReplaceFileTest, AFullDiskLeavesTheOldFile)
{
    constexpr size_t PAGE = 4096;
    ASSERT_EQ(0, mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=64k,mode=755"));
    const std::string before = "A=1\n" + std::string(5 * PAGE, 'x') + "\n";
    support::write_file(path, before);
    int failures = 0;
    bool done = false;
    for (size_t room = 0; room <= 8 && !done; ++room) {
        support::write_file(folder + "/filler", std::string((16 - 6 - room) * PAGE, 'f'));
        support::clear_error();
        done = set(path) == 0;
        if (!done) {
            ++failures;
            EXPECT_EQ(0x0B00U, KLIBCErrGet()) << room;
            EXPECT_STREQ("replace_file.cpp", KLIBCErrorGetFile());
            EXPECT_EQ(before, support::read_file(path)) << room;
        }
        EXPECT_EQ((std::vector<std::string>{"filler", "ifcfg-eth0"}), support::entries(folder)) << room;
    }
    EXPECT_TRUE(done);
    EXPECT_EQ(6, failures) << "it failed at each of its pages";
    EXPECT_EQ('2', support::read_file(path)[2]);
    EXPECT_EQ(0, umount(folder.c_str()));
}

TEST_F(ReplaceFileTest, AFolderWithoutRoomForANameLeavesTheOldFile)
{
    ASSERT_EQ(0, mount("tmpfs", folder.c_str(), "tmpfs", 0, "nr_inodes=2,mode=755"));
    support::write_file(path, "A=1\n");
    EXPECT_EQ(-1, set(path));
    EXPECT_EQ(0x0900U, KLIBCErrGet());
    EXPECT_EQ("A=1\n", support::read_file(path));
    EXPECT_EQ(std::vector<std::string>{"ifcfg-eth0"}, support::entries(folder));
    EXPECT_EQ(0, umount(folder.c_str()));
}

TEST_F(ReplaceFileTest, ARenameThatFailsLeavesTheOldFile)
{
    // A file that something is mounted on cannot be replaced.
    support::write_file("/etc/other", "A=1\n");
    ASSERT_EQ(0, mount("/etc/other", path.c_str(), nullptr, MS_BIND, nullptr));
    EXPECT_EQ(-1, set(path));
    EXPECT_EQ(0x2800U, KLIBCErrGet());
    EXPECT_EQ("A=1\n", support::read_file(path));
    EXPECT_EQ(std::vector<std::string>{"ifcfg-eth0"}, support::entries(folder));
    EXPECT_EQ(0, umount(path.c_str()));
}

TEST_F(ReplaceFileTest, AReadOnlyFolderLeavesTheOldFile)
{
    ASSERT_EQ(0, mount(folder.c_str(), folder.c_str(), nullptr, MS_BIND, nullptr));
    ASSERT_EQ(0, mount(nullptr, folder.c_str(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr));
    EXPECT_EQ(-1, set(path));
    EXPECT_EQ(0x0900U, KLIBCErrGet());
    EXPECT_EQ("A=1\n", support::read_file(path));
    EXPECT_EQ(0, umount(folder.c_str()));
}

TEST_F(ReplaceFileTest, WithoutItsLockNothingIsChanged)
{
    shell("ln -s /tmp /run/kavo");
    EXPECT_EQ(-1, set(path));
    EXPECT_EQ(0x0400U, KLIBCErrGet());
    EXPECT_EQ(-1, KLIBCFileRemoveKey(path.c_str(), "A"));
    EXPECT_EQ("A=1\n", support::read_file(path));
}

TEST_F(ReplaceFileTest, TemporaryFilesOfManyNamesLeaveFewLockFiles)
{
    for (int i = 0; i < 400; ++i) {
        const std::string name = "/tmp/file" + std::to_string(i);
        support::write_file(name, "");
        ASSERT_EQ(0, set(name));
    }
    EXPECT_LE(support::entries("/run/kavo/lock").size(), 128U);
}
