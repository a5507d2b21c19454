#include "appliance/virtual/virtual_test.h"

namespace {

constexpr char FILE_NAME[] = "net_link_aggr_get.cpp";

class LinkAggrGet : public VirtualTest {
protected:
    void SetUp() override
    {
        VirtualTest::SetUp();
        memset(&bond, 0x5a, sizeof bond);
    }

    int get(const std::string &name = "bond0") { return KAVONetLinkAggrGet(name.c_str(), &bond); }

    // Whether the slots behind the members are zero bytes.
    [[nodiscard]] bool rest_is_zero() const
    {
        const KAVOLINKAGGROPT zero{};
        const auto used = static_cast<size_t>(bond.nSlave);
        return memcmp(bond.szSlave[used], zero.szSlave[0], sizeof bond.szSlave - used * sizeof bond.szSlave[0]) == 0;
    }

    void expect_no_bond()
    {
        EXPECT_STREQ("bond0", bond.szIfname);
        EXPECT_EQ(0, bond.mode);
        EXPECT_EQ(0, bond.blNoPartner);
        EXPECT_EQ(0, bond.nSlave);
        EXPECT_TRUE(rest_is_zero());
    }

    KAVOLINKAGGROPT bond;
};

TEST_F(LinkAggrGet, ReadsMembersInOrderAndTheMode)
{
    kernel_bond("bond0", "eth2 eth0 eth1\n", "active-backup 1\n");
    EXPECT_EQ(0, get());
    EXPECT_STREQ("bond0", bond.szIfname);
    EXPECT_EQ(4, bond.mode);
    EXPECT_EQ(0, bond.blNoPartner);
    EXPECT_THAT(members(bond), ElementsAre("eth0", "eth1", "eth2"));
    EXPECT_TRUE(rest_is_zero());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(LinkAggrGet, KnowsTheKernelsModes)
{
    const std::map<std::string, int> modes = {
        {"balance-alb 6", 1}, {"802.3ad 4", 2}, {"balance-xor 2", 3}, {"active-backup 1", 4}, {"balance-rr 0", 5}};
    for (const auto &[line, mode] : modes) {
        for (const char *end : {"\n", "", " and more\n"}) {
            kernel_bond("bond0", "eth0\n", line + end);
            EXPECT_EQ(0, get()) << line;
            EXPECT_EQ(mode, bond.mode) << line;
        }
    }
}

TEST_F(LinkAggrGet, OtherModesAreNoneAndKeepTheMembers)
{
    for (const char *line : {"broadcast 3", "balance-tlb 5", "balance-rr", "balance-rr 1", "802.3ad"}) {
        clear();
        kernel_bond("bond0", "eth1 eth0\n", std::string(line) + "\n");
        EXPECT_EQ(0, get()) << line;
        EXPECT_EQ(0, bond.mode) << line;
        EXPECT_EQ(2, bond.nSlave) << line;
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, std::string("Non-supported bonding mode [") + line + "]")) << line;
    }
}

TEST_F(LinkAggrGet, AnEmptyModeIsNone)
{
    kernel_bond("bond0", "eth0\n", "");
    EXPECT_EQ(0, get());
    EXPECT_EQ(0, bond.mode);
    EXPECT_EQ(1, bond.nSlave);
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Non-supported bonding mode []"));
}

TEST_F(LinkAggrGet, APlainPortIsNoBond)
{
    EXPECT_EQ(0, get());
    expect_no_bond();
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(LinkAggrGet, ABondWithoutMembersIsNone)
{
    for (const char *slaves : {"\n", "", " \t\n"}) {
        memset(&bond, 0x5a, sizeof bond);
        kernel_bond("bond0", slaves, "802.3ad 4\n");
        EXPECT_EQ(0, get());
        expect_no_bond();
    }
}

TEST_F(LinkAggrGet, MembersThatCannotBeReadAreNone)
{
    ASSERT_EQ(0, mkdir("/sys/class/net/bond0", 0755));
    ASSERT_EQ(0, mkdir("/sys/class/net/bond0/bonding", 0755));
    ASSERT_EQ(0, mkdir("/sys/class/net/bond0/bonding/slaves", 0755));
    EXPECT_EQ(0, get());
    expect_no_bond();
}

TEST_F(LinkAggrGet, TheModeMustBeReadable)
{
    kernel_bond("bond0", "eth0\n", "");
    ASSERT_EQ(0, unlink("/sys/class/net/bond0/bonding/mode"));
    EXPECT_EQ(-1, get());
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OPEN_FAILED));
    ASSERT_EQ(0, mkdir("/sys/class/net/bond0/bonding/mode", 0755));
    EXPECT_EQ(-1, get());
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_READ_FAILED));
}

TEST_F(LinkAggrGet, AMemberThatIsListedTwiceIsAFailure)
{
    kernel_bond("bond0", "eth0 eth1 eth0\n", "balance-rr 0\n");
    EXPECT_EQ(-1, get());
    EXPECT_TRUE(support::is_set_in("net_link_aggr_opt_slave_add.cpp", NET_ERR_ALREADY_EXISTS));
}

