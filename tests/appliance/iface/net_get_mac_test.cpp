#include "iface_test.h"

namespace {

constexpr char FILE_NAME[] = "net_get_mac.cpp";
constexpr int LOCAL = 1;
constexpr int ANY = 0;

class NetGetMac : public IfaceTest {
protected:
    static constexpr size_t GUARD = 32;

    std::string by_port(int port, int local_only, size_t size = 18)
    {
        return into(size, [=](char *mac) { return KLIBNetGetMacAddr(port, mac, size, local_only); });
    }

    std::string by_name(const char *name, int local_only = ANY, size_t size = 18)
    {
        return into(size, [=](char *mac) { return KLIBNetGetMacAddrByInterface(name, mac, size, local_only); });
    }

    void ports()
    {
        for (const int port : {0, 1, 12}) {
            const std::string name = "eth" + std::to_string(port);
            card(name, "", false);
            set_mac(name, port == 12 ? "02:00:00:00:00:1c" : "02:00:00:ab:cd:0" + std::to_string(port));
        }
    }

    static void two_controllers() { write_file("/etc.defaults/kavoinfo.conf", "support_dual_head=\"yes\"\n"); }

    int result = -7;

private:
    // What the buffer holds after the call; it held "before".
    template <class Call> std::string into(size_t size, Call call)
    {
        std::vector<char> bytes(GUARD + size + GUARD, '#');
        char *mac = bytes.data() + GUARD;
        if (size >= 7)
            memcpy(mac, "before", 7);
        forget();
        result = call(mac);
        const std::string guard(GUARD, '#');
        EXPECT_EQ(guard, std::string(bytes.data(), GUARD));
        EXPECT_EQ(guard, std::string(mac + size, GUARD));
        return {mac, strnlen(mac, size)};
    }
};

// ---- By port

TEST_F(NetGetMac, ReadsAPort)
{
    ports();
    for (const int local : {LOCAL, ANY, 7}) {
        EXPECT_EQ("02:00:00:ab:cd:01", by_port(1, local));
        EXPECT_EQ(0, result);
        EXPECT_EQ("02:00:00:00:00:1c", by_port(12, local));
        EXPECT_EQ(0, result);
    }
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetGetMac, CutsTheTextToTheBuffer)
{
    ports();
    EXPECT_EQ("02:00:00:ab:cd:0", by_port(1, LOCAL, 17));
    EXPECT_EQ(0, result);
    EXPECT_EQ("", by_port(1, LOCAL, 1));
    EXPECT_EQ(0, result);
    EXPECT_EQ("02:00:00:ab:cd:01", by_port(1, LOCAL, 64));
}

TEST_F(NetGetMac, TellsWhichReadingFailed)
{
    for (const int port : {3, -1, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ("before", by_port(port, LOCAL)) << port;
        EXPECT_EQ(1, result);
        EXPECT_EQ(LOG_ERR, logged("net_get_mac", "ioctl mac failed"));
        EXPECT_EQ(LOG_ERR, logged("net_get_mac", "Failed to get local original mac"));
        EXPECT_EQ("before", by_port(port, ANY)) << port;
        EXPECT_EQ(2, result);
        EXPECT_EQ(LOG_ERR, logged("net_get_mac", "ioctl mac failed"));
        EXPECT_EQ(LOG_ERR, logged("net_get_mac", "Failed to get local original mac"));
        EXPECT_EQ(2U, support::log_lines().size());
        EXPECT_EQ(NO_ERROR_SET, last_error());
    }
}

TEST_F(NetGetMac, FailsWithoutASocket)
{
    ports();
    for (const auto &[local, reason] : {std::pair{LOCAL, 1}, {ANY, 2}}) {
        fail_call("socket");
        EXPECT_EQ("before", by_port(1, local));
        EXPECT_EQ(reason, result);
        EXPECT_EQ(LOG_ERR, logged("net_get_mac", "Failed to open socket"));
        EXPECT_EQ(LOG_ERR, logged("net_get_mac", "Failed to get local original mac"));
    }
}

TEST_F(NetGetMac, AnswersWithThePairsAddressWhileHaRuns)
{
    ports();
    two_controllers();
    ha("running=yes\nmac_1=02:11:22:33:44:55\n");
    EXPECT_EQ("02:11:22:33:44:55", by_port(1, ANY));
    EXPECT_EQ(0, result);
    EXPECT_EQ("02:11:22:3", by_port(1, ANY, 11));
    EXPECT_EQ("02:00:00:ab:cd:01", by_port(1, LOCAL));
    EXPECT_EQ(0, result);
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetGetMac, TellsThatThePairHasNoAddress)
{
    ports();
    two_controllers();
    for (const char *keys : {"", "mac_1=\n", "mac_0=02:11:22:33:44:55\n"}) {
        ha(std::string("running=yes\n") + keys);
        EXPECT_EQ("before", by_port(1, ANY)) << keys;
        EXPECT_EQ(3, result);
        EXPECT_EQ(LOG_ERR, logged("net_get_mac", "Failed to get mac in SHA mode"));
        EXPECT_EQ(1U, support::log_lines().size());
    }
    ha("running=yes\nmac_1=02:11:22:33:44:55\n");
    EXPECT_EQ("", by_port(1, ANY, 1));
    EXPECT_EQ(3, result) << "an empty text is no address";
    fail_call("KAVOHAGetMac");
    by_port(1, ANY);
    EXPECT_EQ(3, result);
}

TEST_F(NetGetMac, DoesNotAnswerForOneOfTwoControllers)
{
    ports();
    two_controllers();
    EXPECT_EQ("before", by_port(1, ANY));
    EXPECT_EQ(4, result);
    EXPECT_EQ(LOG_ERR, logged("net_get_mac", "Failed to get mac in AHA mode"));
    EXPECT_EQ(1U, support::log_lines().size());
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_EQ("02:00:00:ab:cd:01", by_port(1, LOCAL));
    EXPECT_EQ(0, result);
    ha("running=no\nmac_1=02:11:22:33:44:55\n");
    EXPECT_EQ("before", by_port(1, ANY));
    EXPECT_EQ(4, result);
}

TEST_F(NetGetMac, RefusesBadArguments)
{
    char mac[18] = "before";
    EXPECT_EQ(1, KLIBNetGetMacAddr(0, nullptr, 18, ANY));
    EXPECT_EQ(bad_parameter(FILE_NAME, 32), last_error());
    forget();
    EXPECT_EQ(1, KLIBNetGetMacAddr(0, mac, 0, LOCAL));
    EXPECT_EQ(bad_parameter(FILE_NAME, 32), last_error());
    EXPECT_STREQ("before", mac);
}

// ---- By interface

TEST_F(NetGetMac, ReadsTheInterfacesPort)
{
    ports();
    EXPECT_EQ("02:00:00:ab:cd:01", by_name("eth1"));
    EXPECT_EQ(0, result);
    EXPECT_EQ("02:00:00:00:00:1c", by_name("eth12"));
    EXPECT_EQ("02:00:00:ab:cd:01", by_name("eth1x")) << "what follows the number is not looked at";
    EXPECT_EQ("02:00:00:ab", by_name("eth1", LOCAL, 12));
}

TEST_F(NetGetMac, ReadsTheParentOfAVlan)
{
    ports();
    EXPECT_EQ("02:00:00:ab:cd:01", by_name("eth1.20"));
    EXPECT_EQ(0, result);
    EXPECT_EQ("02:00:00:ab:cd:00", by_name("eth0.4094.1"));
    EXPECT_EQ("before", by_name(".eth0"));
    EXPECT_EQ(1, result);
    EXPECT_EQ(LOG_ERR, logged("net_get_mac", "Failed to sscanf: .eth0"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(NetGetMac, PassesTheFlagOn)
{
    ports();
    two_controllers();
    by_name("eth1");
    EXPECT_EQ(4, result);
    ha("running=yes\nmac_1=02:11:22:33:44:55\n");
    EXPECT_EQ("02:11:22:33:44:55", by_name("eth1.7"));
    EXPECT_EQ("02:00:00:ab:cd:01", by_name("eth1.7", LOCAL));
    by_name("eth7", LOCAL);
    EXPECT_EQ(1, result);
    by_name("eth7");
    EXPECT_EQ(3, result);
}

TEST_F(NetGetMac, ReadsTheFirstMemberOfABond)
{
    ports();
    plain_folder("/sys/class/net");
    write_file("/sys/class/net/bond0/bonding/slaves", "eth12 eth1\n");
    write_file("/sys/class/net/bond0/bonding/mode", "active-backup 1\n");
    EXPECT_EQ("02:00:00:ab:cd:01", by_name("bond0")) << "members are sorted by name";
    EXPECT_EQ(0, result);
    EXPECT_EQ("02:00:00:ab:cd:01", by_name("bond0.30"));
}

TEST_F(NetGetMac, ReadsThePortOfABondsFirstMember)
{
    ports();
    card("ovs_eth1");
    set_mac("ovs_eth1", "02:99:99:99:99:99");
    plain_folder("/sys/class/net");
    write_file("/sys/class/net/bond0/bonding/slaves", "ovs_eth1 zeth0\n");
    write_file("/sys/class/net/bond0/bonding/mode", "active-backup 1\n");
    EXPECT_EQ("02:00:00:ab:cd:01", by_name("bond0"));
    EXPECT_EQ(0, result);
    EXPECT_EQ("02:00:00:ab:cd:01", by_name("bond0.30"));
    EXPECT_EQ(0, result);
}

TEST_F(NetGetMac, FailsOnABondWithoutMembers)
{
    EXPECT_EQ("before", by_name("bond0"));
    EXPECT_EQ(1, result);
    EXPECT_EQ(LOG_ERR, logged("net_get_mac", "No slave on bond [bond0]"));
    EXPECT_EQ("before", by_name("ovs_bond0"));
    EXPECT_EQ(1, result);
    EXPECT_EQ(LOG_ERR, logged("net_get_mac", "No slave on bond [ovs_bond0]")) << "not there, so no Open vSwitch bond";
}

TEST_F(NetGetMac, FailsOnABondThatCannotBeRead)
{
    plain_folder("/sys/class/net");
    write_file("/sys/class/net/bond0/bonding/slaves", "eth1\n");
    EXPECT_EQ("before", by_name("bond0"));
    EXPECT_EQ(1, result);
    EXPECT_EQ(LOG_ERR, logged("net_get_mac", "LinkAddrGet failed [bond0]"));
    card("ovs_bond0");
    EXPECT_EQ("before", by_name("ovs_bond0"));
    EXPECT_EQ(1, result);
    EXPECT_EQ(LOG_ERR, logged("net_get_mac", "LinkAddrGet failed [ovs_bond0]"));
}

TEST_F(NetGetMac, ReadsTheFirstMemberOfAnOpenVSwitchBond)
{
    ports();
    card("ovs_bond0");
    write_ifcfg("ovs_bond0", "SLAVE_LIST=\"eth12 eth1\"\nBOND_MODE=\"balance-slb\"\n");
    EXPECT_EQ("02:00:00:ab:cd:01", by_name("ovs_bond0"));
    EXPECT_EQ(0, result);
}

TEST_F(NetGetMac, ReadsThePortOfAnOpenVSwitchInterface)
{
    ports();
    card("ovs_eth1");
    set_mac("ovs_eth1", "02:99:99:99:99:99");
    EXPECT_EQ("02:00:00:ab:cd:01", by_name("ovs_eth1"));
    EXPECT_EQ(0, result);
    EXPECT_EQ("02:00:00:ab:cd:01", by_name("ovs_eth1.5"));
    EXPECT_EQ("before", by_name("ovs_eth0")) << "there is no such interface";
    EXPECT_EQ(1, result);
    EXPECT_EQ(LOG_DEBUG, logged("net_get_mac", "Failed to get interface idx: ovs_eth0"));
}

TEST_F(NetGetMac, FailsOnAnOpenVSwitchInterfaceWithoutPortName)
{
    card("ovs_");
    EXPECT_EQ("before", by_name("ovs_"));
    EXPECT_EQ(1, result);
    EXPECT_EQ(LOG_ERR, logged("net_get_mac", "get ovs origin interface error"));
}

TEST_F(NetGetMac, FailsOnWhatIsNoPort)
{
    for (const char *name : {"lo", "eth", "ethx", "wlan0", "br0", "xeth0", "Eth0"}) {
        EXPECT_EQ("before", by_name(name));
        EXPECT_EQ(1, result) << name;
        EXPECT_EQ(LOG_DEBUG, logged("net_get_mac", std::string("Failed to get interface idx: ") + name));
        EXPECT_EQ(NO_ERROR_SET, last_error());
    }
}

TEST_F(NetGetMac, RefusesBadNames)
{
    char mac[18] = "before";
    EXPECT_EQ(1, KLIBNetGetMacAddrByInterface("eth0", nullptr, 18, ANY));
    EXPECT_EQ(bad_parameter(FILE_NAME, 102), last_error());
    forget();
    EXPECT_EQ(1, KLIBNetGetMacAddrByInterface("eth0", mac, 0, ANY));
    EXPECT_EQ(bad_parameter(FILE_NAME, 102), last_error());
    forget();
    EXPECT_EQ(1, KLIBNetGetMacAddrByInterface(nullptr, mac, sizeof mac, ANY));
    EXPECT_EQ(bad_parameter(FILE_NAME, 102), last_error());
    std::vector<const char *> names = HOSTILE_NAMES;
    names.push_back(NAME_OF_16);
    for (const char *name : names) {
        EXPECT_EQ("before", by_name(name));
        EXPECT_EQ(1, result) << name;
        EXPECT_EQ(bad_parameter(FILE_NAME, 102), last_error());
    }
    EXPECT_STREQ("before", mac);
}

TEST_F(NetGetMac, TakesANameOf15Characters)
{
    ports();
    EXPECT_EQ("02:00:00:ab:cd:01", by_name("eth1.0000000020"));
    EXPECT_EQ(0, result);
}

} // namespace
