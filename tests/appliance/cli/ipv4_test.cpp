// kavonet ipv4
#include "command.h"

#include <unistd.h>

namespace cli_test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class Ipv4Command : public Command {
protected:
    static std::string address_of(const std::string &name)
    {
        return shell("ip -4 -brief address show dev " + name + " | awk '{print $3}'");
    }
    // The DHCP client gets an address: what its unit's start stands for.
    static void lease_on_start(const std::string &delay = "0")
    {
        script("/usr/kavo/bin/unit",
               "record_call \"$0\" \"$@\"\n[ \"$1\" = start ] || exit 0\n(sleep " + delay +
                   "\nip address flush dev eth0\nip address add 10.0.0.77/16 dev eth0\n"
                   "printf 'IPADDR=10.0.0.77\\nNETMASK=255.255.0.0\\n' >/etc/dhclient/ipv4/dhcpcd-eth0.info) &\n");
    }
};

TEST_F(Ipv4Command, ShowTellsConfiguredAndLive)
{
    shell("ip address flush dev eth0; ip address add 10.9.9.9/8 dev eth0");
    const Json eth0(kavonet({"ipv4", "show", "eth0", "--json"}).out);
    EXPECT_EQ("eth0", eth0["name"].text());
    EXPECT_TRUE(eth0["up"].yes());
    EXPECT_EQ("static", eth0["configured"]["method"].text());
    EXPECT_EQ("10.0.0.5", eth0["configured"]["address"].text());
    EXPECT_EQ("255.255.255.0", eth0["configured"]["mask"].text());
    EXPECT_EQ(24, eth0["configured"]["prefix"].number());
    EXPECT_EQ("10.9.9.9", eth0["live"]["address"].text());
    EXPECT_EQ(8, eth0["live"]["prefix"].number());
    EXPECT_THAT(kavonet({"ipv4", "show", "eth0"}).out,
                testing::ContainsRegex("\neth0 +up +static 10\\.0\\.0\\.5/24 +10\\.9\\.9\\.9/8\n"));
}

TEST_F(Ipv4Command, ShowOfAllIsAnArrayOfThoseInUse)
{
    write_ifcfg("eth0p", "BOOTPROTO=dhcp\n");
    add_card("eth1", "", false);
    const Json all(kavonet({"ipv4", "show", "--json"}).out);
    ASSERT_EQ(2U, all.size());
    EXPECT_EQ("static", all.named("eth0")["configured"]["method"].text());
    EXPECT_EQ("dhcp", all.named("eth0p")["configured"]["method"].text());
    EXPECT_TRUE(all.named("eth0p")["configured"]["address"].is_null());
    EXPECT_THAT(kavonet({"ipv4", "show"}).out, testing::ContainsRegex("\neth0p +up +dhcp, no lease +-\n"));
}

TEST_F(Ipv4Command, ShowOfAnInterfaceThatIsDown)
{
    shell("ip link set eth0 down");
    const Json eth0(kavonet({"ipv4", "show", "eth0", "--json"}).out);
    EXPECT_FALSE(eth0["up"].yes());
    EXPECT_EQ("static", eth0["configured"]["method"].text());
}

