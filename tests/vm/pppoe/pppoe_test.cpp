// The PPPoE client with a real server, the real scripts and a real PPP session, and relays that carry real discovery.
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kavo/core.h"
#include "kavonetsdk/kavonetsdk.h"
#include "support/commands.h"
#include "support/read_back.h"

using support::shell;

namespace {

using support::exists;
using support::read_file;
using support::write_file;
using testing::HasSubstr;
using testing::Not;

constexpr char SETTINGS[] = "/etc/kavoinfo.conf";
constexpr char CLIENT_FILE[] = "/etc/ppp/pppoe.conf";
constexpr char SECRETS[] = "/etc/ppp/pap-secrets";
constexpr char CACHE[] = "/tmp/kavopppoe.intf";
constexpr char USER[] = "o'neil#1@lab";
constexpr char PASSWORD[] = "s3cret-Word";

std::string output_of(const std::string &command)
{
    shell("{ " + command + "; } >/tmp/output 2>&1 || true");
    return read_file("/tmp/output");
}

std::string ppp_address()
{
    return output_of("ip -o -4 address show dev ppp0");
}

// A server in a network namespace of its own, with its own users and its own process files.
void start_server(const std::string &name, const std::string &interface, const std::string &addresses)
{
    const std::string folder = "/etc/netns/" + name + "/ppp";
    shell("mkdir -p " + folder + "; cp -R /etc/ppp/. " + folder);
    write_file(folder + "/pppoe-server-options", "require-pap\nlcp-echo-interval 10\nlcp-echo-failure 3\n");
    write_file(folder + "/pap-secrets", std::string("\"") + USER + "\" * \"" + PASSWORD + "\" *\n", 0600);
    shell("ip netns exec " + name + " sh -c 'mount -t tmpfs tmpfs /run; exec pppoe-server -F -I " + interface + " " +
          addresses + " -C " + name + " -O /etc/ppp/pppoe-server-options' </dev/null >/dev/null 2>&1 &");
}

// The pair of cards NAME and NAMEp; the second is in the namespace, which is made when it is missing.
void add_cards(const std::string &name, const std::string &space)
{
    shell("ip netns list | grep -qw " + space + " || ip netns add " + space + "; ip link add " + name +
          " type veth peer name " + name + "p netns " + space + "; ip link set " + name + " up; ip -n " + space +
          " link set " + name + "p up");
}

// ---- The client

class Client : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        // The sources may lie in the machine's /tmp, which the empty one hides.
        shell("touch /run/marker; cp -R " KAVO_SOURCE_DIR "/appliance/root /run/appliance; mount -t tmpfs tmpfs /tmp; "
              "mkdir -p /etc/ppp /usr/kavo; cp -R /run/appliance/etc/ppp/. /etc/ppp; "
              "cp -R /run/appliance/usr/kavo/. /usr/kavo");
        install_settings();
        add_cards("eth0", "isp");
        start_server("isp", "eth0p", "-L 10.64.0.1 -R 10.64.0.2");
    }

    void SetUp() override
    {
        write_file(SETTINGS, "before=\"1\"\npppoe_enable=\"no\"\n");
        unlink(CACHE);
        ASSERT_EQ(0, PPPoEConfigSet(conf(PASSWORD)));
    }

    // Whatever a test leaves running is ended by the scripts themselves.
    void TearDown() override
    {
        shell("/usr/sbin/pppoe-stop >/dev/null 2>&1 || true");
        await("! ip link show ppp0 >/dev/null 2>&1");
    }

    // The appliance's own, with more time to connect: the machine that this one runs on may be busy.
    static void install_settings()
    {
        shell(std::string("sed 's/^CONNECT_TIMEOUT=.*/CONNECT_TIMEOUT=200/' /run/appliance/etc/ppp/pppoe.conf >") +
              CLIENT_FILE);
    }

    static void await(const std::string &condition)
    {
        shell("for i in $(seq 600); do if " + condition + "; then exit 0; fi; sleep 0.1; done; exit 1");
    }

    static PPPoEConf conf(const char *password)
    {
        PPPoEConf record{};
        snprintf(record.szEth, sizeof record.szEth, "eth0");
        snprintf(record.szUser, sizeof record.szUser, "%s", USER);
        snprintf(record.szPassword, sizeof record.szPassword, "%s", password);
        snprintf(record.szMTU, sizeof record.szMTU, "1400");
        return record;
    }

    static std::string enabled()
    {
        char value[64] = "";
        KLIBCFileGetKeyValue(SETTINGS, "pppoe_enable", value, sizeof value, 0);
        return value;
    }

    // The server's side of the session may still be there; pppoe-connect tries again until it is not.
    static void start() { ASSERT_EQ(0, KAVOPPPoEService(1)) << output_of("ps ax"); }
};

