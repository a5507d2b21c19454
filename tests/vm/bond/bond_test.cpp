// Bonds made, changed and taken apart for real: the library, the appliance's network script, the bonding driver, and a far
// end in a network of its own that is a switch or a bond itself.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "kavonetsdk/kavonetsdk.h"
#include "support/commands.h"
#include "support/read_back.h"

using support::output_of;
using support::read_file;
using support::shell;
using support::succeeds;
using support::write_file;
using testing::ElementsAre;

namespace {

constexpr char SCRIPTS[] = "/etc/sysconfig/network-scripts/";
constexpr char FAR[] = "10.8.0.2";
constexpr char HEARD[] = "/run/heard";

bool comes_true(const std::function<bool()> &condition, int seconds = 120)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return true;
}

// Sends back what it is sent, in the network "far".
class FarEcho {
public:
    FarEcho()
    {
        child_ = fork();
        if (child_ == 0)
            answer();
    }
    FarEcho(const FarEcho &) = delete;
    FarEcho &operator=(const FarEcho &) = delete;
    ~FarEcho()
    {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }

    static sockaddr_in address(const char *host)
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(7);
        inet_pton(AF_INET, host, &address.sin_addr);
        return address;
    }

private:
    [[noreturn]] static void answer()
    {
        const sockaddr_in any = address("0.0.0.0");
        if (setns(open("/run/netns/far", O_RDONLY | O_CLOEXEC), CLONE_NEWNET) != 0)
            _exit(1);
        const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        if (bind(fd, reinterpret_cast<const sockaddr *>(&any), sizeof any) != 0)
            _exit(2);
        for (;;) {
            int number = 0;
            sockaddr_in from = {};
            socklen_t size = sizeof from;
            if (recvfrom(fd, &number, sizeof number, 0, reinterpret_cast<sockaddr *>(&from), &size) == sizeof number)
                sendto(fd, &number, sizeof number, 0, reinterpret_cast<sockaddr *>(&from), size);
        }
    }

    pid_t child_;
};

// Sends so many numbers to the far end, one every 200 ms, and counts those that come back until two seconds after the last:
// what counts is that none is lost, not how soon a busy machine answers.
int echoes(int count)
{
    using Clock = std::chrono::steady_clock;
    const sockaddr_in far = FarEcho::address(FAR);
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    std::set<int> answered;
    const auto collect_until = [&](Clock::time_point end) {
        while (static_cast<int>(answered.size()) < count && Clock::now() < end) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
            pollfd waiting = {fd, POLLIN, 0};
            int back = 0;
            if (poll(&waiting, 1, static_cast<int>(std::max<decltype(left)>(left, 0))) > 0 &&
                recv(fd, &back, sizeof back, 0) == sizeof back)
                answered.insert(back);
        }
    };
    for (int number = 1; number <= count; ++number) {
        const auto next = Clock::now() + std::chrono::milliseconds(200);
        sendto(fd, &number, sizeof number, 0, reinterpret_cast<const sockaddr *>(&far), sizeof far);
        collect_until(next);
    }
    collect_until(Clock::now() + std::chrono::seconds(2));
    close(fd);
    return static_cast<int>(answered.size());
}

struct Mode {
    int mode;
    const char *kernel;
    bool far_bond; // the far end must be a bond of the same mode; any switch will do for the others
};

constexpr Mode MODES[] = {{1, "balance-alb", false},
                          {2, "802.3ad", true},
                          {3, "balance-xor", true},
                          {4, "active-backup", false},
                          {5, "balance-rr", true}};

