// The DHCPv4 client of the appliance: what it hands to the system's client, and the test that it adds.
#include <chrono>
#include <csignal>
#include <map>
#include <string>
#include <thread>

#include <gmock/gmock.h>

#include "reference_files.h"
#include "support/private_root.h"
#include "support/read_back.h"

namespace {

using support::entries;
using support::exists;
using support::read_file;
using support::write_file;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

constexpr char CLIENT[] = "/usr/sbin/dhclient";
constexpr char SYSTEM_CLIENT[] = "/usr/kavo/libexec/dhclient";
constexpr char SCRIPT[] = "/etc/dhclient/dhclient-script";
constexpr char RUN_SCRIPT[] = "/run/dhclient-script";
constexpr char INFO[] = "/etc/dhclient/ipv4/dhcpcd-eth0.info";
constexpr char PID_FILE[] = "/etc/dhclient/ipv4/dhcpcd-eth0.pid";
constexpr char RESOLVER[] = "/etc/iproute2/config/resolv4.conf";
const std::string ANSWER = "IPADDR=192.0.2.10\nNETMASK=255.255.255.0\n";

class Dhclient : public support::PrivateRoot {
protected:
    void SetUp() override
    {
        PrivateRoot::SetUp();
        if (IsSkipped())
            return;
        unlink(CLIENT); // the machine's
        reference::install(CLIENT);
        reference::install(SCRIPT);
        write_file(RUN_SCRIPT, read_file(SCRIPT), 0755);
        client_gets("192.0.2.10", "255.255.255.0");
        add_card("eth0", "", false);
    }

    // A system's client as far as the test goes: it has its script run, and does more when a lease is taken.
    static void client_gets(const std::string &address, const std::string &mask)
    {
        system_client("run() { env \"$environment\" reason=\"$1\" interface=\"$interface\" new_ip_address='" + address +
                      "' new_subnet_mask='" + mask +
                      "' new_routers=192.0.2.1 new_domain_name_servers=192.0.2.2 new_domain_name=lab.test "
                      "new_dhcp_lease_time=600 \"$script\"; }\n"
                      "run PREINIT\n/usr/bin/ip -o link show eth0 >/run/link-at-the-question\nrun BOUND\n"
                      "echo \"bound $?\" >>/run/went-on\nexec sleep 30");
    }

    static void system_client(const std::string &body)
    {
        script(SYSTEM_CLIENT,
               "record_call \"$0\" \"$@\"\nfor word; do\ncase $last in -sf) script=$word ;; -e) environment=$word ;; "
               "-lf) leases=$word ;; esac\nlast=$word interface=$word\ndone\n" +
                   body);
    }

    static int test(const std::string &interface = "eth0")
    {
        return reference::run({CLIENT, "-d", "-q", "--kavo_test", "-lf", "/tmp/dhcpv4.leases." + interface, "-pf",
                               "/etc/dhclient/ipv4/dhcpcd-" + interface + ".pid", "-sf", "/var/run/dhclient-script",
                               interface},
                              {{"PATH", "/sbin:/bin:/usr/sbin:/usr/bin"}, {"LANG", "C"}});
    }

    static bool is_up() { return shell("ip -o link show eth0").find(",UP") != std::string::npos; }
    static std::string addresses() { return shell("ip -4 -o address show dev eth0"); }

