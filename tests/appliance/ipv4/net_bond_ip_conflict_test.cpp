#include "appliance/virtual/virtual_test.h"
#include "kavonetsdk/ipv4.h"

namespace {

constexpr char FILE_NAME[] = "net_bond_ip_conflict.cpp";
constexpr char CONFIG_READER[] = "net_lnx_get_ip_from_cfg.cpp";

class BondIpConflict : public VirtualTest {
protected:
    void SetUp() override
    {
        VirtualTest::SetUp();
        if (IsSkipped())
            return;
        kernel_bond("bond0", "eth2 eth0 eth1\n", "active-backup 1\n");
        configure("bond0", "192.0.2.1");
        configure("eth0", "192.0.2.10");
        configure("eth1", "192.0.2.11");
        configure("eth2", "192.0.2.12");
    }

    static void configure(const std::string &name, const std::string &address)
    {
        write_ifcfg(name, "BOOTPROTO=static\nIPADDR=" + address + "\n");
    }

    int conflict(const char *bond = "bond0") { return KAVONetBondIPConflict(bond, member, sizeof member); }

    char member[16] = "before";
};

TEST_F(BondIpConflict, IsNoneWhileEveryAddressIsAnother)
{
    EXPECT_EQ(0, conflict());
    EXPECT_STREQ("before", member);
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(BondIpConflict, IsAMemberWithTheBondsAddress)
{
    configure("eth1", "192.0.2.1");
    EXPECT_EQ(1, conflict());
    EXPECT_STREQ("eth1", member);
    configure("eth1", "192.0.2.11");
    configure("eth2", "192.0.2.1");
    EXPECT_EQ(1, conflict());
    EXPECT_STREQ("eth2", member);
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(BondIpConflict, IsTheFirstSuchMember)
{
    configure("eth1", "192.0.2.1");
    configure("eth2", "192.0.2.1");
    EXPECT_EQ(1, conflict());
    EXPECT_STREQ("eth1", member);
}

TEST_F(BondIpConflict, IsNeverTheFirstMember)
{
    configure("eth0", "192.0.2.1");
    EXPECT_EQ(0, conflict());
    EXPECT_STREQ("before", member);
    unlink(ifcfg("eth0").c_str()); // it is not even looked at
    EXPECT_EQ(0, conflict());
    EXPECT_THAT(log_lines(), IsEmpty());
    configure("eth1", "192.0.2.1");
    EXPECT_EQ(1, conflict());
    EXPECT_STREQ("eth1", member);
}

TEST_F(BondIpConflict, FourCharactersOfTheNameAreGiven)
{
    kernel_bond("bond0", "eth0 eth12\n", "active-backup 1\n");
    configure("eth12", "192.0.2.1");
    EXPECT_EQ(1, conflict());
    EXPECT_STREQ("eth1", member);
    kernel_bond("bond0", "a b0\n", "active-backup 1\n");
    configure("b0", "192.0.2.1");
    EXPECT_EQ(1, conflict());
    EXPECT_STREQ("b0", member);
}

TEST_F(BondIpConflict, NoMoreThanFitsIsGiven)
{
    configure("eth1", "192.0.2.1");
    const char *const texts[] = {"", "e", "et", "eth", "eth1", "eth1"};
    for (int size = 1; size <= 6; ++size) {
        memset(member, '#', sizeof member);
        EXPECT_EQ(1, KAVONetBondIPConflict("bond0", member, size));
        EXPECT_STREQ(texts[size - 1], member);
        EXPECT_EQ('#', member[size]) << "nothing behind the buffer";
    }
}

TEST_F(BondIpConflict, MembersWithoutAnAddressArePassedOver)
{
    write_ifcfg("eth1", "BOOTPROTO=static\n");
    configure("eth2", "192.0.2.1");
    EXPECT_EQ(1, conflict());
    EXPECT_STREQ("eth2", member);
    EXPECT_EQ(LOG_INFO, logged_in(FILE_NAME, "eth1's IP is empty"));
    clear();
    unlink(ifcfg("eth1").c_str());
    EXPECT_EQ(1, conflict());
    EXPECT_STREQ("eth2", member);
    EXPECT_EQ(LOG_INFO, logged_in(FILE_NAME, "eth1's IP is empty"));
}

TEST_F(BondIpConflict, OneMembersAddressIsNotTakenForTheNexts)
{
    // A member without a file leaves what was read before it alone.
    configure("eth1", "192.0.2.11");
    unlink(ifcfg("eth2").c_str());
    unlink(ifcfg("bond0").c_str());
    EXPECT_EQ(0, conflict());
    EXPECT_EQ(LOG_INFO, logged_in(FILE_NAME, "eth2's IP is empty"));
}

TEST_F(BondIpConflict, ABondWithoutAnAddressHasNoConflict)
{
    write_ifcfg("bond0", "BOOTPROTO=static\n");
    write_ifcfg("eth1", "BOOTPROTO=static\n");
    EXPECT_EQ(0, conflict());
    EXPECT_EQ(LOG_INFO, logged_in(FILE_NAME, "eth1's IP is empty"));
}

TEST_F(BondIpConflict, LeasesAreConfiguredAddressesToo)
{
    write_ifcfg("bond0", "BOOTPROTO=dhcp\n");
    write_lease("bond0", "IPADDR=192.0.2.11\n");
    EXPECT_EQ(1, conflict());
    EXPECT_STREQ("eth1", member);
}

TEST_F(BondIpConflict, WhatIsNoBondHasNoMembers)
{
    EXPECT_EQ(0, conflict("eth0"));
    kernel_bond("bond0", "eth0\n", "active-backup 1\n");
    configure("eth0", "192.0.2.1");
    EXPECT_EQ(0, conflict()) << "one member alone";
}

TEST_F(BondIpConflict, ThirtyTwoMembersAreLookedAt)
{
    std::string slaves;
    for (int i = 10; i < 42; ++i) {
        slaves += "eth" + std::to_string(i) + " ";
        configure("eth" + std::to_string(i), "198.51.100." + std::to_string(i));
    }
    kernel_bond("bond0", slaves + "\n", "active-backup 1\n");
    EXPECT_EQ(0, conflict());
    configure("eth41", "192.0.2.1");
    EXPECT_EQ(1, conflict());
    EXPECT_STREQ("eth4", member);
}

TEST_F(BondIpConflict, LongAddressesAreComparedAsFarAsTheyFit)
{
    const std::string front(1023, '1');
    configure("bond0", front + "2");
    configure("eth1", front.substr(1) + "2");
    EXPECT_EQ(0, conflict());
    configure("eth1", front + "3");
    EXPECT_EQ(1, conflict());
}

TEST_F(BondIpConflict, ABondThatCannotBeReadIsAFailure)
{
    ASSERT_EQ(0, unlink("/sys/class/net/bond0/bonding/mode"));
    EXPECT_EQ(-1, conflict());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "get bond0 information failed"));
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_TRUE(support::is_set_in("net_link_aggr_get.cpp", NET_ERR_OPEN_FAILED));
    EXPECT_STREQ("before", member);
}

TEST_F(BondIpConflict, AConfigurationThatCannotBeReadIsAFailure)
{
    fail_call("KLIBCFileGetKeyValue", 2); // the first asks for the bond's method
    EXPECT_EQ(-1, conflict());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "get bond0's IP failed"));
    EXPECT_EQ(LOG_ERR, logged_in(CONFIG_READER, "Failed to get [IPADDR] from "
                                                "[/etc/sysconfig/network-scripts/ifcfg-bond0], kavoerr=[0x5151]"));
    clear();
    configure("eth2", "192.0.2.1");
    fail_call("KLIBCFileGetKeyValue", 4);
    EXPECT_EQ(-1, conflict());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "get eth1's IP from config failed"));
    EXPECT_STREQ("before", member);
    clear();
    EXPECT_EQ(1, conflict());
}