// eth80 (10.8.0.1/24) and eth81 (10.8.1.1/24), whose cables end in the network "far".
class Bond : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        const std::string root = KAVO_SOURCE_DIR "/appliance/root";
        for (const std::string program : {"/etc/rc.network", "/usr/kavo/sbin/kavostoragecore"}) {
            write_file(program, read_file(root + program), 0755);
            ASSERT_EQ(0, chmod(program.c_str(), 0755));
        }
        write_file(
            "/usr/kavo/etc/plugins/net/ifname_change/50-recorder",
            std::string("#!/bin/sh\nenv | sed -n 's/^KAVO_ARG_//p' | sort | tr '\\n' ' ' | sed \"s/^/$1 /\" >>") +
                HEARD + "\necho >>" + HEARD + "\n",
            0755);
        shell("[ -e /run/netns/far ] || ip netns add far; ip -n far link set lo up");
    }

    void SetUp() override
    {
        far_end_ = "";
        for (const char *port : {"0", "1"})
            shell(std::string("ip link add eth8") + port + " type veth peer name far8" + port +
                  " netns far; ip link set eth8" + port + " up; ip -n far link set far8" + port + " up");
        shell("ip address add 10.8.0.1/24 dev eth80; ip address add 10.8.1.1/24 dev eth81");
        write_file(file("eth80"), ETH80);
        write_file(file("eth81"), ETH81);
        unlink(HEARD);
    }

    void TearDown() override
    {
        clear_far_end();
        (void)succeeds("ip link del bond8");
        for (const char *port : {"eth80", "eth81"})
            (void)succeeds(std::string("ip link del ") + port);
        shell(std::string("rm -f ") + SCRIPTS + "*");
    }

    static std::string file(const std::string &name) { return std::string(SCRIPTS) + "ifcfg-" + name; }

    static KAVOLINKAGGROPT record(int mode)
    {
        KAVOLINKAGGROPT bond = {};
        strcpy(bond.szIfname, "bond8");
        bond.mode = mode;
        bond.nSlave = 2;
        strcpy(bond.szSlave[0], "eth80");
        strcpy(bond.szSlave[1], "eth81");
        return bond;
    }

    static int set(int mode)
    {
        KAVOLINKAGGROPT bond = record(mode);
        return KAVONetLinkAggrSet(&bond);
    }

    // What the far ends of the cables are joined by.
    void far_switch() { make_far_end("type bridge"); }
    void far_bond(const std::string &mode) { make_far_end("type bond miimon 100 mode " + mode); }

    void clear_far_end()
    {
        if (!far_end_.empty())
            shell("ip -n far link del joined");
        far_end_ = "";
    }

    static bool reaches_far_end() { return echoes(1) == 1; }

    static std::string address_of(const std::string &name)
    {
        return output_of("ip -4 -o address show dev " + name + " | awk '{printf \"%s\", $4}'");
    }

    static std::string member_state(const std::string &name)
    {
        return read_file("/sys/class/net/" + name + "/bonding_slave/mii_status");
    }

    static std::vector<std::string> bonds()
    {
        PKLIBSZLIST list = KLIBCSzListAlloc(0);
        const int known = KAVONetLinkAggrEnum(&list);
        std::vector<std::string> names;
        for (int i = 0; i < list->nItem; ++i)
            names.emplace_back(KLIBCSzListGet(list, i));
        KLIBCSzListFree(list);
        EXPECT_EQ(static_cast<int>(names.size()), known);
        return names;
    }

    static void expect_bond(int mode)
    {
        KAVOLINKAGGROPT now;
        ASSERT_EQ(0, KAVONetLinkAggrGet("bond8", &now));
        EXPECT_EQ(mode, now.mode);
        EXPECT_EQ(2, now.nSlave);
        EXPECT_STREQ("eth80", now.szSlave[0]);
        EXPECT_STREQ("eth81", now.szSlave[1]);
        EXPECT_THAT(bonds(), ElementsAre("bond8"));
        EXPECT_EQ("10.8.0.1/24", address_of("bond8"));
        EXPECT_EQ("", address_of("eth80"));
        EXPECT_EQ("", address_of("eth81"));
    }

    static void expect_ports()
    {
        EXPECT_NE(0, access("/sys/class/net/bond8", F_OK));
        EXPECT_THAT(bonds(), testing::IsEmpty());
        EXPECT_EQ("10.8.0.1/24", address_of("eth80"));
        EXPECT_EQ("10.8.1.1/24", address_of("eth81"));
        EXPECT_EQ(1, KAVONetIsIFUp("eth80"));
        EXPECT_EQ(1, KAVONetIsIFUp("eth81"));
        EXPECT_NE(0, access(file("bond8").c_str(), F_OK));
    }

    // Echoes are sent all the time while a cable is pulled; most of them must be answered.
    static void expect_traffic_while_a_member_goes_down()
    {
        constexpr int SENT = 30;
        constexpr int ANSWERED = 20;
        int answered = 0;
        std::thread traffic([&] { answered = echoes(SENT); });
        std::this_thread::sleep_for(std::chrono::seconds(2));
        EXPECT_TRUE(succeeds("ip -n far link set far80 down"));
        EXPECT_TRUE(comes_true([] { return member_state("eth80") == "down\n"; }));
        traffic.join();
        EXPECT_GE(answered, ANSWERED);
        EXPECT_TRUE(comes_true(reaches_far_end)) << "over the member that is left";
        shell("ip -n far link set far80 up");
        EXPECT_TRUE(comes_true([] { return member_state("eth80") == "up\n"; }));
    }

    static constexpr char ETH80[] =
        "DEVICE=eth80\nONBOOT=yes\nBOOTPROTO=static\nIPADDR=10.8.0.1\nNETMASK=255.255.255.0\n";
    static constexpr char ETH81[] =
        "DEVICE=eth81\nONBOOT=yes\nBOOTPROTO=static\nIPADDR=10.8.1.1\nNETMASK=255.255.255.0\n";

