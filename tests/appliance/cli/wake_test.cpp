// kavonet wake
#include "command.h"

#include <cstring>

#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>

#include "appliance/diag/sockets.h"

namespace cli_test {

using testing::HasSubstr;
using testing::UnorderedElementsAre;

namespace {

constexpr uint16_t WAKE_TYPE = 0x0842;
constexpr int A_MOMENT = 100; // milliseconds
constexpr char MAC[] = "02:11:22:aa:bb:cc";

class WakeCommand : public Command {
protected:
    // Hears the wake-on-LAN frames that arrive at a card.
    static sockets::Handle capture(const std::string &card)
    {
        sockets::Handle handle(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, htons(WAKE_TYPE)));
        sockaddr_ll address{};
        address.sll_family = AF_PACKET;
        address.sll_protocol = htons(WAKE_TYPE);
        address.sll_ifindex = static_cast<int>(if_nametoindex(card.c_str()));
        EXPECT_EQ(0, bind(handle.fd(), reinterpret_cast<const sockaddr *>(&address), sizeof address)) << card;
        return handle;
    }

    // The next frame, or nothing; where none is expected, a moment is enough.
    static std::string next_frame(const sockets::Handle &wire, int milliseconds = 5000)
    {
        pollfd asked{wire.fd(), POLLIN, 0};
        char bytes[2000];
        if (poll(&asked, 1, milliseconds) != 1)
            return "";
        const ssize_t size = recv(wire.fd(), bytes, sizeof bytes, 0);
        return {bytes, size < 0 ? 0 : static_cast<size_t>(size)};
    }

    static std::string frame()
    {
        const std::string mac = "\x02\x11\x22\xaa\xbb\xcc";
        std::string text = std::string(6, '\xff') + mac + "\x08\x42" + std::string(6, '\xff');
        for (int i = 0; i < 16; ++i)
            text += mac;
        return text;
    }

    static std::string failure(const std::vector<std::string> &words)
    {
        const Result result = kavonet(words);
        EXPECT_EQ(1, result.status);
        EXPECT_EQ("", result.out);
        return result.err;
    }
};

} // namespace

TEST_F(WakeCommand, SendsOneFrameThroughTheInterface)
{
    const auto wire = capture("eth0p");
    const Result result = kavonet({"wake", MAC, "eth0"});
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("wake-on-LAN frame for 02:11:22:aa:bb:cc sent on eth0\n", result.out);
    EXPECT_EQ("", result.err);
    EXPECT_EQ(frame(), next_frame(wire));
    EXPECT_EQ("", next_frame(wire, A_MOMENT));
}

TEST_F(WakeCommand, TakesTheUsualWaysToWriteAnAddress)
{
    const auto wire = capture("eth0p");
    for (const char *mac : {"02:11:22:AA:bb:CC", "02-11-22-aa-bb-cc", "021122aabbcc", "021122AABBCC"}) {
        EXPECT_EQ(mac, Json(kavonet({"wake", mac, "eth0", "--json"}).out)["mac"].text());
        EXPECT_EQ(frame(), next_frame(wire)) << mac;
    }
}

TEST_F(WakeCommand, SendsThroughEveryInterfaceThatCan)
{
    add_card("eth1");
    add_card("eth2", "", false);
    shell("ip link set lo up; until grep -q up /sys/class/net/eth1/operstate; do sleep 0.01; done");
    const auto wire0 = capture("eth0p");
    const auto wire1 = capture("eth1p");
    const Json sent(kavonet({"wake", MAC, "--json"}).out);
    EXPECT_EQ(MAC, sent["mac"].text());
    std::vector<std::string> names;
    for (size_t i = 0; i < sent["interfaces"].size(); ++i)
        names.push_back(sent["interfaces"][static_cast<int>(i)].text());
    EXPECT_THAT(names, UnorderedElementsAre("eth0", "eth0p", "eth1", "eth1p")) << "those that are up, no loopback";
    EXPECT_EQ(frame(), next_frame(wire0));
    EXPECT_EQ(frame(), next_frame(wire1));
    EXPECT_THAT(kavonet({"wake", MAC}).out,
                testing::MatchesRegex("wake-on-LAN frame for 02:11:22:aa:bb:cc sent on (eth[01]p?, ){3}eth[01]p?\n"));
}

TEST_F(WakeCommand, TellsWhyNothingCanBeSent)
{
    const auto wire = capture("eth0p");
    const std::string what = "kavonet: cannot wake 02:11:22:aa:bb:cc through ";
    EXPECT_THAT(failure({"wake", MAC, "eth7"}), HasSubstr(what + "eth7: there is no interface of that name"));
    EXPECT_EQ(what + "lo: it is no Ethernet interface\n"
                     "  what to do: kavonet if list --kind usable lists the interfaces that can be used\n",
              failure({"wake", MAC, "lo"}));
    shell("ip link set eth0p down; until grep -q down /sys/class/net/eth0/operstate; do sleep 0.01; done");
    EXPECT_EQ(what + "eth0: it has no link\n  what to do: check the cable and what it is plugged into\n",
              failure({"wake", MAC, "eth0"}));
    shell("ip link set eth0 down");
    EXPECT_EQ(what + "eth0: it is down\n  what to do: bring it up first: kavonet if up eth0\n",
              failure({"wake", MAC, "eth0"}));
    EXPECT_EQ("kavonet: cannot wake 02:11:22:aa:bb:cc: no interface is up and has a link\n"
              "  what to do: kavonet if list shows the interfaces\n",
              failure({"wake", MAC}));
    EXPECT_EQ("it is down", Json(failure({"wake", MAC, "eth0", "--json"}))["error"]["reason"].text());
    EXPECT_EQ("", next_frame(wire, A_MOMENT));
}

TEST_F(WakeCommand, NeverTakesAnotherInterfaceOfALikeName)
{
    add_card("abcdefghijklm");
    shell("ip link add abcdefghijklmn type veth peer name other; ip link set abcdefghijklmn up; ip link set other up; "
          "until grep -q up /sys/class/net/abcdefghijklmn/operstate; do sleep 0.01; done");
    const auto wire = capture("abcdefghijklmp");
    EXPECT_THAT(failure({"wake", MAC, "abcdefghijklmn"}), HasSubstr("its name is longer than 13 characters"));
    EXPECT_EQ("", next_frame(wire, A_MOMENT));
    EXPECT_EQ(0, kavonet({"wake", MAC, "abcdefghijklm"}).status);
    EXPECT_EQ(frame(), next_frame(wire));
}

TEST_F(WakeCommand, WhoIsNotRootIsTold)
{
    const Result result = kavonet({"wake", MAC, "eth0"}, {.user = 65534});
    if (result.status == 125)
        GTEST_SKIP() << "no other user here";
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(result.err,
                testing::MatchesRegex("kavonet: cannot wake 02:11:22:aa:bb:cc through eth0: [^\n]*0x0900, "
                                      "net_ether_wake\\.cpp:[0-9]+\\)\n  what to do: run it as root[^\n]*\n"));
}

} // namespace cli_test
