// VLANs made and taken away for real: the library and the command, the appliance's network script and tools, the 802.1Q and
// bonding drivers, and a far end in a network of its own, where the frames are looked at.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kavonetsdk/kavonetsdk.h"
#include "support/commands.h"
#include "support/read_back.h"

using support::all_output_of;
using support::read_file;
using support::shell;
using support::succeeds;
using support::write_file;
using testing::ElementsAre;

namespace {

constexpr char SCRIPTS[] = "/etc/sysconfig/network-scripts/";
constexpr char SETTINGS[] = "/etc/kavoinfo.conf";
constexpr char HEARD[] = "/run/heard";
constexpr int UNTAGGED = 0;

bool comes_true(const std::function<bool()> &condition, int seconds = 30)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return true;
}

// Looks at the IPv4 and ARP frames that come in at a card of the network "far".
class Tap {
public:
    explicit Tap(const char *card)
    {
        const int here = open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC);
        const int far = open("/run/netns/far", O_RDONLY | O_CLOEXEC);
        EXPECT_EQ(0, setns(far, CLONE_NEWNET));
        fd_ = socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, htons(ETH_P_ALL));
        sockaddr_ll address = {};
        address.sll_family = AF_PACKET;
        address.sll_protocol = htons(ETH_P_ALL);
        address.sll_ifindex = static_cast<int>(if_nametoindex(card));
        EXPECT_EQ(0, bind(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof address));
        const int yes = 1;
        EXPECT_EQ(0, setsockopt(fd_, SOL_PACKET, PACKET_AUXDATA, &yes, sizeof yes));
        EXPECT_EQ(0, setns(here, CLONE_NEWNET));
        close(far);
        close(here);
    }
    Tap(const Tap &) = delete;
    Tap &operator=(const Tap &) = delete;
    ~Tap() { close(fd_); }

    // The tags of the frames that came since the last call.
    std::set<int> tags()
    {
        std::set<int> found;
        for (int tag = next(); tag != NONE; tag = next()) {
            if (tag != OTHER)
                found.insert(tag);
        }
        return found;
    }

private:
    static constexpr int NONE = -1;
    static constexpr int OTHER = -2;

    int next() const
    {
        char frame[2048];
        char control[256];
        sockaddr_ll from = {};
        iovec data = {frame, sizeof frame};
        msghdr message = {};
        message.msg_name = &from;
        message.msg_namelen = sizeof from;
        message.msg_iov = &data;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        if (recvmsg(fd_, &message, 0) < 0)
            return NONE;
        const int protocol = ntohs(from.sll_protocol);
        if (from.sll_pkttype == PACKET_OUTGOING || (protocol != ETHERTYPE_IP && protocol != ETHERTYPE_ARP))
            return OTHER;
        // The kernel keeps a tag beside the frame.
        for (cmsghdr *part = CMSG_FIRSTHDR(&message); part != nullptr; part = CMSG_NXTHDR(&message, part)) {
            if (part->cmsg_level != SOL_PACKET || part->cmsg_type != PACKET_AUXDATA)
                continue;
            tpacket_auxdata beside = {};
            memcpy(&beside, CMSG_DATA(part), sizeof beside);
            return (beside.tp_status & TP_STATUS_VLAN_VALID) != 0 ? beside.tp_vlan_tci & 0xfff : UNTAGGED;
        }
        return UNTAGGED;
    }

    int fd_ = -1;
};

