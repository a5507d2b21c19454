// The script that the DHCPv4 client runs: what a lease sets, and that nothing in a lease can do more than that.
#include <csignal>
#include <map>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "reference_files.h"
#include "support/private_root.h"
#include "support/read_back.h"

namespace {

using support::entries;
using support::exists;
using support::read_file;
using support::write_file;

constexpr char SCRIPT[] = "/etc/dhclient/dhclient-script";
constexpr char INFO[] = "/etc/dhclient/ipv4/dhcpcd-eth0.info";
constexpr char LEASES[] = "/etc/dhclient/ipv4";
constexpr char RESOLVER[] = "/etc/iproute2/config/resolv4.conf";

using Variables = std::map<std::string, std::string>;

class DhclientScript : public support::PrivateRoot {
protected:
    void SetUp() override
    {
        PrivateRoot::SetUp();
        if (IsSkipped())
            return;
        reference::install(SCRIPT);
        add_card("eth0");
        lease_ = {{"interface", "eth0"},
                  {"reason", "BOUND"},
                  {"new_ip_address", "192.0.2.10"},
                  {"new_subnet_mask", "255.255.255.0"},
                  {"new_routers", "192.0.2.1"},
                  {"new_domain_name_servers", "192.0.2.2 192.0.2.3"},
                  {"new_domain_name", "example.test"},
                  {"new_dhcp_lease_time", "600"}};
    }

    int run(const Variables &changes = {})
    {
        Variables variables = lease_;
        for (const auto &[name, value] : changes)
            variables[name] = value;
        return reference::run({SCRIPT}, variables);
    }

    static std::string addresses() { return shell("ip -4 -o address show dev eth0"); }

    static bool has_address(const std::string &address)
    {
        return addresses().find(" inet " + address + " ") != std::string::npos;
    }

    // The one key of the information file that a hostile value could have changed.
    static std::string info_without(const std::string &key)
    {
        std::string rest;
        for (const std::string &line : support::lines_of(read_file(INFO)))
            if (!line.starts_with(key + "="))
                rest += line + "\n";
        return rest;
    }

