#include "frame/kernel_file.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include "support/read_back.h"

using kavonet::KernelFile;
using kavonet::Text;

namespace {

class KernelFiles : public testing::Test {
protected:
    void SetUp() override
    {
        char name[] = "/tmp/kernel-file-XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(name));
        folder = name;
        path = folder + "/file";
    }
    void TearDown() override
    {
        unlink(path.c_str());
        rmdir(folder.c_str());
    }

    template <size_t Size> std::vector<std::string> lines()
    {
        KernelFile file(path.c_str());
        EXPECT_TRUE(file);
        std::vector<std::string> found;
        Text<Size> line;
        while (file.next_line(line))
            found.emplace_back(line.c_str());
        EXPECT_FALSE(file.failed());
        return found;
    }

    std::string folder;
    std::string path;
};

TEST_F(KernelFiles, AreReadLineByLine)
{
    support::write_file(path, "one\n\ntwo words\nlast");
    EXPECT_EQ((std::vector<std::string>{"one\n", "\n", "two words\n", "last"}), lines<64>());
    support::write_file(path, "");
    EXPECT_EQ(std::vector<std::string>{}, lines<64>());
}

TEST_F(KernelFiles, GiveLongLinesInPieces)
{
    support::write_file(path, "1234567\n89\n");
    EXPECT_EQ((std::vector<std::string>{"123", "456", "7\n", "89\n"}), lines<4>());
}

TEST_F(KernelFiles, GoOnBehindAPage)
{
    std::string content;
    std::vector<std::string> expected;
    for (int i = 0; i < 2000; ++i) {
        expected.push_back("line " + std::to_string(i) + "\n");
        content += expected.back();
    }
    support::write_file(path, content);
    EXPECT_EQ(expected, lines<32>());
}

TEST_F(KernelFiles, TellThatTheyAreNotThere)
{
    const auto before = support::open_descriptors();
    EXPECT_FALSE(KernelFile(path.c_str()));
    EXPECT_EQ(before, support::open_descriptors());
}

TEST_F(KernelFiles, TellThatTheyCannotBeRead)
{
    KernelFile file(folder.c_str());
    ASSERT_TRUE(file);
    Text<16> line;
    EXPECT_FALSE(file.next_line(line));
    EXPECT_TRUE(file.failed());
}

TEST_F(KernelFiles, AreClosed)
{
    support::write_file(path, "one\n");
    const auto before = support::open_descriptors();
    {
        KernelFile file(path.c_str());
        Text<16> line;
        EXPECT_TRUE(file.next_line(line));
        EXPECT_NE(before, support::open_descriptors());
    }
    EXPECT_EQ(before, support::open_descriptors());
}

} // namespace
