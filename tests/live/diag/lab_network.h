// What the live tests of the diagnostics share: a DHCP server, a name server, a NetBIOS server, listeners and the wire itself
// on the other side of the cards.
#pragma once

#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <sched.h>

#include "appliance/diag/sockets.h"
#include "support/commands.h"
#include "support/read_back.h"

namespace lab_network {

using support::run;
using support::shell;
using support::wait_for;

inline constexpr char SERVER[] = "/etc/lan-server.conf";
inline constexpr char CLIENT_SETTINGS[] = "/etc/dhclient/dhclient.conf";
inline constexpr char EXTERNAL_SETTINGS[] = "/usr/kavo/etc/ddnsd.conf";
inline constexpr char GATEWAY[] = "10.77.0.1";

// Runs on the other side of the cards; what is opened there stays there.
template <class Work> void in_lan(Work work)
{
    std::thread([&] {
        const sockets::Handle lan(open("/run/netns/lan", O_RDONLY | O_CLOEXEC));
        ASSERT_EQ(0, setns(lan.fd(), CLONE_NEWNET));
        work();
    }).join();
}

inline sockets::Handle listening_in_lan(int port)
{
    sockets::Handle handle;
    in_lan([&] { handle = sockets::listening(AF_INET, port, GATEWAY); });
    return handle;
}

class Diagnostics : public testing::Test {
protected:
    void SetUp() override
    {
        for (const char *file : {SERVER, CLIENT_SETTINGS, EXTERNAL_SETTINGS, "/etc/resolv.conf"})
            files_.emplace_back(file, support::read_file(file));
    }

    // Every test finds the lab as it was started.
    void TearDown() override
    {
        run("systemctl stop dhclient@eth0");
        run("rm -f /tmp/dhcpv4.leases.* /etc/dhclient/ipv4/* /run/dhclient-script /run/ddns/*");
        run("ip address flush dev eth0; ip link set eth0 down; ip route flush table main");
        for (const auto &[file, content] : files_)
            support::write_file(file, content);
        run("systemctl restart lan-server");
    }

    // The network is there a moment after the link: its switch has to notice the card first.
    static void give_address()
    {
        shell("ip link set eth0 up; ip address add 10.77.0.60/24 broadcast + dev eth0");
        EXPECT_TRUE(wait_for([] { return run(std::string("arping -c 1 -w 1 -I eth0 ") + GATEWAY).status == 0; }))
            << "the gateway does not answer";
    }

    static std::string interface()
    {
        return run("ip -4 -o address show dev eth0; ip -4 route show; cat /sys/class/net/eth0/flags").output;
    }

private:
    std::vector<std::pair<std::string, std::string>> files_;
};

// A NetBIOS server called "printer" on the other side.
class NetbiosServer {
public:
    NetbiosServer()
    {
        shell("mkdir -p /run/samba");
        support::write_file("/run/lab/nmbd/smb.conf",
                            "[global]\nnetbios name = PRINTER\nworkgroup = LAB\ninterfaces = lan0\n"
                            "bind interfaces only = yes\nlog file = /run/lab/nmbd/log\n"
                            "lock directory = /run/lab/nmbd\nstate directory = /run/lab/nmbd\n"
                            "cache directory = /run/lab/nmbd\npid directory = /run/lab/nmbd\n"
                            "private dir = /run/lab/nmbd\nncalrpc dir = /run/lab/nmbd\n");
        shell("lan nmbd --daemon --configfile=/run/lab/nmbd/smb.conf");
    }
    NetbiosServer(const NetbiosServer &) = delete;
    NetbiosServer &operator=(const NetbiosServer &) = delete;
    ~NetbiosServer() { shell("kill $(cat /run/lab/nmbd/nmbd.pid)"); }

    static bool answers()
    {
        return wait_for(
            [] { return run("/usr/local/bin/nmblookup printer").output.find("printer<00>") != std::string::npos; });
    }
};

// ---- The wire

inline sockets::Handle capture_in_lan(const std::string &card)
{
    constexpr uint16_t WAKE_TYPE = 0x0842;
    sockets::Handle handle;
    in_lan([&] {
        handle = sockets::Handle(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, htons(WAKE_TYPE)));
        sockaddr_ll address{};
        address.sll_family = AF_PACKET;
        address.sll_protocol = htons(WAKE_TYPE);
        address.sll_ifindex = static_cast<int>(if_nametoindex(card.c_str()));
        EXPECT_EQ(0, bind(handle.fd(), reinterpret_cast<const sockaddr *>(&address), sizeof address)) << card;
    });
    return handle;
}

inline std::string next_frame(const sockets::Handle &wire, int milliseconds)
{
    pollfd asked{wire.fd(), POLLIN, 0};
    std::string bytes;
    if (poll(&asked, 1, milliseconds) != 1)
        return bytes;
    bytes.resize(2000);
    const ssize_t size = recv(wire.fd(), bytes.data(), bytes.size(), 0);
    bytes.resize(size < 0 ? 0 : static_cast<size_t>(size));
    return bytes;
}

// The wake-on-LAN frame for a card, written out.
inline std::string wake_frame(const std::string &mac)
{
    std::string frame = std::string(6, '\xff') + mac + "\x08\x42" + std::string(6, '\xff');
    for (int i = 0; i < 16; ++i)
        frame += mac;
    return frame;
}

} // namespace lab_network
