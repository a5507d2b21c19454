#include "appliance/virtual/virtual_test.h"

namespace {

constexpr char FILE_NAME[] = "net_if_is_bonding_slave.cpp";

class IfIsBondingPassive : public VirtualTest {
protected:
    void SetUp() override
    {
        VirtualTest::SetUp();
        has_interface("eth0");
    }
};

TEST_F(IfIsBondingPassive, TheKernelsFlagSaysSo)
{
    has_interface("eth1", IFF_UP | IFF_SLAVE);
    has_interface("bond0", IFF_UP | IFF_MASTER);
    EXPECT_EQ(0, KAVONetIfIsBondingPassive("eth0"));
    EXPECT_EQ(1, KAVONetIfIsBondingPassive("eth1"));
    EXPECT_EQ(0, KAVONetIfIsBondingPassive("bond0"));
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(IfIsBondingPassive, ElseTheListOfOpenVSwitchBonds)
{
    has_interface("eth1");
    has_interface("ovs_bond0");
    write_file(OVS_BONDS, "ovs_bond0 eth2 eth0\n");
    EXPECT_EQ(1, KAVONetIfIsBondingPassive("eth0"));
    EXPECT_EQ(0, KAVONetIfIsBondingPassive("eth1"));
    EXPECT_EQ(0, KAVONetIfIsBondingPassive("ovs_bond0"));
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(IfIsBondingPassive, AnInterfaceThatDoesNotExistIsNone)
{
    write_file(OVS_BONDS, "ovs_bond0 eth9\n");
    EXPECT_EQ(0, KAVONetIfIsBondingPassive("eth9"));
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_INFO, logged_in(FILE_NAME, "Cannot get flags of network interface: No such device"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(IfIsBondingPassive, AFailedSocketIsLogged)
{
    fail_call("socket");
    EXPECT_EQ(0, KAVONetIfIsBondingPassive("eth0"));
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Cannot open control socket"));
}

TEST_F(IfIsBondingPassive, AListThatCannotBeOpenedIsLogged)
{
    unopenable(OVS_BONDS);
    EXPECT_EQ(0, KAVONetIfIsBondingPassive("eth0"));
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, std::string("Failed to open ") + OVS_BONDS + "."));
}

TEST_F(IfIsBondingPassive, MissingMemoryIsLogged)
{
    fail_call("KLIBCSzListAlloc"); // also when there is no list to read
    EXPECT_EQ(0, KAVONetIfIsBondingPassive("eth0"));
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to alloc memory."));
}

TEST_F(IfIsBondingPassive, LongNamesAreCutForTheKernel)
{
    has_interface(support::NAME_OF_15, IFF_SLAVE);
    EXPECT_EQ(1, KAVONetIfIsBondingPassive(support::NAME_OF_15));
    EXPECT_EQ(1, KAVONetIfIsBondingPassive(support::NAME_OF_17));
}

TEST_F(IfIsBondingPassive, RefusesNullAndHostileNames)
{
    EXPECT_EQ(0, KAVONetIfIsBondingPassive(nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    for (const std::string &name : support::hostile_names()) {
        support::clear_error();
        EXPECT_EQ(0, KAVONetIfIsBondingPassive(name.c_str())) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
    EXPECT_EQ(0, support::ioctl_calls());
}

} // namespace