TEST_F(Client, ASessionIsConfiguredStartedSeenAndStopped)
{
    PPPoEConf record;
    ASSERT_EQ(0, PPPoEConfigGet(&record));
    EXPECT_STREQ(USER, record.szUser);
    EXPECT_STREQ(PASSWORD, record.szPassword);
    EXPECT_EQ(0, KAVOPPPoECheckStatus(0));

    start();
    EXPECT_EQ("yes", enabled());
    EXPECT_EQ(1, KAVOPPPoECheckStatus(0));
    EXPECT_EQ(1, KAVOPPPoECheckStatus(1));
    EXPECT_THAT(ppp_address(), HasSubstr("inet 10.64.0.2 peer 10.64.0.1/32"));
    EXPECT_THAT(output_of("ip link show ppp0"), HasSubstr("mtu 1400"));

    char name[16] = "";
    ASSERT_EQ(0, KAVOPPPoeIntfGet(name, sizeof name));
    EXPECT_STREQ("ppp0", name);
    EXPECT_EQ("ppp0", read_file(CACHE));
    char address[16] = "";
    char mask[16] = "";
    ASSERT_EQ(0, KAVOPPPoeNetInfoGet(address, sizeof address, mask, sizeof mask));
    EXPECT_STREQ("10.64.0.2", address);
    EXPECT_STREQ("255.255.255.255", mask);
    EXPECT_EQ(-1, KAVOPPPoeNetInfoGet(nullptr, 0, mask, sizeof mask));
    EXPECT_FALSE(exists(CACHE));

    ASSERT_EQ(0, KAVOPPPoEService(0));
    EXPECT_EQ("no", enabled());
    EXPECT_EQ(0, KAVOPPPoECheckStatus(0));
    await("! ip link show ppp0 >/dev/null 2>&1");
    EXPECT_EQ(-1, KAVOPPPoeIntfGet(name, sizeof name));
    EXPECT_THAT(read_file(SETTINGS), HasSubstr("before=\"1\"\n"));
}

TEST_F(Client, ThePasswordIsSeenByNobodyWhileTheSessionRuns)
{
    start();
    struct stat status {};
    ASSERT_EQ(0, stat(SECRETS, &status));
    EXPECT_EQ(0600U, status.st_mode & 07777U);
    for (const auto &entry : std::filesystem::directory_iterator("/proc")) {
        for (const char *file : {"/cmdline", "/environ"})
            EXPECT_EQ(std::string::npos, read_file(entry.path().string() + file).find(PASSWORD)) << entry.path();
    }
    const auto files_with_it = [](const std::string &which) {
        return output_of("find /etc /run /tmp /var/log -path /etc/netns -prune -o -type f -newer /run/marker " + which +
                         " -exec grep -ls -- " + PASSWORD + " {} +");
    };
    EXPECT_EQ(std::string(SECRETS) + "\n", files_with_it(""));
    EXPECT_EQ("", files_with_it("-perm /077"));
}

TEST_F(Client, AWrongPasswordIsToldByTheScriptsOwnCode)
{
    ASSERT_EQ(0, PPPoEConfigSet(conf("wrong")));
    EXPECT_EQ(19, KAVOPPPoEService(1));
    EXPECT_EQ("no", enabled());
    EXPECT_EQ(0, KAVOPPPoECheckStatus(0));
}

