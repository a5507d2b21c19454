// Open vSwitch with its userspace datapath, which needs no module of the kernel: its interfaces are devices of the kernel,
// and what it does with its ports shows on the wire.
#include "live/virtual/lab_side.h"

namespace virtual_test {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

class OpenVSwitch : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        installed_ = run("command -v ovs-vsctl ovs-vswitchd ovsdb-server ovsdb-tool").status == 0;
        if (!installed_)
            return;
        shell("mkdir -p /run/openvswitch; "
              "ovsdb-tool create /run/ovs.db /usr/share/openvswitch/vswitch.ovsschema; "
              "ovsdb-server /run/ovs.db --remote=punix:/run/openvswitch/db.sock --pidfile --detach "
              "--log-file=/run/ovsdb.log </dev/null >/dev/null 2>&1; "
              "ovs-vsctl --timeout=120 --no-wait init; "
              "ovs-vswitchd --pidfile --detach --log-file=/run/ovs.log </dev/null >/dev/null 2>&1");
    }

    static void TearDownTestSuite()
    {
        if (!installed_)
            return;
        // They answer before they end, and others start their own in their places.
        run("ovs-appctl --timeout=120 exit --cleanup");
        EXPECT_TRUE(wait_for([] { return run("pgrep -x ovs-vswitchd").status != 0; }));
        run("ovs-appctl --timeout=120 -t ovsdb-server exit");
        EXPECT_TRUE(wait_for([] { return run("pgrep -x ovsdb-server").status != 0; }));
        run("rm -f /run/ovs.db");
    }

    void SetUp() override
    {
        if (!installed_)
            GTEST_SKIP() << "there is no Open vSwitch here (the package openvswitch-switch, which lab/setup installs)";
        shell("ip link set eth0 up; ip link set eth1 up");
    }

    void TearDown() override
    {
        if (installed_)
            run("for i in $(ovs-vsctl --timeout=120 list-br); do ovs-vsctl --timeout=120 del-br $i; done");
        if (has_table_) {
            EXPECT_EQ(0, run("umount /sys/class/net").status);
        }
        restore();
    }

    static void add_bridge(const std::string &name)
    {
        shell("ovs-vsctl --timeout=120 add-br " + name + " -- set bridge " + name +
              " datapath_type=netdev; ip link set " + name + " up");
    }

    // The appliance keeps the list of the bonds among the kernel's interfaces.
    void write_table(const std::string &content)
    {
        support::write_file("/run/ovs-table/upper/kavo_ovs_bonds", content);
        shell("mkdir -p /run/ovs-table/work; mount -t overlay bonds -o "
              "lowerdir=/sys/class/net,upperdir=/run/ovs-table/upper,workdir=/run/ovs-table/work /sys/class/net");
        has_table_ = true;
    }

private:
    static inline bool installed_ = false;
    bool has_table_ = false;
};

} // namespace

TEST_F(OpenVSwitch, AnInterfaceStandsForItsPort)
{
    EXPECT_EQ(0, KLIBNetOVSIfIsMaster("ovs_eth0"));
    EXPECT_EQ(0, KLIBNetOVSIfIsSlave("eth0"));
    add_bridge("ovs_eth0");
    shell("ovs-vsctl --timeout=120 add-port ovs_eth0 eth0; ip address add 10.77.0.60/24 dev ovs_eth0");
    EXPECT_TRUE(reaches_the_server("ovs_eth0")) << run("ovs-vsctl show; cat /run/ovs.log").output;

    EXPECT_EQ(1, KLIBNetOVSIfIsMaster("ovs_eth0"));
    EXPECT_EQ(0, KLIBNetOVSIfIsMaster("eth0"));
    EXPECT_EQ(1, KLIBNetOVSIfIsSlave("eth0"));
    EXPECT_EQ(0, KLIBNetOVSIfIsSlave("eth1"));
    EXPECT_EQ(0, KLIBNetOVSIfIsSlave("ovs_eth0"));
    char port[16] = "";
    EXPECT_EQ(0, KLIBNetOVSGetOriginalIf("ovs_eth0", port, sizeof port));
    EXPECT_STREQ("eth0", port);
    EXPECT_EQ(0, KLIBNetBridgeIfIsMaster("ovs_eth0")) << "it is no bridge of the kernel";
    EXPECT_EQ(0, KLIBNetBridgeIfIsSlave("eth0"));
    EXPECT_THAT(usable(), AllOf(Contains("ovs_eth0"), Contains("eth1"), Not(Contains("eth0"))));
    KAVONETIFENTRY entry{};
    EXPECT_EQ(1, KAVONetIFGetInfo("ovs_eth0", &entry, nullptr));
    EXPECT_STREQ("10.77.0.60", entry.szAddr);
    EXPECT_THAT(shell("kavonet ovs show --json"),
                AllOf(HasSubstr("{\"name\":\"eth0\",\"kind\":\"ovs-port\",\"up\":true,\"device\":\"ovs_eth0\""),
                      HasSubstr("{\"name\":\"ovs_eth0\",\"kind\":\"ovs-bridge\",\"up\":true,\"device\":\"eth0\"")));

    shell("ovs-vsctl --timeout=120 del-br ovs_eth0");
    EXPECT_TRUE(wait_for([] { return KLIBNetOVSIfIsMaster("ovs_eth0") == 0; }));
    EXPECT_TRUE(wait_for([] { return KLIBNetOVSIfIsSlave("eth0") == 0; }));
    EXPECT_THAT(usable(), Contains("eth0"));
    EXPECT_EQ("[]\n", shell("kavonet ovs show --json"));
}

