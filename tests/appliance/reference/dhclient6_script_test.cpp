// The script that the DHCPv6 client runs: what a lease sets, and that nothing in a lease can do more than that.
#include <map>
#include <string>

#include <unistd.h>

#include "reference_files.h"
#include "support/private_root.h"
#include "support/read_back.h"

namespace {

using support::entries;
using support::exists;
using support::read_file;
using support::write_file;

constexpr char SCRIPT[] = "/etc/dhclient/dhclient6-script";
constexpr char INFO[] = "/etc/dhclient/ipv6/dhcpcd-eth0.info";
constexpr char LEASES[] = "/etc/dhclient/ipv6";
constexpr char RESOLVER[] = "/etc/iproute2/config/resolv6.conf";
constexpr const char *HOSTILE[] = {"$(touch /tmp/broken)",
                                   "`touch /tmp/broken`",
                                   "; touch /tmp/broken",
                                   "-h",
                                   "*",
                                   "x\nIPADDR=2001:db8::66",
                                   "2001:db8::1\nnameserver ::2",
                                   "%s%n",
                                   "'",
                                   "\"",
                                   "\\"};
constexpr const char *MALFORMED[] = {":",
                                     ":::",
                                     "1",
                                     "1:2:3:4:5:6:7",
                                     "1:2:3:4:5:6:7:8:9",
                                     "1::2::3",
                                     "12345::",
                                     "g::1",
                                     "::ffff:10.0.0.1",
                                     "10.0.0.1",
                                     "2001:db8::1/64",
                                     "2001:db8::1%eth0",
                                     ":1:2:3:4:5:6:7",
                                     "1:2:3:4:5:6:7:",
                                     "1:2:3:4::5:6:7:8",
                                     "[::1]",
                                     "00001::",
                                     "1:2:3:4:5:6:7:8::",
                                     "0000:0000:0000:0000:0000:0000:0000:0000:0000"};

using Variables = std::map<std::string, std::string>;

class Dhclient6Script : public support::PrivateRoot {
protected:
    void SetUp() override
    {
        PrivateRoot::SetUp();
        if (IsSkipped())
            return;
        reference::install(SCRIPT);
        shell("rm -rf /etc/dhclient/ipv6 /etc/iproute2/config");
        add_card("eth0");
        look_for_duplicates(false);
        lease_ = {{"interface", "eth0"},
                  {"reason", "BOUND6"},
                  {"new_ip6_address", "2001:db8::5"},
                  {"new_ip6_prefixlen", "128"},
                  {"new_max_life", "600"},
                  {"new_preferred_life", "300"},
                  {"new_dhcp6_name_servers", "2001:db8::1 2001:db8::2"},
                  {"new_dhcp6_domain_search", "example.test. other.test."}};
    }

    int run(const Variables &changes = {})
    {
        Variables variables = lease_;
        for (const auto &[name, value] : changes)
            variables[name] = value;
        return reference::run({SCRIPT}, variables);
    }
    static int tell(const char *reason)
    {
        return reference::run({SCRIPT}, {{"interface", "eth0"}, {"reason", reason}});
    }

    // The kernel takes its time for that.
    static void look_for_duplicates(bool yes)
    {
        write_file("/proc/sys/net/ipv6/conf/eth0/accept_dad", yes ? "1" : "0");
    }

    static std::string addresses() { return shell("ip -6 -o address show dev eth0 scope global"); }
    static bool has_address(const std::string &address)
    {
        return addresses().find(" inet6 " + address + " ") != std::string::npos;
    }

