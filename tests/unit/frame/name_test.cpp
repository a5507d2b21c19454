#include "frame/name.h"

#include <string>

#include <gtest/gtest.h>

using kavonet::InterfaceName;
using kavonet::is_interface_name;
using kavonet::is_short_interface_name;

namespace {

TEST(InterfaceNames, AreTaken)
{
    for (const char *name : {"eth0", "lo", "eth0.100", "ovs_eth0", "br-lan", "...", ".a", "..a", "a.", "eth0:1", "x",
                             "%s", "\xc3\xa4", "\xff", "eth123456789012"}) {
        EXPECT_TRUE(is_interface_name(name)) << name;
        EXPECT_TRUE(is_short_interface_name(name)) << name;
    }
}

TEST(InterfaceNames, AreRefused)
{
    for (const char *name : {"", ".", "..", "/", "a/b", "/etc", "../x", "eth0/", " ", " eth0", "eth0 ", "a b", "a\tb",
                             "a\nb", "a\rb", "\n", "\x01", "a\x1f", "a\x7f"}) {
        EXPECT_FALSE(is_interface_name(name)) << name;
        EXPECT_FALSE(is_short_interface_name(name)) << name;
    }
    EXPECT_FALSE(is_interface_name(nullptr));
    EXPECT_FALSE(is_short_interface_name(nullptr));
}

TEST(InterfaceNames, AreRefusedForEachControlCharacter)
{
    for (int c = 1; c < 256; ++c) {
        const std::string name = std::string("a") + static_cast<char>(c);
        EXPECT_EQ(c > ' ' && c != 0x7f && c != '/', is_interface_name(name.c_str())) << c;
    }
}

TEST(InterfaceNames, AreShortUpTo15Characters)
{
    EXPECT_TRUE(is_short_interface_name(std::string(15, 'a').c_str()));
    for (const size_t length : {16U, 17U, 64U, 100000U}) {
        const std::string name(length, 'a');
        EXPECT_TRUE(is_interface_name(name.c_str())) << length;
        EXPECT_FALSE(is_short_interface_name(name.c_str())) << length;
    }
}

TEST(InterfaceNames, HoldWhatTheKernelHolds)
{
    EXPECT_EQ(16U, InterfaceName::capacity);
    EXPECT_FALSE(InterfaceName("%s", "eth123456789012").cut());
    EXPECT_TRUE(InterfaceName("%s", "eth1234567890123").cut());
}

} // namespace
