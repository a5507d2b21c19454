// Address conflicts for real: another host on the network of eth0 answers ARP, or has left.
#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "kavo/core.h"
#include "kavonetsdk/kavonetsdk.h"
#include "support/commands.h"
#include "support/read_back.h"

using support::run;
using support::shell;
using support::wait_for;
using support::write_file;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr char SETTINGS[] = "/etc/kavoinfo.conf";
constexpr int FOUND = 3; // the command's exit status

std::vector<std::string> told;

void tell(const char *name, const char *address)
{
    told.push_back(std::string(name) + " " + address);
}

// eth0 with 10.77.0.20, eth1 with 10.77.0.21, both on the network of the lab, and a third machine "neighbour" on it.
class Conflict : public testing::Test {
protected:
    void SetUp() override
    {
        told.clear();
        settings_ = support::read_file(SETTINGS);
        shell("ip link set eth0 up; ip link set eth1 up; ip address add 10.77.0.20/24 dev eth0;"
              "ip address add 10.77.0.21/24 dev eth1;"
              "ip netns add neighbour; ip -n lan link add port9 type veth peer name nic netns neighbour;"
              "ip -n lan link set port9 master lan0 up; ip -n neighbour link set nic address 02:00:00:99:00:01 up");
        ASSERT_TRUE(
            wait_for([] { return is_plugged_in("port0") && is_plugged_in("port1") && is_plugged_in("port9"); }));
    }

    // Every test finds the lab as it was started.
    void TearDown() override
    {
        write_file(SETTINGS, settings_);
        run("ip -n lan link del port9; ip netns del neighbour; ip address del 10.77.0.30/32 dev lo;"
            "echo 0 >/proc/sys/net/ipv4/conf/all/arp_ignore");
        run("ip address flush dev eth0; ip address flush dev eth1; ip link set eth0 down; ip link set eth1 down");
    }

    static void neighbour_has(const std::string &address)
    {
        shell("ip -n neighbour address add " + address + "/24 dev nic");
    }

    static void neighbour_leaves() { shell("ip -n neighbour link set nic down"); }

    struct Lists {
        PKLIBSZLIST names = KLIBCSzListAlloc(4);
        PKLIBSZLIST addresses = KLIBCSzListAlloc(4);
        Lists(std::initializer_list<std::pair<const char *, const char *>> pairs)
        {
            for (const auto &[name, address] : pairs) {
                KLIBCSzListPush(&names, name);
                KLIBCSzListPush(&addresses, address);
            }
        }
        ~Lists()
        {
            KLIBCSzListFree(names);
            KLIBCSzListFree(addresses);
        }
        Lists(const Lists &) = delete;
        Lists &operator=(const Lists &) = delete;
    };

private:
    static bool is_plugged_in(const std::string &port)
    {
        return run("ip -n lan -d link show dev " + port).output.find("state forwarding") != std::string::npos;
    }

    std::string settings_;
};

TEST_F(Conflict, IsFoundUntilTheOtherHostLeaves)
{
    neighbour_has("10.77.0.50");
    EXPECT_EQ(1, KAVOIIpConflict("eth0", "10.77.0.50")) << run("journalctl -n 20 --no-pager").output;
    EXPECT_EQ(1, KAVOIIpConflict("eth1", "10.77.0.50"));
    EXPECT_EQ(0, KAVOIIpConflict("eth0", "10.77.0.51")) << "nobody has this one";
    neighbour_leaves();
    EXPECT_EQ(0, KAVOIIpConflict("eth0", "10.77.0.50"));
}

TEST_F(Conflict, OwnPortsAreNoOtherHost)
{
    // Each port answers for the addresses of both.
    EXPECT_EQ(1, run("/usr/bin/arping -D -q -w 3 -c 3 -I eth0 10.77.0.21").status);
    EXPECT_EQ(0, KAVOIIpConflict("eth0", "10.77.0.21"));
    neighbour_has("10.77.0.21");
    EXPECT_EQ(1, KAVOIIpConflict("eth0", "10.77.0.21")) << "somebody else does";
}

