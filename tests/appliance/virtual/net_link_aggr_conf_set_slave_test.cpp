#include "appliance/virtual/bond_test.h"

namespace {

constexpr char FILE_NAME[] = "net_link_aggr_conf_set_slave.cpp";

using LinkAggrConfSetSlave = BondTest;

TEST_F(LinkAggrConfSetSlave, APortJoins)
{
    EXPECT_EQ(0, KAVONetLinkAggrConfSetSlave("eth0", 1, "bond0"));
    EXPECT_EQ(ENSLAVED_ETH0, file_of("eth0"));
    EXPECT_EQ(ETH0, saved_of("eth0"));
    EXPECT_THAT(calls(), ElementsAre(save("eth0")));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(LinkAggrConfSetSlave, AnyFlagButZeroEnslaves)
{
    write_ifcfg("eth0", "DEVICE=other\nUSERCTL=yes\nMASTER=bond9\nSLAVE=no\nBOOTPROTO=none\n");
    EXPECT_EQ(0, KAVONetLinkAggrConfSetSlave("eth0", -7, "bond0"));
    // Its own address settings stay as they are.
    EXPECT_EQ("DEVICE=eth0\nUSERCTL=no\nMASTER=bond0\nSLAVE=yes\nBOOTPROTO=none\n", file_of("eth0"));
}

TEST_F(LinkAggrConfSetSlave, APortIsFreed)
{
    write_ifcfg("eth0", ENSLAVED_ETH0 + std::string("BONDING_OPTS=\"mode=1\"\n"));
    for (const char *master : {static_cast<const char *>(nullptr), "bond0", "../x"}) {
        EXPECT_EQ(0, KAVONetLinkAggrConfSetSlave("eth0", 0, master));
        EXPECT_EQ(ETH0, file_of("eth0"));
    }
    EXPECT_EQ(ETH0, saved_of("eth0"));
    EXPECT_THAT(calls(), ElementsAre(save("eth0"), save("eth0"), save("eth0")));
}

TEST_F(LinkAggrConfSetSlave, AFreedPortGetsAMethod)
{
    write_ifcfg("eth2", ETH2);
    EXPECT_EQ(0, KAVONetLinkAggrConfSetSlave("eth2", 0, nullptr));
    EXPECT_EQ("DEVICE=eth2\nBOOTPROTO=dhcp\nIPADDR=\nNETMASK=\n", file_of("eth2"));
    EXPECT_EQ(ETH2, saved_of("eth2"));
    write_ifcfg("eth2", "MASTER=bond0\nIPADDR=10.0.0.7\n");
    EXPECT_EQ(0, KAVONetLinkAggrConfSetSlave("eth2", 0, nullptr));
    EXPECT_EQ("IPADDR=10.0.0.7\nDEVICE=eth2\nBOOTPROTO=dhcp\n", file_of("eth2"));
}

TEST_F(LinkAggrConfSetSlave, AMissingFileIsMade)
{
    EXPECT_EQ(0, KAVONetLinkAggrConfSetSlave("eth7", 1, "bond0"));
    EXPECT_EQ("DEVICE=eth7\nUSERCTL=no\nMASTER=bond0\nSLAVE=yes\n", file_of("eth7"));
    EXPECT_FALSE(exists(saved("eth7")));
    EXPECT_EQ(0, KAVONetLinkAggrConfSetSlave("eth8", 0, nullptr));
    EXPECT_EQ("DEVICE=eth8\nBOOTPROTO=dhcp\n", file_of("eth8"));
}

TEST_F(LinkAggrConfSetSlave, AFailedCopyIsNoFailure)
{
    fail_command("cp -f " + ifcfg("eth0") + " " + saved("eth0"));
    EXPECT_EQ(0, KAVONetLinkAggrConfSetSlave("eth0", 1, "bond0"));
    EXPECT_EQ(ENSLAVED_ETH0, file_of("eth0"));
    EXPECT_FALSE(exists(saved("eth0")));
}

TEST_F(LinkAggrConfSetSlave, AFileThatCannotBeWrittenIsAFailureWithoutACodeOfItsOwn)
{
    fail_call("KLIBCFileSetKeys");
    EXPECT_EQ(-1, KAVONetLinkAggrConfSetSlave("eth0", 1, "bond0"));
    EXPECT_EQ((Error{0x5151, "fault.c", 51}), last_error());
    EXPECT_EQ(ETH0, file_of("eth0"));
    EXPECT_EQ(ETH0, saved_of("eth0"));
}

TEST_F(LinkAggrConfSetSlave, WithoutMemoryNothingIsTouched)
{
    const std::map<std::string, int> failing = {{"KLIBCSzHashAlloc", 2}, {"KLIBCSzHashSetValue", 4}};
    write_ifcfg("eth0", ENSLAVED_ETH0);
    for (const int enslave : {0, 1}) {
        for (const auto &[call, times] : failing) {
            for (int n = 1; n <= times; ++n) {
                clear();
                fail_call(call.c_str(), n);
                EXPECT_EQ(-1, KAVONetLinkAggrConfSetSlave("eth0", enslave, "bond0")) << call << n;
                EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_OUT_OF_MEMORY)) << call << n;
            }
        }
    }
    EXPECT_EQ(ENSLAVED_ETH0, file_of("eth0"));
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(LinkAggrConfSetSlave, RefusesBadNames)
{
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    for (const std::string &name : names) {
        clear();
        EXPECT_EQ(-1, KAVONetLinkAggrConfSetSlave(name.c_str(), 0, nullptr)) << name;
        EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
        clear();
        EXPECT_EQ(-1, KAVONetLinkAggrConfSetSlave("eth0", 1, name.c_str())) << name;
        EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
    clear();
    EXPECT_EQ(-1, KAVONetLinkAggrConfSetSlave(nullptr, 0, "bond0"));
    EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    clear();
    EXPECT_EQ(-1, KAVONetLinkAggrConfSetSlave("eth0", 1, nullptr));
    EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ(ETH0, file_of("eth0"));
    EXPECT_EQ(0, KAVONetLinkAggrConfSetSlave(support::NAME_OF_15, 1, support::NAME_OF_15));
}

} // namespace
