#include "appliance/virtual/bridge_test.h"

#include <set>

namespace {

constexpr char FILE_NAME[] = "net_disable_bridge_slave_config.cpp";

using testing::UnorderedElementsAre;

class DisableBridgeSlave : public BridgeTest {
protected:
    static constexpr char BEFORE[] = "# kept\nDEVICE=other\nTYPE=bridge\nBRIDGE=br0\nPRIMARY=kept\nLOCAL_LAN=yes\n"
                                     "ONBOOT=no\nBOOTPROTO=none\nIPADDR=10.9.9.9\nNETMASK=255.9.9.9\n";

    static int disable(int is_static, int on_boot = 0)
    {
        const KAVONETINFO ip = address("eth0", is_static, on_boot, "10.0.0.1", "255.0.0.0");
        return KAVONetDisableBridgeSlave(&ip);
    }
};

TEST_F(DisableBridgeSlave, GivesAPortAStaticAddress)
{
    write_ifcfg("eth0", BEFORE);
    EXPECT_EQ(0, disable(1));
    EXPECT_THAT(lines("eth0"),
                UnorderedElementsAre("# kept", "DEVICE=eth0", "PRIMARY=kept", "LOCAL_LAN=yes", "ONBOOT=yes",
                                     "BOOTPROTO=static", "IPADDR=10.0.0.1", "NETMASK=255.0.0.0"));
    EXPECT_EQ(BEFORE, read_file(saved("eth0")));
    expect_silence();
}

TEST_F(DisableBridgeSlave, OrPutsItOnDhcp)
{
    write_ifcfg("eth0", BEFORE);
    EXPECT_EQ(0, disable(0));
    EXPECT_THAT(lines("eth0"), UnorderedElementsAre("# kept", "DEVICE=eth0", "PRIMARY=kept", "LOCAL_LAN=yes",
                                                    "ONBOOT=yes", "BOOTPROTO=dhcp"));
    expect_silence();
}

TEST_F(DisableBridgeSlave, UndoesWhatMadeAPortOfIt)
{
    const std::string plain = "DEVICE=eth0\nONBOOT=yes\nBOOTPROTO=static\nIPADDR=10.0.0.1\nNETMASK=255.0.0.0\n";
    write_ifcfg("eth0", plain);
    const KLIBNETBRIDGEINFO port = bridge(4, "eth0", "br0");
    const KAVONETINFO none = address("eth0", 0, 1);
    ASSERT_EQ(0, KAVONetSetBridgeConfig(&none, &port));
    EXPECT_EQ(0, disable(1));
    EXPECT_EQ(std::set<std::string>(
                  {"DEVICE=eth0", "ONBOOT=yes", "BOOTPROTO=static", "IPADDR=10.0.0.1", "NETMASK=255.0.0.0"}),
              [&] {
                  const auto all = lines("eth0");
                  return std::set<std::string>(all.begin(), all.end());
              }());
}

TEST_F(DisableBridgeSlave, CopiesWithoutLookingAndBeforeItWrites)
{
    record("/bin/cp", 1);
    std::vector<std::string> before_write;
    support::on_call("KLIBCFileSetKeys", [&] { before_write = calls(); });
    EXPECT_EQ(0, disable(0)) << "a failed copy is ignored, a missing file made";
    EXPECT_THAT(calls(), ElementsAre("[/bin/cp] [-f] [" + ifcfg("eth0") + "] [" + saved("eth0") + "]"));
    EXPECT_EQ(calls(), before_write);
    EXPECT_THAT(lines("eth0"), UnorderedElementsAre("DEVICE=eth0", "ONBOOT=yes", "BOOTPROTO=dhcp"));
}

TEST_F(DisableBridgeSlave, RefusesNullAndHostileNames)
{
    EXPECT_EQ(-1, KAVONetDisableBridgeSlave(nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    record("/bin/cp");
    for (const char *name : refused_names()) {
        if (name == nullptr)
            continue;
        clear();
        const KAVONETINFO ip = address(name, 0, 1);
        EXPECT_EQ(-1, KAVONetDisableBridgeSlave(&ip)) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(support::entries(FOLDER), IsEmpty());
}

TEST_F(DisableBridgeSlave, MissingMemoryIsAFailure)
{
    write_ifcfg("eth0", BEFORE);
    for (const char *call : {"KLIBCSzHashAlloc", "KLIBCSzHashSetValue"}) {
        for (int n = 1; n <= 2; ++n) {
            clear();
            fail_call(call, n);
            EXPECT_EQ(-1, disable(0));
            EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OUT_OF_MEMORY)) << call << n;
        }
    }
    EXPECT_EQ(BEFORE, read_file(ifcfg("eth0")));
    EXPECT_THAT(support::entries(FOLDER), ElementsAre("ifcfg-eth0"));
}

TEST_F(DisableBridgeSlave, AFailedRewriteLeavesFileAndCopy)
{
    write_ifcfg("eth0", BEFORE);
    fail_call("KLIBCFileSetKeys");
    EXPECT_EQ(-1, disable(0));
    EXPECT_EQ(0x5151U, last_error().code) << "the platform's record stays";
    EXPECT_EQ(BEFORE, read_file(ifcfg("eth0")));
    EXPECT_EQ(BEFORE, read_file(saved("eth0")));
}

} // namespace