TEST_F(BondIpConflict, AMemberThatNoInterfaceCanBeIsAFailure)
{
    kernel_bond("bond0", "eth0 zz/../zz\n", "active-backup 1\n");
    EXPECT_EQ(-1, conflict());
    EXPECT_STREQ("before", member);
}

TEST_F(BondIpConflict, RefusesBadArguments)
{
    const auto expect_refused = [&](const char *bond, char *buffer, int size) {
        support::clear_error();
        EXPECT_EQ(-1, KAVONetBondIPConflict(bond, buffer, size)) << (bond == nullptr ? "null" : bond);
        EXPECT_EQ((Error{NET_ERR_BAD_PARAMETER, FILE_NAME, 32}), last_error());
        EXPECT_STREQ("before", member);
    };
    configure("eth1", "192.0.2.1");
    expect_refused(nullptr, member, sizeof member);
    expect_refused("bond0", nullptr, sizeof member);
    expect_refused("bond0", member, 0);
    expect_refused("bond0", member, -1);
    expect_refused(support::NAME_OF_16, member, sizeof member);
    for (const std::string &name : support::hostile_names())
        expect_refused(name.c_str(), member, sizeof member);
    EXPECT_EQ(0, conflict(support::NAME_OF_15));
}

// ---- Open vSwitch bonds