    static std::vector<std::string> test_folders()
    {
        std::vector<std::string> found;
        for (const std::string &name : entries("/run"))
            if (name.starts_with("dhclient-test"))
                found.push_back(name);
        return found;
    }
};

TEST_F(Dhclient, HandsEverythingElseToTheSystemsClient)
{
    system_client("exit 7");
    EXPECT_EQ(7, reference::run({CLIENT, "-4", "-d", "-q", "-cf", "a b", "-lf", "", "eth0"}));
    EXPECT_EQ(7, reference::run({CLIENT}));
    EXPECT_THAT(calls(), ElementsAre("[/usr/kavo/libexec/dhclient] [-4] [-d] [-q] [-cf] [a b] [-lf] [] [eth0]",
                                     "[/usr/kavo/libexec/dhclient]"));
}

TEST_F(Dhclient, SaysWhenThereIsNoSystemsClient)
{
    ASSERT_EQ(0, unlink(SYSTEM_CLIENT));
    shell("[ /sbin -ef /usr/sbin ] || rm -f /sbin/dhclient");
    EXPECT_EQ(127, reference::run({CLIENT, "eth0"}));
    EXPECT_EQ(127, test());
}

TEST_F(Dhclient, LeavesTheAnswerInTheInformationFile)
{
    ASSERT_EQ(0, test());
    EXPECT_EQ(ANSWER, read_file(INFO));
    EXPECT_EQ("644 root\n", shell(std::string("stat -c '%a %U' ") + INFO));
    EXPECT_FALSE(exists("/run/went-on")) << "nothing comes after the answer";
    EXPECT_THAT(test_folders(), IsEmpty());
    EXPECT_THAT(entries("/etc/dhclient/ipv4"), ElementsAre("dhcpcd-eth0.info"));
}

TEST_F(Dhclient, AsksWithFilesOfItsOwn)
{
    ASSERT_EQ(0, test());
    EXPECT_THAT(calls(), ElementsAre(MatchesRegex(
                             "\\[/usr/kavo/libexec/dhclient\\] \\[-4\\] \\[-d\\] \\[-q\\] \\[-1\\] \\[-cf\\] "
                             "\\[/etc/dhclient/dhclient\\.conf\\] \\[-lf\\] "
                             "\\[/run/dhclient-test\\.[A-Za-z0-9]*/leases\\] \\[-pf\\] "
                             "\\[/run/dhclient-test\\.[A-Za-z0-9]*/pid\\] \\[-sf\\] "
                             "\\[/var/run/dhclient-script\\] \\[-e\\] "
                             "\\[kavo_test=/run/dhclient-test\\.[A-Za-z0-9]*\\] \\[eth0\\]")));
}

TEST_F(Dhclient, LeavesTheInterfaceAsItWas)
{
    ASSERT_EQ(0, test());
    EXPECT_THAT(read_file("/run/link-at-the-question"), HasSubstr(",UP")) << "a card that is down cannot ask";
    EXPECT_FALSE(is_up());
    EXPECT_EQ("", addresses());
    EXPECT_EQ("", shell("ip -4 route show"));
    EXPECT_FALSE(exists(RESOLVER));

    shell("ip link set eth0 up; ip link set eth0p up; ip address add 198.51.100.7/24 dev eth0");
    const std::string before = addresses() + shell("ip -4 route show");
    ASSERT_EQ(0, test());
    EXPECT_TRUE(is_up());
    EXPECT_EQ(before, addresses() + shell("ip -4 route show"));
}

TEST_F(Dhclient, LeavesACardUpThatSomebodyElseCameToUse)
{
    client_gets("192.0.2.10", "255.255.255.0");
    system_client("/usr/bin/ip link set eth0 up; /usr/bin/ip address add 198.51.100.7/24 dev eth0; exit 2");
    EXPECT_EQ(2, test());
    EXPECT_TRUE(is_up());
    shell("ip address flush dev eth0; ip link set eth0 down");
    system_client(std::string("/usr/bin/ip link set eth0 up; echo 1 >") + PID_FILE + "; exit 2");
    EXPECT_EQ(2, test());
    EXPECT_TRUE(is_up());
}

TEST_F(Dhclient, KeepsWhatBelongsToAClientThatRuns)
{
    write_file(INFO, "IPADDR=192.0.2.9\nNETMASK=255.255.0.0\nGATEWAY=192.0.2.7\nDNS=192.0.2.8\nLEASETIME=60\n");
    write_file(PID_FILE, "1\n");
    write_file("/tmp/dhcpv4.leases.eth0", "its leases\n");
    ASSERT_EQ(0, test());
    EXPECT_EQ(ANSWER + "GATEWAY=192.0.2.7\nDNS=192.0.2.8\nLEASETIME=60\n", read_file(INFO));
    EXPECT_EQ("1\n", read_file(PID_FILE));
    EXPECT_EQ("its leases\n", read_file("/tmp/dhcpv4.leases.eth0"));
}

TEST_F(Dhclient, FollowsNoLinkInThePlaceOfTheLeaseFile)
{
    write_file("/root/precious", "as it was\n");
    ASSERT_EQ(0, symlink("/root/precious", "/tmp/dhcpv4.leases.eth0"));
    ASSERT_EQ(0, test());
    EXPECT_EQ("as it was\n", read_file("/root/precious"));
}

TEST_F(Dhclient, FailsWhenNoServerAnswers)
{
    system_client("exit 2");
    EXPECT_EQ(2, test());
    system_client("exit 0");
    EXPECT_EQ(1, test()) << "no answer is none, whatever the client says";
    system_client("kill -9 $$");
    EXPECT_EQ(137, test());
    EXPECT_FALSE(exists(INFO));
    EXPECT_THAT(test_folders(), IsEmpty());
    EXPECT_FALSE(is_up());
}

TEST_F(Dhclient, FailsWithoutRefusingALeaseThatIsNone)
{
    for (const auto &[address, mask] : std::map<std::string, std::string>{{"192.0.2.256", "255.255.255.0"},
                                                                          {"", ""},
                                                                          {"192.0.2.10", "255.0.255.0"},
                                                                          {"$(touch /tmp/broken)", "x"}}) {
        client_gets(address, mask);
        EXPECT_NE(0, test()) << address;
        EXPECT_FALSE(exists(INFO)) << address;
    }
    EXPECT_FALSE(exists("/run/went-on")) << "the client would tell the server that the address is taken";
    EXPECT_FALSE(exists("/tmp/broken"));
}

TEST_F(Dhclient, KeepsTheFormerFileWithoutAnAnswer)
{
    write_file(INFO, "IPADDR=192.0.2.9\n");
    system_client("exit 2");
    EXPECT_EQ(2, test());
    EXPECT_EQ("IPADDR=192.0.2.9\n", read_file(INFO));
}

TEST_F(Dhclient, RunsTheScriptFromItsPlaceWhereItCannotBeRun)
{
    write_file(RUN_SCRIPT, read_file(SCRIPT), 0644); // as on a file system that takes no programs
    ASSERT_EQ(0, test());
    EXPECT_THAT(calls(), ElementsAre(HasSubstr("[-sf] [/etc/dhclient/dhclient-script]")));
    EXPECT_EQ(ANSWER, read_file(INFO));
}

TEST_F(Dhclient, EndsItsClientWhenItIsEnded)
{
    system_client("echo $$ >/run/system-client; exec sleep 300");
    for (const auto &[signal, status] : std::map<int, int>{{SIGTERM, 143}, {SIGINT, 130}, {SIGHUP, 129}}) {
        unlink("/run/system-client");
        std::thread ender([signal = signal] {
            std::string pid;
            for (int i = 0; i < 6000 && !pid.ends_with('\n'); ++i) {
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
                pid = read_file("/run/system-client");
            }
            ASSERT_NE("", pid) << "the client does not start";
            // The wrapper is the parent of its client.
            const std::string status_file = read_file("/proc/" + std::to_string(std::stoi(pid)) + "/status");
            const int parent = std::stoi(status_file.substr(status_file.find("PPid:") + 5));
            EXPECT_EQ(0, kill(parent, signal));
        });
        EXPECT_EQ(status, test());
        ender.join();
        ASSERT_FALSE(HasFatalFailure());
        EXPECT_EQ(-1, kill(std::stoi(read_file("/run/system-client")), 0)) << "the client still runs";
        EXPECT_THAT(test_folders(), IsEmpty());
    }
}

TEST_F(Dhclient, RefusesWhatIsNoTest)
{
    const std::vector<std::vector<std::string>> wrong = {
        {"--kavo_test"},
        {"--kavo_test", "eth0"},
        {"--kavo_test", "-sf", RUN_SCRIPT},
        {"--kavo_test", "-sf", "", "eth0"},
        {"--kavo_test", "-sf", RUN_SCRIPT, ""},
        {"--kavo_test", "-sf", RUN_SCRIPT, "eth0", "eth1"},
        {"--kavo_test", "-sf", RUN_SCRIPT, "-r", "eth0"},
        {"--kavo_test", "-sf", RUN_SCRIPT, "../eth0"},
        {"--kavo_test", "-sf", RUN_SCRIPT, "eth0;touch /tmp/broken"},
        {"--kavo_test", "-sf", RUN_SCRIPT, "$(touch /tmp/broken)"},
        {"--kavo_test", "-sf", RUN_SCRIPT, "sixteen-letters-"},
        {"--kavo_test", "eth0", "-sf"},
        {"--kavo_test", "eth0", "-sf", RUN_SCRIPT, "-lf"},
    };
    for (std::vector<std::string> words : wrong) {
        words.insert(words.begin(), CLIENT);
        EXPECT_EQ(2, reference::run(words)) << testing::PrintToString(words);
    }
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_FALSE(exists("/tmp/broken"));
}

} // namespace