TEST_F(OpenVSwitch, ABondIsKnownByItsNameAndItsMembersByTheList)
{
    add_bridge("ovs_bond0");
    shell("ovs-vsctl --timeout=120 add-bond ovs_bond0 bond0 eth0 eth1 bond_mode=active-backup; "
          "ip address add 10.77.0.61/24 dev ovs_bond0");
    EXPECT_TRUE(reaches_the_server("ovs_bond0")) << run("ovs-vsctl show; cat /run/ovs.log").output;
    support::write_file(ifcfg("ovs_bond0"),
                        "DEVICE=ovs_bond0\nSLAVE_LIST=\"eth0 eth1\"\nBOND_MODE=ovs-active-backup\n");

    EXPECT_EQ(2, KLIBNetOVSIfIsMaster("ovs_bond0"));
    EXPECT_EQ(0, KLIBNetOVSIfIsSlave("eth0")) << "nothing tells yet";
    write_table("ovs_bond9 eth8 eth9\novs_bond0 eth0 eth1\n");
    for (const char *member : {"eth0", "eth1"}) {
        EXPECT_EQ(1, KLIBNetOVSIfIsSlave(member)) << member;
        EXPECT_EQ(1, KAVONetIfIsBondingPassive(member)) << member;
    }
    EXPECT_EQ(0, KLIBNetOVSIfIsSlave("ovs_bond0"));
    KAVOLINKAGGROPT bond{};
    EXPECT_EQ(0, KAVONetLinkAggrGet("ovs_bond0", &bond));
    EXPECT_EQ(6, bond.mode);
    ASSERT_EQ(2, bond.nSlave);
    EXPECT_STREQ("eth0", bond.szSlave[0]);
    EXPECT_STREQ("eth1", bond.szSlave[1]);
    EXPECT_THAT(usable(), ElementsAre("ovs_bond0"));
    EXPECT_EQ(1, KAVONetIfIsLink("ovs_bond0"));
    EXPECT_THAT(shell("kavonet ovs show"),
                testing::ContainsRegex("ovs_bond0 +ovs-bond +up +ovs-active-backup +eth0 eth1\n"));

    // One cable is pulled out: the bond has a link and carries on.
    shell("lan ip link set port0 down");
    EXPECT_TRUE(reaches_the_server("ovs_bond0")) << run("ovs-appctl bond/show").output;
    EXPECT_EQ(1, KAVONetIfIsLink("ovs_bond0"));
    shell("lan ip link set port1 down");
    EXPECT_TRUE(wait_for([] { return KAVONetIfIsLink("ovs_bond0") == 0; }));
    shell("lan ip link set port0 up; lan ip link set port1 up");
    EXPECT_TRUE(wait_for([] { return KAVONetIfIsLink("ovs_bond0") == 1; }));

    EXPECT_EQ(0, KAVONetSetMTUEth("1400", "ovs_bond0"));
    for (const char *member : {"eth0", "eth1"})
        EXPECT_EQ(1400, KAVOGetMTU(member)) << member;
    EXPECT_EQ(1400, KAVOGetMTUSetting("ovs_bond0"));
    EXPECT_TRUE(reaches_the_server("ovs_bond0"));
    EXPECT_EQ(0, KAVONetSetMTUEth("1500", "ovs_bond0"));

    shell("ovs-vsctl --timeout=120 del-br ovs_bond0");
    EXPECT_TRUE(wait_for([] { return KLIBNetOVSIfIsMaster("ovs_bond0") == 0; })) << "only while it exists";
}

TEST_F(OpenVSwitch, ABridgeOfTheKernelStandsBesideIt)
{
    add_bridge("ovs_eth1");
    shell("ovs-vsctl --timeout=120 add-port ovs_eth1 eth1; ip link add br0 type bridge; ip link set eth0 master br0; "
          "ip link set br0 up");
    EXPECT_THAT(bridges(NET_BRIDGE_MASTER), ElementsAre("br0"));
    EXPECT_THAT(bridges(NET_BRIDGE_LOCAL_LAN), IsEmpty());
    EXPECT_EQ(1, KLIBNetOVSIfIsSlave("eth1"));
    EXPECT_EQ(0, KLIBNetOVSIfIsSlave("eth0"));
    EXPECT_THAT(usable(), AllOf(Contains("br0"), Contains("ovs_eth1"), Not(Contains("eth0")), Not(Contains("eth1"))));
}

} // namespace virtual_test
