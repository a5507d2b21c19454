#include "appliance/virtual/bond_test.h"

namespace {

constexpr char FILE_NAME[] = "net_link_aggr_conf_del.cpp";
constexpr char PARSE_FAILED[] = "parse slaves from etc/sysconfig/network-script\n";

class LinkAggrConfDel : public BondTest {
protected:
    void SetUp() override
    {
        BondTest::SetUp();
        if (!IsSkipped())
            configure_bond();
    }

    static int remove(const std::vector<std::string> &ports = {"eth0", "eth1"})
    {
        const KAVOLINKAGGROPT bond = record_of("bond0", 4, ports);
        return KAVONetLinkAggrConfDel(&bond);
    }

    static void expect_untouched()
    {
        EXPECT_EQ(BOND0, file_of("bond0"));
        EXPECT_EQ(ENSLAVED_ETH0, file_of("eth0"));
        EXPECT_EQ(ENSLAVED_ETH1, file_of("eth1"));
        EXPECT_THAT(calls(), IsEmpty());
    }

    // The slave files cannot be told from the rest.
    static void expect_not_parsed(const std::string &message)
    {
        clear();
        EXPECT_EQ(-1, remove());
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, message));
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, PARSE_FAILED));
        EXPECT_THAT(calls(), IsEmpty());
    }
};

TEST_F(LinkAggrConfDel, TheBondGoesAndItsPortsAreFreed)
{
    EXPECT_EQ(0, remove());
    EXPECT_FALSE(exists(ifcfg("bond0")));
    EXPECT_EQ(FREED_ETH0, file_of("eth0"));
    EXPECT_EQ("# second port\nDEVICE=eth1\nONBOOT=yes\nBOOTPROTO=dhcp\n", file_of("eth1"));
    // The copies stay: eth0's is the bond's file, which it was given.
    EXPECT_EQ(BOND0, saved_of("eth0"));
    EXPECT_EQ(ENSLAVED_ETH1, saved_of("eth1"));
    EXPECT_THAT(calls(), ElementsAre(cp(ifcfg("bond0"), ifcfg("eth0")), save("eth0"), save("eth1")));
}

TEST_F(LinkAggrConfDel, TheBondsSettingsGoToItsPrimaryPort)
{
    write_ifcfg("bond0",
                "DEVICE=bond0\nBOOTPROTO=static\nIPADDR=10.9.0.1\nNETMASK=255.0.0.0\nBONDING_OPTS=\"mode=1\"\n");
    EXPECT_EQ(0, remove({"eth1"})); // the record's first member, not the first file
    EXPECT_EQ("DEVICE=eth1\nBOOTPROTO=static\nIPADDR=10.9.0.1\nNETMASK=255.0.0.0\n", file_of("eth1"));
    EXPECT_EQ(ETH0, file_of("eth0"));
    EXPECT_EQ(cp(ifcfg("bond0"), ifcfg("eth1")), calls().at(0));
}

TEST_F(LinkAggrConfDel, WithoutMembersInTheRecordTheFirstFileIsThePrimaryOne)
{
    EXPECT_EQ(0, remove({}));
    EXPECT_EQ(FREED_ETH0, file_of("eth0"));
    EXPECT_EQ(cp(ifcfg("bond0"), ifcfg("eth0")), calls().at(0));
}

TEST_F(LinkAggrConfDel, ThePrimaryPortNeedNotBeOneThatTheFilesName)
{
    EXPECT_EQ(0, remove({"eth7"}));
    // It gets the bond's file as it is; every port that the files name is another one and loses the address.
    EXPECT_EQ(BOND0, file_of("eth7"));
    EXPECT_EQ("DEVICE=eth0\nONBOOT=yes\nBOOTPROTO=dhcp\nIPADDR=\nNETMASK=\n", file_of("eth0"));
    EXPECT_EQ(ETH1, file_of("eth1"));
    EXPECT_FALSE(exists(ifcfg("bond0")));
    EXPECT_THAT(calls(), ElementsAre(cp(ifcfg("bond0"), ifcfg("eth7")), save("eth0"), save("eth1")));
}

