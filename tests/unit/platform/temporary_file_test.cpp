#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kavo/core.h"
#include "support/read_back.h"

namespace fs = std::filesystem;

namespace {

class TemporaryFileTest : public testing::Test {
protected:
    void SetUp() override
    {
        char name[] = "/tmp/kavo-temporary-XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(name));
        folder = name;
        descriptors = support::open_descriptors();
        support::clear_error();
    }
    void TearDown() override
    {
        EXPECT_EQ(descriptors, support::open_descriptors());
        fs::remove_all(folder);
    }

    std::string folder;
    std::vector<std::string> descriptors;
};

} // namespace

TEST_F(TemporaryFileTest, OpensANewFileForTheOwnerAlone)
{
    std::string name = folder + "/resolv.conf.XXXXXX";
    FILE *file = KLIBCFileTempFileOpen(name.data());
    ASSERT_NE(nullptr, file);
    EXPECT_EQ(folder + "/resolv.conf.", name.substr(0, name.size() - 6));
    EXPECT_NE("XXXXXX", name.substr(name.size() - 6));
    struct stat status;
    ASSERT_EQ(0, fstat(fileno(file), &status));
    EXPECT_EQ(0600U, status.st_mode & 07777);
    EXPECT_TRUE((fcntl(fileno(file), F_GETFD) & FD_CLOEXEC) != 0);
    EXPECT_GE(fputs("nameserver 10.0.0.1\n", file), 0);
    EXPECT_EQ(0, fclose(file));
    EXPECT_EQ("nameserver 10.0.0.1\n", support::read_file(name));
}

TEST_F(TemporaryFileTest, RefusesATemplateWithoutItsLetters)
{
    for (std::string name :
         {folder + "/file", folder + "/XXXXX", folder + "/XXXXXXa", std::string("XX"), std::string()}) {
        const std::string before = name;
        EXPECT_EQ(nullptr, KLIBCFileTempFileOpen(name.data()));
        EXPECT_EQ(0x0D00U, KLIBCErrGet());
        EXPECT_EQ(before, name);
    }
    EXPECT_EQ(nullptr, KLIBCFileTempFileOpen(nullptr));
    EXPECT_TRUE(support::entries(folder).empty());
}

TEST_F(TemporaryFileTest, LeavesTheTemplateWhenTheFolderIsMissing)
{
    std::string name = folder + "/none/file.XXXXXX";
    const std::string before = name;
    EXPECT_EQ(nullptr, KLIBCFileTempFileOpen(name.data()));
    EXPECT_EQ(0x0900U, KLIBCErrGet());
    EXPECT_EQ(before, name);
}

TEST_F(TemporaryFileTest, NamesAFileBesideTheTargetThatDoesNotExist)
{
    std::set<std::string> names;
    for (int i = 0; i < 100; ++i) {
        char name[1024];
        ASSERT_EQ(0, KLIBCFileITmpName((folder + "/hosts").c_str(), name, sizeof name));
        EXPECT_EQ(folder, fs::path(name).parent_path());
        EXPECT_NE("hosts", fs::path(name).filename());
        EXPECT_FALSE(support::exists(name));
        names.insert(name);
    }
    EXPECT_EQ(100U, names.size());
    EXPECT_TRUE(support::entries(folder).empty());
}

TEST_F(TemporaryFileTest, NamesOneBesideABareNameAndALongOne)
{
    char name[1024];
    ASSERT_EQ(0, KLIBCFileITmpName("hosts", name, sizeof name));
    EXPECT_EQ(nullptr, strchr(name, '/'));
    const std::string longest = folder + "/" + std::string(255, 'n');
    ASSERT_EQ(0, KLIBCFileITmpName(longest.c_str(), name, sizeof name));
    support::write_file(name, "fits");
    EXPECT_EQ("fits", support::read_file(name));
}

TEST_F(TemporaryFileTest, RefusesANameThatDoesNotFit)
{
    char name[8] = "x";
    EXPECT_EQ(-1, KLIBCFileITmpName((folder + "/hosts").c_str(), name, sizeof name));
    EXPECT_EQ(0x0D00U, KLIBCErrGet());
    EXPECT_STREQ("", name);
    EXPECT_EQ(-1, KLIBCFileITmpName(nullptr, name, sizeof name));
    EXPECT_EQ(-1, KLIBCFileITmpName("", name, sizeof name));
    EXPECT_EQ(-1, KLIBCFileITmpName("/", name, sizeof name));
    EXPECT_EQ(-1, KLIBCFileITmpName("a", nullptr, 8));
    EXPECT_EQ(-1, KLIBCFileITmpName("a", name, 0));
    EXPECT_EQ(0x0D00U, KLIBCErrGet());
}