TEST_F(Client, TheScriptsAloneOnlyTellThatItTookTooLong)
{
    shell(std::string("sed -i '/pppoe-glue/d; s/^CONNECT_TIMEOUT=.*/CONNECT_TIMEOUT=5/' ") + CLIENT_FILE);
    ASSERT_EQ(0, PPPoEConfigSet(conf("wrong")));
    EXPECT_EQ(-1, KAVOPPPoEService(1));
    EXPECT_EQ("no", enabled());
    install_settings();
}

TEST_F(Client, RepairSwitchesADeadConnectionOff)
{
    start();
    shell("/usr/sbin/pppoe-stop >/dev/null 2>&1");
    await("! pgrep -x pppoe-connect >/dev/null");
    EXPECT_EQ(0, KAVOPPPoECheckStatus(0));
    EXPECT_EQ("yes", enabled());
    EXPECT_EQ(0, KAVOPPPoECheckStatus(1));
    EXPECT_EQ("no", enabled());
}

TEST_F(Client, AConnectionThatIsSwitchedOffBehindItsBackIsStopped)
{
    start();
    ASSERT_EQ(0, KLIBCINFOSetKeyValue("pppoe_enable", "no"));
    EXPECT_EQ(0, KAVOPPPoECheckStatus(0));
    await("! pgrep -x pppoe-connect >/dev/null");
    await("! ip link show ppp0 >/dev/null 2>&1");
}

TEST_F(Client, ItsInterfaceIsFreedAndNoOther)
{
    start();
    EXPECT_EQ(0, KLIBDisablePPPoEOnIf("eth1"));
    EXPECT_EQ(1, KAVOPPPoECheckStatus(0));
    EXPECT_EQ(0, KLIBDisablePPPoEOnIf("eth0"));
    EXPECT_EQ(0, KAVOPPPoECheckStatus(0));
    EXPECT_EQ("no", enabled());
}

// ---- Relays

class Relays : public testing::Test {
protected:
    static constexpr char BRIDGE_FILE[] = "/etc/sysconfig/network-scripts/ifcfg-lbr0";

    // Clients on a bridge, and two servers behind two interfaces.
    static void SetUpTestSuite()
    {
        shell("mkdir -p /etc/sysconfig/network-scripts; rm -rf /etc/sysconfig/pppoe-relay");
        add_cards("cli0", "clients");
        shell("ip link add lbr0 type bridge; ip link set cli0 master lbr0; ip link set lbr0 up");
        write_file(BRIDGE_FILE, "DEVICE=lbr0\nTYPE=bridge\nPRIMARY=cli0\nLOCAL_LAN=yes\n");
        add_cards("wan0", "first");
        start_server("first", "wan0p", "-L 10.65.0.1 -R 10.65.0.2");
        add_cards("wan1", "second");
        start_server("second", "wan1p", "-L 10.66.0.1 -R 10.66.0.2");
    }

    void SetUp() override { ASSERT_EQ(1, KLIBNetIfUp("lbr0")); }

    void TearDown() override
    {
        KAVONetClearPPPoERelayConfigAll();
        EXPECT_EQ(0, KAVONetApplyPPPoERelayConfig("lbr0"));
        EXPECT_TRUE(no_relay_runs());
    }

    static int set(int enable, const char *server)
    {
        PPPoERelayConf conf{};
        conf.enable = enable;
        snprintf(conf.szServer, sizeof conf.szServer, "%s", server);
        return KAVONetSetPPPoERelayConfig("lbr0", &conf);
    }

    static int relays(std::string &pid)
    {
        char text[256] = "";
        const int count = KLIBCPs("pppoe-relay", text, sizeof text);
        pid = text;
        return count;
    }