// eth60 (10.6.0.1/24, 2001:db8:6::1/64), whose cable ends in the network "far".
class Vlan : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        const std::string root = KAVO_SOURCE_DIR "/appliance/root";
        for (const std::string program : {"/etc/rc.network", "/usr/kavo/bin/kavofirewall", "/usr/kavo/bin/tctool"}) {
            write_file(program, read_file(root + program), 0755);
            ASSERT_EQ(0, chmod(program.c_str(), 0755));
        }
        write_file(
            "/usr/kavo/etc/plugins/net/ifname_change/50-recorder",
            std::string("#!/bin/sh\nenv | sed -n 's/^KAVO_ARG_//p' | sort | tr '\\n' ' ' | sed \"s/^/$1 /\" >>") +
                HEARD + "\necho >>" + HEARD + "\n",
            0755);
        shell("ip netns add far; ip -n far link set lo up");
    }

    void SetUp() override
    {
        shell("ip link add eth60 type veth peer name far60 netns far; ip link set eth60 up;"
              "ip -n far link set far60 up mtu 9000");
        write_file(file("eth60"), ETH60);
        write_file(SETTINGS, MTUS);
        shell("/etc/rc.network start eth60");
        unlink(HEARD);
    }

    void TearDown() override
    {
        for (const char *name : {"eth60", "bond6", "eth61", "eth62"})
            (void)succeeds(std::string("ip link del ") + name);
        (void)succeeds("ip -n far link del joined");
        shell(std::string("rm -rf ") + SCRIPTS + "* /etc/kavo/tc");
    }

    static std::string file(const std::string &name) { return std::string(SCRIPTS) + "ifcfg-" + name; }

    static KAVONETINFO address(const char *address)
    {
        KAVONETINFO info = {};
        info.blStatic = 1;
        strcpy(info.szAddr, address);
        strcpy(info.szMask, "255.255.255.0");
        return info;
    }

    static int create(const char *device, int id, const char *ip = "10.6.0.1")
    {
        const KAVONETINFO info = address(ip);
        return KLIBNetVlanCreate(device, id, &info);
    }

    // Gives the far end its address, behind a tag or without one.
    static void far_end(const std::string &card, int tag)
    {
        (void)succeeds("ip -n far address flush dev " + card + "; ip -n far link del tagged");
        const std::string name = tag == UNTAGGED ? card : "tagged";
        if (tag != UNTAGGED)
            shell("ip -n far link add link " + card + " name tagged type vlan id " + std::to_string(tag));
        shell("ip -n far link set " + name + " up; ip -n far address add 10.6.0.2/24 dev " + name);
    }

    static bool reaches_far_end() { return succeeds("busybox ping -c 1 -W 2 10.6.0.2"); }

    static std::string address_of(const std::string &name, int family = 4)
    {
        return all_output_of("ip -" + std::to_string(family) + " -o address show dev " + name +
                             " scope global | awk '{printf \"%s\", $4}'");
    }
    static std::string mtu_of(const std::string &name) { return read_file("/sys/class/net/" + name + "/mtu"); }
    static bool is_there(const std::string &name) { return if_nametoindex(name.c_str()) != 0; }

    // "name/device/id" of each.
    static std::vector<std::string> listed()
    {
        KLIBNETVLANINFO *vlans = nullptr;
        int32_t count = 0;
        EXPECT_EQ(0, KLIBNetVlanEnum(&vlans, &count));
        std::vector<std::string> found;
        for (int i = 0; i < count; ++i)
            found.push_back(std::string(vlans[i].szIfname) + "/" + vlans[i].szRowDev + "/" +
                            std::to_string(vlans[i].vlanId));
        free(vlans);
        return found;
    }

    static std::string told(const std::string &phase, const std::string &from, const std::string &to)
    {
        return phase + " IFNAME_0=" + to + " IFNAME_COUNT=1 ORIGIN_IFNAME_0=" + from +
               " ORIGIN_IFNAME_COUNT=1 RESULT=0 ";
    }
    static std::vector<std::string> heard() { return support::lines_of(read_file(HEARD)); }

    static constexpr char ETH60[] =
        "DEVICE=eth60\nONBOOT=yes\nBOOTPROTO=static\nIPADDR=10.6.0.1\nNETMASK=255.255.255.0\n"
        "IPV6INIT=static\nIPV6ADDR=2001:db8:6::1\nIPV6PREFIXLENG=64\n";
    static constexpr char MTUS[] = "eth60_mtu=\"4000\"\n";
};

