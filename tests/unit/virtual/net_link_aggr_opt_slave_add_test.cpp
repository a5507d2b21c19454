#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "kavonetsdk/error.h"
#include "kavonetsdk/virtual.h"
#include "support/log_capture.h"
#include "support/read_back.h"

namespace {

class LinkAggrOptSlaveAdd : public testing::Test {
protected:
    void SetUp() override
    {
        support::clear_error();
        support::clear_log();
    }

    int add(const std::string &name) { return KAVONetLinkAggrOptSlsaveAdd(&bond, name.c_str()); }

    static void expect_set(unsigned code)
    {
        EXPECT_EQ(code, support::last_error().code);
        EXPECT_EQ("net_link_aggr_opt_slave_add.cpp", support::last_error().file);
        EXPECT_GT(support::last_error().line, 0);
    }

    [[nodiscard]] std::vector<std::string> members() const
    {
        std::vector<std::string> names;
        for (int i = 0; i < bond.nSlave; ++i)
            names.emplace_back(bond.szSlave[i]);
        return names;
    }

    KAVOLINKAGGROPT bond{};
};

TEST_F(LinkAggrOptSlaveAdd, KeepsTheMembersSorted)
{
    for (const char *name : {"eth2", "eth10", "eth0", "ETH9", "eth1"})
        EXPECT_EQ(0, add(name));
    EXPECT_THAT(members(), testing::ElementsAre("ETH9", "eth0", "eth1", "eth10", "eth2"));
    const KAVOLINKAGGROPT zero{};
    EXPECT_EQ(0, memcmp(bond.szSlave[5], zero.szSlave, sizeof bond.szSlave - 5 * sizeof bond.szSlave[0]));
}

TEST_F(LinkAggrOptSlaveAdd, LeavesACodeOnSuccess)
{
    EXPECT_EQ(0, add("eth0"));
    expect_set(NET_ERR_NO_SUCH_DEVICE);
}

TEST_F(LinkAggrOptSlaveAdd, ANameIsAddedOnce)
{
    EXPECT_EQ(0, add("eth0"));
    EXPECT_EQ(0, add("eth1"));
    const KAVOLINKAGGROPT before = bond;
    EXPECT_EQ(-1, add("eth0"));
    expect_set(NET_ERR_ALREADY_EXISTS);
    EXPECT_EQ(0, memcmp(&before, &bond, sizeof bond));
}

TEST_F(LinkAggrOptSlaveAdd, HoldsThirtyTwoNames)
{
    for (int i = 0; i < 32; ++i)
        EXPECT_EQ(0, add("eth" + std::to_string(i)));
    const KAVOLINKAGGROPT before = bond;
    EXPECT_EQ(-1, add("eth32"));
    expect_set(NET_ERR_LIST_FULL);
    EXPECT_EQ(-1, add("eth0")); // full is found before already there
    expect_set(NET_ERR_LIST_FULL);
    EXPECT_EQ(0, memcmp(&before, &bond, sizeof bond));
}

TEST_F(LinkAggrOptSlaveAdd, CutsNamesToFifteenCharacters)
{
    EXPECT_EQ(0, add("abcdefghijklmnopq"));
    EXPECT_EQ(-1, add("abcdefghijklmno"));
    expect_set(NET_ERR_ALREADY_EXISTS);
    EXPECT_THAT(members(), testing::ElementsAre("abcdefghijklmno"));
}

TEST_F(LinkAggrOptSlaveAdd, RefusesBadArguments)
{
    EXPECT_EQ(-1, KAVONetLinkAggrOptSlsaveAdd(nullptr, "eth0"));
    expect_set(NET_ERR_BAD_PARAMETER);
    support::clear_error();
    EXPECT_EQ(-1, KAVONetLinkAggrOptSlsaveAdd(&bond, nullptr));
    expect_set(NET_ERR_BAD_PARAMETER);
    for (const char *name : {"", ".", "..", "eth0/x", "eth 0", "eth0\n", "\x7f"}) {
        support::clear_error();
        EXPECT_EQ(-1, add(name)) << name;
        expect_set(NET_ERR_BAD_PARAMETER);
    }
    const KAVOLINKAGGROPT zero{};
    EXPECT_EQ(0, memcmp(&zero, &bond, sizeof bond));
}

TEST_F(LinkAggrOptSlaveAdd, ARecordWithAnImpossibleCountIsNotWrittenTo)
{
    bond.nSlave = -1;
    EXPECT_EQ(-1, add("eth0"));
    expect_set(NET_ERR_BAD_PARAMETER);
    bond.nSlave = 33;
    EXPECT_EQ(-1, add("eth0"));
    expect_set(NET_ERR_LIST_FULL);
}

} // namespace