TEST_F(Ipv4Command, StaticChangesFileAndKernel)
{
    subscribe("net/ipv4_change");
    const Result result = kavonet({"ipv4", "static", "eth0", "192.168.1.5/25"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("eth0: static 10.0.0.5/24 -> static 192.168.1.5/25\n", result.out);
    const std::string file = support::read_file(ifcfg("eth0"));
    EXPECT_THAT(file, HasSubstr("IPADDR=192.168.1.5\n"));
    EXPECT_THAT(file, HasSubstr("NETMASK=255.255.255.128\n"));
    EXPECT_THAT(file, HasSubstr("BOOTPROTO=static\n"));
    EXPECT_EQ("192.168.1.5/25\n", address_of("eth0"));
    EXPECT_THAT(events(), ElementsAre(HasSubstr("NEW_ADDRESS=192.168.1.5")));
}

TEST_F(Ipv4Command, StaticTakesAMaskToo)
{
    const Json change(kavonet({"ipv4", "static", "eth0", "192.168.1.5", "255.255.0.0", "--json"}).out);
    EXPECT_EQ("eth0", change["name"].text());
    EXPECT_EQ("static", change["action"].text());
    EXPECT_EQ("10.0.0.5", change["before"]["configured"]["address"].text());
    EXPECT_EQ("10.0.0.5", change["before"]["live"]["address"].text());
    EXPECT_EQ("192.168.1.5", change["after"]["configured"]["address"].text());
    EXPECT_EQ("192.168.1.5", change["after"]["live"]["address"].text());
    EXPECT_EQ(16, change["after"]["live"]["prefix"].number());
    EXPECT_EQ("192.168.1.5/16\n", address_of("eth0"));
}

TEST_F(Ipv4Command, StaticTellsTheLibraryWhatWasInForce)
{
    // The name service unit is reloaded exactly when address or mask differ from the record before.
    EXPECT_EQ(0, kavonet({"ipv4", "static", "eth0", "10.0.0.5/24"}).status);
    EXPECT_THAT(calls(), Not(testing::Contains(HasSubstr("[reload]"))));
    EXPECT_EQ(0, kavonet({"ipv4", "static", "eth0", "10.0.0.6/24"}).status);
    EXPECT_THAT(calls(), testing::Contains(testing::ContainsRegex("\\[reload\\] \\[ddnsd")));
}

TEST_F(Ipv4Command, StaticRefusesMalformedAddresses)
{
    const std::string before = support::read_file(ifcfg("eth0"));
    const Result result = kavonet({"ipv4", "static", "eth0", "10.0.0.300/24"});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("kavonet: cannot set eth0 to 10.0.0.300/24: malformed address, mask or prefix (0x1000, "
              "net_is_ip_addr.cpp:25)\n"
              "  what to do: give the address as A.B.C.D/PREFIX, for example 192.168.1.5/24\n",
              result.err);
    for (const char *address :
         {"10.0.0.6/33", "10.0.0.6/0", "10.0.0.6/", "10.0.0.6/24x", "/24", "10.0.0/24", "010.0.0.6/24", "0x0a.0.0.6/24",
          " 10.0.0.6/24", "10.0.0.255/24", "127.0.0.1/8", "224.0.0.1/8", "10.0.0.6/24/24", "10.0.0.6\n/24",
          "fe80::1/64", "10.0.0.6/0000000000000000000000000000000000000000000000000000000000000000000000024"})
        EXPECT_EQ(1, kavonet({"ipv4", "static", "eth0", address}).status) << address;
    for (const char *mask : {"255.255.0.255", "0.0.0.0", "24", "255.255.255.0.0", "255.255.255.0 255.255.255.0"})
        EXPECT_EQ(1, kavonet({"ipv4", "static", "eth0", "10.0.0.6", mask}).status) << mask;
    EXPECT_EQ(before, support::read_file(ifcfg("eth0")));
    EXPECT_EQ("10.0.0.5/24\n", address_of("eth0"));
    EXPECT_THAT(calls(), testing::IsEmpty());
}

TEST_F(Ipv4Command, StaticOfAnInterfaceThatIsNotThereLeavesNoFile)
{
    const Result result = kavonet({"ipv4", "static", "eth9", "10.0.0.6/24"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err, HasSubstr("there is no interface of that name"));
    EXPECT_FALSE(support::exists(ifcfg("eth9")));
}

TEST_F(Ipv4Command, StaticThatCannotBeAppliedIsPutBack)
{
    const std::string before = support::read_file(ifcfg("eth0"));
    ASSERT_EQ(0, unlink("/sbin/ip"));
    const Result result = kavonet({"ipv4", "static", "eth0", "10.0.0.6/24", "-v"});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.out);
    EXPECT_THAT(result.err, testing::ContainsRegex("net_set_ip\\.cpp:[0-9]+ excute command"));
    EXPECT_THAT(result.err,
                testing::ContainsRegex("\nkavonet: cannot set eth0 to 10\\.0\\.0\\.6/24: a command or a service "
                                       "unit failed \\(0x2A00, "));
    EXPECT_EQ(before, support::read_file(ifcfg("eth0")));
}

TEST_F(Ipv4Command, AnAddressThatTheKernelDidNotTakeIsAFailure)
{
    record("/sbin/ip", 2);
    const Result result = kavonet({"ipv4", "static", "eth0", "10.0.0.6/24"});
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.out);
    EXPECT_THAT(result.err,
                testing::StartsWith("kavonet: eth0 is configured as 10.0.0.6/24, but that is not in force: the "
                                    "kernel has 10.0.0.5/24\n"));
}

TEST_F(Ipv4Command, DhcpWaitsForTheLease)
{
    lease_on_start("0.3");
    const Result result = kavonet({"ipv4", "dhcp", "eth0", "--wait", "20"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("eth0: static 10.0.0.5/24 -> dhcp 10.0.0.77/16\n", result.out);
    EXPECT_EQ("", result.err);
    EXPECT_THAT(support::read_file(ifcfg("eth0")), HasSubstr("BOOTPROTO=dhcp\n"));
    EXPECT_THAT(calls(),
                ElementsAre(HasSubstr("[stop] [dhclient@eth0.service]"), HasSubstr("[start] [dhclient@eth0.service]")));
}

TEST_F(Ipv4Command, DhcpWithoutWaitingTellsThatThereIsNoLease)
{
    const Result result = kavonet({"ipv4", "dhcp", "eth0"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("eth0: static 10.0.0.5/24 -> dhcp, no lease (10.0.0.5/24 in force)\n", result.out);
    const Json change(kavonet({"ipv4", "dhcp", "eth0", "--json"}).out);
    EXPECT_EQ("dhcp", change["after"]["configured"]["method"].text());
    EXPECT_TRUE(change["after"]["configured"]["address"].is_null());
}

TEST_F(Ipv4Command, DhcpFailsWithoutALeaseInTime)
{
    const Result result = kavonet({"ipv4", "dhcp", "eth0", "--wait", "0.2"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err,
                testing::StartsWith("kavonet: eth0 is on DHCP, but has no address yet: no lease within 0.2 s\n"));
    EXPECT_THAT(support::read_file(ifcfg("eth0")), HasSubstr("BOOTPROTO=dhcp\n"));
}

TEST_F(Ipv4Command, DhcpWhoseClientDoesNotStart)
{
    script("/usr/kavo/bin/unit", "[ \"$1\" != start ]");
    const std::string before = support::read_file(ifcfg("eth0"));
    const Result result = kavonet({"ipv4", "dhcp", "eth0", "--wait", "5"});
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err,
                testing::ContainsRegex("^kavonet: cannot put eth0 on DHCP: a command or a service unit failed "
                                       "\\(0x2A00, net_lnx_set_dhcp\\.cpp:[0-9]+\\)\n"));
    EXPECT_EQ(before, support::read_file(ifcfg("eth0")));
}

TEST_F(Ipv4Command, FlushTakesTheAddressesOff)
{
    const Result result = kavonet({"ipv4", "flush", "eth0"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("eth0: static 10.0.0.5/24 -> static 10.0.0.5/24 (no address in force)\n", result.out);
    EXPECT_EQ("", address_of("eth0"));
}

TEST_F(Ipv4Command, FlushOfIpv6LeavesIpv4Alone)
{
    shell("ip -6 address add fd00::5/64 dev eth0 nodad");
    const Result result = kavonet({"ipv4", "flush", "-6", "eth0"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("eth0: IPv6 addresses flushed\n", result.out);
    EXPECT_THAT(shell("ip -6 address show dev eth0"), Not(HasSubstr("fd00::5")));
    EXPECT_EQ("10.0.0.5/24\n", address_of("eth0"));
}

} // namespace cli_test
