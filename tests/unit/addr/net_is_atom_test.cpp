#include "addr_test.h"

namespace {

using NetIsAtom = AddrTest;

TEST_F(NetIsAtom, AcceptsAtoms)
{
    for (const char *text :
         {"a", "example", "a-b_c", "1", "-", "!#$%&'*+/=?^`{|}~", "\x7f", "\x80", "\xff", "na\xc3\xafve"})
        EXPECT_EQ(1, BlKLIBIsAtom(text)) << text;
    EXPECT_EQ(1, BlKLIBIsAtom(std::string(100000, 'a').c_str()));
}

TEST_F(NetIsAtom, RefusesOtherTextsWithoutACode)
{
    for (const char *text :
         {"", " ", "a b", " a", "a ", "a\tb", "a\n", "a.b", ".", "\x01", "a\x1f", "(a)", "a@b", "a\\"})
        EXPECT_EQ(0, BlKLIBIsAtom(text)) << text;
    EXPECT_EQ(0, BlKLIBIsAtom(("," + std::string(100000, 'a')).c_str()));
    EXPECT_EQ(0, BlKLIBIsAtom(nullptr));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

// Every byte at the end, in the middle and at the beginning.
TEST_F(NetIsAtom, EveryByte)
{
    const std::string specials = "\"(),.:;<>[\\]@";
    ASSERT_EQ(13U, specials.size());
    for (int byte = 1; byte < 256; ++byte) {
        const std::string c{static_cast<char>(byte)};
        const bool good = byte >= 33 && specials.find(c) == std::string::npos;
        for (const std::string &text : {c, "a" + c, c + "a", "a" + c + "a"})
            EXPECT_EQ(good, BlKLIBIsAtom(text.c_str()) == 1) << byte;
    }
}

} // namespace