TEST_F(Vlan, OnAPortItTakesTheAddressesAndGivesThemBack)
{
    Tap tap("far60");
    far_end("far60", UNTAGGED);
    ASSERT_TRUE(comes_true(reaches_far_end));
    EXPECT_THAT(tap.tags(), ElementsAre(UNTAGGED));
    write_file("/etc/kavo/tc/eth60", "qdisc replace dev eth60 root pfifo limit 77\n");

    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(0, create("eth60", 100));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
    EXPECT_EQ("10.6.0.1/24", address_of("eth60.100"));
    EXPECT_EQ("2001:db8:6::1/64", address_of("eth60.100", 6));
    EXPECT_EQ("", address_of("eth60"));
    EXPECT_EQ("", address_of("eth60", 6));
    EXPECT_EQ("4000\n", mtu_of("eth60.100"));
    EXPECT_EQ("eth60_mtu=\"4000\"\neth60.100_mtu=\"4000\"\n", read_file(SETTINGS));
    EXPECT_THAT(heard(), ElementsAre(told("pre", "eth60", "eth60.100"), told("post", "eth60", "eth60.100")));
    EXPECT_THAT(all_output_of("tc qdisc show dev eth60.100"), testing::HasSubstr("pfifo"))
        << "traffic control moves along";
    EXPECT_EQ(1, KLIBNetVlanExist());
    EXPECT_THAT(listed(), ElementsAre("eth60.100/eth60/100"));
    KLIBNETVLANINFO vlan;
    EXPECT_EQ(1, KLIBNetVlanGetByRowDev("eth60", 100, &vlan));
    EXPECT_EQ(0, KLIBNetVlanGetByRowDev("eth60", 10, &vlan));
    EXPECT_EQ(0, KLIBNetVlanGet("eth60", &vlan));

    (void)tap.tags();
    far_end("far60", 100);
    ASSERT_TRUE(comes_true(reaches_far_end));
    EXPECT_THAT(tap.tags(), ElementsAre(100)) << "every frame carries the tag";

    EXPECT_EQ(-1, create("eth60", 100));
    EXPECT_EQ(unsigned{NET_ERR_ALREADY_EXISTS}, KLIBCErrGet());
    EXPECT_EQ(-1, create("eth60", 200));
    EXPECT_EQ(unsigned{NET_ERR_ALREADY_EXISTS}, KLIBCErrGet());
    EXPECT_EQ(-1, create("eth60.100", 200));
    EXPECT_EQ(unsigned{NET_ERR_BAD_PARAMETER}, KLIBCErrGet());
    EXPECT_EQ(-1, KLIBNetVlanRemove("eth60"));

    unlink(HEARD);
    EXPECT_EQ(0, KLIBNetVlanRemove("eth60.100"));
    EXPECT_FALSE(is_there("eth60.100"));
    EXPECT_EQ("10.6.0.1/24", address_of("eth60"));
    EXPECT_EQ("2001:db8:6::1/64", address_of("eth60", 6));
    EXPECT_EQ(ETH60, read_file(file("eth60")));
    EXPECT_NE(0, access(file("eth60.100").c_str(), F_OK));
    EXPECT_EQ(MTUS, read_file(SETTINGS));
    EXPECT_THAT(heard(), ElementsAre(told("pre", "eth60.100", "eth60"), told("post", "eth60.100", "eth60")));
    EXPECT_THAT(listed(), testing::IsEmpty());

    (void)tap.tags();
    far_end("far60", UNTAGGED);
    ASSERT_TRUE(comes_true(reaches_far_end));
    EXPECT_THAT(tap.tags(), ElementsAre(UNTAGGED));
}

TEST_F(Vlan, OnABondItsFramesAreTaggedToo)
{
    for (const char *port : {"1", "2"}) {
        shell(std::string("ip link add eth6") + port + " type veth peer name far6" + port + " netns far");
        write_file(file(std::string("eth6") + port),
                   std::string("DEVICE=eth6") + port + "\nMASTER=bond6\nSLAVE=yes\nBOOTPROTO=none\n");
    }
    shell("ip -n far link add joined type bridge; for p in far61 far62; do ip -n far link set $p master joined;"
          " ip -n far link set $p up; done; ip -n far link set joined up");
    shell("ip link del eth60; rm /etc/sysconfig/network-scripts/ifcfg-eth60");
    const std::string bond = "DEVICE=bond6\nONBOOT=yes\nBONDING_OPTS=\"mode=1 miimon=100\"\nBOOTPROTO=static\n"
                             "IPADDR=10.6.0.1\nNETMASK=255.255.255.0\n";
    write_file(file("bond6"), bond);
    shell("/etc/rc.network start bond6");
    Tap tap("joined");
    far_end("joined", UNTAGGED);
    ASSERT_TRUE(comes_true(reaches_far_end));

    EXPECT_EQ(0, create("bond6", 7));
    EXPECT_EQ("10.6.0.1/24", address_of("bond6.7"));
    EXPECT_EQ("", address_of("bond6"));
    EXPECT_THAT(listed(), ElementsAre("bond6.7/bond6/7"));
    EXPECT_EQ(1, KAVONetIfIsBondingPassive("eth61"));
    (void)tap.tags();
    far_end("joined", 7);
    ASSERT_TRUE(comes_true(reaches_far_end));
    EXPECT_THAT(tap.tags(), ElementsAre(7));

    EXPECT_EQ(0, KLIBNetVlanRemove("bond6.7"));
    EXPECT_FALSE(is_there("bond6.7"));
    EXPECT_EQ("10.6.0.1/24", address_of("bond6"));
    EXPECT_EQ(1, KAVONetIfIsBondingPassive("eth62"));
    far_end("joined", UNTAGGED);
    ASSERT_TRUE(comes_true(reaches_far_end));
}

