#include "iface_test.h"

namespace {

using NetIfIsLocalLan = IfaceTest;

TEST_F(NetIfIsLocalLan, TheMarkIsExactlyYes)
{
    write_ifcfg("lbr0", "DEVICE=lbr0\nLOCAL_LAN=yes\n");
    EXPECT_EQ(1, KLIBNetIFIsLocalLan("lbr0"));
    write_ifcfg("lbr0", "LOCAL_LAN=\"yes\"\n");
    EXPECT_EQ(1, KLIBNetIFIsLocalLan("lbr0"));
    for (const char *value : {"", "no", "YES", "Yes", "yes ", " yes", "yess", "ye", "y", "1", "'yes'", "\"yes \""}) {
        write_ifcfg("lbr0", std::string("LOCAL_LAN=") + value + "\n");
        EXPECT_EQ(0, KLIBNetIFIsLocalLan("lbr0")) << value;
    }
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetIfIsLocalLan, AMissingKeyOrFileIsNoMark)
{
    write_ifcfg("eth0", "DEVICE=eth0\n#LOCAL_LAN=yes\nXLOCAL_LAN=yes\nLOCAL_LAN_X=yes\nlocal_lan=yes\n");
    EXPECT_EQ(0, KLIBNetIFIsLocalLan("eth0"));
    EXPECT_EQ(0, KLIBNetIFIsLocalLan("eth1"));
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetIfIsLocalLan, TheLastLineCounts)
{
    write_ifcfg("eth0", "LOCAL_LAN=yes\nLOCAL_LAN=no\n");
    EXPECT_EQ(0, KLIBNetIFIsLocalLan("eth0"));
    write_ifcfg("eth0", "LOCAL_LAN=no\nLOCAL_LAN=yes");
    EXPECT_EQ(1, KLIBNetIFIsLocalLan("eth0"));
}

TEST_F(NetIfIsLocalLan, HoldsOutWithHostileFiles)
{
    for (const std::string &content :
         {std::string("LOCAL_LAN=yes") + std::string(5000, 'x') + "\n", std::string(100000, 'y'),
          std::string("LOCAL_LAN=yes\0no\n", 17), std::string("\xff\xfe\0LOCAL_LAN=yes", 16), std::string()}) {
        write_ifcfg("eth0", content);
        const int mark = KLIBNetIFIsLocalLan("eth0");
        EXPECT_TRUE(mark == 0 || mark == 1) << mark;
    }
    write_ifcfg("eth0", "LOCAL_LAN=yes" + std::string(5000, ' ') + "\n");
    EXPECT_EQ(0, KLIBNetIFIsLocalLan("eth0")) << "a value longer than the buffer";
}

TEST_F(NetIfIsLocalLan, AFailedReadIsNoMark)
{
    write_ifcfg("eth0", "LOCAL_LAN=yes\n");
    fail_call("KLIBCFileGetKeyValue");
    EXPECT_EQ(0, KLIBNetIFIsLocalLan("eth0"));
    EXPECT_EQ(1, KLIBNetIFIsLocalLan("eth0"));
}

TEST_F(NetIfIsLocalLan, RefusesBadNames)
{
    write_ifcfg(NAME_OF_15, "LOCAL_LAN=yes\n");
    write_ifcfg(NAME_OF_16, "LOCAL_LAN=yes\n");
    write_file("/etc/sysconfig/network-scripts/ifcfg-", "LOCAL_LAN=yes\n");
    write_file("/etc/sysconfig/network-scripts/ifcfg-a/b", "LOCAL_LAN=yes\n");
    EXPECT_EQ(1, KLIBNetIFIsLocalLan(NAME_OF_15));
    std::vector<const char *> names = HOSTILE_NAMES;
    names.insert(names.end(), {nullptr, NAME_OF_16});
    for (const char *name : names) {
        forget();
        EXPECT_EQ(-1, KLIBNetIFIsLocalLan(name)) << (name == nullptr ? "null" : name);
        EXPECT_TRUE(is_bad_parameter_in("net_if_is_local_lan.cpp"));
    }
}

} // namespace