    static inline const std::string WHOLE =
        "IPADDR=2001:db8::5\nPREFIXLEN=128\nDNS=2001:db8::1,2001:db8::2\nDOMAIN=example.test\n";
    static inline const std::string SERVERS = "nameserver\t2001:db8::1\nnameserver\t2001:db8::2\n";

private:
    Variables lease_;
};

TEST_F(Dhclient6Script, SetsWhatALeaseSays)
{
    for (const char *reason : {"BOUND6", "RENEW6", "REBIND6"}) {
        ASSERT_EQ(0, run({{"reason", reason}})) << reason;
        EXPECT_TRUE(has_address("2001:db8::5/128")) << addresses();
        EXPECT_NE(std::string::npos, addresses().find("valid_lft"));
        EXPECT_EQ(WHOLE, read_file(INFO));
        EXPECT_EQ(SERVERS, read_file(RESOLVER));
    }
    EXPECT_EQ((std::vector<std::string>{"dhcpcd-eth0.info"}), entries(LEASES));
}

TEST_F(Dhclient6Script, InformationAloneHasNoAddress)
{
    ASSERT_EQ(0, run({{"reason", "RENEW6"}, {"new_ip6_address", ""}, {"new_ip6_prefixlen", ""}}));
    EXPECT_EQ("", addresses());
    EXPECT_EQ("DNS=2001:db8::1,2001:db8::2\nDOMAIN=example.test\n", read_file(INFO));
    EXPECT_EQ(SERVERS, read_file(RESOLVER));
}

TEST_F(Dhclient6Script, MovesToAnotherAddress)
{
    ASSERT_EQ(0, run());
    ASSERT_EQ(0, run({{"reason", "REBIND6"}, {"new_ip6_address", "2001:db8::6"}, {"new_ip6_prefixlen", "64"}}));
    EXPECT_TRUE(has_address("2001:db8::6/64")) << addresses();
    EXPECT_FALSE(has_address("2001:db8::5/128")) << addresses();
}

TEST_F(Dhclient6Script, LeavesADuplicateMarkedForWhoeverAsked)
{
    look_for_duplicates(true);
    shell("ip -6 address add 2001:db8::5/64 dev eth0p nodad");
    ASSERT_EQ(0, run());
    EXPECT_NE(std::string::npos, addresses().find("dadfailed")) << addresses();
    EXPECT_EQ(WHOLE, read_file(INFO)) << "a stop takes it off";
    ASSERT_EQ(0, tell("STOP6"));
    EXPECT_EQ("", addresses());
}

TEST_F(Dhclient6Script, TakesEverythingAwayAgainAndNothingElse)
{
    for (const char *reason : {"EXPIRE6", "RELEASE6", "STOP6"}) {
        shell("ip -6 address replace 2001:db8::99/64 dev eth0 nodad");
        ASSERT_EQ(0, run()) << reason;
        ASSERT_EQ(0, tell(reason)) << reason;
        EXPECT_TRUE(has_address("2001:db8::99/64")) << addresses();
        EXPECT_FALSE(has_address("2001:db8::5/128")) << addresses();
        EXPECT_FALSE(exists(INFO)) << reason;
        EXPECT_FALSE(exists(RESOLVER)) << reason;
        EXPECT_EQ(0, tell(reason)) << "there is nothing left";
    }
}

TEST_F(Dhclient6Script, DeprecatesTheAddress)
{
    ASSERT_EQ(0, run());
    ASSERT_EQ(0, tell("DEPREF6"));
    EXPECT_NE(std::string::npos, addresses().find("deprecated")) << addresses();
    EXPECT_TRUE(exists(INFO));
}

TEST_F(Dhclient6Script, KeepsTheServersOfOtherLeases)
{
    write_file("/etc/dhclient/ipv6/dhcpcd-eth1.info", "DNS=2001:db8::9,$(touch /tmp/broken),x\n");
    ASSERT_EQ(0, run());
    EXPECT_EQ(SERVERS + "nameserver\t2001:db8::9\n", read_file(RESOLVER));
    ASSERT_EQ(0, tell("STOP6"));
    EXPECT_EQ("nameserver\t2001:db8::9\n", read_file(RESOLVER));
    EXPECT_FALSE(exists("/tmp/broken"));
}

TEST_F(Dhclient6Script, RefusesALeaseWithoutAGoodAddress)
{
    std::vector<std::string> values(std::begin(MALFORMED), std::end(MALFORMED));
    values.insert(values.end(), std::begin(HOSTILE), std::end(HOSTILE));
    values.insert(values.end(), {"fe80::1", "FEBF::1"});
    for (const std::string &value : values) {
        EXPECT_NE(0, run({{"new_ip6_address", value}})) << value;
        EXPECT_EQ("", addresses()) << value;
        EXPECT_FALSE(exists(INFO)) << value;
        EXPECT_FALSE(exists(RESOLVER)) << value;
        EXPECT_FALSE(exists("/tmp/broken")) << value;
    }
    for (const char *prefix : {"", "129", "-1", "64x", "1000000000000", "$(touch /tmp/broken)"})
        EXPECT_NE(0, run({{"new_ip6_prefixlen", prefix}})) << prefix;
    EXPECT_FALSE(exists("/tmp/broken"));
}

TEST_F(Dhclient6Script, LeavesOutMalformedServersAndThoseOfNoUse)
{
    std::vector<std::string> values(std::begin(MALFORMED), std::end(MALFORMED));
    values.insert(values.end(), std::begin(HOSTILE), std::end(HOSTILE));
    values.insert(values.end(), {"fe80::1", "feaF:1::2"});
    for (const std::string &value : values) {
        if (value.find('\n') != std::string::npos)
            continue; // a blank between two servers
        ASSERT_EQ(0, run({{"new_dhcp6_name_servers", "2001:db8::1 " + value + " 2001:db8::2"}})) << value;
        EXPECT_EQ(SERVERS, read_file(RESOLVER)) << value;
        EXPECT_EQ(WHOLE, read_file(INFO)) << value;
        EXPECT_FALSE(exists("/tmp/broken")) << value;
    }
    ASSERT_EQ(0, run({{"new_dhcp6_name_servers", "::1 1:2:3:4:5:6:7:8 2001:DB8:: 1:2:3:4:5:6::8"}}));
    EXPECT_EQ("nameserver\t::1\nnameserver\t1:2:3:4:5:6:7:8\nnameserver\t2001:DB8::\nnameserver\t1:2:3:4:5:6::8\n",
              read_file(RESOLVER));
}

TEST_F(Dhclient6Script, LeavesOutAHostileDomainAndLifetime)
{
    for (const char *value : HOSTILE) {
        ASSERT_EQ(0, run({{"new_dhcp6_domain_search", value}, {"new_max_life", value}})) << value;
        const std::string info = read_file(INFO);
        EXPECT_EQ(info.find("IPADDR"), info.rfind("IPADDR")) << value;
        EXPECT_EQ(0U, info.find("IPADDR=2001:db8::5\nPREFIXLEN=128\nDNS=2001:db8::1,2001:db8::2\n")) << value;
        EXPECT_FALSE(exists("/tmp/broken")) << value;
    }
}

TEST_F(Dhclient6Script, RefusesAHostileInterface)
{
    for (const char *value : {"", ".", "..", "../eth0", "eth0;touch /tmp/broken", "$(touch /tmp/broken)", "a b", "-h",
                              "sixteen-letters-", "eth0\nx"}) {
        EXPECT_NE(0, run({{"interface", value}})) << value;
        EXPECT_FALSE(exists("/tmp/broken")) << value;
        EXPECT_TRUE(entries(LEASES).empty()) << value;
    }
}

TEST_F(Dhclient6Script, IgnoresReasonsThatItDoesNotKnow)
{
    for (const char *reason : {"", "PREINIT6", "BOUND", "TIMEOUT", "$(touch /tmp/broken)"}) {
        EXPECT_EQ(0, run({{"reason", reason}})) << reason;
        EXPECT_EQ("", addresses()) << reason;
    }
    EXPECT_FALSE(exists("/tmp/broken"));
}

TEST_F(Dhclient6Script, LeavesTheFilesWhenTheAddressCannotBeSet)
{
    ASSERT_EQ(0, run());
    script("/sbin/ip", "case \"$*\" in *'address replace'*) exit 2 ;; esac\nexec /usr/bin/ip \"$@\"");
    EXPECT_NE(0, run({{"new_dhcp6_domain_search", "other.test"}}));
    EXPECT_EQ(WHOLE, read_file(INFO));
}

// ---- The client's life

constexpr char LIFE[] = "/usr/kavo/libexec/dhclient6";

class Dhclient6Life : public support::PrivateRoot {
protected:
    void SetUp() override
    {
        PrivateRoot::SetUp();
        if (IsSkipped())
            return;
        reference::install(LIFE);
        reference::install(SCRIPT);
        add_card("eth0");
        shell("ip -6 address flush dev eth0; ip -6 address add fe80::5/64 dev eth0 nodad");
        script("/sbin/dhclient", "record_call \"$0\" \"$@\"\necho $$ >/run/client");
    }

