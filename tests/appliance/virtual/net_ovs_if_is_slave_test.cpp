#include "appliance/virtual/virtual_test.h"

namespace {

constexpr char FILE_NAME[] = "net_ovs_if_is_slave.cpp";

using OvsIfIsSlave = VirtualTest;

TEST_F(OvsIfIsSlave, APortIsHeldByItsOwnInterface)
{
    ovs_interface("ovs_eth0");
    EXPECT_EQ(1, KLIBNetOVSIfIsSlave("eth0"));
    EXPECT_EQ(0, KLIBNetOVSIfIsSlave("eth1"));
    EXPECT_EQ(0, KLIBNetOVSIfIsSlave("ovs_eth0"));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(OvsIfIsSlave, OrIsAMemberOfABond)
{
    write_file(OVS_BONDS, "ovs_bond0 eth0 eth1\n");
    EXPECT_EQ(1, KLIBNetOVSIfIsSlave("eth1"));
    EXPECT_EQ(0, KLIBNetOVSIfIsSlave("eth2"));
}

TEST_F(OvsIfIsSlave, ItsOwnInterfaceIsEnough)
{
    ovs_interface("ovs_eth0");
    fail_call("KLIBCSzListAlloc");
    EXPECT_EQ(1, KLIBNetOVSIfIsSlave("eth0"));
}

TEST_F(OvsIfIsSlave, AListThatCannotBeOpenedIsLogged)
{
    unopenable(OVS_BONDS);
    EXPECT_EQ(0, KLIBNetOVSIfIsSlave("eth0"));
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, std::string("Failed to open ") + OVS_BONDS + "."));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(OvsIfIsSlave, MissingMemoryIsLogged)
{
    fail_call("KLIBCSzListAlloc");
    EXPECT_EQ(0, KLIBNetOVSIfIsSlave("eth0"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to alloc memory."));
}

TEST_F(OvsIfIsSlave, RefusesNullAndHostileNames)
{
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    EXPECT_EQ(-1, KLIBNetOVSIfIsSlave(nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    for (const std::string &name : names) {
        support::clear_error();
        EXPECT_EQ(-1, KLIBNetOVSIfIsSlave(name.c_str())) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
    EXPECT_EQ(0, KLIBNetOVSIfIsSlave(support::NAME_OF_15));
}

} // namespace
