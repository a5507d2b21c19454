#include "addr_test.h"

#include <clocale>

namespace {

using NetIsHostname = AddrTest;

TEST_F(NetIsHostname, AcceptsNames)
{
    for (const char *text :
         {"a", "Z", "_", "nas", "Storage-01", "my_box", "a-", "_-9", "abcdefghijklmno", "a23456789012345"})
        EXPECT_EQ(1, BlKLIBIsHostname(text)) << text;
}

TEST_F(NetIsHostname, RefusesOtherTextsWithoutACode)
{
    for (const char *text : {"",
                             "abcdefghijklmnop",
                             "a234567890123456",
                             "-abc",
                             "1abc",
                             "9",
                             "-",
                             "a.b",
                             "a b",
                             " a",
                             "a ",
                             "a/b",
                             "a\n",
                             "a@",
                             "a`",
                             "a[",
                             "a{",
                             "a:",
                             "a;",
                             "$(a)",
                             "na\xc3\xafve",
                             "\xe9",
                             "a\xff"})
        EXPECT_EQ(0, BlKLIBIsHostname(text)) << text;
    EXPECT_EQ(0, BlKLIBIsHostname(std::string(100000, 'a').c_str()));
    EXPECT_EQ(0, BlKLIBIsHostname(nullptr));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

// Every byte at every place, against the rule in its own words.
TEST_F(NetIsHostname, EveryByte)
{
    const std::string letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_";
    const std::string further = letters + "0123456789-";
    for (int byte = 1; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        EXPECT_EQ(letters.find(c) != std::string::npos, BlKLIBIsHostname(std::string{c}.c_str()) == 1) << byte;
        EXPECT_EQ(further.find(c) != std::string::npos, BlKLIBIsHostname(std::string{'a', c}.c_str()) == 1) << byte;
        EXPECT_EQ(further.find(c) != std::string::npos,
                  BlKLIBIsHostname(("abcdefghijklmn" + std::string{c}).c_str()) == 1);
        EXPECT_EQ(0, BlKLIBIsHostname(("abcdefghijklmno" + std::string{c}).c_str())) << byte;
    }
}

} // namespace
