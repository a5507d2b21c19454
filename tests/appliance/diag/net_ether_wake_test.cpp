#include <climits>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <poll.h>
#include <sys/syscall.h>

#include "kavonetsdk/diag.h"
#include "kavonetsdk/error.h"
#include "sockets.h"
#include "support/tidy_root.h"

namespace {

std::function<int(int fd, int level, int option, const void *value, socklen_t size)> setsockopt_stand_in;

} // namespace

extern "C" int setsockopt(int fd, int level, int option, const void *value, socklen_t size) noexcept
{
    if (setsockopt_stand_in)
        return setsockopt_stand_in(fd, level, option, value, size);
    return static_cast<int>(syscall(SYS_setsockopt, fd, level, option, value, size));
}

namespace {

using Bytes = std::vector<unsigned char>;
using support::is_set_in;
using support::last_error;
using support::NO_ERROR_SET;

constexpr char FILE_NAME[] = "net_ether_wake.cpp";
constexpr uint16_t WAKE_TYPE = 0x0842;
constexpr int A_MOMENT = 100; // milliseconds

// 02:11:22:33:44:55, written out.
const Bytes FRAME = {0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x02, 0x11, 0x22, 0x33, 0x44, 0x55, 0x08, 0x42, 0xff,
                     0xff, 0xff, 0xff, 0xff, 0xff, 0x02, 0x11, 0x22, 0x33, 0x44, 0x55, 0x02, 0x11, 0x22, 0x33,
                     0x44, 0x55, 0x02, 0x11, 0x22, 0x33, 0x44, 0x55, 0x02, 0x11, 0x22, 0x33, 0x44, 0x55, 0x02,
                     0x11, 0x22, 0x33, 0x44, 0x55, 0x02, 0x11, 0x22, 0x33, 0x44, 0x55, 0x02, 0x11, 0x22, 0x33,
                     0x44, 0x55, 0x02, 0x11, 0x22, 0x33, 0x44, 0x55, 0x02, 0x11, 0x22, 0x33, 0x44, 0x55, 0x02,
                     0x11, 0x22, 0x33, 0x44, 0x55, 0x02, 0x11, 0x22, 0x33, 0x44, 0x55, 0x02, 0x11, 0x22, 0x33,
                     0x44, 0x55, 0x02, 0x11, 0x22, 0x33, 0x44, 0x55, 0x02, 0x11, 0x22, 0x33, 0x44, 0x55, 0x02,
                     0x11, 0x22, 0x33, 0x44, 0x55, 0x02, 0x11, 0x22, 0x33, 0x44, 0x55};

class NetEtherWake : public support::TidyRoot {
protected:
    void TearDown() override
    {
        setsockopt_stand_in = {};
        TidyRoot::TearDown();
    }

    static EtherWakeTarget target(const std::string &card)
    {
        EtherWakeTarget target = {{0x02, 0x11, 0x22, 0x33, 0x44, 0x55}, {}};
        memset(target.szIfName, 'Z', sizeof target.szIfName);
        memcpy(target.szIfName, card.c_str(), std::min(card.size() + 1, sizeof target.szIfName));
        return target;
    }

    // Hears the wake-on-LAN frames that arrive at a card.
    static sockets::Handle capture(const std::string &card)
    {
        sockets::Handle handle(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, htons(WAKE_TYPE)));
        sockaddr_ll address{};
        address.sll_family = AF_PACKET;
        address.sll_protocol = htons(WAKE_TYPE);
        address.sll_ifindex = static_cast<int>(if_nametoindex(card.c_str()));
        EXPECT_NE(0, address.sll_ifindex) << card;
        EXPECT_EQ(0, bind(handle.fd(), reinterpret_cast<const sockaddr *>(&address), sizeof address));
        return handle;
    }

    // The next frame, or nothing; where none is expected, a moment is enough.
    static Bytes next_frame(const sockets::Handle &handle, int milliseconds = 5000)
    {
        pollfd asked{handle.fd(), POLLIN, 0};
        if (poll(&asked, 1, milliseconds) != 1)
            return {};
        Bytes bytes(2000);
        const ssize_t size = recv(handle.fd(), bytes.data(), bytes.size(), 0);
        bytes.resize(size < 0 ? 0 : static_cast<size_t>(size));
        return bytes;
    }

    static int wake(const std::string &card)
    {
        const EtherWakeTarget whom = target(card);
        return KLIBNetEtherWake(&whom);
    }
};

TEST_F(NetEtherWake, SendsTheFrameOnce)
{
    ASSERT_EQ(116U, FRAME.size());
    add_card("eth0");
    const auto wire = capture("eth0p");
    EXPECT_EQ(0, wake("eth0"));
    EXPECT_EQ(FRAME, next_frame(wire));
    EXPECT_EQ(Bytes{}, next_frame(wire, A_MOMENT));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_TRUE(support::log_lines().empty());
}

