#include "appliance/virtual/virtual_test.h"

namespace {

// The reader of the list of Open vSwitch bonds, as those who ask for one member see it.
class OvsBondMembers : public VirtualTest {
protected:
    static bool holds(const std::string &name) { return KLIBNetOVSIfIsSlave(name.c_str()) == 1; }
};

TEST_F(OvsBondMembers, AreTheWordsBehindTheFirstOfEachLine)
{
    write_file(OVS_BONDS, "ovs_bond0 eth0 eth1\novs_bond1 eth2\n");
    for (const char *name : {"eth0", "eth1", "eth2"})
        EXPECT_TRUE(holds(name)) << name;
    for (const char *name : {"ovs_bond0", "ovs_bond1", "eth", "eth00", "eth3"})
        EXPECT_FALSE(holds(name)) << name;
}

TEST_F(OvsBondMembers, LinesAreTrimmed)
{
    write_file(OVS_BONDS, "\n \t ovs_bond0 eth0 \r\n\novs_bond1  eth1");
    EXPECT_TRUE(holds("eth0"));
    EXPECT_TRUE(holds("eth1"));
    EXPECT_FALSE(holds("ovs_bond0"));
    EXPECT_FALSE(holds("ovs_bond1"));
}

TEST_F(OvsBondMembers, AnEmptyListHasNone)
{
    for (const char *content : {"", "\n", "ovs_bond0\n", "eth0\n"}) {
        write_file(OVS_BONDS, content);
        EXPECT_FALSE(holds("eth0")) << content;
    }
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(OvsBondMembers, LinesAreReadUpTo255Characters)
{
    std::string line = "ovs_bond0";
    while (line.size() + 9 <= 255)
        line += " eth" + std::to_string(1000 + line.size());
    line.resize(250, 'x');
    write_file(OVS_BONDS, line + " eth0\n"); // the 255th is the "0"
    EXPECT_TRUE(holds("eth0"));
    write_file(OVS_BONDS, line + "xeth0 eth1 eth2\n"); // what follows is read as a line of its own
    EXPECT_FALSE(holds("eth0"));
    EXPECT_FALSE(holds("eth1"));
    EXPECT_TRUE(holds("eth2"));
}

TEST_F(OvsBondMembers, AListThatCannotBeReadHasNone)
{
    write_file(std::string(OVS_BONDS) + "/file", "");
    EXPECT_FALSE(holds("eth0"));
}

TEST_F(OvsBondMembers, EachFailureToRememberThemIsMissingMemory)
{
    write_file(OVS_BONDS, "ovs_bond0 eth0\n");
    const auto fails = [&](const char *function, int n) {
        clear();
        fail_call(function, n);
        EXPECT_FALSE(holds("eth0")) << function << n;
        EXPECT_EQ(LOG_ERR, logged_in("net_ovs_if_is_slave.cpp", "Failed to alloc memory.")) << function << n;
    };
    fails("KLIBCSzListAlloc", 1);
    fails("KLIBCSzListAlloc", 2);
    fails("KLIBCSzListPush", 1);
    fails("KLIBCStrSep", 1);
    clear();
    EXPECT_TRUE(holds("eth0"));
}

} // namespace