class BondIpConflictOvs : public BondIpConflict {
protected:
    void SetUp() override
    {
        BondIpConflict::SetUp();
        if (IsSkipped())
            return;
        ovs_interface("ovs_bond0");
        for (const char *name : {"eth0", "eth1", "eth2"})
            has_interface(name);
        write_ifcfg("ovs_bond0", "SLAVE_LIST=\"eth2 eth0 eth1\"\nBOND_MODE=balance-slb\nBOOTPROTO=static\n"
                                 "IPADDR=192.0.2.1\n");
        for (const char *name : {"ovs_eth0", "ovs_eth1", "ovs_eth2"})
            configure(name, std::string("198.51.100.") + std::to_string(name[7]));
    }

    int conflict() { return BondIpConflict::conflict("ovs_bond0"); }
};

TEST_F(BondIpConflictOvs, ItsMembersHaveTheirAddressesUnderTheSwitchsNames)
{
    configure("eth1", "192.0.2.1");
    EXPECT_EQ(0, conflict());
    configure("ovs_eth1", "192.0.2.1");
    EXPECT_EQ(1, conflict());
    EXPECT_STREQ("eth1", member) << "the member's own name is given";
}

TEST_F(BondIpConflictOvs, LogLinesNameTheMember)
{
    unlink(ifcfg("ovs_eth1").c_str());
    EXPECT_EQ(0, conflict());
    EXPECT_EQ(LOG_INFO, logged_in(FILE_NAME, "eth1's IP is empty"));
}

TEST_F(BondIpConflictOvs, NamesTooLongForTheSwitchAreNotCutToOthers)
{
    has_interface("abcdefghijkl");
    write_ifcfg("ovs_bond0", "SLAVE_LIST=\"abc abcdefghijkl\"\nBOND_MODE=balance-slb\nBOOTPROTO=static\n"
                             "IPADDR=192.0.2.1\n");
    has_interface("abc");
    configure("ovs_abcdefghijk", "192.0.2.1");
    EXPECT_EQ(-1, conflict());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "get abcdefghijkl's IP from config failed"));
    EXPECT_STREQ("before", member);
}

TEST_F(BondIpConflictOvs, ItsOwnFailuresAreFailures)
{
    write_ifcfg("ovs_bond0", "SLAVE_LIST=eth0\nIPADDR=192.0.2.1\n");
    EXPECT_EQ(-1, conflict());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "get ovs_bond0 information failed"));
}

TEST_F(BondIpConflictOvs, ABondThatIsGoneIsReadAsAKernelOne)
{
    ASSERT_EQ(0, system("rm -r /sys/devices/virtual/net/ovs_bond0"));
    configure("ovs_eth1", "192.0.2.1");
    EXPECT_EQ(0, conflict());
}

} // namespace