TEST_F(NetEtherWake, TakesEveryAddress)
{
    add_card("eth0");
    const auto wire = capture("eth0p");
    EtherWakeTarget whom = target("eth0");
    for (const int byte : {0x00, 0xff, 0x80}) {
        memset(whom.mac, byte, sizeof whom.mac);
        whom.mac[5] = 7;
        ASSERT_EQ(0, KLIBNetEtherWake(&whom));
        const Bytes frame = next_frame(wire);
        ASSERT_EQ(116U, frame.size());
        EXPECT_EQ(Bytes(6, 0xff), Bytes(frame.begin(), frame.begin() + 6));
        EXPECT_EQ(0, memcmp(frame.data() + 6, whom.mac, 6));
        EXPECT_EQ(Bytes(6, 0xff), Bytes(frame.begin() + 14, frame.begin() + 20));
        for (size_t at = 20; at < frame.size(); at += 6)
            EXPECT_EQ(0, memcmp(frame.data() + at, whom.mac, 6)) << at;
    }
}

TEST_F(NetEtherWake, SendsOnThatCardOnly)
{
    add_card("eth0");
    add_card("eth1");
    const auto wire0 = capture("eth0p");
    const auto wire1 = capture("eth1p");
    EXPECT_EQ(0, wake("eth1"));
    EXPECT_EQ(FRAME, next_frame(wire1));
    EXPECT_EQ(Bytes{}, next_frame(wire0, A_MOMENT));
}

TEST_F(NetEtherWake, NeedsNoAddressOnTheCard)
{
    add_card("eth0", "192.0.2.1/24");
    const auto wire = capture("eth0p");
    EXPECT_EQ(0, wake("eth0"));
    EXPECT_EQ(FRAME, next_frame(wire));
}

TEST_F(NetEtherWake, UsesThirteenCharactersOfTheName)
{
    const std::string thirteen = "abcdefghijklm";
    add_card("eth0");
    shell("ip link set eth0 name " + thirteen);
    const auto wire = capture("eth0p");
    shell("ip link set " + thirteen + " up");
    for (const std::string &name : {thirteen, thirteen + "n", thirteen + "no", thirteen + "nop", thirteen + "nopq"}) {
        EXPECT_EQ(0, wake(name)) << name;
        EXPECT_EQ(FRAME, next_frame(wire)) << name;
    }
    EXPECT_EQ(-1, wake("abcdefghijkl"));
}

TEST_F(NetEtherWake, AsksForTheOldKindOfSocket)
{
    add_card("eth0");
    std::string sockets;
    bool asked = false;
    setsockopt_stand_in = [&](int fd, int level, int option, const void *value, socklen_t size) {
        sockets = support::read_file("/proc/net/packet");
        asked = level == SOL_SOCKET && option == SO_BROADCAST && *static_cast<const int *>(value) != 0;
        return static_cast<int>(syscall(SYS_setsockopt, fd, level, option, value, size));
    };
    EXPECT_EQ(0, wake("eth0"));
    EXPECT_TRUE(asked);
    const auto lines = support::lines_of(sockets);
    ASSERT_EQ(2U, lines.size()) << sockets;
    int type = 0;
    unsigned protocol = 0;
    ASSERT_EQ(2, sscanf(lines[1].c_str(), "%*x %*d %d %x", &type, &protocol)) << lines[1];
    EXPECT_EQ(SOCK_PACKET, type);
    EXPECT_EQ(10, htons(static_cast<uint16_t>(protocol))) << "the type's number, in no particular byte order";
}

TEST_F(NetEtherWake, RefusesNoTarget)
{
    EXPECT_EQ(-1, KLIBNetEtherWake(nullptr));
    EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
}

TEST_F(NetEtherWake, RefusesHostileNames)
{
    support::fail_call("socket", 0);
    for (const std::string &name : support::hostile_names()) {
        support::clear_error();
        EXPECT_EQ(-1, wake(name)) << name;
        EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
}

TEST_F(NetEtherWake, FailsWithoutASocket)
{
    add_card("eth0");
    support::fail_call("socket");
    EXPECT_EQ(-1, wake("eth0"));
    EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_OPEN_FAILED));
    support::clear_error();
    EXPECT_EQ(0, wake("eth0"));
}

TEST_F(NetEtherWake, FailsWithoutTheOption)
{
    add_card("eth0");
    const auto wire = capture("eth0p");
    setsockopt_stand_in = [](auto...) {
        errno = EPERM;
        return -1;
    };
    EXPECT_EQ(-1, wake("eth0"));
    EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_EXEC_FAILED));
    EXPECT_EQ(Bytes{}, next_frame(wire, A_MOMENT));
}

TEST_F(NetEtherWake, FailsWithoutACardThatSends)
{
    add_card("eth0", "", false);
    for (const char *name : {"eth0", "eth7", "*", "%s%n", "$(id)", "-h"}) {
        support::clear_error();
        EXPECT_EQ(-1, wake(name)) << name;
        EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_EXEC_FAILED)) << name;
    }
    EXPECT_TRUE(support::log_lines().empty());
}

} // namespace