TEST_F(LinkAggrGet, HoldsThirtyTwoMembers)
{
    std::string slaves;
    for (int i = 0; i < 32; ++i)
        slaves += "eth" + std::to_string(i) + " ";
    kernel_bond("bond0", slaves + "\n", "balance-rr 0\n");
    EXPECT_EQ(0, get());
    EXPECT_EQ(32, bond.nSlave);
    kernel_bond("bond0", slaves + "eth32\n", "balance-rr 0\n");
    EXPECT_EQ(-1, get());
    EXPECT_TRUE(support::is_set_in("net_link_aggr_opt_slave_add.cpp", NET_ERR_LIST_FULL));
}

TEST_F(LinkAggrGet, LongNamesAreCutInTheRecordOnly)
{
    kernel_bond(support::NAME_OF_17, "eth0 abcdefghijklmnopq\n", "balance-rr 0\n");
    EXPECT_EQ(0, get(support::NAME_OF_17));
    EXPECT_STREQ(support::NAME_OF_15, bond.szIfname);
    EXPECT_THAT(members(bond), ElementsAre(support::NAME_OF_15, "eth0"));
}

TEST_F(LinkAggrGet, WithoutMemoryThereIsNoAnswer)
{
    kernel_bond("bond0", "eth0\n", "balance-rr 0\n");
    fail_call("KLIBCSzListAlloc");
    EXPECT_EQ(-1, get());
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OUT_OF_MEMORY));
}

