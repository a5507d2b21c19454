#include "appliance/ipv4/ipv4_test.h"

namespace {

// The function is the library's own; callers reach it by a record whose boot protocol is DHCP.
class LnxSetDhcp : public Ipv4Test {
protected:
    static constexpr char FUNCTION[] = "KAVOILnxSetDHCP";
    static constexpr char BEFORE[] = "# kept\nDEVICE=other\nBOOTPROTO=static\nIPADDR=192.0.2.5\nNETMASK=255.255.255.0\n"
                                     "MASTER=bond0\nSLAVE=yes\nIPV6INIT=auto\n";
    static constexpr char AFTER[] = "# kept\nDEVICE=eth0\nBOOTPROTO=dhcp\nIPV6INIT=auto\nONBOOT=yes\n";

    void SetUp() override
    {
        Ipv4Test::SetUp();
        if (!IsSkipped())
            write_ifcfg("eth0", BEFORE);
    }

    static int set_dhcp(const std::string &name = "eth0")
    {
        KAVONETINFO info{};
        memcpy(info.szName, name.c_str(), std::min(name.size(), sizeof info.szName));
        return KAVONetSetCard1(&info, nullptr);
    }
};

TEST_F(LnxSetDhcp, RestartsTheClientThenWritesTheFile)
{
    std::vector<std::string> contents;
    support::on_unit([&](const std::string &, const std::string &) { contents.push_back(read_file(ifcfg("eth0"))); });
    EXPECT_EQ(0, set_dhcp());
    EXPECT_THAT(calls(),
                ElementsAre("[unit] [stop] [dhclient@eth0.service]", "[unit] [start] [dhclient@eth0.service]"));
    EXPECT_THAT(contents, ElementsAre(BEFORE, BEFORE));
    EXPECT_EQ(AFTER, read_file(ifcfg("eth0")));
    EXPECT_THAT(entries(FOLDER), ElementsAre("ifcfg-eth0")); // it makes no backup
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(LnxSetDhcp, AMissingFileIsCreated)
{
    EXPECT_EQ(0, set_dhcp("eth1"));
    auto lines = support::lines_of(read_file(ifcfg("eth1")));
    EXPECT_THAT(lines, testing::UnorderedElementsAre("DEVICE=eth1", "ONBOOT=yes", "BOOTPROTO=dhcp"));
}

TEST_F(LnxSetDhcp, AFailedStopIsOnlyAWarning)
{
    support::answer_unit("stop", 0);
    EXPECT_EQ(0, set_dhcp());
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_WARNING, logged_by(FUNCTION, "unable to stop dhclient@eth0.service"));
    EXPECT_EQ(AFTER, read_file(ifcfg("eth0")));
}

TEST_F(LnxSetDhcp, AFailedStartLeavesTheFile)
{
    support::answer_unit("start", 0);
    EXPECT_EQ(-1, set_dhcp());
    EXPECT_TRUE(support::is_set_in("net_lnx_set_dhcp.cpp", NET_ERR_EXEC_FAILED));
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_ERR, logged_by(FUNCTION, "unable to start dhclient@eth0.service"));
    EXPECT_EQ(BEFORE, read_file(ifcfg("eth0")));
}

TEST_F(LnxSetDhcp, AFailedWriteHasItsOwnResultAndLeavesTheClientRunning)
{
    fail_call("KLIBCFileSetKeys");
    EXPECT_EQ(-2, set_dhcp());
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_ERR, logged_in("net_lnx_set_dhcp.cpp", "Set /etc/sysconfig/network-scripts/ifcfg-eth0 error."));
    expect_no_code_of_ours();
    EXPECT_EQ(BEFORE, read_file(ifcfg("eth0")));
    EXPECT_THAT(calls(),
                ElementsAre("[unit] [stop] [dhclient@eth0.service]", "[unit] [start] [dhclient@eth0.service]"));
}

TEST_F(LnxSetDhcp, WithoutMemoryForTheKeysNothingIsTouched)
{
    for (int n = 1; n <= 2; ++n) {
        fail_call("KLIBCSzHashAlloc", n);
        EXPECT_EQ(-1, set_dhcp()) << n;
        EXPECT_THAT(calls(), IsEmpty());
        EXPECT_EQ(BEFORE, read_file(ifcfg("eth0")));
        EXPECT_THAT(log_lines(), IsEmpty());
    }
}

TEST_F(LnxSetDhcp, AHalfFilledSetOfKeysIsNeverWritten)
{
    for (int n = 1; n <= 7; ++n) {
        fail_call("KLIBCSzHashSetValue", n);
        EXPECT_LT(set_dhcp(), 0) << n;
        EXPECT_EQ(BEFORE, read_file(ifcfg("eth0"))) << n;
        support::clear_faults();
    }
    EXPECT_EQ(0, set_dhcp());
}

TEST_F(LnxSetDhcp, RefusesHostileNames)
{
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    for (const std::string &name : names) {
        support::clear_error();
        EXPECT_EQ(-1, set_dhcp(name)) << name;
        EXPECT_EQ(NET_ERR_BAD_PARAMETER, static_cast<int>(last_error().code)) << name;
    }
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(entries(FOLDER), ElementsAre("ifcfg-eth0"));
    EXPECT_EQ(0, set_dhcp(support::NAME_OF_15));
}

} // namespace
