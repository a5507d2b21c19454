// The diagnostics on a real network.
#include "lab_network.h"

#include <chrono>
#include <cstdlib>

#include <gmock/gmock.h>

#include "kavonetsdk/kavonetsdk.h"

namespace {

using namespace lab_network;
using support::exists;
using support::last_error;
using support::read_file;
using support::write_file;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using Clock = std::chrono::steady_clock;

constexpr int LIMIT = 30; // seconds for a connection; an answer comes long before, however busy the machine is
constexpr char SCRIPT[] = "/var/run/dhclient-script";
constexpr char INFO[] = "/etc/dhclient/ipv4/dhcpcd-eth0.info";

// ---- The DHCP probe

KAVONETINFO probed(int expected)
{
    KAVONETINFO info = {};
    snprintf(info.szName, sizeof info.szName, "eth0");
    snprintf(info.szAddr, sizeof info.szAddr, "1.1.1.1");
    EXPECT_EQ(expected, KAVOIGetDHCPTestNetInfo(&info)) << run("journalctl -n 30 --no-pager").output;
    return info;
}

TEST_F(Diagnostics, ProbesARealServer)
{
    const std::string before = interface();
    const KAVONETINFO info = probed(0);
    EXPECT_STREQ("10.77.0.100", info.szAddr);
    EXPECT_STREQ("255.255.255.0", info.szMask);
    EXPECT_EQ(before, interface()) << "no address, no route, and down as it was";
    EXPECT_EQ("IPADDR=10.77.0.100\nNETMASK=255.255.255.0\n", read_file(INFO));
    EXPECT_EQ("", run("pgrep -x dhclient").output);
    EXPECT_FALSE(exists("/etc/iproute2/config/resolv4.conf"));
}

TEST_F(Diagnostics, ProbesWithTheScriptThatIsThere)
{
    probed(0);
    ASSERT_TRUE(exists(SCRIPT));
    shell(std::string("echo '# still the same' >>") + SCRIPT);
    const std::string script = read_file(SCRIPT);
    probed(0);
    EXPECT_EQ(script, read_file(SCRIPT));
}

TEST_F(Diagnostics, ProbesBesideAClientThatRuns)
{
    shell("systemctl start dhclient@eth0");
    ASSERT_TRUE(wait_for([] { return exists(INFO); }));
    shell("flock /run/kavo-dhclient.lock true");
    const std::string info = read_file(INFO);
    const std::string client = run("pgrep -x dhclient").output;
    const std::string addresses = run("ip -4 -o address show dev eth0 | awk '{ print $4 }'; ip -4 route show").output;
    EXPECT_STREQ("10.77.0.100", probed(0).szAddr);
    EXPECT_EQ(info, read_file(INFO));
    EXPECT_EQ(client, run("pgrep -x dhclient").output);
    EXPECT_EQ(addresses, run("ip -4 -o address show dev eth0 | awk '{ print $4 }'; ip -4 route show").output);
    EXPECT_EQ("active\n", run("systemctl is-active dhclient@eth0").output);
}

TEST_F(Diagnostics, ProbesAnotherAddressThanTheStaticOne)
{
    give_address();
    const std::string before = interface();
    EXPECT_STREQ("10.77.0.100", probed(0).szAddr);
    EXPECT_EQ(before, interface());
}

TEST_F(Diagnostics, ProbesANetworkWithoutAServer)
{
    shell("systemctl stop lan-server");
    shell(std::string("sed -i 's/^timeout .*/timeout 3;/' ") + CLIENT_SETTINGS);
    const std::string before = interface();
    const KAVONETINFO info = probed(-1);
    EXPECT_STREQ("1.1.1.1", info.szAddr);
    EXPECT_EQ((support::Error{NET_ERR_EXEC_FAILED, "net_get_dhcp_test_net_info.cpp", 44}), last_error());
    EXPECT_EQ(before, interface());
    EXPECT_FALSE(exists(INFO));
    EXPECT_EQ("", run("pgrep -x dhclient").output);
}

// ---- Names

std::vector<std::string> looked_up(const char *host, int capacity = 8, int count_all = 0, int *counted = nullptr)
{
    std::vector<LookupIPEntry> entries(static_cast<size_t>(capacity));
    const int count = KAVONetLookupIP(host, entries.data(), capacity, count_all);
    if (counted != nullptr)
        *counted = count;
    std::vector<std::string> found;
    for (const LookupIPEntry &entry : entries) {
        if (entry.family != 0)
            found.push_back(std::to_string(entry.family) + " " + entry.szAddr);
    }
    return found;
}

TEST_F(Diagnostics, LooksUpNamesOfARealServer)
{
    write_file(SERVER, read_file(SERVER) +
                           "host-record=three.lab.test,10.77.0.21\nhost-record=three.lab.test,10.77.0.22\n"
                           "host-record=three.lab.test,2001:db8::21\n");
    shell("systemctl restart lan-server");
    give_address();
    write_file("/etc/resolv.conf", std::string("nameserver ") + GATEWAY + "\n");
    EXPECT_THAT(looked_up("storage.lab.test"), ElementsAre("2 10.77.0.9"));
    EXPECT_THAT(looked_up("three.lab.test"), UnorderedElementsAre("2 10.77.0.21", "2 10.77.0.22", "10 2001:db8::21"));
    int counted = 0;
    EXPECT_EQ(1U, looked_up("three.lab.test", 1, 1, &counted).size());
    EXPECT_EQ(3, counted);
    EXPECT_THAT(looked_up("nobody.lab.test"), IsEmpty());
}

TEST_F(Diagnostics, FindsAHostThatOnlyNetbiosKnows)
{
    if (run("command -v nmbd && test -x /usr/local/bin/nmblookup").status != 0)
        GTEST_SKIP() << "samba is not installed";
    give_address();
    write_file("/etc/resolv.conf", std::string("nameserver ") + GATEWAY + "\n");
    const NetbiosServer server;
    ASSERT_TRUE(NetbiosServer::answers()) << run("/usr/local/bin/nmblookup printer; tail /run/lab/nmbd/log*").output;
    EXPECT_THAT(looked_up("printer"), ElementsAre("2 10.77.0.1"));
    EXPECT_THAT(looked_up("PRINTER"), ElementsAre("2 10.77.0.1"));
    EXPECT_THAT(looked_up("printer.lan"), IsEmpty());
    EXPECT_THAT(looked_up("plotter"), IsEmpty());

    const auto listener = listening_in_lan(5000);
    EXPECT_EQ(1, BlKLIBIsConnected("printer", 5000, LIMIT));
    EXPECT_EQ(0, BlKLIBIsConnected("printer", 5001, LIMIT));
    EXPECT_EQ(0, BlKLIBIsConnected("plotter", 5000, 5));
}

// ---- Reachability

TEST_F(Diagnostics, TellsAListenerFromARefusalAndFromSilence)
{
    give_address();
    write_file("/etc/resolv.conf", std::string("nameserver ") + GATEWAY + "\n");
    const auto listener = listening_in_lan(5000);
    const auto filtered = listening_in_lan(5002);
    sockets::deafen(filtered);
    const auto reach = [](const char *host, int port, int limit, double &took) {
        const auto start = Clock::now();
        const int result = BlKLIBIsConnected(host, port, limit);
        took = std::chrono::duration<double>(Clock::now() - start).count();
        return result;
    };
    double took = 0;
    EXPECT_EQ(1, reach(GATEWAY, 5000, LIMIT, took));
    EXPECT_LT(took, LIMIT);
    const sockets::Handle server(accept4(listener.fd(), nullptr, nullptr, SOCK_CLOEXEC));
    char bytes[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(1, recv(server.fd(), bytes, sizeof bytes, 0));
    EXPECT_EQ('\0', bytes[0]);
    EXPECT_EQ(0, recv(server.fd(), bytes, sizeof bytes, 0)) << "and no more";

    EXPECT_EQ(1, reach("gateway.lab.test", 5000, LIMIT, took));
    EXPECT_EQ(0, reach(GATEWAY, 5001, LIMIT, took)) << "refused";
    EXPECT_LT(took, LIMIT);
    EXPECT_EQ(0, reach(GATEWAY, 5002, 2, took)) << "filtered";
    EXPECT_GE(took, 2);
    EXPECT_LT(took, 20);
    EXPECT_EQ(0, reach("10.77.0.77", 5000, 2, took)) << "there is no such host";
    EXPECT_LT(took, 20);
    shell("ip route add blackhole 10.99.0.0/24");
    EXPECT_EQ(0, reach("10.99.0.1", 5000, LIMIT, took)) << "there is no way";
    EXPECT_LT(took, LIMIT);
}

// ---- Wake-on-LAN

TEST_F(Diagnostics, SendsAWakeFrameOverTheWire)
{
    shell("ip link set eth0 up");
    ASSERT_TRUE(wait_for([] { return KAVONetIfIsLink("eth0") == 1; }));
    const auto wire = capture_in_lan("lan0");
    const EtherWakeTarget target = {{0x00, 0x11, 0x32, 0xA4, 0xB5, 0xC6}, "eth0"};
    ASSERT_EQ(0, KLIBNetEtherWake(&target));
    const std::string frame = wake_frame({'\x00', '\x11', '\x32', '\xa4', '\xb5', '\xc6'});
    ASSERT_EQ(116U, frame.size());
    EXPECT_EQ(frame, next_frame(wire, 5000));
    EXPECT_EQ("", next_frame(wire, 300));
}

// ---- The external address

TEST_F(Diagnostics, AsksTheAppliancesDaemonForTheExternalAddress)
{
    const auto external = [] {
        char *address = KAVOExternalIPGet();
        const std::string copy = address == nullptr ? "null" : address;
        free(address);
        return copy;
    };
    EXPECT_EQ("null", external()) << "no address, no route";
    give_address();
    EXPECT_EQ("10.77.0.60", external());
    write_file(EXTERNAL_SETTINGS, "source=address\naddress=203.0.113.7\n");
    EXPECT_EQ("203.0.113.7", external());
    write_file("/usr/kavo/libexec/external-address", "#!/bin/sh\necho 203.0.113.8\n", 0755);
    write_file(EXTERNAL_SETTINGS, "source=program\nprogram=/usr/kavo/libexec/external-address\n");
    EXPECT_EQ("203.0.113.8", external());
    write_file("/usr/kavo/libexec/external-address", "#!/bin/sh\nexit 1\n", 0755);
    EXPECT_EQ("null", external());
    unlink("/usr/kavo/libexec/external-address");
}

// ---- Ports

TEST_F(Diagnostics, FindsThePortsOfRealServices)
{
    EXPECT_EQ(0, KAVONetIsPortRangeUsed(5000, 5010, 1));
    const auto listener = sockets::listening(AF_INET, 5000);
    const auto other = sockets::listening(AF_INET6, 5000);
    const auto datagrams = sockets::bound(AF_INET, SOCK_DGRAM, 6000);
    EXPECT_EQ(1, KAVONetIsPortRangeUsed(5000, 5010, 1));
    EXPECT_EQ(1, KAVONetIsPortRangeUsed(5990, 6000, 2));
    int ports[8];
    int count = 8;
    EXPECT_EQ(0, KAVONetGetPortUsedInRange(ports, &count, 4990, 5010, 1));
    ASSERT_EQ(1, count);
    EXPECT_EQ(5000, ports[0]);
}

} // namespace
