// What is applied at the start of a machine, on real bonds, bridges and VLANs. The tests of class Boot run in two machines,
// one after the other: the second finds the files that the first has left, and a kernel that knows nothing of it.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kavonetsdk/kavonetsdk.h"
#include "support/read_back.h"

using support::read_file;
using support::write_file;

namespace {

const std::string FOLDER = "/etc/sysconfig/network-scripts/ifcfg-";

void run(const std::string &command)
{
    EXPECT_EQ(0, system(command.c_str())) << command; // NOLINT(cert-env33-c,concurrency-mt-unsafe): one thread
}

std::string accept_ra(const std::string &name)
{
    return read_file("/proc/sys/net/ipv6/conf/" + name + "/accept_ra");
}

void add_card(const std::string &name)
{
    run("ip link add " + name + " type veth peer name " + name + "p && ip link set " + name + " up && ip link set " +
        name + "p up");
}

class Ipv6Start : public testing::Test {
protected:
    void SetUp() override { run("rm -rf /etc/sysconfig && mkdir -p /etc/sysconfig/network-scripts /etc.defaults"); }
};

TEST_F(Ipv6Start, MastersListenAndMembersAreLeftAlone)
{
    for (const char *name : {"eth0", "eth1", "eth2"})
        add_card(name);
    run("ip link set eth1 down && ip link add bond0 type bond mode active-backup && ip link set eth1 master bond0 && "
        "ip "
        "link set bond0 up");
    run("ip link add br0 type bridge && ip link set eth2 master br0 && ip link set br0 up");
    run("ip link add link eth0 name eth0.5 type vlan id 5 && ip link set eth0.5 up");
    for (const char *name : {"eth0", "eth1", "eth2", "bond0", "br0", "eth0.5", "lo"}) {
        write_file(FOLDER + name, "IPV6INIT=auto\n");
        write_file(std::string("/proc/sys/net/ipv6/conf/") + name + "/accept_ra", "1");
    }
    EXPECT_EQ(0, KAVONetIpv6Init());
    for (const char *name : {"eth0", "bond0", "br0", "eth0.5"})
        EXPECT_EQ("2\n", accept_ra(name)) << name;
    for (const char *name : {"eth1", "eth2", "lo"}) {
        EXPECT_EQ("1\n", accept_ra(name)) << name;
        EXPECT_EQ("IPV6INIT=auto\n", read_file(FOLDER + name)) << name;
    }
    run("ip link del eth0.5 && ip link del bond0 && ip link del br0");
    for (const char *name : {"eth0", "eth1", "eth2"})
        run(std::string("ip link del ") + name);
}

// ---- Across a start of the machine

struct Card {
    const char *name;
    int mode;
    const char *accept_ra; // what the kernel has after the start
};

constexpr Card CARDS[] = {
    {"eth0", KAVO_IPV6_AUTO, "2\n"}, {"eth1", KAVO_IPV6_STATIC, "0\n"}, {"eth2", KAVO_IPV6_OFF, "2\n"}};
constexpr char LINE_END = ';';
constexpr char FILE_END = '|';

// What the first machine hands over, in one line.
std::string kept_files()
{
    std::string all;
    for (const Card &card : CARDS) {
        all += read_file(FOLDER + card.name);
        all += FILE_END;
    }
    for (char &c : all)
        c = c == '\n' ? LINE_END : c;
    return all;
}

void restore_files(std::string all)
{
    for (char &c : all)
        c = c == LINE_END ? '\n' : c;
    size_t start = 0;
    for (const Card &card : CARDS) {
        const size_t end = all.find(FILE_END, start);
        ASSERT_NE(std::string::npos, end) << all;
        write_file(FOLDER + card.name, all.substr(start, end - start));
        start = end + 1;
    }
}

const char *handed_over()
{
    return getenv("KAVO_KEPT_FILES"); // NOLINT(concurrency-mt-unsafe): one thread
}

class Boot : public Ipv6Start {
protected:
    void SetUp() override
    {
        Ipv6Start::SetUp();
        for (const Card &card : CARDS)
            add_card(card.name);
    }
    void TearDown() override
    {
        for (const Card &card : CARDS)
            run(std::string("ip link del ") + card.name);
    }
};

TEST_F(Boot, First)
{
    for (const Card &card : CARDS) {
        write_file(FOLDER + card.name, std::string("DEVICE=") + card.name + "\n");
        ASSERT_EQ(0, KAVONetIPv6ConfSet(card.mode, card.name, "2001:db8::5", 64, nullptr)) << card.name;
    }
    EXPECT_EQ("2\n", accept_ra("eth0"));
    EXPECT_EQ("0\n", accept_ra("eth1"));
    printf("kept: %s\n", kept_files().c_str());
}

TEST_F(Boot, Second)
{
    if (handed_over() == nullptr)
        GTEST_SKIP() << "nothing was handed over by a first machine";
    restore_files(handed_over());
    for (const Card &card : CARDS)
        EXPECT_EQ("1\n", accept_ra(card.name)) << "the kernel knows nothing of the time before";
    ASSERT_EQ(0, KAVONetIpv6Init());
    for (const Card &card : CARDS) {
        EXPECT_EQ(card.accept_ra, accept_ra(card.name)) << card.name;
        int mode = -1;
        int prefix = 0;
        char address[46];
        EXPECT_EQ(1, KAVONetIPv6ConfGet(card.name, &mode, address, sizeof address, &prefix, nullptr, 0));
        EXPECT_EQ(card.mode, mode);
    }
}

} // namespace