TEST_F(LinkAggrConfDel, MastersAreReadToFifteenCharacters)
{
    const std::string name = support::NAME_OF_15;
    write_ifcfg(name, "DEVICE=" + name + "\nBOOTPROTO=dhcp\n");
    write_ifcfg("eth2", "DEVICE=eth2\nBOOTPROTO=dhcp\nMASTER=" + name + "p\n");
    write_ifcfg("eth3", "DEVICE=eth3\nBOOTPROTO=dhcp\nMASTER=" + name.substr(0, 14) + "\n");
    const KAVOLINKAGGROPT bond = record_of(name, 4, {});
    EXPECT_EQ(0, KAVONetLinkAggrConfDel(&bond));
    EXPECT_EQ("DEVICE=eth2\nBOOTPROTO=dhcp\n", file_of("eth2"));
    EXPECT_THAT(file_of("eth3"), testing::HasSubstr("MASTER="));
}

TEST_F(LinkAggrConfDel, WithoutAnyPortOnlyTheFileGoes)
{
    write_ifcfg("eth0", ETH0);
    write_ifcfg("eth1", ETH1);
    EXPECT_EQ(0, remove({}));
    EXPECT_FALSE(exists(ifcfg("bond0")));
    EXPECT_EQ(ETH0, file_of("eth0"));
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(LinkAggrConfDel, PortsAreFoundInTheFilesAlone)
{
    // eth1 is not in the record; eth2 is of another bond; eth3's file has another name.
    write_ifcfg("eth2", "DEVICE=eth2\nMASTER=bond00\nSLAVE=yes\n");
    write_ifcfg("third", "DEVICE=eth3\nMASTER=bond0\nSLAVE=yes\n");
    write_ifcfg("eth3", "DEVICE=eth3\nMASTER=bond0\nBOOTPROTO=dhcp\n");
    EXPECT_EQ(0, remove({"eth0"}));
    EXPECT_EQ("DEVICE=eth2\nMASTER=bond00\nSLAVE=yes\n", file_of("eth2"));
    EXPECT_EQ("DEVICE=eth3\nBOOTPROTO=dhcp\n", file_of("eth3"));
    EXPECT_THAT(calls(),
                ElementsAre(cp(ifcfg("bond0"), ifcfg("eth0")), save("eth0"), save("eth1"), save("eth3"), save("eth3")));
}

TEST_F(LinkAggrConfDel, SavedCopiesCountAsFiles)
{
    write_ifcfg("eth5", "DEVICE=eth5\nBOOTPROTO=static\nIPADDR=10.5.0.5\n");
    write_file(saved("eth5"), "DEVICE=eth5\nMASTER=bond0\nSLAVE=yes\n");
    EXPECT_EQ(0, remove());
    EXPECT_EQ("DEVICE=eth5\nBOOTPROTO=static\nIPADDR=10.5.0.5\n", file_of("eth5"));
    EXPECT_EQ(file_of("eth5"), saved_of("eth5"));
}

TEST_F(LinkAggrConfDel, OtherPortsDoNotKeepTheBondsAddress)
{
    write_ifcfg("eth1", "DEVICE=eth1\nBOOTPROTO=static\nIPADDR=10.0.0.5\nNETMASK=255.255.255.0\nMASTER=bond0\n");
    write_ifcfg("eth2", "DEVICE=eth2\nBOOTPROTO=static\nIPADDR=10.0.0.6\nMASTER=bond0\n");
    EXPECT_EQ(0, remove());
    EXPECT_EQ(FREED_ETH0, file_of("eth0"));
    // "none" first, then the method that a freed port gets.
    EXPECT_EQ("DEVICE=eth1\nBOOTPROTO=dhcp\nIPADDR=\nNETMASK=\n", file_of("eth1"));
    EXPECT_EQ("DEVICE=eth1\nBOOTPROTO=none\nIPADDR=10.0.0.5\nNETMASK=255.255.255.0\nMASTER=bond0\n", saved_of("eth1"));
    EXPECT_EQ("DEVICE=eth2\nBOOTPROTO=static\nIPADDR=10.0.0.6\n", file_of("eth2"));
}

TEST_F(LinkAggrConfDel, ALeasedAddressCountsToo)
{
    write_ifcfg("bond0", "DEVICE=bond0\nBOOTPROTO=dhcp\n");
    write_lease("bond0", "IPADDR=10.0.0.7\n");
    write_ifcfg("eth1", "DEVICE=eth1\nBOOTPROTO=static\nIPADDR=10.0.0.7\nMASTER=bond0\n");
    EXPECT_EQ(0, remove());
    EXPECT_EQ("DEVICE=eth1\nBOOTPROTO=dhcp\nIPADDR=\nNETMASK=\n", file_of("eth1"));
}

TEST_F(LinkAggrConfDel, ABondWhoseAddressCannotBeToldHasNone)
{
    write_ifcfg("bond0", "DEVICE=bond0\nBOOTPROTO=dhcp\n");
    write_file("/etc/dhclient/ipv4/dhcpcd-bond0.info/folder", "");
    write_ifcfg("eth1", "DEVICE=eth1\nBOOTPROTO=static\nIPADDR=10.0.0.5\nMASTER=bond0\n");
    EXPECT_EQ(0, remove());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "get IP of bond0 failed"));
    EXPECT_EQ("DEVICE=eth1\nBOOTPROTO=static\nIPADDR=10.0.0.5\n", file_of("eth1"));
}