TEST_F(LinkAggrGet, RefusesNullAndHostileNames)
{
    EXPECT_EQ(-1, KAVONetLinkAggrGet(nullptr, &bond));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    support::clear_error();
    EXPECT_EQ(-1, KAVONetLinkAggrGet("bond0", nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    for (const std::string &name : support::hostile_names()) {
        support::clear_error();
        EXPECT_EQ(-1, get(name)) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
}

// ---- 802.3ad partners

class LinkAggrPartner : public LinkAggrGet {
protected:
    void SetUp() override
    {
        LinkAggrGet::SetUp();
        if (IsSkipped())
            return;
        plain_proc_net();
        kernel_bond("bond0", "eth0 eth1\n", "802.3ad 4\n");
    }

    // 1 when the driver's status tells of no partner.
    int no_partner(const std::string &status)
    {
        write_file("/proc/net/bonding/bond0", status);
        EXPECT_EQ(0, get());
        EXPECT_EQ(2, bond.mode);
        return bond.blNoPartner;
    }
};

TEST_F(LinkAggrPartner, IsKnownByItsAddress)
{
    EXPECT_EQ(0, no_partner("Bonding Mode: IEEE 802.3ad\n\n802.3ad info\n\tNumber of ports: 2\n"
                            "\tPartner Mac Address: 02:11:22:33:44:55\n\nSlave Interface: eth0\n"));
    EXPECT_EQ(1, no_partner("802.3ad info\n\tPartner Mac Address: 00:00:00:00:00:00\n"));
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(LinkAggrPartner, IsAbsentWithoutAnAddress)
{
    EXPECT_EQ(1, no_partner(""));
    EXPECT_EQ(1, no_partner("802.3ad info\n"));
    EXPECT_EQ(1, no_partner("\tPartner Mac Address: \n"));
    EXPECT_EQ(1, no_partner("\tPartner Mac Address:  \t\r\n"));
    EXPECT_EQ(1, no_partner("Partner Mac Address: 02:11:22:33:44:55\n")); // not indented by a tab
    EXPECT_EQ(1, no_partner("\t\tPartner Mac Address: 02:11:22:33:44:55\n"));
}

TEST_F(LinkAggrPartner, TheLinesLastCharacterIsNeverPartOfTheAddress)
{
    EXPECT_EQ(1, no_partner("\tPartner Mac Address: 0")); // no newline, and nothing is left
    EXPECT_EQ(1, no_partner("\tPartner Mac Address: 00:00:00:00:00:00x"));
    EXPECT_EQ(0, no_partner("\tPartner Mac Address: 00:00:00:00:00:00\r\n")); // one character only
}

TEST_F(LinkAggrPartner, TheFirstLineDecides)
{
    const std::string none = "\tPartner Mac Address: 00:00:00:00:00:00\n";
    const std::string some = "\tPartner Mac Address: 02:11:22:33:44:55\n";
    EXPECT_EQ(1, no_partner(none + some));
    EXPECT_EQ(0, no_partner(some + none));
    EXPECT_EQ(0, no_partner("\tPartner Mac Address: \t 02:11:22:33:44:55\n"));
}

TEST_F(LinkAggrPartner, IsAbsentWithoutTheDriversStatus)
{
    EXPECT_EQ(0, get());
    EXPECT_EQ(1, bond.blNoPartner);
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_NO_SUCH_DEVICE));
    EXPECT_EQ(2, bond.nSlave);
}

TEST_F(LinkAggrPartner, OtherModesHaveNone)
{
    for (const char *mode : {"balance-rr 0\n", "broadcast 3\n"}) {
        kernel_bond("bond0", "eth0 eth1\n", mode);
        EXPECT_EQ(0, get());
        EXPECT_EQ(0, bond.blNoPartner) << mode;
    }
}

// ---- Open vSwitch bonds

class LinkAggrOvs : public LinkAggrGet {
protected:
    void SetUp() override
    {
        LinkAggrGet::SetUp();
        if (IsSkipped())
            return;
        ovs_interface("ovs_bond0");
        has_interface("eth0");
        has_interface("eth1", IFF_UP);
        has_interface("eth2");
        write_ifcfg("ovs_bond0", "SLAVE_LIST=\"eth2 eth0 eth1\"\nBOND_MODE=balance-slb\n");
    }

    int get_ovs() { return get("ovs_bond0"); }
};

TEST_F(LinkAggrOvs, IsReadFromItsFile)
{
    EXPECT_EQ(0, get_ovs());
    EXPECT_STREQ("ovs_bond0", bond.szIfname);
    EXPECT_EQ(7, bond.mode);
    EXPECT_EQ(0, bond.blNoPartner);
    EXPECT_THAT(members(bond), ElementsAre("eth0", "eth1", "eth2"));
    EXPECT_TRUE(rest_is_zero());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(LinkAggrOvs, KnowsEveryModesName)
{
    const std::map<std::string, int> modes = {{"ovs-active-backup", 6}, {"balance-slb", 7}, {"balance-tcp", 8},
                                              {"active-backup", 4},     {"something", 0},   {"", 0}};
    for (const auto &[name, mode] : modes) {
        write_ifcfg("ovs_bond0", "SLAVE_LIST=eth0\nBOND_MODE=" + name + "\n");
        EXPECT_EQ(0, get_ovs()) << name;
        EXPECT_EQ(mode, bond.mode) << name;
    }
}

TEST_F(LinkAggrOvs, InterfacesThatDoNotExistArePassedOver)
{
    write_ifcfg("ovs_bond0", "SLAVE_LIST=  eth9   eth2 ../x   eth0  \nBOND_MODE=balance-tcp\n");
    EXPECT_EQ(0, get_ovs());
    EXPECT_THAT(members(bond), ElementsAre("eth0", "eth2"));
    write_ifcfg("ovs_bond0", "SLAVE_LIST=\nBOND_MODE=balance-tcp\n");
    EXPECT_EQ(0, get_ovs());
    EXPECT_EQ(0, bond.nSlave);
    EXPECT_EQ(8, bond.mode);
}

TEST_F(LinkAggrOvs, ItsFailuresAreOne)
{
    write_ifcfg("ovs_bond0", "BOND_MODE=balance-slb\n");
    EXPECT_EQ(1, get_ovs());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to get key [BLOCK_CNT]"));
    clear();
    write_ifcfg("ovs_bond0", "SLAVE_LIST=eth0\n");
    EXPECT_EQ(1, get_ovs());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to get key [BOND_MODE]"));
    EXPECT_EQ(0, bond.mode);
    clear();
    unlink(ifcfg("ovs_bond0").c_str());
    EXPECT_EQ(1, get_ovs());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to get key [BLOCK_CNT]"));
}

TEST_F(LinkAggrOvs, AMemberThatIsListedTwiceIsAFailure)
{
    write_ifcfg("ovs_bond0", "SLAVE_LIST=eth0 eth0\nBOND_MODE=balance-slb\n");
    EXPECT_EQ(1, get_ovs());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to add the slave eth0 into KAVOLINKAGGROPT"));
}

TEST_F(LinkAggrOvs, WithoutMemoryThereIsNoAnswer)
{
    fail_call("KLIBCSzListAlloc");
    EXPECT_EQ(1, get_ovs());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to alloc memory."));
    const KAVOLINKAGGROPT zero{};
    EXPECT_EQ(0, memcmp(&zero, &bond, sizeof bond));
    clear();
    fail_call("KLIBCStrSep");
    EXPECT_EQ(1, get_ovs());
}

TEST_F(LinkAggrOvs, IsOneOnlyWhileItsInterfaceExists)
{
    write_ifcfg("ovs_bond1", "SLAVE_LIST=eth0\nBOND_MODE=balance-slb\n");
    EXPECT_EQ(0, get("ovs_bond1"));
    EXPECT_EQ(0, bond.nSlave);
    EXPECT_EQ(0, bond.mode);
}

TEST_F(LinkAggrOvs, BondsThatListThemselvesOrEachOtherEnd)
{
    write_ifcfg("ovs_bond0", "SLAVE_LIST=ovs_bond0 eth0\nBOND_MODE=balance-slb\n");
    EXPECT_EQ(0, get_ovs());
    EXPECT_THAT(members(bond), ElementsAre("eth0", "ovs_bond0"));
    ovs_interface("ovs_bond1");
    write_ifcfg("ovs_bond0", "SLAVE_LIST=ovs_bond1 ovs_bond9 eth0\nBOND_MODE=balance-slb\n");
    write_ifcfg("ovs_bond1", "SLAVE_LIST=ovs_bond0 eth1\nBOND_MODE=balance-slb\n");
    EXPECT_EQ(0, get_ovs());
    EXPECT_THAT(members(bond), ElementsAre("eth0", "ovs_bond1"));
}

} // namespace
