#include "pppoe/client_files.h"

#include <memory>
#include <string>

#include <gtest/gtest.h>

using kavonet::find_secret;
using kavonet::is_one_line;
using kavonet::is_plain_word;

namespace {

constexpr char NONE[] = "<none>";

std::string secret_of(const std::string &content, const char *stored_name)
{
    std::string bytes = content;
    const std::unique_ptr<FILE, int (*)(FILE *)> file(fmemopen(bytes.data(), bytes.size(), "r"), fclose);
    char secret[32] = "<untouched>";
    return find_secret(file.get(), stored_name, secret) ? secret : NONE;
}

std::string letters(size_t count)
{
    return std::string(count, 'a');
}

TEST(FindSecret, ReadsTheLineOfTheUser)
{
    EXPECT_EQ("pass", secret_of("'user'\t*\tpass\n", "'user'"));
    EXPECT_EQ("pass", secret_of("'other'\t*\tx\n'user'\t*\tpass\n'user'\t*\tsecond\n", "'user'"));
    EXPECT_EQ("pass", secret_of("user * pass\n", "user"));
    EXPECT_EQ("pass", secret_of("'user'\t*\tpass", "'user'")); // without a newline
}

TEST(FindSecret, ComparesTheNameAsItIsStored)
{
    EXPECT_EQ(NONE, secret_of("user * pass\n", "'user'"));
    EXPECT_EQ(NONE, secret_of("'user' * pass\n", "user"));
    EXPECT_EQ(NONE, secret_of("'User' * pass\n", "'user'"));
    EXPECT_EQ(NONE, secret_of("'user'x * pass\n", "'user'"));
}

TEST(FindSecret, BlanksAroundNameAndPasswordAreNoPartOfThem)
{
    EXPECT_EQ("pass", secret_of(" \t'user' \t*\t pass \t\r\n", "'user'"));
    EXPECT_EQ("two words", secret_of("'user' *  two words  \n", "'user'"));
    EXPECT_EQ("pass", secret_of("'user'*pass\n", "'user'"));
    EXPECT_EQ("", secret_of("'user' *\n", "'user'"));
    EXPECT_EQ("pass", secret_of("'a b' * pass\n", "'a b'"));
}

TEST(FindSecret, SkipsCommentsAndLinesWithoutAStar)
{
    EXPECT_EQ(NONE, secret_of("#'user' * pass\n", "#'user'"));
    EXPECT_EQ("pass", secret_of("# all users\n\n'user' server pass\n'user' * pass\n", "'user'"));
    EXPECT_EQ("pass", secret_of(" #'user' * pass\n", "#'user'")); // only in the first column
    EXPECT_EQ(NONE, secret_of("\n", "'user'"));
    EXPECT_EQ(NONE, secret_of("*\n", "'user'"));
}

TEST(FindSecret, SplitsAtTheFirstStar)
{
    EXPECT_EQ("* pass*word *", secret_of("'user' ** pass*word *\n", "'user'"));
    EXPECT_EQ(NONE, secret_of("'us*er' * pass\n", "'us*er'")); // such a name is not found again
    EXPECT_EQ("er' * pass", secret_of("'us*er' * pass\n", "'us"));
}

TEST(FindSecret, APasswordIsCutAt31Characters)
{
    EXPECT_EQ(letters(31), secret_of("'user' * " + letters(31) + "\n", "'user'"));
    EXPECT_EQ(letters(31), secret_of("'user' * " + letters(32) + "\n", "'user'"));
    EXPECT_EQ(letters(31), secret_of("'user' * " + letters(5000) + "\n", "'user'"));
}

TEST(FindSecret, ALineIsReadInPiecesOf511Bytes)
{
    const std::string name = letters(510);
    EXPECT_EQ("", secret_of(name + "*pass\n", name.c_str())); // "pass" is the next piece
    EXPECT_EQ("pass", secret_of(letters(506) + "*pass\n", letters(506).c_str()));
    EXPECT_EQ("pass", secret_of(letters(511) + "user*pass\n", "user")); // the piece counts as a line of its own
    EXPECT_EQ(NONE, secret_of(letters(511) + "#user*pass\n", "#user"));
}

TEST(FindSecret, BytesOfAnyKindDoNotConfuseIt)
{
    EXPECT_EQ("pass", secret_of(std::string("a\0b * x\n'user' * pass\n", 22), "'user'"));
    EXPECT_EQ("p\xff\x01ss", secret_of("'\xc3\xa4' * p\xff\x01ss\n", "'\xc3\xa4'"));
    EXPECT_EQ("p", secret_of(std::string("'user' * p\0ss\n", 14), "'user'"));
}

TEST(PlainWord, IsWhatAShellLeavesAlone)
{
    for (const char *word : {"", "eth0", "eth0.5", "eth0:1", "ovs_eth0", "wan-1", "1492", "a@b", "a+b"})
        EXPECT_TRUE(is_plain_word(word)) << word;
    for (int byte = 1; byte < 256; ++byte) {
        const bool plain = (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'z') ||
                           (byte >= 'A' && byte <= 'Z') || strchr("._:@+-", byte) != nullptr;
        EXPECT_EQ(plain, is_plain_word((std::string("a") + static_cast<char>(byte)).c_str())) << byte;
    }
}

TEST(OneLine, HoldsEverythingButLineEnds)
{
    for (int byte = 1; byte < 256; ++byte)
        EXPECT_EQ(byte != '\n' && byte != '\r', is_one_line((std::string("a") + static_cast<char>(byte)).c_str()))
            << byte;
    EXPECT_TRUE(is_one_line(""));
}

} // namespace