// ---- Failures before anything is changed

TEST_F(LinkAggrConfDel, AFileThatCannotBeReadEndsIt)
{
    ASSERT_EQ(0, mkdir((std::string(FOLDER) + "ifcfg-folder").c_str(), 0755));
    expect_not_parsed(std::string("get key \"MASTER\" from ") + FOLDER + "ifcfg-folder fail\n");
    expect_untouched();
}

TEST_F(LinkAggrConfDel, AKeyThatCannotBeReadEndsIt)
{
    fail_call("KLIBCFileGetKeyValue"); // the bond's own file stands first
    EXPECT_EQ(-1, remove());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "get key \"MASTER\" from " + ifcfg("bond0") + " fail\n"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, PARSE_FAILED));
    clear();
    fail_call("KLIBCFileGetKeyValue", 3);
    EXPECT_EQ(-1, remove());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "get key \"DEVICE\" from " + ifcfg("eth0") + " fail\n"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, PARSE_FAILED));
    EXPECT_EQ((Error{0x5151, "fault.c", 51}), last_error());
    expect_untouched();
}

TEST_F(LinkAggrConfDel, APortWithoutADeviceEndsIt)
{
    write_ifcfg("eth2", "MASTER=bond0\n");
    expect_not_parsed(ifcfg("eth2") + " don't have key \"DEVICE\"\n");
    expect_untouched();
}

TEST_F(LinkAggrConfDel, DevicesDoNotLeaveTheFolder)
{
    write_file("/etc/sysconfig/network", "GATEWAY=10.0.0.1\n");
    for (const char *device : {"../network", "..", ".", "/etc/passwd", "x/../../network", "eth 9", ""}) {
        write_ifcfg("a", std::string("DEVICE=") + device + "\nMASTER=bond0\n"); // the first file that is found
        expect_not_parsed("get key \"DEVICE\" from " + ifcfg("a") + " fail\n");
        EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << device;
    }
    expect_untouched();
    EXPECT_EQ("GATEWAY=10.0.0.1\n", read_file("/etc/sysconfig/network"));
    EXPECT_FALSE(exists("/etc/sysconfig/network.saved"));
}

TEST_F(LinkAggrConfDel, MastersDoNotLeaveTheFolder)
{
    write_ifcfg("a", "DEVICE=eth9\nMASTER=../bond0\n");
    write_ifcfg("b", "DEVICE=eth9\nMASTER=bond0/\n");
    write_ifcfg("c", "DEVICE=eth9\nMASTER=/etc/sysconfig/network-scripts/ifcfg-bond0\n");
    EXPECT_EQ(0, remove());
    EXPECT_EQ("DEVICE=eth9\nMASTER=../bond0\n", file_of("a"));
    EXPECT_FALSE(exists(ifcfg("eth9")));
}

TEST_F(LinkAggrConfDel, ThereMustBeAFolderWithFiles)
{
    std::filesystem::remove_all(FOLDER);
    EXPECT_EQ(-1, remove());
    EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_OPEN_FAILED));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, PARSE_FAILED));
    clear();
    ASSERT_EQ(0, mkdir(FOLDER, 0755));
    EXPECT_EQ(-1, remove());
    EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_OPEN_FAILED));
}

TEST_F(LinkAggrConfDel, WithoutMemoryNothingIsTouched)
{
    fail_call("KLIBCSzListAlloc");
    EXPECT_EQ(-1, remove());
    EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_OUT_OF_MEMORY));
    for (int n = 1; n <= 2; ++n) {
        clear();
        fail_call("KLIBCSzHashAlloc", n);
        EXPECT_EQ(-1, remove());
        EXPECT_NE(FILE_NAME, last_error().file);
    }
    clear();
    fail_call("KLIBCSzListPush");
    EXPECT_EQ(-1, remove());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, PARSE_FAILED));
    expect_untouched();
}

