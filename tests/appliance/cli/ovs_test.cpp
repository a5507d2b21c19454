// kavonet ovs
#include "command.h"

namespace cli_test {

using testing::HasSubstr;
using testing::MatchesRegex;

class OvsCommand : public Command {
protected:
    // The interfaces of Open vSwitch as its userspace datapath makes them: devices of the kernel of these names.
    static void add(const std::string &name)
    {
        shell("ip link add " + name + " type bridge; ip link set " + name + " up");
    }
};

TEST_F(OvsCommand, ShowTellsInterfacesAndTheirPorts)
{
    add("ovs_eth0");
    const Json list(kavonet({"ovs", "show", "--json"}).out);
    ASSERT_EQ(2U, list.size());
    const Json bridge = list.named("ovs_eth0");
    EXPECT_EQ("ovs-bridge", bridge["kind"].text());
    EXPECT_TRUE(bridge["up"].yes());
    EXPECT_EQ("eth0", bridge["device"].text());
    EXPECT_TRUE(bridge["mode"].is_null());
    EXPECT_EQ(0U, bridge["members"].size());
    const Json port = list.named("eth0");
    EXPECT_EQ("ovs-port", port["kind"].text());
    EXPECT_EQ("ovs_eth0", port["device"].text());

    const auto table = support::lines_of(kavonet({"ovs", "show"}).out);
    ASSERT_EQ(3U, table.size());
    EXPECT_THAT(table[0], MatchesRegex("NAME +KIND +STATE +MODE +OF"));
    EXPECT_THAT(table[1], MatchesRegex("eth0 +ovs-port +up +- +ovs_eth0"));
    EXPECT_THAT(table[2], MatchesRegex("ovs_eth0 +ovs-bridge +up +- +eth0"));
}

TEST_F(OvsCommand, ShowTellsBondsAndTheirMembers)
{
    add("ovs_bond0");
    add_card("eth1");
    write_ifcfg("ovs_bond0", "SLAVE_LIST=\"eth0 eth1\"\nBOND_MODE=balance-slb\n");
    // The list of bonds is the appliance's own; the kernel here does not write it.
    support::write_file("/tmp/net/kavo_ovs_bonds", "ovs_bond0 eth0 eth1\n");
    shell("for i in /sys/class/net/*; do ln -s \"$(readlink -f $i)\" /tmp/net/; done; mount --bind /tmp/net "
          "/sys/class/net");
    const Json list(kavonet({"ovs", "show", "--json"}).out);
    ASSERT_EQ(3U, list.size());
    const Json bond = list.named("ovs_bond0");
    EXPECT_EQ("ovs-bond", bond["kind"].text());
    EXPECT_EQ("balance-slb", bond["mode"].text());
    ASSERT_EQ(2U, bond["members"].size());
    EXPECT_EQ("eth0", bond["members"][0].text());
    EXPECT_EQ("eth1", bond["members"][1].text());
    EXPECT_EQ("ovs-port", list.named("eth1")["kind"].text());
    EXPECT_EQ("ovs_bond0", list.named("eth1")["device"].text());
    EXPECT_THAT(kavonet({"ovs", "show"}).out,
                testing::ContainsRegex("ovs_bond0 +ovs-bond +up +balance-slb +eth0 eth1\n"));
}

TEST_F(OvsCommand, ShowOfOne)
{
    add("ovs_eth0");
    const Json list(kavonet({"ovs", "show", "eth0", "--json"}).out);
    ASSERT_EQ(1U, list.size());
    EXPECT_EQ("ovs_eth0", list[0]["device"].text());
}

TEST_F(OvsCommand, ShowOfNothing)
{
    EXPECT_EQ("[]\n", kavonet({"ovs", "show", "--json"}).out);
    const Result all = kavonet({"ovs", "show"});
    EXPECT_EQ(0, all.status);
    EXPECT_EQ("", all.out);
    const Result other = kavonet({"ovs", "show", "eth0"});
    EXPECT_EQ(1, other.status);
    EXPECT_EQ("kavonet: cannot show eth0: it is no interface, bond or port of Open vSwitch\n"
              "  what to do: kavonet ovs show lists them\n",
              other.err);
    EXPECT_THAT(kavonet({"ovs", "show", "eth9"}).err, HasSubstr("there is no interface of that name"));
    EXPECT_EQ(2, kavonet({"ovs", "show", ""}).status);
    EXPECT_EQ(1, kavonet({"ovs", "show", "a/b"}).status);
}

} // namespace cli_test
