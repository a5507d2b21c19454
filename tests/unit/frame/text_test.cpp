#include "frame/text.h"

#include <string>

#include <gtest/gtest.h>

using kavonet::copy_text;
using kavonet::Text;

namespace {

TEST(Text, IsEmptyAtFirst)
{
    const Text<8> text;
    EXPECT_TRUE(text.empty());
    EXPECT_FALSE(text.cut());
    EXPECT_STREQ("", text.c_str());
    EXPECT_TRUE(text.is(""));
    EXPECT_EQ(8U, Text<8>::capacity);
    EXPECT_EQ(8, Text<8>::size());
}

TEST(Text, Formats)
{
    const Text<32> text("/sys/class/net/%s/%d", "eth0", -7);
    EXPECT_STREQ("/sys/class/net/eth0/-7", text.c_str());
    EXPECT_FALSE(text.cut());
    EXPECT_FALSE(text.empty());
    EXPECT_TRUE(text.is("/sys/class/net/eth0/-7"));
    EXPECT_FALSE(text.is("/sys/class/net/eth0/-"));
    EXPECT_FALSE(text.is(""));
}

TEST(Text, KnowsWhetherItWasCut)
{
    EXPECT_FALSE(Text<5>("%s", "1234").cut());
    const Text<5> text("%s", "12345");
    EXPECT_TRUE(text.cut());
    EXPECT_STREQ("1234", text.c_str());
    EXPECT_TRUE(Text<1>("%s", "x").cut());
    EXPECT_STREQ("", Text<1>("%s", "x").c_str());
}

TEST(Text, FormatsAgain)
{
    Text<5> text("%s", "12345");
    text.format("%d", 42);
    EXPECT_STREQ("42", text.c_str());
    EXPECT_FALSE(text.cut());
    text.format("%s", "too long");
    EXPECT_STREQ("too ", text.c_str());
    EXPECT_TRUE(text.cut());
    text.format("%s", "");
    EXPECT_TRUE(text.empty());
    EXPECT_FALSE(text.cut());
}

TEST(Text, LendsItsBuffer)
{
    Text<8> text("%s", "1234567");
    snprintf(text.buffer(), static_cast<size_t>(text.size()), "%s", "abc");
    EXPECT_STREQ("abc", text.c_str());
    EXPECT_TRUE(text.is("abc"));
}

TEST(Text, IsCopiedByValue)
{
    Text<8> first("%s", "one");
    const Text<8> second = first;
    first.format("%s", "two");
    EXPECT_STREQ("one", second.c_str());
}

TEST(CopyText, CutsToTheField)
{
    struct {
        char before[4];
        char field[6];
        char after[4];
    } record;
    memset(&record, '#', sizeof record);
    copy_text(record.field, "123456789");
    EXPECT_STREQ("12345", record.field);
    copy_text(record.field, "12345");
    EXPECT_STREQ("12345", record.field);
    copy_text(record.field, "");
    EXPECT_STREQ("", record.field);
    copy_text(record.field, "%s%n");
    EXPECT_STREQ("%s%n", record.field) << "a text is no format";
    EXPECT_EQ("####", std::string(record.before, 4));
    EXPECT_EQ("####", std::string(record.after, 4));
}

} // namespace