TEST_F(LinkAggrConfDel, RefusesBadRecords)
{
    EXPECT_EQ(-1, KAVONetLinkAggrConfDel(nullptr));
    EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    for (const std::string &name : names) {
        clear();
        KAVOLINKAGGROPT bond = record_of(name, 4, {"eth0"});
        EXPECT_EQ(-1, KAVONetLinkAggrConfDel(&bond)) << name;
        EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
        clear();
        bond = record_of("bond0", 4, {name});
        EXPECT_EQ(-1, KAVONetLinkAggrConfDel(&bond)) << name;
        EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
    expect_untouched();
}

// ---- Failures on the way, after which the ports have their files back

TEST_F(LinkAggrConfDel, SettingsThatCannotBeGivenBackEndIt)
{
    fail_command("cp -f " + ifcfg("bond0") + " " + ifcfg("eth0"));
    EXPECT_EQ(-1, remove());
    EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_EXEC_FAILED));
    EXPECT_EQ(BOND0, file_of("bond0"));
    EXPECT_EQ(ENSLAVED_ETH0, file_of("eth0"));
    EXPECT_EQ(ENSLAVED_ETH1, file_of("eth1"));
    EXPECT_THAT(calls(), ElementsAre(cp(ifcfg("bond0"), ifcfg("eth0")), put_back("eth0"), put_back("eth1")));
}

TEST_F(LinkAggrConfDel, APortWhoseAddressCannotBeToldEndsIt)
{
    write_ifcfg("eth1", "DEVICE=eth1\nBOOTPROTO=dhcp\nMASTER=bond0\n");
    write_file("/etc/dhclient/ipv4/dhcpcd-eth1.info/folder", "");
    EXPECT_EQ(-1, remove());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "get IP on eth1 failed"));
    EXPECT_EQ(BOND0, file_of("bond0"));
    EXPECT_EQ("DEVICE=eth1\nBOOTPROTO=dhcp\nMASTER=bond0\n", file_of("eth1"));
    EXPECT_THAT(calls(),
                ElementsAre(cp(ifcfg("bond0"), ifcfg("eth0")), save("eth0"), put_back("eth0"), put_back("eth1")));
}

TEST_F(LinkAggrConfDel, AnAddressThatCannotBeTakenEndsIt)
{
    write_ifcfg("eth1", "DEVICE=eth1\nBOOTPROTO=static\nIPADDR=10.0.0.5\nMASTER=bond0\n");
    fail_call("KLIBCFileSetKeys", 2); // eth0's file is written first
    EXPECT_EQ(-1, remove());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "set " + ifcfg("eth1") + " BOOTPROTO=none failed"));
    EXPECT_EQ("DEVICE=eth1\nBOOTPROTO=static\nIPADDR=10.0.0.5\nMASTER=bond0\n", file_of("eth1"));
    EXPECT_EQ(BOND0, file_of("bond0"));
}

TEST_F(LinkAggrConfDel, APortThatCannotBeFreedEndsIt)
{
    for (int n = 1; n <= 2; ++n) {
        SCOPED_TRACE(n);
        configure_bond();
        unlink(support::RECORDED_CALLS);
        clear();
        fail_call("KLIBCFileSetKeys", n);
        EXPECT_EQ(-1, remove());
        EXPECT_EQ((Error{0x5151, "fault.c", 51}), last_error());
        EXPECT_EQ(BOND0, file_of("bond0"));
        EXPECT_EQ(BOND0, file_of("eth0")) << "what it was given is what was saved of it";
        EXPECT_EQ(ENSLAVED_ETH1, file_of("eth1"));
        EXPECT_EQ("no file", saved_of("eth0"));
        EXPECT_EQ("no file", saved_of("eth1"));
        EXPECT_EQ(put_back("eth0"), calls().at(calls().size() - 2));
        EXPECT_EQ(put_back("eth1"), calls().back());
    }
}

TEST_F(LinkAggrConfDel, AFileThatCannotBeDeletedEndsIt)
{
    fail_call("unlink");
    EXPECT_EQ(-1, remove());
    EXPECT_EQ(BOND0, file_of("bond0"));
    EXPECT_EQ(ENSLAVED_ETH1, file_of("eth1"));
    EXPECT_THAT(calls(), ElementsAre(cp(ifcfg("bond0"), ifcfg("eth0")), save("eth0"), save("eth1"), put_back("eth0"),
                                     put_back("eth1")));
}

} // namespace