    // The relay that runs. One that starts goes to the background in two steps: its child begins a session, and the child's
    // child, which stays, is in it and does not lead it. For a moment there are two, or the list of the machine's processes
    // shows neither.
    static std::string running_relay()
    {
        std::string pid;
        for (int i = 0; i < 600; ++i) {
            if (relays(pid) == 1 && is_in_anothers_session(std::stoi(pid)))
                return pid;
            usleep(100'000);
        }
        ADD_FAILURE() << "no relay, or more than one\n" << output_of("ps ax");
        return pid;
    }

    static bool is_in_anothers_session(pid_t pid)
    {
        const pid_t session = getsid(pid);
        return session > 0 && session != pid && session != getsid(0);
    }

    static bool no_relay_runs()
    {
        std::string pid;
        return relays(pid) == 0;
    }

    // Which servers a client on the bridge hears of.
    static std::string discovered() { return output_of("ip netns exec clients pppoe-discovery -I cli0p -t 3"); }
};

TEST_F(Relays, ARelayCarriesDiscoveryAndIsLeftAlone)
{
    EXPECT_THAT(discovered(), Not(HasSubstr("Access-Concentrator")));
    ASSERT_EQ(0, set(1, "wan0"));
    ASSERT_EQ(0, KAVONetApplyPPPoERelayConfig("lbr0"));
    const std::string pid = running_relay();
    EXPECT_THAT(discovered(), HasSubstr("Access-Concentrator: first"));
    ASSERT_EQ(0, KAVONetApplyPPPoERelayConfig("lbr0"));
    ASSERT_EQ(0, KAVONetApplyPPPoERelayConfigAll());
    EXPECT_EQ(pid, running_relay());
}

TEST_F(Relays, ARelayIsRestartedForAnotherServer)
{
    ASSERT_EQ(0, set(1, "wan0"));
    ASSERT_EQ(0, KAVONetApplyPPPoERelayConfigAll());
    const std::string pid = running_relay();
    ASSERT_EQ(0, set(1, "wan1"));
    EXPECT_EQ(pid, running_relay());
    ASSERT_EQ(0, KAVONetApplyPPPoERelayConfigAll());
    EXPECT_NE(pid, running_relay());
    const std::string heard = discovered();
    EXPECT_THAT(heard, HasSubstr("Access-Concentrator: second"));
    EXPECT_THAT(heard, Not(HasSubstr("Access-Concentrator: first")));
}

TEST_F(Relays, ARelayStopsWhenItsBridgeGoesDown)
{
    ASSERT_EQ(0, set(1, "wan0"));
    ASSERT_EQ(0, KAVONetApplyPPPoERelayConfig("lbr0"));
    running_relay();
    ASSERT_EQ(1, KLIBNetIfDown("lbr0"));
    ASSERT_EQ(0, KAVONetApplyPPPoERelayConfig("lbr0"));
    EXPECT_TRUE(no_relay_runs());
    ASSERT_EQ(1, KLIBNetIfUp("lbr0"));
    ASSERT_EQ(0, KAVONetApplyPPPoERelayConfig("lbr0"));
    running_relay();
    EXPECT_THAT(discovered(), HasSubstr("Access-Concentrator: first"));
}

TEST_F(Relays, ARelayThatIsSwitchedOffStops)
{
    ASSERT_EQ(0, set(1, "wan0"));
    ASSERT_EQ(0, KAVONetApplyPPPoERelayConfig("lbr0"));
    running_relay();
    ASSERT_EQ(0, set(0, "wan0"));
    ASSERT_EQ(0, KAVONetApplyPPPoERelayConfig("lbr0"));
    EXPECT_TRUE(no_relay_runs());
}

TEST_F(Relays, ClearedSettingsLeaveTheRelayRunningUntilTheyAreApplied)
{
    ASSERT_EQ(0, set(1, "wan0"));
    ASSERT_EQ(0, KAVONetApplyPPPoERelayConfig("lbr0"));
    const std::string pid = running_relay();
    ASSERT_EQ(0, KAVONetClearPPPoERelayConfigAll());
    EXPECT_EQ(pid, running_relay());
    ASSERT_EQ(0, KAVONetApplyPPPoERelayConfig("lbr0"));
    EXPECT_TRUE(no_relay_runs());
}

TEST_F(Relays, AServerThatIsNotThereIsAFailure)
{
    ASSERT_EQ(0, set(1, "wan9"));
    EXPECT_EQ(-1, KAVONetApplyPPPoERelayConfig("lbr0"));
    EXPECT_TRUE(no_relay_runs());
}

} // namespace