TEST_F(Conflict, OwnPortsCountWhereTheSettingSaysThatTheyDoNotAnswer)
{
    shell("ip address add 10.77.0.30/32 dev lo");
    EXPECT_EQ(0, KAVOIIpConflict("eth0", "10.77.0.30"));
    write_file(SETTINGS, "arp_ignore=\"yes\"\n");
    EXPECT_EQ(1, KAVOIIpConflict("eth0", "10.77.0.30")) << "eth1 answers for the address of another interface";
    shell("echo 1 >/proc/sys/net/ipv4/conf/all/arp_ignore");
    EXPECT_EQ(0, KAVOIIpConflict("eth0", "10.77.0.30")) << "now it does as the setting says";
}

TEST_F(Conflict, TheInterfacesOwnAddressIsFoundByTheList)
{
    EXPECT_EQ(0, KAVOIIpConflict("eth0", "10.77.0.20"));
    neighbour_has("10.77.0.20");
    EXPECT_EQ(0, KAVOIIpConflict("eth0", "10.77.0.20")) << "it is not asked for";
    const Lists own({{"eth0", ""}, {"eth1", ""}});
    EXPECT_EQ(1, IpConflictDetectInternal(own.names, nullptr, tell));
    EXPECT_THAT(told, ElementsAre("eth0 10.77.0.20"));
}

TEST_F(Conflict, EachPairOfAListIsAskedFor)
{
    neighbour_has("10.77.0.50");
    neighbour_has("10.77.0.52");
    const Lists pairs({{"eth0", "10.77.0.50"}, {"eth7", "10.77.0.50"}, {"eth1", "10.77.0.51"}, {"eth1", "10.77.0.52"}});
    EXPECT_EQ(1, IpConflictDetectInternal(pairs.names, pairs.addresses, tell));
    EXPECT_THAT(told, ElementsAre("eth0 10.77.0.50", "eth1 10.77.0.52"));
    neighbour_leaves();
    told.clear();
    EXPECT_EQ(0, IpConflictDetectInternal(pairs.names, pairs.addresses, tell));
    EXPECT_THAT(told, IsEmpty());
}

TEST_F(Conflict, AnInterfaceThatIsDownFindsNobody)
{
    neighbour_has("10.77.0.50");
    shell("ip link set eth1 down");
    EXPECT_EQ(0, KAVOIIpConflict("eth1", "10.77.0.50"));
    EXPECT_TRUE(wait_for([] {
        return run("journalctl --no-pager").output.find("Invalid parameter to execute arping for 10.77.0.50 at eth1") !=
               std::string::npos;
    })) << run("journalctl -n 20 --no-pager").output;
}

TEST_F(Conflict, TheCommandTellsIt)
{
    neighbour_has("10.77.0.50");
    const support::CommandResult taken = run("kavonet conflict check eth0 10.77.0.50");
    EXPECT_EQ(FOUND, taken.status);
    EXPECT_EQ("10.77.0.50 is taken: another host on eth0 answers for it\n", taken.output);
    EXPECT_EQ(0, run("kavonet conflict check eth0 10.77.0.51").status);
    EXPECT_EQ(0, run("kavonet conflict scan").status) << run("kavonet conflict scan").output;
    neighbour_has("10.77.0.21");
    const support::CommandResult scan = run("kavonet conflict scan");
    EXPECT_EQ(FOUND, scan.status);
    EXPECT_THAT(scan.output, HasSubstr("eth0  10.77.0.20  no        -\n"));
    EXPECT_THAT(scan.output, HasSubstr("eth1  10.77.0.21  yes       another host answers for it\n"));
    neighbour_leaves();
    EXPECT_EQ(0, run("kavonet conflict scan").status);
}

} // namespace
