// kavonet vlan, where the kernel has no VLANs. With them it is tried in the emulated machine.
#include "command.h"

namespace cli_test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class VlanCommand : public Command {
protected:
    void SetUp() override
    {
        Command::SetUp();
        if (IsSkipped())
            return;
        if (support::exists("/proc/net/vlan/config"))
            GTEST_SKIP() << "this kernel has VLANs; the tests of the emulated machine try them";
        for (const char *program : {"/etc/rc.network", "/usr/kavo/bin/kavofirewall", "/usr/kavo/bin/tctool"})
            record(program);
        support::write_file("/etc/kavoinfo.conf", "eth0_mtu=\"1400\"\n");
    }

    static constexpr char NOT_IN_FORCE[] =
        "kavonet: eth0.100 is configured, but not in force: the kernel has no such VLAN\n"
        "  what to do: journalctl -t rc.network shows what the network script said\n";
};

TEST_F(VlanCommand, ListOfNone)
{
    const Result table = kavonet({"vlan", "list"});
    EXPECT_EQ(0, table.status);
    EXPECT_EQ("", table.out);
    EXPECT_EQ("[]\n", kavonet({"vlan", "list", "--json"}).out);
}

TEST_F(VlanCommand, ShowAndDeleteOfWhatIsNoVlan)
{
    const Result show = kavonet({"vlan", "show", "eth0"});
    EXPECT_EQ(1, show.status);
    EXPECT_EQ("kavonet: cannot show the VLAN eth0: it is no VLAN\n"
              "  what to do: kavonet vlan list shows the VLANs\n",
              show.err);
    const Result gone = kavonet({"vlan", "delete", "eth0.100"});
    EXPECT_EQ(1, gone.status);
    EXPECT_THAT(gone.err, StartsWith("kavonet: cannot delete the VLAN eth0.100: there is no interface of that name\n"));
    EXPECT_THAT(kavonet({"vlan", "delete", "../eth0"}).err, HasSubstr(" (0x0D00, net_vlan_get.cpp:"));
    const Json error(kavonet({"vlan", "show", "eth0", "--json"}).err);
    EXPECT_EQ("it is no VLAN", error["error"]["reason"].text());
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(VlanCommand, CreateMovesTheAddressesOfTheDevice)
{
    subscribe("net/ifname_change");
    const Result result = kavonet({"vlan", "create", "eth0", "100"});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.out);
    EXPECT_EQ(NOT_IN_FORCE, result.err) << "the script did nothing";
    EXPECT_EQ("DEVICE=eth0.100\nVLAN_ROW_DEVICE=eth0\nVLAN_ID=100\nONBOOT=yes\nBOOTPROTO=static\nIPADDR=10.0.0.5\n"
              "NETMASK=255.255.255.0\n",
              support::read_file(ifcfg("eth0.100")));
    EXPECT_EQ("DEVICE=eth0\nBOOTPROTO=none\nIPV6INIT=off\n", support::read_file(ifcfg("eth0")));
    EXPECT_EQ("eth0_mtu=\"1400\"\neth0.100_mtu=\"1400\"\n", support::read_file("/etc/kavoinfo.conf"));
    EXPECT_THAT(calls(), ElementsAre("[/etc/rc.network] [stop] [eth0]", "[/etc/rc.network] [start] [eth0] [eth0.100]",
                                     "[/usr/kavo/bin/kavofirewall] [--change-adapter] [eth0] [eth0.100]",
                                     "[/usr/kavo/bin/kavofirewall] [--change-security-adapter] [eth0] [eth0.100]",
                                     "[/usr/kavo/bin/tctool] [-change_interface] [eth0] [eth0.100]"));
    EXPECT_EQ(2U, events().size());
}

TEST_F(VlanCommand, CreateWithAnotherAddress)
{
    kavonet({"vlan", "create", "eth0", "100", "--static", "10.9.0.1/16"});
    EXPECT_THAT(support::read_file(ifcfg("eth0.100")),
                HasSubstr("BOOTPROTO=static\nIPADDR=10.9.0.1\nNETMASK=255.255.0.0\n"));
}

TEST_F(VlanCommand, CreateOnDhcp)
{
    kavonet({"vlan", "create", "eth0", "100", "--dhcp"});
    EXPECT_THAT(support::read_file(ifcfg("eth0.100")), testing::EndsWith("ONBOOT=yes\nBOOTPROTO=dhcp\n"));
}

TEST_F(VlanCommand, CreateOnADeviceThatIsOnDhcp)
{
    write_ifcfg("eth0", "DEVICE=eth0\nBOOTPROTO=dhcp\n");
    kavonet({"vlan", "create", "eth0", "100"});
    EXPECT_THAT(support::read_file(ifcfg("eth0.100")), testing::EndsWith("ONBOOT=yes\nBOOTPROTO=dhcp\n"));
}

TEST_F(VlanCommand, CreateRefusesWhatIsNoIdOrAddress)
{
    for (const char *id : {"", "0", "4095", "-1", "+1", "1 ", "0x64", "1.0", "abc", "99999999999999999999"})
        EXPECT_EQ(2, kavonet({"vlan", "create", "eth0", "--", id}).status) << id;
    EXPECT_EQ("kavonet: \"4095\" is no VLAN id\n  what to do: give a number from 1 to 4094\n",
              kavonet({"vlan", "create", "eth0", "4095"}).err);
    EXPECT_EQ(2, kavonet({"vlan", "create", "eth0", "5", "--dhcp", "--static", "10.9.0.1/16"}).status);
    for (const char *address : {"10.9.0.1", "10.9.0.1/0", "10.9.0.1/33", "10.9.255.255/16", "010.9.0.1/16", "x/8"})
        EXPECT_EQ(1, kavonet({"vlan", "create", "eth0", "5", "--static", address}).status) << address;
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_FALSE(support::exists(ifcfg("eth0.5")));
}

TEST_F(VlanCommand, CreateOnWhatIsNotThere)
{
    EXPECT_THAT(kavonet({"vlan", "create", "eth7", "5"}).err,
                StartsWith("kavonet: cannot create the VLAN 5 on eth7: there is no interface of that name"));
    EXPECT_EQ(1, kavonet({"vlan", "create", "../eth0", "5"}).status);
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(VlanCommand, CreateTellsOfWhatFailed)
{
    unlink(ifcfg("eth0").c_str());
    EXPECT_THAT(
        kavonet({"vlan", "create", "eth0", "100", "--dhcp"}).err,
        StartsWith("kavonet: cannot create the VLAN 100 on eth0: a file could not be opened or created (0x0900, "
                   "net_vlan_create.cpp:"));
    EXPECT_FALSE(support::exists(ifcfg("eth0.100")));
}

TEST_F(VlanCommand, CreateShowsItsSteps)
{
    script("/etc/rc.network", "[ \"$1\" != stop ] || sleep 3");
    script("/usr/kavo/bin/kavofirewall", "sleep 1.5");
    script("/usr/kavo/bin/tctool", "sleep 1.5");
    const Result result = at_terminal({"vlan", "create", "eth0", "100"});
    EXPECT_EQ(1, result.status);
    const char *steps[] = {"taking the interfaces down", "telling the firewall", "telling traffic control"};
    for (const char *step : steps)
        EXPECT_THAT(result.out,
                    testing::ContainsRegex(std::string("creating the VLAN 100 on eth0: (") + step + ") \\("));
}

} // namespace cli_test
