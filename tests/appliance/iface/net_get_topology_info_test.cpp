#include "iface_test.h"

namespace {

constexpr char STEM[] = "net_get_topology_info";
constexpr char SETTINGS[] = "/etc/kavoinfo.conf";
constexpr char MISSING[] = "Failed to get key[net_topology] in [/etc/kavoinfo.conf]";
constexpr char HEADERS[] = "VLAN Dev name\t | VLAN ID\nName-Type: VLAN_NAME_TYPE_RAW_PLUS_VID_NO_PAD\n";

class NetGetTopologyInfo : public IfaceTest {
protected:
    static void settings(const std::string &content) { write_file(SETTINGS, content); }
    static void stored(const std::string &name)
    {
        settings("support_net_topology=\"yes\"\nnet_topology=\"" + name + "\"\n");
    }

    static void vlans(const std::string &lines)
    {
        plain_proc_net();
        write_file("/proc/net/vlan/config", HEADERS + lines);
    }

    void expect_row(uint32_t id, const char *name, const char *interface, int first, int second)
    {
        EXPECT_EQ(id, row->id);
        EXPECT_STREQ(name, row->szName);
        EXPECT_STREQ(interface, row->szIfname);
        EXPECT_EQ(first, row->rgNumber[0]);
        EXPECT_EQ(second, row->rgNumber[1]);
    }

    int get(uint32_t id)
    {
        row->id = id;
        return KLIBNetTopologyGet(row.get());
    }

