#include <net/if.h>
#include <sys/ioctl.h>

#include "appliance/ipv6/ipv6_test.h"

namespace {

constexpr char FILE_NAME[] = "net_ipv6_init.cpp";

class Ipv6Init : public Ipv6Test {
protected:
    void SetUp() override
    {
        Ipv6Test::SetUp();
        if (IsSkipped())
            return;
        ASSERT_EQ(0, mount("tmpfs", "/proc/sys/net/ipv6/conf", "tmpfs", 0, "mode=755"));
        shell("rm -f /etc/sysconfig/network-scripts/*");
    }

    static void add(const std::string &name, const std::string &content, bool up = true)
    {
        add_card(name, "", up);
        more_plain_switches(name);
        write_ifcfg(name, content);
    }

    static std::string set_for(const std::string &name) { return read_file(accept_ra_of(name)); }
};

TEST_F(Ipv6Init, SetsWhatIsConfigured)
{
    struct {
        const char *content, *expected;
    } const cases[] = {{"IPV6_ACCEPT_RA=\"1\"\n", "2"},
                       {"IPV6_ACCEPT_RA=\"0\"\n", "0"},
                       {"IPV6_ACCEPT_RA=\"2\"\n", "2"},
                       {"IPV6_ACCEPT_RA=\"\"\n", "2"},
                       {"IPV6_ACCEPT_RA=\"00\"\n", "2"},
                       {"IPV6_ACCEPT_RA=1\nIPV6INIT=static\n", "2"},
                       {"IPV6_ACCEPT_RA=0\nIPV6INIT=auto\n", "0"},
                       {"IPV6INIT=static\n", "0"},
                       {"IPV6INIT=STATIC\n", "0"},
                       {"IPV6INIT=auto\n", "2"},
                       {"IPV6INIT=off\n", "2"},
                       {"IPV6INIT=whatever\n", "2"},
                       {"DEVICE=lan0\n", "2"},
                       {"", "2"}};
    add("lan0", "");
    for (const auto &[content, expected] : cases) {
        clear();
        write_ifcfg("lan0", content);
        write_file(accept_ra_of("lan0"), "x");
        EXPECT_EQ(0, KAVONetIpv6Init()) << content;
        EXPECT_EQ(expected, set_for("lan0")) << content;
        // What was applied is stored too, so that it holds whatever becomes of the mode.
        const char *stored = expected[0] == '0' ? "0" : "1";
        EXPECT_EQ(1, KLIBCFileCheckKeyValue(ifcfg("lan0").c_str(), "IPV6_ACCEPT_RA", stored, 0)) << content;
        EXPECT_THAT(log_lines(), IsEmpty());
    }
    EXPECT_EQ("x", read_file(switch_of("lan0"))) << "IPv6 itself is not turned on or off";
}

TEST_F(Ipv6Init, SetsEveryInterfaceUpOrDown)
{
    add("lan0", "IPV6INIT=auto\n");
    add("lan1", "IPV6INIT=static\n", false);
    more_plain_switches("lan0p");
    EXPECT_EQ(0, KAVONetIpv6Init());
    EXPECT_EQ("2", set_for("lan0"));
    EXPECT_EQ("0", set_for("lan1"));
    EXPECT_EQ("x", set_for("lan0p")) << "it has no configuration";
}

TEST_F(Ipv6Init, LeavesLoopbackAndMembersAlone)
{
    add("lan0", "");
    add("lan1", "");
    add("lan2", "");
    add("lan3", "");
    write_ifcfg("lo", "");
    more_plain_switches("lo");
    shell("ip link add br0 type bridge; ip link set lan1 master br0");
    more_plain_switches("br0");
    write_ifcfg("br0", "");
    // A bond's member by its flag, and an Open vSwitch port by the interface that stands for it.
    shell("ip link add ovs_lan3 type veth peer name other");
    support::answer_ioctl([](int, unsigned long request, void *argument) {
        auto &question = *static_cast<ifreq *>(argument);
        if (request != SIOCGIFFLAGS || strcmp(question.ifr_name, "lan2") != 0)
            return support::ASK_KERNEL;
        question.ifr_flags = IFF_UP | IFF_SLAVE;
        return 0;
    });
    EXPECT_EQ(0, KAVONetIpv6Init());
    EXPECT_EQ("2", set_for("lan0"));
    EXPECT_EQ("2", set_for("br0")) << "the bridge itself takes part";
    for (const char *name : {"lo", "lan1", "lan2", "lan3"})
        EXPECT_EQ("x", set_for(name)) << name;
}

TEST_F(Ipv6Init, LeavesMembersOfAnOpenVSwitchBondAlone)
{
    for (const char *name : {"lan0", "lan1", "lan2", "lan3"})
        add(name, "");
    ASSERT_EQ(0, mount("tmpfs", "/sys/class/net", "tmpfs", 0, "mode=755"));
    write_file("/sys/class/net/kavo_ovs_bonds", "ovs_bond0 lan1 lan3\n");
    EXPECT_EQ(0, KAVONetIpv6Init());
    EXPECT_EQ("2", set_for("lan0"));
    EXPECT_EQ("2", set_for("lan2"));
    for (const char *name : {"lan1", "lan3"}) {
        EXPECT_EQ("x", set_for(name)) << name;
        EXPECT_EQ("", read_file(ifcfg(name))) << name;
    }
}

TEST_F(Ipv6Init, KeepsTheFirstThirtyTwo)
{
    // Those without a configuration count too.
    std::string batch;
    for (int i = 0; i < 35; ++i)
        batch += "ip link add br" + std::to_string(i) + " type bridge;";
    shell(batch);
    for (int i = 1; i < 35; ++i) {
        write_ifcfg("br" + std::to_string(i), "");
        more_plain_switches("br" + std::to_string(i));
    }
    EXPECT_EQ(0, KAVONetIpv6Init());
    EXPECT_EQ("2", set_for("br31"));
    EXPECT_EQ("x", set_for("br32"));
}

TEST_F(Ipv6Init, AKeyThatCannotBeReadSkipsTheInterface)
{
    add("lan0", "");
    add("lan1", "");
    for (const auto &[call, key] : std::vector<std::pair<int, std::string>>{{1, "IPV6_ACCEPT_RA"}, {2, "IPV6INIT"}}) {
        clear();
        write_ifcfg("lan0", "");
        write_file(accept_ra_of("lan0"), "x");
        write_file(accept_ra_of("lan1"), "x");
        fail_call("KLIBCFileGetKeyValue", call);
        EXPECT_EQ(0, KAVONetIpv6Init());
        EXPECT_EQ("x", set_for("lan0"));
        EXPECT_EQ("2", set_for("lan1"));
        EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to get key " + key + " in " + ifcfg("lan0")));
    }
}

TEST_F(Ipv6Init, TheFirstThatCannotBeSetEndsIt)
{
    add("lan0", "");
    add("lan1", "");
    ASSERT_EQ(0, unlink(accept_ra_of("lan0").c_str()));
    ASSERT_EQ(0, unlink(switch_of("lan0").c_str()));
    ASSERT_EQ(0, rmdir("/proc/sys/net/ipv6/conf/lan0"));
    EXPECT_EQ(-1, KAVONetIpv6Init());
    EXPECT_EQ(2U, log_lines().size());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to open file [" + accept_ra_of("lan0") + "]"));
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to set ipv6 accept_ra."));
    EXPECT_EQ("x", set_for("lan1"));
    EXPECT_EQ("", read_file(ifcfg("lan0")));
    clear();
    more_plain_switches("lan0");
    make_full(accept_ra_of("lan0"));
    EXPECT_EQ(-1, KAVONetIpv6Init());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to write file [" + accept_ra_of("lan0") + "]"));
    clear();
    ASSERT_EQ(0, unlink(accept_ra_of("lan0").c_str()));
    fail_call("KLIBCFileSetKeyValue");
    EXPECT_EQ(-1, KAVONetIpv6Init());
    EXPECT_EQ(LOG_ERR, logged_in(FILE_NAME, "Failed to set key IPV6_ACCEPT_RA in " + ifcfg("lan0")));
    EXPECT_EQ("2", set_for("lan0"));
}

TEST_F(Ipv6Init, FailsWithoutMemoryTableOrSocket)
{
    add("lan0", "");
    fail_call("calloc");
    EXPECT_EQ(-1, KAVONetIpv6Init());
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_OUT_OF_MEMORY));
    fail_call("socket");
    EXPECT_EQ(-1, KAVONetIpv6Init());
    plain_proc_net();
    EXPECT_EQ(-1, KAVONetIpv6Init());
    write_file("/proc/net/dev", "one\ntwo\n");
    EXPECT_EQ(-1, KAVONetIpv6Init());
    EXPECT_EQ("x", set_for("lan0"));
    EXPECT_EQ("", read_file(ifcfg("lan0")));
}

TEST_F(Ipv6Init, AnInterfaceThatIsGoneIsLeftOut)
{
    add("lan1", "");
    const std::string dev = read_file("/proc/net/dev");
    plain_proc_net();
    write_file("/proc/net/dev", dev + "  gone0: 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0\n");
    write_ifcfg("gone0", "");
    EXPECT_EQ(0, KAVONetIpv6Init());
    EXPECT_EQ("2", set_for("lan1"));
}

} // namespace
