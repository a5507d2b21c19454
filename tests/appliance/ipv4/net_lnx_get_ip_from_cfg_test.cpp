#include "appliance/ipv4/ipv4_test.h"

namespace {

constexpr char FILE_NAME[] = "net_lnx_get_ip_from_cfg.cpp";

class LnxGetIpFromCfg : public Ipv4Test {
protected:
    int get(const char *name = "eth0") { return KAVOILnxGetIPFromCfg(name, text, sizeof text); }

    char text[64] = "before";
};

TEST_F(LnxGetIpFromCfg, AStaticInterfacesAddressStandsInItsIfcfgFile)
{
    write_ifcfg("eth0", "BOOTPROTO=static\nIPADDR=192.0.2.5\n");
    write_lease("eth0", "IPADDR=198.51.100.1\n");
    EXPECT_EQ(1, get());
    EXPECT_STREQ("192.0.2.5", text);
    EXPECT_THAT(log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(LnxGetIpFromCfg, ADhcpInterfacesAddressStandsInItsLease)
{
    write_ifcfg("eth0", "BOOTPROTO=dhcp\nIPADDR=192.0.2.5\n");
    write_lease("eth0", "IPADDR=198.51.100.1\nNETMASK=255.255.255.0\n");
    EXPECT_EQ(1, get());
    EXPECT_STREQ("198.51.100.1", text);
}

TEST_F(LnxGetIpFromCfg, AMissingFileLeavesTheBufferAlone)
{
    EXPECT_EQ(0, get());
    EXPECT_STREQ("before", text);
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "config /etc/sysconfig/network-scripts/ifcfg-eth0 is not exsit, maybe "
                                            "create a new interface"));
    EXPECT_FALSE(exists(ifcfg("eth0")));
}

TEST_F(LnxGetIpFromCfg, SoDoesAMissingLease)
{
    write_ifcfg("eth0", "BOOTPROTO=dhcp\n");
    EXPECT_EQ(0, get());
    EXPECT_STREQ("before", text);
    EXPECT_EQ(
        LOG_ERR,
        logged_in(FILE_NAME, "config /etc/dhclient/ipv4/dhcpcd-eth0.info is not exsit, maybe create a new interface"));
}

TEST_F(LnxGetIpFromCfg, AMissingKeyEmptiesTheBuffer)
{
    write_ifcfg("eth0", "BOOTPROTO=static\n");
    EXPECT_EQ(0, get());
    EXPECT_STREQ("", text);
    EXPECT_EQ(LOG_INFO, logged_in(FILE_NAME, "IP is not found"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(LnxGetIpFromCfg, AFileThatCannotBeReadIsAFailure)
{
    write_ifcfg("eth0", "BOOTPROTO=static\nIPADDR=192.0.2.5\n");
    fail_call("KLIBCFileGetKeyValue", 2); // the first asks for the method
    EXPECT_EQ(-1, get());
    EXPECT_STREQ("", text);
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to get [IPADDR] from [/etc/sysconfig/network-scripts/ifcfg-eth0], "
                                            "kavoerr=[0x5151]"));
    expect_no_code_of_ours();
}

TEST_F(LnxGetIpFromCfg, AFolderInItsPlaceIsAFailure)
{
    write_ifcfg("eth0", "BOOTPROTO=dhcp\n");
    ASSERT_EQ(0, mkdir("/etc/dhclient/ipv4/dhcpcd-eth0.info", 0755));
    EXPECT_EQ(-1, get());
    EXPECT_STREQ("", text);
}

TEST_F(LnxGetIpFromCfg, CutsTheTextToTheBuffer)
{
    write_ifcfg("eth0", "BOOTPROTO=static\nIPADDR=192.0.2.5\n");
    EXPECT_EQ(1, KAVOILnxGetIPFromCfg("eth0", text, 4));
    EXPECT_STREQ("192", text);
    EXPECT_EQ('r', text[4]);
}

TEST_F(LnxGetIpFromCfg, AFileWithoutAMethodIsReadAsStatic)
{
    write_ifcfg("eth0", "IPADDR=192.0.2.5\n");
    EXPECT_EQ(1, get());
    EXPECT_STREQ("192.0.2.5", text);
    EXPECT_EQ("IPADDR=192.0.2.5\nBOOTPROTO=static\n", read_file(ifcfg("eth0")));
}

TEST_F(LnxGetIpFromCfg, WithoutTheLockItIsReadAsStatic)
{
    write_ifcfg("eth0", "BOOTPROTO=dhcp\nIPADDR=192.0.2.5\n");
    write_lease("eth0", "IPADDR=198.51.100.1\n");
    fail_call("KLIBCFileLock");
    EXPECT_EQ(1, get());
    EXPECT_STREQ("192.0.2.5", text);
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_ERR, logged_by("BlKAVOLnxIsDHCP", "KLIBCFileLock failed."));
    EXPECT_EQ("BOOTPROTO=dhcp\nIPADDR=192.0.2.5\n", read_file(ifcfg("eth0")));
}

TEST_F(LnxGetIpFromCfg, RefusesBadArguments)
{
    const auto expect_refused = [&](const char *name, char *buffer, int size) {
        support::clear_error();
        EXPECT_EQ(-1, KAVOILnxGetIPFromCfg(name, buffer, size));
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
        EXPECT_STREQ("before", text);
    };
    expect_refused(nullptr, text, sizeof text);
    expect_refused("eth0", nullptr, sizeof text);
    expect_refused("eth0", text, 0);
    expect_refused("eth0", text, -1);
    for (const std::string &name : support::hostile_names())
        expect_refused(name.c_str(), text, sizeof text);
    expect_refused(support::NAME_OF_16, text, sizeof text);
    EXPECT_THAT(entries(FOLDER), IsEmpty());
}

TEST_F(LnxGetIpFromCfg, NamesOfFifteenCharactersAreRead)
{
    write_ifcfg(support::NAME_OF_15, "BOOTPROTO=static\nIPADDR=192.0.2.5\n");
    EXPECT_EQ(1, get(support::NAME_OF_15));
}

} // namespace
