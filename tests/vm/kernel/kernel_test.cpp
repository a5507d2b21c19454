// The emulated machine's kernel has the drivers that the other programs of this lane need.
#include <cstdlib>

#include <gtest/gtest.h>
#include <unistd.h>

#include "support/read_back.h"

namespace {

int run(const char *command)
{
    return system(command); // NOLINT(cert-env33-c,concurrency-mt-unsafe): one thread, fixed commands
}

TEST(Kernel, IsTheUsersOwn)
{
    EXPECT_EQ(0U, geteuid());
    EXPECT_EQ("kavo-vm\n", support::read_file("/proc/sys/kernel/hostname"));
}

TEST(Kernel, BondsCards)
{
    ASSERT_EQ(0, run("ip link add bond7 type bond mode 802.3ad && ip link add port7 type veth peer name other7"));
    ASSERT_EQ(0, run("ip link set port7 master bond7"));
    EXPECT_EQ("802.3ad 4\n", support::read_file("/sys/class/net/bond7/bonding/mode"));
    EXPECT_EQ("port7\n", support::read_file("/sys/class/net/bond7/bonding/slaves"));
    EXPECT_NE(std::string::npos, support::read_file("/proc/net/bonding/bond7").find("Slave Interface: port7\n"));
    EXPECT_EQ(0, run("ip link del bond7 && ip link del port7"));
    EXPECT_FALSE(support::exists("/proc/net/bonding/bond7"));
}

TEST(Kernel, HasNoBondOfItsOwn)
{
    ASSERT_TRUE(support::exists("/sys/class/net/bonding_masters"));
    EXPECT_EQ("", support::read_file("/sys/class/net/bonding_masters"));
}

TEST(Kernel, TagsFrames)
{
    ASSERT_EQ(0, run("ip link add card7 type dummy && ip link add link card7 name card7.5 type vlan id 5"));
    EXPECT_NE(std::string::npos, support::read_file("/proc/net/vlan/config").find("card7.5        | 5  | card7\n"))
        << support::read_file("/proc/net/vlan/config");
    EXPECT_EQ(0, run("ip link del card7"));
    EXPECT_FALSE(support::exists("/proc/net/vlan/card7.5"));
}

TEST(Kernel, HasPppoeSockets)
{
    EXPECT_TRUE(support::exists("/proc/net/pppoe"));
}

} // namespace
