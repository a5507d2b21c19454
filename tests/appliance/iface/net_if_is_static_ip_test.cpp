#include "iface_test.h"

namespace {

constexpr char FILE_NAME[] = "net_if_is_static_ip.cpp";

class NetIfIsStaticIp : public IfaceTest {};

TEST_F(NetIfIsStaticIp, ReadsTheBootProtocol)
{
    write_ifcfg("eth0", "BOOTPROTO=static\n");
    EXPECT_EQ(1, KAVONetIfIsStaticIP("eth0"));
    write_ifcfg("eth0", "BOOTPROTO=\"static\"\n");
    EXPECT_EQ(1, KAVONetIfIsStaticIP("eth0"));
    for (const char *other : {"dhcp", "none", "Static", "static ", "", "staticstaticstatic"}) {
        write_ifcfg("eth0", std::string("BOOTPROTO=") + other + "\n");
        EXPECT_EQ(0, KAVONetIfIsStaticIP("eth0")) << other;
    }
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetIfIsStaticIp, IsFalseWithoutTheKey)
{
    const std::string content = "DEVICE=eth0\n#BOOTPROTO=static\n";
    write_ifcfg("eth0", content);
    EXPECT_EQ(0, KAVONetIfIsStaticIP("eth0"));
    EXPECT_EQ(LOG_ERR, logged("net_if_is_static_ip", "Get BOOTPROTO key failed.(0)"));
    EXPECT_EQ(content, read_file(ifcfg("eth0"))) << "nothing is repaired here";
}

TEST_F(NetIfIsStaticIp, IsFalseWithoutTheFile)
{
    EXPECT_EQ(0, KAVONetIfIsStaticIP("eth0"));
    char line[64];
    snprintf(line, sizeof line, "Get BOOTPROTO key failed.(%X)", last_error().code);
    EXPECT_EQ(LOG_ERR, logged("net_if_is_static_ip", line));
    EXPECT_NE(0U, last_error().code);
    EXPECT_FALSE(support::exists(ifcfg("eth0")));
}

TEST_F(NetIfIsStaticIp, IsFalseWithoutTheLock)
{
    write_ifcfg("eth0", "BOOTPROTO=static\n");
    fail_call("KLIBCFileLock");
    EXPECT_EQ(0, KAVONetIfIsStaticIP("eth0"));
    EXPECT_EQ(LOG_ERR, logged("net_if_is_static_ip", "KLIBCFileLock() failed.(5151)"));
    EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_LOCK_FAILED));
    EXPECT_EQ(1, KAVONetIfIsStaticIP("eth0"));
}

TEST_F(NetIfIsStaticIp, HoldsTheConfigurationLockForReading)
{
    write_ifcfg("eth0", "BOOTPROTO=static\n");
    LockState at_reading{};
    support::on_call("KLIBCFileGetKeyValue", [&] { at_reading = network_lock(); });
    EXPECT_EQ(1, KAVONetIfIsStaticIP("eth0"));
    EXPECT_EQ(HELD_FOR_READING, at_reading);
}

TEST_F(NetIfIsStaticIp, RefusesWhatIsNoName)
{
    write_file("/etc/sysconfig/network-scripts/ifcfg-a/b", "BOOTPROTO=static\n");
    EXPECT_EQ(0, KAVONetIfIsStaticIP(nullptr));
    EXPECT_EQ(bad_parameter(FILE_NAME, 20), last_error());
    std::vector<const char *> names = HOSTILE_NAMES;
    names.push_back(NAME_OF_16);
    for (const char *name : names) {
        forget();
        EXPECT_EQ(0, KAVONetIfIsStaticIP(name)) << name;
        EXPECT_EQ(bad_parameter(FILE_NAME, 20), last_error());
    }
}

TEST_F(NetIfIsStaticIp, TakesANameOf15Characters)
{
    write_ifcfg(NAME_OF_15, "BOOTPROTO=static\n");
    EXPECT_EQ(1, KAVONetIfIsStaticIP(NAME_OF_15));
}

} // namespace
