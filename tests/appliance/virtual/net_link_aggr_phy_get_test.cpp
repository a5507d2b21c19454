#include "appliance/virtual/virtual_test.h"

namespace {

constexpr char FILE_NAME[] = "net_link_aggr_phy_get.cpp";

class LinkAggrPhyGet : public VirtualTest {
protected:
    int get(const std::string &name = "bond0")
    {
        PKLIBSZLIST held = list.release();
        const int result = KAVONetLinkAggrPhyGet(name.c_str(), &held);
        list.reset(held);
        return result;
    }

    static void slaves(const std::string &content) { write_file("/sys/class/net/bond0/bonding/slaves", content); }

    List list{KLIBCSzListAlloc(0)};
};

TEST_F(LinkAggrPhyGet, AppendsTheMembersInTheKernelsOrder)
{
    slaves("eth2 eth0\n");
    EXPECT_EQ(2, get());
    EXPECT_THAT(items(list.get()), ElementsAre("eth2", "eth0"));
    EXPECT_EQ(2, get());
    EXPECT_THAT(items(list.get()), ElementsAre("eth2", "eth0", "eth2", "eth0"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(LinkAggrPhyGet, SplitsAtBlanksTabsAndNewlines)
{
    slaves("  eth2\t\teth0 eth1 \neth9\n"); // only the first line is read
    EXPECT_EQ(3, get());
    EXPECT_THAT(items(list.get()), ElementsAre("eth2", "eth0", "eth1"));
}

TEST_F(LinkAggrPhyGet, AnEmptyFileHasNone)
{
    for (const char *content : {"", "\n", " \n"}) {
        slaves(content);
        EXPECT_EQ(0, get());
    }
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(items(list.get()), IsEmpty());
}

TEST_F(LinkAggrPhyGet, WithoutABondNothingCanBeOpened)
{
    EXPECT_EQ(-1, get());
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OPEN_FAILED));
}

TEST_F(LinkAggrPhyGet, AFailedReadIsAFailure)
{
    write_file("/sys/class/net/bond0/bonding/slaves/file", ""); // a folder opens but cannot be read
    EXPECT_EQ(-1, get());
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_READ_FAILED));
    EXPECT_THAT(items(list.get()), IsEmpty());
}

TEST_F(LinkAggrPhyGet, AFailedListIsAFailure)
{
    slaves("eth0\n");
    fail_call("KLIBCStrTok");
    EXPECT_EQ(-1, get());
}

TEST_F(LinkAggrPhyGet, RefusesNullAndHostileArguments)
{
    PKLIBSZLIST none = nullptr;
    EXPECT_EQ(-1, KAVONetLinkAggrPhyGet("bond0", nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    support::clear_error();
    EXPECT_EQ(-1, KAVONetLinkAggrPhyGet("bond0", &none));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    support::clear_error();
    none = list.get();
    EXPECT_EQ(-1, KAVONetLinkAggrPhyGet(nullptr, &none));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    for (const std::string &name : support::hostile_names()) {
        support::clear_error();
        EXPECT_EQ(-1, get(name)) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
}

} // namespace
