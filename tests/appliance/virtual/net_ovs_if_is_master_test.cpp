#include "appliance/virtual/virtual_test.h"

namespace {

constexpr char FILE_NAME[] = "net_ovs_if_is_master.cpp";

using OvsIfIsMaster = VirtualTest;

TEST_F(OvsIfIsMaster, IsKnownByNameAndByTheKernelsFolder)
{
    for (const char *name : {"ovs_eth1", "ovs_bond0", "ovs_bond", "ovs_bon", "eth0", "xovs_eth1"})
        ovs_interface(name);
    EXPECT_EQ(1, KLIBNetOVSIfIsMaster("ovs_eth1"));
    EXPECT_EQ(2, KLIBNetOVSIfIsMaster("ovs_bond0"));
    EXPECT_EQ(2, KLIBNetOVSIfIsMaster("ovs_bond"));
    EXPECT_EQ(1, KLIBNetOVSIfIsMaster("ovs_bon"));
    EXPECT_EQ(0, KLIBNetOVSIfIsMaster("eth0"));
    EXPECT_EQ(0, KLIBNetOVSIfIsMaster("xovs_eth1"));
    EXPECT_EQ(0, KLIBNetOVSIfIsMaster("ovs"));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(OvsIfIsMaster, WithoutTheFolderItIsNone)
{
    EXPECT_EQ(0, KLIBNetOVSIfIsMaster("ovs_eth1"));
    EXPECT_EQ(0, KLIBNetOVSIfIsMaster("ovs_bond0"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(OvsIfIsMaster, RefusesNullHostileAndLongNames)
{
    std::vector<std::string> names = support::hostile_names();
    names.insert(names.end(), {"ovs_/../..", "ovs_eth0/x", "ovs_abcdefghijkl", support::NAME_OF_16});
    EXPECT_EQ(-1, KLIBNetOVSIfIsMaster(nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    for (const std::string &name : names) {
        support::clear_error();
        EXPECT_EQ(-1, KLIBNetOVSIfIsMaster(name.c_str())) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
    ovs_interface("ovs_abcdefghijk");
    EXPECT_EQ(1, KLIBNetOVSIfIsMaster("ovs_abcdefghijk"));
}

} // namespace
