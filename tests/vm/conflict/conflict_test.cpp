// A real bond whose members are configured with its address.
#include <string>

#include <gtest/gtest.h>

#include "kavonetsdk/kavonetsdk.h"
#include "support/commands.h"
#include "support/read_back.h"

using support::shell;

namespace {

void configure(const std::string &name, const std::string &address)
{
    support::write_file("/etc/sysconfig/network-scripts/ifcfg-" + name, "BOOTPROTO=static\nIPADDR=" + address + "\n");
}

class BondConflict : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        shell("for i in 0 1 2; do ip link add eth9$i type dummy; done;"
              "ip link add bond9 type bond mode active-backup miimon 100;"
              "for i in 2 0 1; do ip link set eth9$i master bond9; done; ip link set bond9 up");
    }

    void SetUp() override
    {
        configure("bond9", "10.9.0.1");
        configure("eth90", "10.9.0.10");
        configure("eth91", "10.9.0.11");
        configure("eth92", "10.9.0.12");
    }

    char member[16] = "";
};

TEST_F(BondConflict, IsNoneWhileEveryAddressIsAnother)
{
    EXPECT_EQ(0, KAVONetBondIPConflict("bond9", member, sizeof member));
    EXPECT_EQ(0, KAVONetBondIPConflict("eth92", member, sizeof member)) << "no bond";
}

TEST_F(BondConflict, IsAMemberWithTheBondsAddress)
{
    configure("eth92", "10.9.0.1");
    EXPECT_EQ(1, KAVONetBondIPConflict("bond9", member, sizeof member));
    EXPECT_STREQ("eth9", member);
}

TEST_F(BondConflict, IsNeverTheFirstMember)
{
    configure("eth90", "10.9.0.1");
    EXPECT_EQ(0, KAVONetBondIPConflict("bond9", member, sizeof member));
    shell("ip link set eth90 nomaster");
    configure("eth91", "10.9.0.1");
    EXPECT_EQ(0, KAVONetBondIPConflict("bond9", member, sizeof member)) << "now it is another that is the first";
    shell("ip link set eth90 master bond9");
    EXPECT_EQ(1, KAVONetBondIPConflict("bond9", member, sizeof member));
}

} // namespace
