#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kavo/core.h"
#include "support/read_back.h"

namespace {

std::string trimmed(std::string text)
{
    KLIBCStrTrimSpace(text.data(), 0);
    return text.c_str();
}

using Split = int (*)(const char *, const char *, PKLIBSZLIST *);

std::vector<std::string> tokens(Split split, const char *text, const char *separators)
{
    PKLIBSZLIST list = KLIBCSzListAlloc(0);
    KLIBCSzListPush(&list, "before");
    const int count = split(text, separators, &list);
    EXPECT_EQ(count, list->nItem - 1);
    std::vector<std::string> result;
    for (int i = 1; i < list->nItem; ++i)
        result.emplace_back(KLIBCSzListGet(list, i));
    EXPECT_STREQ("before", KLIBCSzListGet(list, 0));
    KLIBCSzListFree(list);
    return result;
}

using Tokens = std::vector<std::string>;

} // namespace

TEST(StrTrimSpace, TakesWhiteSpaceOffBothEnds)
{
    EXPECT_EQ("a b", trimmed(" \t\r\n\v\fa b \t\r\n\v\f"));
    EXPECT_EQ("a", trimmed("a"));
    EXPECT_EQ("", trimmed(""));
    EXPECT_EQ("", trimmed(" \n "));
    EXPECT_EQ("\xa0x", trimmed("\xa0x")) << "bytes above 127 are letters of other alphabets";
}

TEST(StrTrimSpace, RefusesNothingAndUnknownFlags)
{
    support::clear_error();
    KLIBCStrTrimSpace(nullptr, 0);
    EXPECT_EQ(0x0D00U, KLIBCErrGet());
    support::clear_error();
    char text[] = " a ";
    KLIBCStrTrimSpace(text, 1);
    EXPECT_EQ(0x0D00U, KLIBCErrGet());
    EXPECT_STREQ(" a ", text);
}

TEST(StrSplit, GivesTheNonEmptyTokens)
{
    for (const Split split : {KLIBCStrSep, KLIBCStrTok}) {
        EXPECT_EQ((Tokens{"eth0", "eth1", "eth2"}), tokens(split, "  eth0 eth1\t\neth2\n", " \t\n"));
        EXPECT_EQ((Tokens{"a b"}), tokens(split, "a b", ","));
        EXPECT_EQ((Tokens{"a b"}), tokens(split, "a b", ""));
        EXPECT_EQ(Tokens{}, tokens(split, "", " "));
        EXPECT_EQ(Tokens{}, tokens(split, "   ", " "));
    }
}

TEST(StrSplit, RefusesNothing)
{
    PKLIBSZLIST list = KLIBCSzListAlloc(0);
    PKLIBSZLIST none = nullptr;
    for (const Split split : {KLIBCStrSep, KLIBCStrTok}) {
        support::clear_error();
        EXPECT_EQ(-1, split(nullptr, " ", &list));
        EXPECT_EQ(0x0D00U, KLIBCErrGet());
        EXPECT_EQ(-1, split("a", nullptr, &list));
        EXPECT_EQ(-1, split("a", " ", nullptr));
        EXPECT_EQ(-1, split("a", " ", &none));
        EXPECT_EQ(0, list->nItem);
    }
    KLIBCSzListFree(list);
}

TEST(StrTokIndex, CutsAtTheFirstSeparator)
{
    char text[] = "user * secret*more";
    EXPECT_STREQ(" secret*more", KLIBCStrTokIndex(text, "*"));
    EXPECT_STREQ("user ", text);
    char at_end[] = "user*";
    EXPECT_STREQ("", KLIBCStrTokIndex(at_end, "*"));
    EXPECT_STREQ("user", at_end);
    char longer[] = "a::b";
    EXPECT_STREQ("b", KLIBCStrTokIndex(longer, "::"));
}

TEST(StrTokIndex, LeavesATextWithoutSeparatorAlone)
{
    support::clear_error();
    char text[] = "user";
    EXPECT_EQ(nullptr, KLIBCStrTokIndex(text, "*"));
    EXPECT_STREQ("user", text);
    EXPECT_EQ(support::NO_ERROR_SET, support::last_error());
    EXPECT_EQ(nullptr, KLIBCStrTokIndex(text, ""));
    EXPECT_STREQ("user", text);
    EXPECT_EQ(0x0D00U, KLIBCErrGet());
    EXPECT_EQ(nullptr, KLIBCStrTokIndex(nullptr, "*"));
    EXPECT_EQ(nullptr, KLIBCStrTokIndex(text, nullptr));
}

TEST(StrCat, BeginsFromNothing)
{
    char *buffer = nullptr;
    size_t size = 0;
    EXPECT_EQ(0, KLIBCStrCat(&buffer, &size, ""));
    ASSERT_NE(nullptr, buffer);
    EXPECT_STREQ("", buffer);
    EXPECT_EQ(0, KLIBCStrCat(&buffer, &size, "eth0 "));
    EXPECT_EQ(0, KLIBCStrCat(&buffer, &size, "eth1 "));
    EXPECT_STREQ("eth0 eth1 ", buffer);
    EXPECT_GT(size, strlen(buffer));
    free(buffer);
}

TEST(StrCat, KeepsTheCallersBufferWhileItIsLargeEnough)
{
    size_t size = 8;
    char *buffer = static_cast<char *>(calloc(1, size));
    char *const first = buffer;
    EXPECT_EQ(0, KLIBCStrCat(&buffer, &size, "1234567"));
    EXPECT_EQ(first, buffer);
    EXPECT_EQ(8U, size);
    EXPECT_EQ(0, KLIBCStrCat(&buffer, &size, "8"));
    EXPECT_STREQ("12345678", buffer);
    EXPECT_GT(size, 8U);
    free(buffer);
}

TEST(StrCat, AppendsALongTextAndItself)
{
    char *buffer = nullptr;
    size_t size = 0;
    std::string expected;
    for (int i = 0; i < 3000; ++i) {
        ASSERT_EQ(0, KLIBCStrCat(&buffer, &size, "0123456789"));
        expected += "0123456789";
    }
    ASSERT_EQ(0, KLIBCStrCat(&buffer, &size, buffer));
    EXPECT_EQ(expected + expected, buffer);
    ASSERT_EQ(0, KLIBCStrCat(&buffer, &size, buffer + 59990));
    EXPECT_EQ(expected + expected + "0123456789", buffer);
    free(buffer);
}

TEST(StrCat, RefusesNothingAndWhatIsNoText)
{
    support::clear_error();
    size_t size = 4;
    char *buffer = static_cast<char *>(malloc(size));
    memset(buffer, 'x', size);
    EXPECT_EQ(-1, KLIBCStrCat(&buffer, &size, "a"));
    EXPECT_EQ(0x0D00U, KLIBCErrGet());
    EXPECT_EQ(-1, KLIBCStrCat(nullptr, &size, "a"));
    EXPECT_EQ(-1, KLIBCStrCat(&buffer, nullptr, "a"));
    EXPECT_EQ(-1, KLIBCStrCat(&buffer, &size, nullptr));
    free(buffer);
}