private:
    void make_far_end(const std::string &type)
    {
        clear_far_end();
        far_end_ = type;
        shell("ip -n far link add joined " + type +
              "; for p in far80 far81; do ip -n far link set $p down; ip -n far link set $p master joined;"
              " ip -n far link set $p up; done; ip -n far link set joined up;"
              "ip -n far address add 10.8.0.2/24 dev joined");
    }

    std::string far_end_;
    FarEcho echo_;
};

// Created, used while a member goes down, and taken apart.
class BondInMode : public Bond, public testing::WithParamInterface<Mode> {};

TEST_P(BondInMode, CarriesTrafficWhileAMemberIsDown)
{
    const Mode &mode = GetParam();
    if (mode.far_bond)
        far_bond(mode.kernel);
    else
        far_switch();

    EXPECT_EQ(0, set(mode.mode));
    expect_bond(mode.mode);
    EXPECT_THAT(read_file("/sys/class/net/bond8/bonding/mode"), testing::StartsWith(mode.kernel));
    EXPECT_EQ("100\n", read_file("/sys/class/net/bond8/bonding/miimon"));
    EXPECT_EQ("100\n", read_file("/sys/class/net/bond8/bonding/updelay"));
    EXPECT_EQ(1, KAVONetIfIsBondingPassive("eth80"));
    EXPECT_EQ(1, KAVONetLinkAggrExist());
    EXPECT_THAT(support::lines_of(read_file(HEARD)),
                ElementsAre(testing::StartsWith("pre IFNAME_0=bond8 IFNAME_COUNT=1 ORIGIN_IFNAME_0=eth80 "
                                                "ORIGIN_IFNAME_1=eth81 ORIGIN_IFNAME_COUNT=2 RESULT=0"),
                            testing::StartsWith("post IFNAME_0=bond8 IFNAME_COUNT=1 ORIGIN_IFNAME_0=eth80 "
                                                "ORIGIN_IFNAME_1=eth81 ORIGIN_IFNAME_COUNT=2 RESULT=0")));

    ASSERT_TRUE(comes_true(reaches_far_end));
    EXPECT_TRUE(comes_true([] { return member_state("eth80") == "up\n" && member_state("eth81") == "up\n"; }));
    expect_traffic_while_a_member_goes_down();

    KAVOLINKAGGROPT bond = record(0);
    bond.nSlave = 0;
    memset(bond.szSlave, 0, sizeof bond.szSlave);
    EXPECT_EQ(0, KAVONetLinkAggrSet(&bond));
    EXPECT_EQ(2, bond.nSlave);
    expect_ports();
    EXPECT_EQ(ETH80, read_file(file("eth80")));
    EXPECT_EQ(ETH81, read_file(file("eth81")));
    EXPECT_THAT(support::lines_of(read_file(HEARD)),
                testing::Contains(testing::StartsWith("post IFNAME_0=eth80 IFNAME_1=eth81 IFNAME_COUNT=2 "
                                                      "ORIGIN_IFNAME_0=bond8 ORIGIN_IFNAME_COUNT=1 RESULT=0")));
}

