// What reads files needs no lock, so that any user may do it.
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include "kavo/core.h"
#include "support/read_back.h"

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;

namespace {

class FileTest : public testing::Test {
protected:
    void SetUp() override
    {
        char name[] = "/tmp/kavo-file-XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(name));
        folder = name;
        path = folder + "/file";
        list = KLIBCSzListAlloc(0);
        descriptors = support::open_descriptors();
        support::clear_error();
    }
    void TearDown() override
    {
        EXPECT_EQ(descriptors, support::open_descriptors());
        KLIBCSzListFree(list);
        fs::remove_all(folder);
    }

    Texts listed()
    {
        Texts texts;
        for (int i = 0; i < list->nItem; ++i)
            texts.emplace_back(KLIBCSzListGet(list, i));
        return texts;
    }

    std::string folder;
    std::string path;
    PKLIBSZLIST list = nullptr;
    Texts descriptors;
};

} // namespace

TEST_F(FileTest, GetLineGivesTheFirstLineWithThePrefix)
{
    support::write_file(path, "# domain\tx\ndomain\texample.org \ndomain\tother\n");
    char line[1024];
    EXPECT_EQ(1, KLIBCFileGetLine(path.c_str(), "domain\t", line, sizeof line, 2));
    EXPECT_STREQ("domain\texample.org ", line);
    EXPECT_EQ(0, KLIBCFileGetLine(path.c_str(), "search", line, sizeof line, 2));
    EXPECT_STREQ("", line);
    EXPECT_EQ(support::NO_ERROR_SET, support::last_error());
}

TEST_F(FileTest, GetLineTakesALastLineWithoutNewlineAndCutsToTheBuffer)
{
    support::write_file(path, "\ndomain");
    char line[4];
    EXPECT_EQ(1, KLIBCFileGetLine(path.c_str(), "domain", line, sizeof line, 2));
    EXPECT_STREQ("dom", line);
    char one[1];
    EXPECT_EQ(1, KLIBCFileGetLine(path.c_str(), "", one, sizeof one, 2));
    EXPECT_STREQ("", one);
}

TEST_F(FileTest, GetLineRefuses)
{
    char line[16] = "x";
    EXPECT_EQ(-1, KLIBCFileGetLine(path.c_str(), "a", line, sizeof line, 2));
    EXPECT_EQ(0x0900U, KLIBCErrGet());
    EXPECT_STREQ("", line);
    EXPECT_EQ(-1, KLIBCFileGetLine(folder.c_str(), "a", line, sizeof line, 2));
    EXPECT_EQ(0x0A00U, KLIBCErrGet());
    support::write_file(path, "a\n");
    for (const int result : {KLIBCFileGetLine(path.c_str(), "a", line, sizeof line, 1),
                             KLIBCFileGetLine(path.c_str(), nullptr, line, sizeof line, 2),
                             KLIBCFileGetLine(nullptr, "a", line, sizeof line, 2),
                             KLIBCFileGetLine(path.c_str(), "a", nullptr, sizeof line, 2),
                             KLIBCFileGetLine(path.c_str(), "a", line, 0, 2)})
        EXPECT_EQ(-1, result);
    EXPECT_EQ(0x0D00U, KLIBCErrGet());
}

TEST_F(FileTest, ReadLinesAppendsEveryLine)
{
    support::write_file(path, "one\n\n  two \r\nthree");
    KLIBCSzListPush(&list, "before");
    EXPECT_EQ(4, KLIBCFileReadLines(path.c_str(), &list));
    EXPECT_EQ((Texts{"before", "one", "", "  two \r", "three"}), listed());
}

TEST_F(FileTest, ReadLinesOfAnEmptyFileIsNone)
{
    support::write_file(path, "");
    EXPECT_EQ(0, KLIBCFileReadLines(path.c_str(), &list));
    support::write_file(path, "\n");
    EXPECT_EQ(1, KLIBCFileReadLines(path.c_str(), &list));
    EXPECT_EQ((Texts{""}), listed());
}

TEST_F(FileTest, ReadLinesTakesLongLinesAndManyAndProcFiles)
{
    const std::string longest(3'000'000, 'x');
    std::string content = longest + "\n";
    for (int i = 0; i < 50000; ++i)
        content += std::to_string(i) + "\n";
    support::write_file(path, content);
    EXPECT_EQ(50001, KLIBCFileReadLines(path.c_str(), &list));
    EXPECT_EQ(longest, KLIBCSzListGet(list, 0));
    EXPECT_STREQ("49999", KLIBCSzListGet(list, 50000));
    EXPECT_GT(KLIBCFileReadLines("/proc/self/status", &list), 10);
}

