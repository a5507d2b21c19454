#include "appliance/virtual/virtual_test.h"

namespace {

constexpr char MASTERS[] = "/sys/class/net/bonding_masters";

using LinkAggrExist = VirtualTest;

TEST_F(LinkAggrExist, ThereIsAListWithALine)
{
    for (const char *content : {"bond0\n", "bond0 bond1\n", "\n", "bond0"}) {
        write_file(MASTERS, content);
        EXPECT_EQ(1, KAVONetLinkAggrExist()) << content;
    }
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(LinkAggrExist, ThereIsNoneWithoutADriver)
{
    EXPECT_EQ(0, KAVONetLinkAggrExist());
    write_file(MASTERS, "");
    EXPECT_EQ(0, KAVONetLinkAggrExist());
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(LinkAggrExist, AFailedReadIsAFailure)
{
    write_file(std::string(MASTERS) + "/file", ""); // a folder opens but cannot be read
    EXPECT_EQ(-1, KAVONetLinkAggrExist());
    EXPECT_TRUE(support::is_set_in("net_link_aggr_exist.cpp", NET_ERR_READ_FAILED));
}

} // namespace