INSTANTIATE_TEST_SUITE_P(Kernel, BondInMode, testing::ValuesIn(MODES), [](const auto &tested) {
    std::string name = tested.param.kernel;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return isalnum(static_cast<unsigned char>(c)) == 0; }, '_');
    return name;
});

TEST_F(Bond, GoesFromModeToModeWithoutAnEvent)
{
    far_switch();
    ASSERT_EQ(0, set(4));
    unlink(HEARD);
    for (const Mode &mode : MODES) {
        EXPECT_EQ(0, set(mode.mode)) << mode.kernel;
        expect_bond(mode.mode);
        EXPECT_THAT(read_file("/sys/class/net/bond8/bonding/mode"), testing::StartsWith(mode.kernel));
    }
    EXPECT_NE(0, access(HEARD, F_OK));
    // A record that is read and written back changes nothing: the bond is not even touched.
    KAVOLINKAGGROPT same;
    const std::string index = read_file("/sys/class/net/bond8/ifindex");
    ASSERT_EQ(0, KAVONetLinkAggrGet("bond8", &same));
    EXPECT_EQ(0, KAVONetLinkAggrSet(&same));
    EXPECT_EQ(index, read_file("/sys/class/net/bond8/ifindex"));
}

TEST_F(Bond, SeesItsPartner)
{
    const auto has_partner = [] {
        KAVOLINKAGGROPT bond;
        EXPECT_EQ(0, KAVONetLinkAggrGet("bond8", &bond));
        return bond.blNoPartner == 0;
    };
    far_switch(); // which speaks no LACP
    ASSERT_EQ(0, set(2));
    std::this_thread::sleep_for(std::chrono::seconds(4));
    EXPECT_FALSE(has_partner());
    far_bond("802.3ad");
    EXPECT_TRUE(comes_true(has_partner));
    EXPECT_TRUE(comes_true(reaches_far_end));
    // With the partner gone, the driver forgets it after three fast periods.
    clear_far_end();
    EXPECT_TRUE(comes_true([&] { return !has_partner(); }));
}

TEST_F(Bond, ComesUpAgainAtTheNextStart)
{
    far_switch();
    ASSERT_EQ(0, set(4));
    shell("ip link del bond8; for p in eth80 eth81; do ip link set $p down; ip address flush dev $p; done");
    shell("/etc/rc.network start");
    expect_bond(4);
    EXPECT_TRUE(comes_true(reaches_far_end));
}

TEST_F(Bond, ACreationThatFailsBringsTheOldConfigurationUpAgain)
{
    shell(std::string("rm ") + file("eth81") + "; mkdir " + file("eth81")); // no file that could be written
    EXPECT_EQ(-1, set(4));
    EXPECT_NE(0, access("/sys/class/net/bond8", F_OK));
    EXPECT_EQ("10.8.0.1/24", address_of("eth80"));
    EXPECT_EQ(ETH80, read_file(file("eth80")));
    EXPECT_NE(0, access(file("bond8").c_str(), F_OK));
    shell("rmdir " + file("eth81"));
}

TEST_F(Bond, TheCommandDoesItAll)
{
    const std::string kavonet = KAVO_BUILD_DIR "/bin/kavonet";
    if (access(kavonet.c_str(), X_OK) != 0)
        GTEST_SKIP() << "the command is not built";
    far_bond("802.3ad");
    EXPECT_EQ("bond8: no bond -> active-backup of eth80, eth81\n",
              output_of(kavonet + " bond create bond8 active-backup eth80 eth81 2>&1"));
    EXPECT_EQ("bond8: active-backup of eth80, eth81 -> 802.3ad of eth80, eth81\n",
              output_of(kavonet + " bond modify bond8 --mode 802.3ad 2>&1"));
    EXPECT_TRUE(comes_true([&] {
        return output_of(kavonet + " bond list --json") ==
               "[{\"name\":\"bond8\",\"mode\":\"802.3ad\",\"partner\":true,\"members\":[\"eth80\",\"eth81\"]}]\n";
    }));
    EXPECT_EQ("bond8: 802.3ad of eth80, eth81 -> no bond\n", output_of(kavonet + " bond delete bond8 2>&1"));
    expect_ports();
}

} // namespace