    static inline const std::string WHOLE = "IPADDR=192.0.2.10\nNETMASK=255.255.255.0\nGATEWAY=192.0.2.1\n"
                                            "DNS=192.0.2.2,192.0.2.3\nDOMAIN=example.test\nLEASETIME=600\n";

private:
    Variables lease_;
};

// Values that would do something if a shell ran them or a file took them as they are.
const char *const HOSTILE[] = {"a; touch /tmp/broken",
                               "$(touch /tmp/broken)",
                               "`touch /tmp/broken`",
                               "x\nIPADDR=203.0.113.9",
                               "x\rIPADDR=203.0.113.9",
                               "192.0.2.9\nIPADDR=203.0.113.9",
                               "192.0.2.9/24",
                               "192.0.2.9;",
                               "-h",
                               "--help",
                               "*",
                               "/etc/*",
                               "../../etc/passwd",
                               "\"quoted\"",
                               "'quoted'",
                               "a&b",
                               "a|b",
                               "a>b",
                               "\x1b[2J",
                               "\xff\xfe",
                               "192.0.2",
                               "192.0.2.256",
                               "192.0.2.0010",
                               "192.0.02.1",
                               "1.2.3.4.5",
                               "99999999999999999999",
                               ".",
                               "..",
                               "a..b",
                               "-a.b",
                               "a-.b",
                               "a b"};

TEST_F(DhclientScript, SetsWhatTheLeaseSays)
{
    ASSERT_EQ(0, run());
    EXPECT_TRUE(has_address("192.0.2.10/24")) << addresses();
    EXPECT_NE(std::string::npos, addresses().find("brd 192.0.2.255"));
    EXPECT_NE(std::string::npos, shell("ip -4 route show default").find("default via 192.0.2.1 dev eth0 metric "));
    EXPECT_EQ(WHOLE, read_file(INFO));
    EXPECT_EQ("nameserver\t192.0.2.2\nnameserver\t192.0.2.3\n", read_file(RESOLVER));
    EXPECT_EQ((std::vector<std::string>{"dhcpcd-eth0.info"}), entries(LEASES));
    EXPECT_EQ("644 root\n", shell(std::string("stat -c '%a %U' ") + INFO));
}

TEST_F(DhclientScript, BringsTheInterfaceUpFirst)
{
    shell("ip link set eth0 down");
    ASSERT_EQ(0, run({{"reason", "PREINIT"}}));
    EXPECT_NE(std::string::npos, shell("ip -o link show dev eth0").find(",UP"));
    EXPECT_FALSE(exists(INFO));
}

TEST_F(DhclientScript, MovesToAnotherAddressAndGateway)
{
    ASSERT_EQ(0, run());
    ASSERT_EQ(0, run({{"reason", "REBIND"}, {"new_ip_address", "198.51.100.4"}, {"new_routers", "198.51.100.1"}}));
    EXPECT_TRUE(has_address("198.51.100.4/24")) << addresses();
    EXPECT_FALSE(has_address("192.0.2.10/24")) << addresses();
    const std::string routes = shell("ip -4 route show default");
    EXPECT_NE(std::string::npos, routes.find("via 198.51.100.1 ")) << routes;
    EXPECT_EQ(std::string::npos, routes.find("via 192.0.2.1 ")) << routes;
}

TEST_F(DhclientScript, RenewsWithoutTakingTheAddressAway)
{
    ASSERT_EQ(0, run());
    script("/sbin/ip", "record_call \"$0\" \"$@\"\nexec /usr/bin/ip \"$@\"");
    ASSERT_EQ(0, run({{"reason", "RENEW"}}));
    for (const std::string &call : calls())
        EXPECT_EQ(std::string::npos, call.find("[address] [del]")) << call;
    EXPECT_TRUE(has_address("192.0.2.10/24"));
}

TEST_F(DhclientScript, KeepsLabelledAliases)
{
    // As the service manager sets it everywhere: otherwise an alias goes with the main address of its network.
    write_file("/proc/sys/net/ipv4/conf/eth0/promote_secondaries", "1\n");
    shell("ip address add 203.0.113.1/24 dev eth0; ip address add 203.0.113.2/24 dev eth0 label eth0:1");
    ASSERT_EQ(0, run());
    EXPECT_EQ(std::string::npos, addresses().find("203.0.113.1/"));
    EXPECT_NE(std::string::npos, addresses().find("203.0.113.2/"));
}

TEST_F(DhclientScript, TakesEverythingAwayAgain)
{
    for (const char *reason : {"RELEASE", "EXPIRE", "FAIL"}) {
        ASSERT_EQ(0, run()) << reason;
        ASSERT_EQ(0, reference::run({SCRIPT}, {{"interface", "eth0"}, {"reason", reason}})) << reason;
        EXPECT_EQ("", addresses()) << reason;
        EXPECT_EQ("", shell("ip -4 route show default")) << reason;
        EXPECT_FALSE(exists(INFO)) << reason;
        EXPECT_FALSE(exists(RESOLVER)) << reason;
    }
}

TEST_F(DhclientScript, LeavesTheAddressWithoutALimitWhenTheClientIsStopped)
{
    ASSERT_EQ(0, run());
    EXPECT_EQ(std::string::npos, shell("ip -4 address show dev eth0").find("valid_lft forever"));
    ASSERT_EQ(0, run({{"reason", "STOP"}}));
    EXPECT_TRUE(has_address("192.0.2.10/24"));
    EXPECT_NE(std::string::npos, shell("ip -4 address show dev eth0").find("valid_lft forever"));
    EXPECT_EQ("", shell("ip -4 route show default"));
    EXPECT_FALSE(exists(INFO));
    EXPECT_FALSE(exists(RESOLVER));
}

TEST_F(DhclientScript, TakesNothingAwayWithoutALease)
{
    shell("ip address add 203.0.113.1/24 dev eth0");
    write_file(RESOLVER, "nameserver\t203.0.113.5\n");
    ASSERT_EQ(0, run({{"reason", "STOP"}}));
    EXPECT_TRUE(has_address("203.0.113.1/24"));
    EXPECT_EQ("nameserver\t203.0.113.5\n", read_file(RESOLVER));
}

TEST_F(DhclientScript, KeepsTheServersOfOtherLeases)
{
    write_file("/etc/dhclient/ipv4/dhcpcd-eth1.info", "IPADDR=198.51.100.9\nDNS=198.51.100.2\n");
    ASSERT_EQ(0, run());
    EXPECT_EQ("nameserver\t192.0.2.2\nnameserver\t192.0.2.3\nnameserver\t198.51.100.2\n", read_file(RESOLVER));
    ASSERT_EQ(0, run({{"reason", "STOP"}}));
    EXPECT_EQ("nameserver\t198.51.100.2\n", read_file(RESOLVER));
}

TEST_F(DhclientScript, HasChangedServersUsed)
{
    record("/usr/bin/kavonet");
    record("/usr/bin/systemd-run");
    const auto is_update =
        testing::AllOf(testing::HasSubstr("[--no-block] "), testing::EndsWith(" [kavonet] [dns] [update]"));
    ASSERT_EQ(0, run());
    EXPECT_THAT(calls(), testing::ElementsAre(is_update));
    ASSERT_EQ(0, run({{"reason", "RENEW"}}));
    EXPECT_EQ(1U, calls().size()) << "a renewal brings nothing new";
    ASSERT_EQ(0, run({{"reason", "RENEW"}, {"new_domain_name_servers", "192.0.2.3"}}));
    EXPECT_THAT(calls(), testing::ElementsAre(is_update, is_update));
    // Without any servers those in use stay, so there is nothing to have written.
    ASSERT_EQ(0, run({{"reason", "STOP"}}));
    EXPECT_EQ(2U, calls().size());
    EXPECT_FALSE(exists(RESOLVER));
}

TEST_F(DhclientScript, KeepsTheLeaseWhenNobodyUsesItsServers)
{
    record("/usr/bin/kavonet");
    record("/usr/bin/systemd-run", 1);
    ASSERT_EQ(0, run());
    EXPECT_EQ(WHOLE, read_file(INFO));
    EXPECT_EQ("nameserver\t192.0.2.2\nnameserver\t192.0.2.3\n", read_file(RESOLVER));
}

TEST_F(DhclientScript, DoesWithoutWhatALeaseMayLack)
{
    ASSERT_EQ(0, run({{"new_routers", ""},
                      {"new_domain_name_servers", ""},
                      {"new_domain_name", ""},
                      {"new_dhcp_lease_time", ""}}));
    EXPECT_EQ("IPADDR=192.0.2.10\nNETMASK=255.255.255.0\n", read_file(INFO));
    EXPECT_FALSE(exists(RESOLVER));
    EXPECT_EQ("", shell("ip -4 route show default"));
    EXPECT_TRUE(has_address("192.0.2.10/24"));
}

TEST_F(DhclientScript, RefusesAHostileAddress)
{
    for (const char *value : HOSTILE) {
        EXPECT_NE(0, run({{"new_ip_address", value}})) << value;
        EXPECT_EQ("", addresses()) << value;
        EXPECT_FALSE(exists(INFO)) << value;
        EXPECT_FALSE(exists(RESOLVER)) << value;
        EXPECT_FALSE(exists("/tmp/broken")) << value;
    }
}

TEST_F(DhclientScript, RefusesAHostileMask)
{
    for (const char *value : HOSTILE)
        EXPECT_NE(0, run({{"new_subnet_mask", value}})) << value;
    for (const char *value :
         {"", "0.0.0.0", "255.0.255.0", "255.255.255.1", "0.255.255.255", "253.0.0.0", "255.255.0.128"})
        EXPECT_NE(0, run({{"new_subnet_mask", value}})) << value;
    EXPECT_EQ("", addresses());
    EXPECT_FALSE(exists(INFO));
    EXPECT_FALSE(exists("/tmp/broken"));
}

TEST_F(DhclientScript, KnowsEveryMask)
{
    for (unsigned prefix = 1; prefix <= 32; ++prefix) {
        const unsigned mask = ~0u << (32 - prefix);
        const std::string text = std::to_string(mask >> 24) + "." + std::to_string(mask >> 16 & 255) + "." +
                                 std::to_string(mask >> 8 & 255) + "." + std::to_string(mask & 255);
        ASSERT_EQ(0, run({{"new_subnet_mask", text}, {"new_routers", ""}})) << text;
        const std::string written = "192.0.2.10/" + std::to_string(prefix);
        EXPECT_TRUE(has_address(written)) << text << "\n" << addresses();
    }
}

TEST_F(DhclientScript, LeavesOutAHostileDomain)
{
    for (const char *value : HOSTILE) {
        // What is no threat in a name is no reason to leave it out: dots and digits are the names of some domains.
        if (std::string(value).find_first_not_of("0123456789.") == std::string::npos &&
            std::string(value).front() != '.')
            continue;
        ASSERT_EQ(0, run({{"new_domain_name", value}})) << value;
        EXPECT_EQ(info_without("DOMAIN"), read_file(INFO)) << value;
        EXPECT_EQ(
            "IPADDR=192.0.2.10\nNETMASK=255.255.255.0\nGATEWAY=192.0.2.1\nDNS=192.0.2.2,192.0.2.3\nLEASETIME=600\n",
            read_file(INFO))
            << value;
        EXPECT_FALSE(exists("/tmp/broken")) << value;
    }
    ASSERT_EQ(0, run({{"new_domain_name", std::string(254, 'a')}}));
    EXPECT_EQ(info_without("DOMAIN"), read_file(INFO));
}

TEST_F(DhclientScript, LeavesOutHostileServersAndRouters)
{
    for (const char *value : HOSTILE) {
        ASSERT_EQ(0, run({{"new_domain_name_servers", std::string("192.0.2.2 ") + value + " 192.0.2.3"},
                          {"new_routers", std::string(value)}}))
            << value;
        EXPECT_FALSE(exists("/tmp/broken")) << value;
        const std::string info = read_file(INFO);
        EXPECT_TRUE(info.starts_with("IPADDR=192.0.2.10\nNETMASK=255.255.255.0\n")) << value << "\n" << info;
        EXPECT_EQ(info.find("IPADDR"), info.rfind("IPADDR")) << value << "\n" << info;
        for (const std::string &line : support::lines_of(read_file(RESOLVER)))
            EXPECT_TRUE(line.starts_with("nameserver\t192.0.2.")) << value << "\n" << line;
    }
}

TEST_F(DhclientScript, LeavesOutAHostileLifetime)
{
    for (const char *value : HOSTILE) {
        ASSERT_EQ(0, run({{"new_dhcp_lease_time", value}})) << value;
        EXPECT_EQ(std::string::npos, read_file(INFO).find("LEASETIME")) << value;
        EXPECT_FALSE(exists("/tmp/broken")) << value;
    }
}

TEST_F(DhclientScript, RefusesAHostileInterface)
{
    for (const char *value : {"", ".", "..", "../eth0", "eth0;touch /tmp/broken", "$(touch /tmp/broken)", "a b", "-h",
                              "sixteen-letters-", "eth0\nx"}) {
        EXPECT_NE(0, run({{"interface", value}})) << value;
        EXPECT_TRUE(entries(LEASES).empty()) << value;
        EXPECT_FALSE(exists("/tmp/broken")) << value;
    }
}

TEST_F(DhclientScript, RunsNothingOfAHostileFile)
{
    write_file("/etc/dhclient/ipv4/dhcpcd-eth1.info", "DNS=$(touch /tmp/broken),192.0.2.7,`touch /tmp/broken`,x;y\n");
    write_file(INFO, "IPADDR=$(touch /tmp/broken)\nNETMASK=;touch /tmp/broken\nGATEWAY=-h\n");
    ASSERT_EQ(0, run({{"reason", "STOP"}}));
    EXPECT_FALSE(exists("/tmp/broken"));
    EXPECT_FALSE(exists(INFO));
    EXPECT_EQ("nameserver\t192.0.2.7\n", read_file(RESOLVER));
}

TEST_F(DhclientScript, LeavesTheFilesWhenTheAddressCannotBeSet)
{
    ASSERT_EQ(0, run());
    script("/sbin/ip", "case \"$*\" in *'address replace'*) exit 2 ;; esac\nexec /usr/bin/ip \"$@\"");
    EXPECT_NE(0, run({{"new_domain_name", "other.test"}}));
    EXPECT_EQ(WHOLE, read_file(INFO));
    EXPECT_EQ((std::vector<std::string>{"dhcpcd-eth0.info"}), entries(LEASES));
}

TEST_F(DhclientScript, TrustsNoFormerLeaseWithoutAServer)
{
    EXPECT_NE(0, run({{"reason", "TIMEOUT"}}));
    EXPECT_EQ("", addresses());
}

TEST_F(DhclientScript, IgnoresReasonsThatItDoesNotKnow)
{
    for (const char *reason : {"", "MEDIUM", "NBI", "ARPCHECK", "$(touch /tmp/broken)"}) {
        EXPECT_EQ(0, run({{"reason", reason}})) << reason;
        EXPECT_EQ("", addresses()) << reason;
    }
    EXPECT_FALSE(exists("/tmp/broken"));
}

// ---- A test, which takes nothing of the lease

TEST_F(DhclientScript, WritesOnlyTheAnswerInATest)
{
    const std::string folder = "/run/test-of-eth0";
    for (const char *reason : {"BOUND", "REBOOT"}) {
        // The client that the test ends.
        const pid_t client = fork();
        if (client == 0) {
            pause();
            _exit(0);
        }
        write_file(folder + "/client", std::to_string(client) + "\n");
        EXPECT_EQ(0, run({{"kavo_test", folder}, {"reason", reason}})) << reason;
        int status = 0;
        EXPECT_EQ(client, waitpid(client, &status, 0));
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
        EXPECT_TRUE(exists(folder + "/answered"));
        EXPECT_EQ("IPADDR=192.0.2.10\nNETMASK=255.255.255.0\n", read_file(INFO));
        EXPECT_EQ("", addresses());
        EXPECT_EQ("", shell("ip -4 route show"));
        EXPECT_FALSE(exists(RESOLVER));
        shell("rm -rf " + folder + " " + INFO);
    }
}

TEST_F(DhclientScript, TakesNothingAwayInATest)
{
    ASSERT_EQ(0, run());
    for (const char *reason : {"EXPIRE", "FAIL", "RELEASE", "STOP", "TIMEOUT", "RENEW", "REBIND", "MEDIUM", ""}) {
        EXPECT_EQ(0, run({{"kavo_test", "/run/test"}, {"reason", reason}, {"new_ip_address", "192.0.2.99"}})) << reason;
        EXPECT_EQ(WHOLE, read_file(INFO)) << reason;
        EXPECT_TRUE(has_address("192.0.2.10/24")) << reason;
        EXPECT_TRUE(exists(RESOLVER)) << reason;
    }
}

TEST_F(DhclientScript, EndsNobodyWithoutAClientsNumber)
{
    const std::string folder = "/run/test";
    for (const char *number : {"", "x", "-1", "1 2", "$(touch /tmp/broken)", "12345678901234567890"}) {
        write_file(folder + "/client", number);
        EXPECT_NE(0, run({{"kavo_test", folder}})) << number;
    }
    EXPECT_FALSE(exists("/tmp/broken"));
}

} // namespace
