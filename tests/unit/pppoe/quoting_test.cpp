#include "pppoe/quoting.h"

#include <string>

#include <gtest/gtest.h>

using kavonet::copy_plain_name;
using kavonet::is_whole;
using kavonet::QuotedName;

namespace {

const std::string QUOTE = "'\"'\"'";

std::string in_quotes(const std::string &name)
{
    return QuotedName(name.c_str()).c_str();
}

std::string plain(const std::string &stored)
{
    char field[256];
    memset(field, 'x', sizeof field);
    copy_plain_name(field, stored.c_str());
    return field;
}

std::string letters(size_t count)
{
    return std::string(count, 'a');
}

TEST(QuotedName, StandsInSingleQuotes)
{
    EXPECT_EQ("'user@example.net'", in_quotes("user@example.net"));
    EXPECT_EQ("''", in_quotes(""));
    EXPECT_EQ("'a b#c\\d\"e*'", in_quotes("a b#c\\d\"e*"));
}

TEST(QuotedName, AQuoteBecomesFiveCharacters)
{
    EXPECT_EQ("'o'\"'\"'neil'", in_quotes("o'neil"));
    EXPECT_EQ("'" + QUOTE + QUOTE + "'", in_quotes("''"));
}

TEST(QuotedName, EveryByteComesBack)
{
    for (int byte = 1; byte < 256; ++byte) {
        const std::string name = std::string("a") + static_cast<char>(byte) + "b";
        EXPECT_EQ(name, plain(in_quotes(name))) << byte;
        const std::string alone(1, static_cast<char>(byte));
        EXPECT_EQ(alone, plain(in_quotes(alone))) << byte;
    }
    std::string all;
    for (int byte = 1; byte < 256; ++byte)
        all += static_cast<char>(byte);
    EXPECT_EQ(all, plain(in_quotes(all)));
    EXPECT_EQ("\\#", plain(in_quotes("\\#")));
    EXPECT_EQ(QUOTE, plain(in_quotes(QUOTE)));
}

// The buffer's positions count from 0, where the opening quote stands: the n-th plain character stands at n.
TEST(QuotedName, APlainCharacterMayStandAtPosition509AndNoFurther)
{
    EXPECT_EQ("'" + letters(508) + "'", in_quotes(letters(508)));
    EXPECT_EQ("'" + letters(509) + "'", in_quotes(letters(509)));
    EXPECT_EQ(511U, in_quotes(letters(509)).size());
    EXPECT_EQ("'" + letters(509) + "'", in_quotes(letters(510)));
    EXPECT_EQ("'" + letters(509) + "'", in_quotes(letters(600)));
}

TEST(QuotedName, AQuoteMayBeginAtPosition505AndNoFurther)
{
    EXPECT_EQ("'" + letters(503) + QUOTE + "'", in_quotes(letters(503) + "'"));
    EXPECT_EQ("'" + letters(504) + QUOTE + "'", in_quotes(letters(504) + "'"));
    EXPECT_EQ(511U, in_quotes(letters(504) + "'").size());
    EXPECT_EQ("'" + letters(505) + "'", in_quotes(letters(505) + "'"));
    EXPECT_EQ("'" + letters(509) + "'", in_quotes(letters(509) + "'"));
}

TEST(QuotedName, WhatFollowsWhatDoesNotFitIsDroppedToo)
{
    // The letter behind the quote would still have found room.
    EXPECT_EQ("'" + letters(505) + "'", in_quotes(letters(505) + "'b"));
    EXPECT_EQ("'" + letters(504) + QUOTE + "'", in_quotes(letters(504) + "'b"));
}

TEST(QuotedName, QuotesAloneFitAHundredAndOneTimes)
{
    std::string expected = "'";
    for (int i = 0; i < 101; ++i)
        expected += QUOTE;
    EXPECT_EQ(expected + "'", in_quotes(std::string(101, '\'')));
    EXPECT_EQ(expected + "'", in_quotes(std::string(255, '\'')));
}

TEST(PlainName, OfQuotesEndsAtTheClosingOne)
{
    EXPECT_EQ("abc", plain("'abc'"));
    EXPECT_EQ("abc", plain("'abc'def"));
    EXPECT_EQ("", plain("''"));
    EXPECT_EQ("", plain("'"));
    EXPECT_EQ("abc", plain("'abc")); // cut, without a closing one
    EXPECT_EQ("a", plain("'a'\"'b'"));
    EXPECT_EQ("a'", plain("'a'\"'\"'"));
    EXPECT_EQ("a\\#b", plain("'a\\#b'"));
}

TEST(PlainName, WithoutQuotesABackslashBeforeANumberSignGoes)
{
    EXPECT_EQ("a#b", plain("a\\#b"));
    EXPECT_EQ("##", plain("\\#\\#"));
    EXPECT_EQ("\\#", plain("\\\\#"));
    EXPECT_EQ("a\\b", plain("a\\b"));
    EXPECT_EQ("a\\", plain("a\\"));
    EXPECT_EQ("a#", plain("a#"));
    EXPECT_EQ("o'neil'", plain("o'neil'"));
    EXPECT_EQ("", plain(""));
}

TEST(QuotedName, IsWholeWithItsClosingQuote)
{
    for (const char *stored : {"'abc'", "''", "'abc'def", "'a'\"'\"'b'", "'a'\"'b", "abc", "a'bc", ""})
        EXPECT_TRUE(is_whole(stored)) << stored;
    for (const char *stored : {"'", "'abc", "'a'\"'\"'b", "'a'\"'\"'"})
        EXPECT_FALSE(is_whole(stored)) << stored;
}

TEST(PlainName, IsCutAt255Characters)
{
    EXPECT_EQ(letters(255), plain(letters(255)));
    EXPECT_EQ(letters(255), plain(letters(256)));
    EXPECT_EQ(letters(255), plain("'" + letters(300) + "'"));
    EXPECT_EQ(letters(254) + "'", plain("'" + letters(254) + QUOTE + "'"));
    EXPECT_EQ(letters(255), plain("'" + letters(255) + QUOTE + "'"));
    EXPECT_EQ(letters(254) + "#", plain(letters(254) + "\\#b"));
}

} // namespace
