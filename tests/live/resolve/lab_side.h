// What the tests of names and routes have on the other side of the cards, and how they look at it.
#pragma once

#include <cstdio>
#include <string>

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "support/commands.h"
#include "support/read_back.h"

namespace resolve_test {

using support::run;
using support::wait_for;

// What becomes of a packet to an address: ECONNREFUSED when the host that has the address answered it (nothing listens on
// that port), ETIMEDOUT when nobody did, or what the kernel said.
inline int answer_of(const char *address)
{
    sockaddr_in host{};
    host.sin_family = AF_INET;
    host.sin_port = htons(9);
    inet_pton(AF_INET, address, &host.sin_addr);
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    int error = 0;
    if (connect(fd, reinterpret_cast<sockaddr *>(&host), sizeof host) != 0 && errno != EINPROGRESS) {
        error = errno;
    } else {
        pollfd waiting{fd, POLLOUT, 0};
        socklen_t length = sizeof error;
        if (poll(&waiting, 1, 1500) != 1)
            error = ETIMEDOUT;
        else
            getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length);
    }
    close(fd);
    return error;
}

inline bool reaches(const char *address)
{
    return wait_for([&] { return answer_of(address) == ECONNREFUSED; });
}

inline bool is_out_of_reach(const char *address)
{
    return answer_of(address) != ECONNREFUSED;
}

// The network of eth0 has two routers, 10.77.0.1 (the DHCP server) and 10.77.0.2. Each leads to a host of its own,
// 203.0.113.1 and 203.0.113.2, and is a name server that has an address of its own for storage.lab.test: 10.77.0.9 and
// 10.77.0.10.
class TwoRouters {
public:
    static void build()
    {
        const support::CommandResult result =
            run("set -e; ip netns add other\n"
                "ip -n lan link add port2 type veth peer name lan0 netns other\n"
                "ip -n lan link set port2 master lan0 up\n"
                "ip -n lan address add 203.0.113.1/32 dev lo\n"
                "ip -n other link set lo up; ip -n other link set lan0 up\n"
                "ip -n other address add 10.77.0.2/24 dev lan0; ip -n other address add 203.0.113.2/32 dev lo\n"
                "ip netns exec other dnsmasq --conf-file=/dev/null --no-resolv --no-hosts --user=root --group=root "
                "--pid-file=/run/other-router.pid --bind-interfaces --listen-address=10.77.0.2 "
                "--host-record=storage.lab.test,10.77.0.10");
        ASSERT_EQ(0, result.status) << result.output;
    }

    static void remove()
    {
        // A namespace lasts until its last process has ended; the cable must not.
        run("kill $(cat /run/other-router.pid); ip -n lan link del port2; ip netns del other; "
            "ip -n lan address del 203.0.113.1/32 dev lo");
    }
};

// Takes a lease of the real server, with everything that comes of it.
inline void take_lease(const std::string &interface)
{
    const support::CommandResult result = run("systemctl start dhclient@" + interface);
    ASSERT_EQ(0, result.status) << result.output;
    const std::string info = "/etc/dhclient/ipv4/dhcpcd-" + interface + ".info";
    ASSERT_TRUE(wait_for([&] { return support::exists(info); })) << run("journalctl --no-pager -n 60").output;
    ASSERT_TRUE(wait_for([] { return run("flock /run/kavo-dhclient.lock true").status == 0; }));
}

// Every test finds the lab as it was started.
inline void restore()
{
    run("systemctl stop dhclient@eth0 dhclient@eth1 ddnsd; lan ip link set port1 up");
    run("rm -rf /tmp/dhcpv4.leases.* /etc/resolv.conf.* /usr/kavo/etc/plugins/net /run/live-events; "
        ": >/etc/resolv.conf; : >/etc/kavoinfo.conf; : >/etc/sysconfig/network");
    run("ip -4 address flush dev eth0; ip -4 address flush dev eth1; ip -4 route flush table main; "
        "ip link set eth0 down; ip link set eth1 down");
    for (const char *name : {"eth0", "eth1"})
        support::write_file(std::string("/etc/sysconfig/network-scripts/ifcfg-") + name,
                            std::string("DEVICE=") + name + "\nONBOOT=yes\nBOOTPROTO=dhcp\n");
}

// A subscriber that writes down what it was told.
inline constexpr char EVENTS[] = "/run/live-events";

inline void subscribe(const std::string &event, int status = 0)
{
    support::write_file("/usr/kavo/etc/plugins/" + event + "/50-live",
                        std::string("#!/bin/sh\necho \"$KAVO_EVENT $1 $KAVO_ARG_DNS_1$KAVO_ARG_HOSTNAME\" >>") +
                            EVENTS + "\nexit " + std::to_string(status) + "\n",
                        0755);
}

} // namespace resolve_test
