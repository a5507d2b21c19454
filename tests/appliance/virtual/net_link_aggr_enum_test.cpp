#include "appliance/virtual/virtual_test.h"

namespace {

constexpr char FILE_NAME[] = "net_link_aggr_enum.cpp";
constexpr char MASTERS[] = "/sys/class/net/bonding_masters";

class LinkAggrEnum : public VirtualTest {
protected:
    int list()
    {
        PKLIBSZLIST held = names.release();
        const int result = KAVONetLinkAggrEnum(&held);
        names.reset(held);
        return result;
    }

    List names{KLIBCSzListAlloc(0)};
};

TEST_F(LinkAggrEnum, CountsWhatTheKernelKnowsAndListsWhatIsInUse)
{
    write_file(MASTERS, "bond2 bond0 bond1\n");
    kernel_bond("bond0", "eth0 eth1\n", "balance-rr 0\n");
    kernel_bond("bond1", "\n", "balance-rr 0\n");
    kernel_bond("bond2", "eth2\n", "balance-rr 0\n");
    EXPECT_EQ(3, list());
    EXPECT_THAT(items(names.get()), ElementsAre("bond2", "bond0"));
    EXPECT_EQ(3, list());
    EXPECT_EQ(4, names->nItem) << "the list is added to";
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(LinkAggrEnum, SplitsOneLineAtBlanksTabsAndNewlines)
{
    write_file(MASTERS, " \tbond0\t bond1 \nbond2\n");
    for (const char *bond : {"bond0", "bond1", "bond2"})
        kernel_bond(bond, "eth0\n", "balance-rr 0\n");
    EXPECT_EQ(2, list());
    EXPECT_THAT(items(names.get()), ElementsAre("bond0", "bond1"));
}

TEST_F(LinkAggrEnum, ThereAreNoneWithoutADriver)
{
    EXPECT_EQ(0, list());
    for (const char *content : {"", "\n", " \t\n"}) {
        write_file(MASTERS, content);
        EXPECT_EQ(0, list()) << content;
    }
    EXPECT_EQ(0, names->nItem);
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(LinkAggrEnum, BondsThatHaveGoneAreCounted)
{
    write_file(MASTERS, "bond0 bond1\n");
    kernel_bond("bond1", "eth0\n", "balance-rr 0\n");
    EXPECT_EQ(2, list());
    EXPECT_THAT(items(names.get()), ElementsAre("bond1"));
}

TEST_F(LinkAggrEnum, NamesDoNotLeaveTheKernelsFolder)
{
    write_file(MASTERS, ".. ../secret bond0/../bond0 / . bond0\n");
    kernel_bond("bond0", "eth0\n", "balance-rr 0\n");
    write_file("/sys/class/secret/bonding/slaves", "eth0\n");
    write_file("/sys/class/bonding/slaves", "eth0\n");
    EXPECT_EQ(6, list());
    EXPECT_THAT(items(names.get()), ElementsAre("bond0"));
}

TEST_F(LinkAggrEnum, ManyBondsAreListedInTheKernelsOrder)
{
    std::string line;
    for (int i = 0; i < 300; ++i) {
        const std::string bond = "bond" + std::to_string(i);
        kernel_bond(bond, "eth" + std::to_string(i) + "\n", "balance-rr 0\n");
        line += bond + " ";
    }
    write_file(MASTERS, line + "\n");
    EXPECT_EQ(300, list());
    ASSERT_EQ(300, names->nItem);
    EXPECT_STREQ("bond0", KLIBCSzListGet(names.get(), 0));
    EXPECT_STREQ("bond299", KLIBCSzListGet(names.get(), 299));
}

TEST_F(LinkAggrEnum, AFailedReadIsAFailure)
{
    write_file(std::string(MASTERS) + "/file", ""); // a folder opens but cannot be read
    EXPECT_EQ(-1, list());
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_READ_FAILED));
}

TEST_F(LinkAggrEnum, WithoutMemoryThereIsNoAnswer)
{
    write_file(MASTERS, "bond0\n");
    kernel_bond("bond0", "eth0\n", "balance-rr 0\n");
    for (const char *call : {"KLIBCSzListAlloc", "KLIBCStrTok", "KLIBCSzListPush"}) {
        clear();
        fail_call(call);
        EXPECT_EQ(-1, list()) << call;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OUT_OF_MEMORY)) << call;
    }
    clear();
    fail_call("KLIBCSzListAlloc", 2);
    EXPECT_EQ(-1, list());
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OUT_OF_MEMORY));
    EXPECT_EQ(0, names->nItem);
}

TEST_F(LinkAggrEnum, RefusesNull)
{
    PKLIBSZLIST none = nullptr;
    EXPECT_EQ(-1, KAVONetLinkAggrEnum(nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    support::clear_error();
    EXPECT_EQ(-1, KAVONetLinkAggrEnum(&none));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
}

} // namespace