    Guarded<KAVOTOPOLOGYINFO> row;
};

TEST_F(NetGetTopologyInfo, GivesTheStoredTopology)
{
    stored("unknown");
    EXPECT_EQ(0, get(0));
    expect_row(0, "unknown", "eth0", 0, 3);
    stored("client");
    EXPECT_EQ(1, get(0));
    expect_row(1, "client", "eth0", 1, 1);
    stored("bridge");
    EXPECT_EQ(2, get(0));
    expect_row(2, "bridge", "br0", 0, 2);
    stored("router");
    EXPECT_EQ(3, get(0));
    expect_row(3, "router", "eth0", 0, 3);
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
    // Nothing of the caller's old bytes is left in the row.
    const KAVOTOPOLOGYINFO zero{};
    EXPECT_EQ(0, memcmp(row->szName + 6, zero.szName, sizeof row->szName - 6));
    EXPECT_EQ(0, memcmp(row->szIfname + 4, zero.szIfname, sizeof row->szIfname - 4));
}

TEST_F(NetGetTopologyInfo, WithoutARowGivesTheIdOnly)
{
    stored("router");
    EXPECT_EQ(3, KLIBNetTopologyGet(nullptr));
}

TEST_F(NetGetTopologyInfo, IgnoresTheCaseOfTheName)
{
    for (const char *name : {"BRIDGE", "Bridge", "bRiDgE"}) {
        stored(name);
        EXPECT_EQ(2, KLIBNetTopologyGet(nullptr)) << name;
    }
}

TEST_F(NetGetTopologyInfo, OtherNamesAreUnknown)
{
    for (const char *name : {"", "bridg", "bridges", " bridge", "bridge ", "2", "eth0", "br0"}) {
        stored(name);
        EXPECT_EQ(0, get(0)) << name;
        expect_row(0, "unknown", "eth0", 0, 3);
    }
    stored(std::string(2000, 'r'));
    EXPECT_EQ(0, KLIBNetTopologyGet(nullptr));
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetGetTopologyInfo, ANameBeyondTheBufferIsCut)
{
    stored("bridge" + std::string(2000, ' '));
    EXPECT_EQ(0, KLIBNetTopologyGet(nullptr));
}

TEST_F(NetGetTopologyInfo, WithoutSupportThereIsNone)
{
    for (const char *support : {"", "support_net_topology=\"no\"\n", "support_net_topology=\"YES\"\n",
                                "support_net_topology=\"yes \"\n", "support_net_topology=\"\"\n"}) {
        settings(std::string(support) + "net_topology=\"bridge\"\n");
        EXPECT_EQ(0, KLIBNetTopologyGet(row.get())) << support;
        EXPECT_EQ(0, KLIBNetTopologyGet(nullptr)) << support;
    }
    ASSERT_EQ(0, unlink(SETTINGS));
    EXPECT_EQ(0, KLIBNetTopologyGet(row.get()));
    EXPECT_TRUE(row.untouched()) << "its id, which is not 0, too";
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetGetTopologyInfo, AMissingSettingIsLogged)
{
    settings("support_net_topology=\"yes\"\n");
    EXPECT_EQ(0, get(0));
    expect_row(0, "unknown", "eth0", 0, 3);
    EXPECT_EQ(LOG_ERR, logged(STEM, MISSING));
    EXPECT_EQ(1U, support::log_lines().size());
    forget();
    EXPECT_EQ(2, get(2)) << "the caller's own id stands nevertheless";
    expect_row(2, "bridge", "br0", 0, 2);
    EXPECT_EQ(LOG_ERR, logged(STEM, MISSING));
}

TEST_F(NetGetTopologyInfo, AFailedReadIsAMissingSetting)
{
    stored("bridge");
    fail_call("KLIBCFileGetKeyValue");
    EXPECT_EQ(0, KLIBNetTopologyGet(nullptr));
    EXPECT_EQ(LOG_ERR, logged(STEM, MISSING));
}

TEST_F(NetGetTopologyInfo, TheCallersIdTakesPrecedence)
{
    stored("router");
    EXPECT_EQ(1, get(1));
    expect_row(1, "client", "eth0", 1, 1);
    EXPECT_EQ(2, get(2));
    expect_row(2, "bridge", "br0", 0, 2);
    EXPECT_EQ(3, get(0)) << "0 asks for the stored one";
    expect_row(3, "router", "eth0", 0, 3);
}

TEST_F(NetGetTopologyInfo, AnIdThatIsNoneIsIgnored)
{
    stored("bridge");
    for (const uint32_t id : {4U, 5U, 0x7fffffffU, 0x80000000U, 0xffffffffU}) {
        EXPECT_EQ(2, get(id)) << id;
        expect_row(2, "bridge", "br0", 0, 2);
    }
}

// ---- The VLAN on the topology's interface

TEST_F(NetGetTopologyInfo, TheFirstVlanOnTheInterfaceTakesItsPlace)
{
    vlans("eth1.7         | 7  | eth1\neth0.30        | 30  | eth0\neth0.20        | 20  | eth0\n"
          "br0.4          | 4  | br0\n");
    stored("client");
    EXPECT_EQ(1, get(0));
    expect_row(1, "client", "eth0.30", 1, 1);
    const KAVOTOPOLOGYINFO zero{};
    EXPECT_EQ(0, memcmp(row->szIfname + 8, zero.szIfname, sizeof row->szIfname - 8));
    EXPECT_EQ(2, get(2));
    expect_row(2, "bridge", "br0.4", 0, 2);
    EXPECT_EQ(1, get(0)) << "the table itself stays as it is";
}

TEST_F(NetGetTopologyInfo, VlansOfOtherInterfacesDoNot)
{
    vlans("eth01.7        | 7  | eth01\neth0.30        | 30  | eth0.5\n");
    stored("client");
    EXPECT_EQ(1, get(0));
    expect_row(1, "client", "eth0", 1, 1);
}

TEST_F(NetGetTopologyInfo, AFailedListOfVlansKeepsTheRow)
{
    vlans("eth0.30        | 30  | eth0\nbroken\n");
    stored("router");
    EXPECT_EQ(3, get(0));
    expect_row(3, "router", "eth0", 0, 3);
    EXPECT_EQ(3, KLIBNetTopologyGet(nullptr));
}

TEST_F(NetGetTopologyInfo, WithoutARowVlansAreNotLookedAt)
{
    vlans("broken\n");
    stored("router");
    EXPECT_EQ(3, KLIBNetTopologyGet(nullptr));
    EXPECT_THAT(support::log_lines(), IsEmpty());
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

} // namespace
