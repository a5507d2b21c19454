#include "addr_test.h"

namespace {

using NetIsDomain = AddrTest;

TEST_F(NetIsDomain, AcceptsAtomsJoinedByDots)
{
    for (const char *text : {"a", "localdomain", "example.com", "a.b.c.d.e", "1.2.3.4", "x-1.y_2",
                             "b\xc3\xbc"
                             "cher.example"})
        EXPECT_EQ(1, BlKLIBIsDomain(text)) << text;
}

TEST_F(NetIsDomain, RefusesOtherTextsWithoutACode)
{
    for (const char *text : {"", ".", "..", "example.com.", ".example.com", "example..com", "a b.com", "a. b", "a.b@c",
                             "a.(b)", "a,b", "a.b\n", "[1.2.3.4]"})
        EXPECT_EQ(0, BlKLIBIsDomain(text)) << text;
    EXPECT_EQ(0, BlKLIBIsDomain(nullptr));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetIsDomain, LooksAt511Bytes)
{
    const std::string long_label(510, 'a');
    EXPECT_EQ(1, BlKLIBIsDomain((long_label + "a").c_str()));
    EXPECT_EQ(1, BlKLIBIsDomain((long_label + "a b").c_str()));
    EXPECT_EQ(0, BlKLIBIsDomain((long_label + " a").c_str()));
    EXPECT_EQ(0, BlKLIBIsDomain((long_label + ".a").c_str())); // the cut falls right behind the dot
    EXPECT_EQ(1, BlKLIBIsDomain(std::string(100000, 'a').c_str()));

    std::string labels;
    for (int i = 0; i < 300; ++i)
        labels += "a.";
    EXPECT_EQ(1, BlKLIBIsDomain(labels.c_str())); // the 511th byte is an "a"
    EXPECT_EQ(0, BlKLIBIsDomain(("b" + labels).c_str()));
}

TEST_F(NetIsDomain, LeavesTheTextAlone)
{
    Buffer text(std::string("example.com"));
    EXPECT_EQ(1, BlKLIBIsDomain(text.text()));
    EXPECT_EQ("example.com", text.str());
    EXPECT_TRUE(text.guarded());
}

} // namespace