TEST_F(Vlan, TheCommandMakesShowsAndTakesAwayWhatAStartOfTheNetworkFindsAgain)
{
    const std::string kavonet = std::string(KAVO_BUILD_DIR) + "/bin/kavonet vlan ";
    EXPECT_EQ("eth60.100: no VLAN -> VLAN 100 of eth60, static 10.6.0.9/24\n",
              all_output_of(kavonet + "create eth60 100 --static 10.6.0.9/24"));
    const std::string row = read_file(file("eth60"));
    const std::string vlan = read_file(file("eth60.100"));
    // What the kernel knows is lost with the machine's power.
    shell("ip link del eth60; ip link add eth60 type veth peer name far60 netns far;"
          " ip -n far link set far60 up mtu 9000");
    shell("/etc/rc.network start");
    EXPECT_EQ("10.6.0.9/24", address_of("eth60.100"));
    EXPECT_EQ("", address_of("eth60"));
    EXPECT_EQ("4000\n", mtu_of("eth60.100"));
    EXPECT_THAT(listed(), ElementsAre("eth60.100/eth60/100"));
    EXPECT_EQ(row, read_file(file("eth60")));
    EXPECT_EQ(vlan, read_file(file("eth60.100")));
    EXPECT_THAT(all_output_of(kavonet + "list"), testing::ContainsRegex("\neth60.100 +eth60 +100 +up +10.6.0.9/24\n"));
    const std::string list = all_output_of(kavonet + "list --json");
    EXPECT_THAT(list, testing::StartsWith("[{\"name\":\"eth60.100\",\"up\":true,"));
    EXPECT_THAT(list, testing::EndsWith("\"device\":\"eth60\",\"id\":100}]\n"));
    EXPECT_THAT(all_output_of(kavonet + "show eth60.100"),
                testing::ContainsRegex("\neth60.100 +eth60 +100 +up +static 10.6.0.9/24 +10.6.0.9/24\n"));
    EXPECT_THAT(all_output_of(kavonet + "show eth60.100 --json"),
                testing::HasSubstr("\"device\":\"eth60\",\"id\":100,\"configured\":{\"method\":\"static\","));
    EXPECT_EQ(
        "kavonet: cannot create the VLAN 200 on eth60: eth60 carries the VLAN eth60.100 already, and can carry one "
        "only\n  what to do: kavonet vlan delete eth60.100 takes it away\n",
        all_output_of(kavonet + "create eth60 200"));
    EXPECT_EQ("kavonet: cannot create the VLAN 200 on eth60.100: eth60.100 is a VLAN itself\n"
              "  what to do: give the device underneath, eth60\n",
              all_output_of(kavonet + "create eth60.100 200"));
    const std::string gone = all_output_of(kavonet + "delete eth60.100 --json");
    EXPECT_THAT(gone,
                testing::StartsWith("{\"name\":\"eth60.100\",\"action\":\"delete\",\"before\":{\"device\":\"eth60\","));
    EXPECT_THAT(gone, testing::EndsWith("},\"after\":null}\n"));
    EXPECT_EQ("10.6.0.9/24", address_of("eth60"));
}

// ---- How long listings take

double best_seconds(const std::function<void()> &action)
{
    constexpr int TRIES = 7;
    double best = 1e9;
    for (int i = 0; i < TRIES; ++i) {
        const auto begin = std::chrono::steady_clock::now();
        action();
        best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
    }
    return best;
}

void add_vlans(int from, int to)
{
    std::string batch;
    for (int id = from; id <= to; ++id)
        batch += "link add link many" + std::to_string(id % 8) + " name many" + std::to_string(id % 8) + "." +
                 std::to_string(id) + " type vlan id " + std::to_string(id) + "\n";
    write_file("/run/batch", batch);
    shell("ip -batch /run/batch");
}

// The times are for the reader: an emulated machine promises none.
TEST_F(Vlan, ManyVlansAreListed)
{
    constexpr int FEW = 64;
    constexpr int MANY = 256;
    for (int i = 0; i < 8; ++i)
        shell("ip link add many" + std::to_string(i) + " type bond");
    const auto enumerate = [](size_t count) { return best_seconds([count] { EXPECT_EQ(count, listed().size()); }); };
    const auto bare_read = [] {
        return best_seconds([] { EXPECT_THAT(read_file("/proc/net/vlan/config"), testing::HasSubstr("many0")); });
    };
    const auto command = [] {
        return best_seconds([] { EXPECT_TRUE(succeeds(KAVO_BUILD_DIR "/bin/kavonet vlan list --json")); });
    };
    const auto other = [] { return best_seconds([] { EXPECT_TRUE(succeeds("ip -j link")); }); };
    add_vlans(1, FEW);
    const double few = enumerate(FEW);
    const double few_read = bare_read();
    add_vlans(FEW + 1, MANY);
    const double many = enumerate(MANY);
    const double many_read = bare_read();
    const double command_all = command();
    const double ip = other();
    printf("%d VLANs over 8 bonds: array %.2f ms, bare read of the kernel's list %.2f ms; %d: %.2f ms, %.2f ms\n", FEW,
           few * 1e3, few_read * 1e3, MANY, many * 1e3, many_read * 1e3);
    printf("%d: kavonet vlan list %.1f ms, ip -j link %.1f ms; ratio %.2f\n", MANY, command_all * 1e3, ip * 1e3,
           command_all / ip);
    for (int i = 0; i < 8; ++i)
        shell("ip link del many" + std::to_string(i));
}

} // namespace