    static int live(const std::string &verb, const std::string &instance)
    {
        return reference::run({LIFE, verb, instance}, {{"MAINPID", "1"}});
    }
};

TEST_F(Dhclient6Life, BecomesTheClientWithFilesOfItsOwn)
{
    ASSERT_EQ(0, symlink("/etc/dhclient/target", "/tmp/dhclient6-eth0-client.pid"));
    EXPECT_EQ(0, live("run", "eth0-client"));
    EXPECT_EQ((std::vector<std::string>{
                  "[/sbin/dhclient] [-6] [-d] [-q] [-D] [LL] [-cf] [/etc/dhclient/dhclient6.conf] [-sf] "
                  "[/etc/dhclient/dhclient6-script] [-lf] [/etc/dhclient/ipv6/eth0-client.leases] [-pf] "
                  "[/tmp/dhclient6-eth0-client.pid] [eth0]"}),
              calls());
    EXPECT_FALSE(exists("/etc/dhclient/target"));
    EXPECT_EQ("regular empty file\n", shell("stat -c %F /tmp/dhclient6-eth0-client.pid"));
}

TEST_F(Dhclient6Life, TheInformationClientStaysUnderTheClientsName)
{
    // The stock client ends; whoever called it stays, until this one ends that too.
    script("/sbin/dhclient", "record_call \"$@\"\ncat /proc/$PPID/stat /tmp/dhclient6-eth0-info.pid >/run/parent\n"
                             "kill -KILL $PPID");
    EXPECT_EQ(-1, live("run", "eth0-info"));
    ASSERT_EQ(1U, calls().size());
    EXPECT_NE(std::string::npos, calls()[0].find("[-S] [--no-pid] [eth0]")) << calls()[0];
    const auto parent = support::lines_of(read_file("/run/parent"));
    ASSERT_EQ(2U, parent.size());
    EXPECT_EQ(0U, parent[0].find(parent[1] + " (dhclient) ")) << parent[0];
}

TEST_F(Dhclient6Life, RefusesAnInterfaceWithoutIpv6)
{
    EXPECT_NE(0, live("run", "eth7-client"));
    write_file("/proc/sys/net/ipv6/conf/eth0/disable_ipv6", "1\n");
    EXPECT_NE(0, live("run", "eth0-client"));
    EXPECT_TRUE(calls().empty());
}

TEST_F(Dhclient6Life, AwaitsAClientOnly)
{
    // The process that is named is none, and what should become one has ended.
    write_file("/tmp/dhclient6-eth0-client.pid", "1\n");
    EXPECT_NE(0, reference::run({LIFE, "await", "eth0-client"}, {{"MAINPID", "4194304999"}}));
    // One of that name is.
    shell("cp /bin/sleep /run/dhclient; /run/dhclient 30 >/dev/null 2>&1 & echo $! >/tmp/dhclient6-eth0-client.pid; "
          "until [ \"$(cat /proc/$!/comm)\" = dhclient ]; do sleep 0.01; done");
    EXPECT_EQ(0, live("await", "eth0-client"));
    shell("kill \"$(cat /tmp/dhclient6-eth0-client.pid)\"");
}

TEST_F(Dhclient6Life, CleansUp)
{
    ASSERT_EQ(0, reference::run({SCRIPT}, {{"interface", "eth0"},
                                           {"reason", "BOUND6"},
                                           {"new_ip6_address", "2001:db8::5"},
                                           {"new_ip6_prefixlen", "128"}}));
    write_file("/tmp/dhclient6-eth0-info.pid", "1\n");
    EXPECT_EQ(0, live("clean", "eth0-info"));
    EXPECT_FALSE(exists("/tmp/dhclient6-eth0-info.pid"));
    EXPECT_EQ("", shell("ip -6 -o address show dev eth0 scope global"));
}

TEST_F(Dhclient6Life, RefusesWhatItDoesNotKnow)
{
    for (const char *instance : {"", "eth0", "-client", "eth0-", "eth0-other", "../eth0-client", "a b-client",
                                 "..-info", "$(touch /tmp/broken)-client", "sixteen-letters--client"}) {
        for (const char *verb : {"run", "await", "clean"})
            EXPECT_EQ(2, live(verb, instance)) << instance;
    }
    EXPECT_EQ(2, live("start", "eth0-client"));
    EXPECT_EQ(2, reference::run({LIFE}));
    EXPECT_FALSE(exists("/tmp/broken"));
    EXPECT_TRUE(calls().empty());
}

} // namespace