TEST_F(FileTest, ReadLinesRefuses)
{
    EXPECT_EQ(-1, KLIBCFileReadLines(path.c_str(), &list));
    EXPECT_EQ(0x0900U, KLIBCErrGet());
    EXPECT_EQ(-1, KLIBCFileReadLines("", &list));
    EXPECT_EQ(-1, KLIBCFileReadLines(nullptr, &list));
    EXPECT_EQ(-1, KLIBCFileReadLines(path.c_str(), nullptr));
    EXPECT_EQ(0x0D00U, KLIBCErrGet());
    EXPECT_EQ(Texts{}, listed());
}

TEST_F(FileTest, EnumDirGivesTheFirstNamesInOrder)
{
    for (const char *name : {"eth1", "eth0", ".hidden", "bond0"})
        support::write_file(folder + "/" + name, "");
    KLIBCSzListPush(&list, "zzz");
    EXPECT_EQ(4, KLIBCFileEnumDir(folder.c_str(), 0, &list, 64));
    EXPECT_EQ((Texts{"zzz", ".hidden", "bond0", "eth0", "eth1"}), listed());
    KLIBCSzListRemoveAll(list);
    EXPECT_EQ(2, KLIBCFileEnumDir(folder.c_str(), 0, &list, 2));
    EXPECT_EQ((Texts{".hidden", "bond0"}), listed());
    EXPECT_EQ(0, KLIBCFileEnumDir(folder.c_str(), 0, &list, 0));
}

TEST_F(FileTest, EnumDirRefuses)
{
    EXPECT_EQ(-1, KLIBCFileEnumDir(path.c_str(), 0, &list, 64));
    EXPECT_EQ(0x0900U, KLIBCErrGet());
    EXPECT_EQ(-1, KLIBCFileEnumDir(folder.c_str(), 1, &list, 64));
    EXPECT_EQ(-1, KLIBCFileEnumDir(folder.c_str(), 0, &list, -1));
    EXPECT_EQ(-1, KLIBCFileEnumDir(nullptr, 0, &list, 64));
    EXPECT_EQ(-1, KLIBCFileEnumDir(folder.c_str(), 0, nullptr, 64));
    EXPECT_EQ(0x0D00U, KLIBCErrGet());
    EXPECT_EQ(Texts{}, listed());
}

TEST_F(FileTest, ExistAndCheckDir)
{
    support::write_file(path, "");
    fs::create_symlink("nowhere", folder + "/dangling");
    fs::create_symlink(folder, folder + "/link");
    EXPECT_EQ(1, KLIBCFileExist(path.c_str()));
    EXPECT_EQ(1, KLIBCFileExist(folder.c_str()));
    EXPECT_EQ(0, KLIBCFileExist((folder + "/dangling").c_str()));
    EXPECT_EQ(0, KLIBCFileExist((folder + "/none").c_str()));
    EXPECT_EQ(0, KLIBCFileCheckDir(path.c_str()));
    EXPECT_EQ(1, KLIBCFileCheckDir(folder.c_str()));
    EXPECT_EQ(1, KLIBCFileCheckDir((folder + "/link").c_str()));
    EXPECT_EQ(support::NO_ERROR_SET, support::last_error());
    EXPECT_EQ(0, KLIBCFileExist(nullptr));
    EXPECT_EQ(0, KLIBCFileExist(""));
    EXPECT_EQ(0, KLIBCFileCheckDir(nullptr));
    EXPECT_EQ(0x0D00U, KLIBCErrGet());
}

TEST_F(FileTest, TouchCreatesWhateverTheUmask)
{
    const mode_t mask = umask(0077);
    EXPECT_EQ(0, KLIBCFileTouch(path.c_str()));
    umask(mask);
    struct stat status;
    ASSERT_EQ(0, stat(path.c_str(), &status));
    EXPECT_EQ(0644U, status.st_mode & 07777);
    EXPECT_EQ(0, status.st_size);
}

TEST_F(FileTest, TouchRenewsTheTimesAndKeepsTheRest)
{
    support::write_file(path, "content", 0600);
    const timeval old[2] = {{1000, 0}, {1000, 0}};
    ASSERT_EQ(0, utimes(path.c_str(), old));
    EXPECT_EQ(0, KLIBCFileTouch(path.c_str()));
    struct stat status;
    ASSERT_EQ(0, stat(path.c_str(), &status));
    EXPECT_GT(status.st_mtime, 1000);
    EXPECT_EQ(0600U, status.st_mode & 07777);
    EXPECT_EQ("content", support::read_file(path));
}

TEST_F(FileTest, TouchCreatesNothingThroughALink)
{
    fs::create_symlink(folder + "/planted", path);
    EXPECT_EQ(-1, KLIBCFileTouch(path.c_str()));
    EXPECT_EQ(0x0900U, KLIBCErrGet());
    EXPECT_FALSE(support::exists(folder + "/planted"));
    EXPECT_EQ(-1, KLIBCFileTouch((folder + "/none/file").c_str()));
    EXPECT_EQ(0x0900U, KLIBCErrGet());
    EXPECT_EQ(-1, KLIBCFileTouch(nullptr));
    EXPECT_EQ(0x0D00U, KLIBCErrGet());
}
