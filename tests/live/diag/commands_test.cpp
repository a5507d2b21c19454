// The commands of the diagnostics on a real network, as an administrator types them.
#include "lab_network.h"

#include <gmock/gmock.h>

namespace {

using namespace lab_network;
using support::exists;
using support::read_file;
using support::write_file;
using testing::HasSubstr;
using testing::IsEmpty;

class DiagnosticCommands : public Diagnostics {
protected:
    // Standard output and error together, and the exit status.
    static void says(int status, const std::string &output, const std::string &words)
    {
        const support::CommandResult result = run("kavonet " + words);
        EXPECT_EQ(output, result.output) << words;
        EXPECT_EQ(status, result.status) << words;
    }

    static void use_name_server() { write_file("/etc/resolv.conf", std::string("nameserver ") + GATEWAY + "\n"); }
};

TEST_F(DiagnosticCommands, DhcpProbe)
{
    const std::string before = interface();
    says(0, "eth0: a DHCP server offers 10.77.0.100/24\n", "dhcp probe eth0");
    says(0, "{\"name\":\"eth0\",\"address\":\"10.77.0.100\",\"mask\":\"255.255.255.0\",\"prefix\":24}\n",
         "dhcp probe eth0 --json");
    EXPECT_EQ(before, interface()) << "no address, no route, and down as it was";
    EXPECT_THAT(run("pgrep -x dhclient").output, IsEmpty());
}

TEST_F(DiagnosticCommands, DhcpProbeWithoutAServer)
{
    shell("systemctl stop lan-server");
    shell(std::string("sed -i 's/^timeout .*/timeout 3;/' ") + CLIENT_SETTINGS);
    const std::string before = interface();
    const support::CommandResult result = run("kavonet dhcp probe eth0");
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.output,
                HasSubstr("kavonet: cannot probe DHCP on eth0: no DHCP server offered an address (0x2A00, "));
    EXPECT_THAT(result.output, HasSubstr("journalctl -t dhclient shows"));
    EXPECT_TRUE(wait_for([] {
        return run("journalctl -t dhclient --no-pager").output.find("No DHCPOFFERS received") != std::string::npos;
    })) << "what the user is told to look at";
    EXPECT_EQ(before, interface());
}

TEST_F(DiagnosticCommands, LookupAndReach)
{
    give_address();
    use_name_server();
    EXPECT_THAT(run("kavonet lookup storage.lab.test").output,
                testing::MatchesRegex("ADDRESS +FAMILY *\n10.77.0.9 +ipv4 *\n"));
    says(0, "{\"name\":\"storage.lab.test\",\"addresses\":[{\"address\":\"10.77.0.9\",\"family\":\"ipv4\"}]}\n",
         "lookup storage.lab.test --json");
    const std::string unknown = "no name server knows an address of it\n"
                                "  what to do: check the spelling, and the name servers in /etc/resolv.conf\n";
    says(1, "kavonet: cannot find nobody.lab.test: " + unknown, "lookup nobody.lab.test");

    const auto listener = listening_in_lan(5000);
    const auto filtered = listening_in_lan(5002);
    sockets::deafen(filtered);
    says(0, "gateway.lab.test port 5000 accepts connections\n", "reach gateway.lab.test 5000");
    const std::string no = " does not accept connections: refused, or no answer within ";
    says(1, "10.77.0.1 port 5001" + no + "5 s\n", "reach 10.77.0.1 5001");
    says(1, "10.77.0.1 port 5002" + no + "1 s\n", "reach 10.77.0.1 5002 --timeout 1");
    says(1, "10.77.0.77 port 5000" + no + "1 s\n", "reach 10.77.0.77 5000 --timeout 1");
    says(1, "{\"host\":\"10.77.0.1\",\"port\":5001,\"reachable\":false,\"timeout\":5}\n",
         "reach 10.77.0.1 5001 --json");
    says(1, "kavonet: cannot reach nobody.lab.test: " + unknown, "reach nobody.lab.test 5000");
}

TEST_F(DiagnosticCommands, LookupByNetbios)
{
    if (run("command -v nmbd && test -x /usr/local/bin/nmblookup").status != 0)
        GTEST_SKIP() << "samba is not installed";
    give_address();
    use_name_server();
    const NetbiosServer server;
    ASSERT_TRUE(NetbiosServer::answers());
    says(0, "{\"name\":\"printer\",\"addresses\":[{\"address\":\"10.77.0.1\",\"family\":\"ipv4\"}]}\n",
         "lookup printer --json");
    const auto listener = listening_in_lan(5000);
    says(0, "printer port 5000 accepts connections\n", "reach printer 5000");
    const support::CommandResult plotter = run("kavonet lookup plotter");
    EXPECT_EQ(1, plotter.status);
    EXPECT_THAT(plotter.output, HasSubstr("neither a name server nor NetBIOS knows an address of it"));
}

TEST_F(DiagnosticCommands, Wake)
{
    says(1,
         "kavonet: cannot wake 00:11:32:a4:b5:c6 through eth0: it is down\n"
         "  what to do: bring it up first: kavonet if up eth0\n",
         "wake 00:11:32:a4:b5:c6 eth0");
    shell("kavonet if up eth0");
    ASSERT_TRUE(wait_for([] { return run("grep -qx up /sys/class/net/eth0/operstate").status == 0; }));
    const auto wire = capture_in_lan("lan0");
    const std::string frame = wake_frame({'\x00', '\x11', '\x32', '\xa4', '\xb5', '\xc6'});
    ASSERT_EQ(116U, frame.size());
    says(0, "wake-on-LAN frame for 00:11:32:a4:b5:c6 sent on eth0\n", "wake 00:11:32:a4:b5:c6 eth0");
    EXPECT_EQ(frame, next_frame(wire, 5000));
    says(0, "{\"mac\":\"00-11-32-A4-B5-C6\",\"interfaces\":[\"eth0\"]}\n", "wake 00-11-32-A4-B5-C6 --json");
    EXPECT_EQ(frame, next_frame(wire, 5000));
    EXPECT_EQ("", next_frame(wire, 300));
}

TEST_F(DiagnosticCommands, ExternalIp)
{
    EXPECT_EQ(1, run("kavonet external-ip").status) << "no address, no route";
    give_address();
    says(0, "10.77.0.60\n", "external-ip");
    write_file(EXTERNAL_SETTINGS, "source=address\naddress=203.0.113.7\n");
    says(0, "{\"address\":\"203.0.113.7\"}\n", "external-ip --json");
}

TEST_F(DiagnosticCommands, Ports)
{
    says(0, "TCP ports 5000-5010: free\n", "ports check 5000-5010");
    const auto listener = sockets::listening(AF_INET, 5000);
    const auto other = sockets::listening(AF_INET6, 5000);
    const auto datagrams = sockets::bound(AF_INET, SOCK_DGRAM, 6000);
    says(1, "TCP ports 5000-5010: in use; listening: 5000\n", "ports check 5000-5010");
    says(0, "[{\"port\":5000,\"protocol\":\"tcp\"}]\n", "ports list 4990-5010 --json");
    says(1, "UDP ports 5990-6010: in use\n", "ports check 5990-6010 --udp");
}

} // namespace
