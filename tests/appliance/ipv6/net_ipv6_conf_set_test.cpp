#include <cerrno>
#include <climits>
#include <csignal>

#include <spawn.h>
#include <sys/wait.h>

#include "appliance/ipv6/ipv6_test.h"

namespace {

constexpr char FILE_NAME[] = "net_ipv6_conf_set.cpp";
constexpr long long FIVE_SECONDS = 5'000'000;
constexpr char SETTLED[] = "fe80000000000000021122fffe334455 02 40 20 80 lan0\n";
constexpr char DUPLICATE[] = "20010db8000000000000000000000005 02 40 00 88 lan0\n";
constexpr char RDISC6[] = "[/usr/sbin/rdisc6] [-q] [-n] [lan0] [-r] [1] [-w] [0]";
constexpr char START_CLIENT[] = "[unit] [start] [dhclient6@lan0-client.service]";
constexpr char STOP_CLIENT[] = "[unit] [stop] [dhclient6@lan0-client.service]";
constexpr char START_INFO[] = "[unit] [start] [dhclient6@lan0-info.service]";
constexpr char STOP_INFO[] = "[unit] [stop] [dhclient6@lan0-info.service]";
constexpr char DELETE_OLD[] = "[/sbin/ip] [-6] [address] [del] [2001:db8::9/48] [dev] [lan0]";
constexpr char DELETE_OLD_128[] = "[/sbin/ip] [-6] [address] [del] [2001:db8::9/128] [dev] [lan0]";
constexpr char ADD_NEW[] = "[/sbin/ip] [-6] [address] [add] [2001:db8::5/64] [dev] [lan0]";
const support::Error UNIT_FAILED{0x5252, "unit.c", 52};
const std::string OFF = "DEVICE=lan0\nIPV6INIT=\"off\"\n# kept\n";
const std::string AUTO = "DEVICE=lan0\nIPV6INIT=\"auto\"\n# kept\n";
const std::string OLD_STATIC = "DEVICE=lan0\nIPV6INIT=\"static\"\nIPV6ADDR=\"2001:db8::9\"\nIPV6PREFIXLENG=\"48\"\n";

// A process that is called as told, and the pid file that names it.
class Client {
public:
    explicit Client(const char *type, const std::string &name = "dhclient")
    {
        const std::string program = "/run/" + name;
        if (!support::exists(program))
            support::write_file(program, read_file("/bin/sleep"), 0755);
        char seconds[] = "1000";
        std::string own = name;
        char *arguments[] = {own.data(), seconds, nullptr};
        EXPECT_EQ(0, posix_spawn(&pid_, program.c_str(), nullptr, nullptr, arguments, environ));
        write_file(pid_file(type), std::to_string(pid_) + "\n");
    }
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;
    ~Client() { end(); }

    static std::string pid_file(const char *type) { return std::string("/tmp/dhclient6-lan0-") + type + ".pid"; }

    void kill_only() const
    {
        kill(pid_, SIGKILL);
        siginfo_t info;
        waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOWAIT);
    }
    void end()
    {
        if (pid_ <= 0)
            return;
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

private:
    pid_t pid_ = -1;
};

class Ipv6ConfSet : public Ipv6Test {
protected:
    void SetUp() override
    {
        Ipv6Test::SetUp();
        if (IsSkipped())
            return;
        add_card("lan0");
        plain_table(SETTLED);
        plain_switches("lan0");
        more_plain_switches("lan0");
        record("/sbin/ip");
        record("/usr/sbin/rdisc6");
        write_ifcfg("lan0", AUTO);
    }

    static int set(int mode) { return KAVONetIPv6ConfSet(mode, "lan0", nullptr, 0, nullptr); }
    static int set_static(const char *address = "2001:db8::5", int prefix = 64, const char *router = nullptr)
    {
        return KAVONetIPv6ConfSet(KAVO_IPV6_STATIC, "lan0", address, prefix, router);
    }

    // The world as it was, for the next case of a test.
    static void reset(const std::string &content = AUTO)
    {
        clear();
        unlink(support::RECORDED_CALLS);
        write_ifcfg("lan0", content);
        for (const std::string &path : {switch_of("lan0"), accept_ra_of("lan0")}) {
            unlink(path.c_str());
            write_file(path, "x");
        }
        table(SETTLED);
        support::record_units();
    }

    static std::string file() { return read_file(ifcfg("lan0")); }
    static std::string disabled() { return read_file(switch_of("lan0")); }
    static std::string accept_ra() { return read_file(accept_ra_of("lan0")); }
    static int error(const std::string &message) { return logged_in(FILE_NAME, message); }
    static std::string set_failure(const std::string &key, const std::string &value)
    {
        return "Fail to set key " + ifcfg("lan0") + ", " + key + " : " + value;
    }
    static void take_switch_away(const std::string &path) { ASSERT_EQ(0, unlink(path.c_str())) << path; }
    // Nothing can be written to the switch, nor can it be opened.
    static void close_switch(const std::string &path)
    {
        ASSERT_EQ(0, unlink(path.c_str()));
        ASSERT_EQ(0, mkdir(path.c_str(), 0755));
    }
    static void open_switch(const std::string &path)
    {
        ASSERT_EQ(0, rmdir(path.c_str()));
        write_file(path, "x");
    }
    // While the call waits for the kernel's verdict, a duplicate is found.
    static void find_duplicate()
    {
        support::on_wait([] { table(std::string(SETTLED) + DUPLICATE); });
    }
    // The platform leaves a record when a unit fails.
    static void leave_unit_failure() { KLIBCErrSetEx(UNIT_FAILED.code, "unit.c", UNIT_FAILED.line); }
    // A client that is to be stopped goes on.
    static void fail_to_stop()
    {
        support::answer_unit("stop", 0);
        support::on_unit([](const std::string &verb, const std::string &) {
            if (verb == "stop")
                leave_unit_failure();
        });
    }
};

// ---- What all modes begin with

TEST_F(Ipv6ConfSet, RefusesNullAndHostileNames)
{
    EXPECT_EQ(-1, KAVONetIPv6ConfSet(KAVO_IPV6_OFF, nullptr, nullptr, 0, nullptr));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    std::vector<std::string> names = support::hostile_names();
    names.emplace_back(support::NAME_OF_16);
    for (const std::string &name : names) {
        clear();
        EXPECT_EQ(-1, KAVONetIPv6ConfSet(KAVO_IPV6_OFF, name.c_str(), nullptr, 0, nullptr)) << name;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << name;
    }
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(Ipv6ConfSet, LeavesInterfacesAloneThatAreNotUsable)
{
    shell("ip link set lan0 down");
    for (int mode = 0; mode < 5; ++mode)
        EXPECT_EQ(-1, KAVONetIPv6ConfSet(mode, "lan0", "2001:db8::5", 64, nullptr));
    EXPECT_EQ(-1, KAVONetIPv6ConfSet(KAVO_IPV6_OFF, "lo", nullptr, 0, nullptr));
    EXPECT_EQ(-1, KAVONetIPv6ConfSet(KAVO_IPV6_OFF, "none0", nullptr, 0, nullptr));
    EXPECT_EQ(AUTO, file());
    EXPECT_EQ("x", disabled());
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(Ipv6ConfSet, RefusesOtherModes)
{
    for (const int mode : {5, 6, INT_MAX, -1, INT_MIN})
        EXPECT_EQ(-1, set(mode)) << mode;
    EXPECT_EQ(AUTO, file());
    EXPECT_EQ("x", disabled());
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(Ipv6ConfSet, AModeThatCannotBeReadCountsAsOn)
{
    reset(OFF);
    fail_call("KLIBCFileGetKeyValue");
    support::answer_unit("start", 0);
    EXPECT_EQ(-1, set(KAVO_IPV6_DHCP));
    EXPECT_EQ(LOG_ERR, error("Fail to set key " + ifcfg("lan0") + ", IPV6INIT"));
    EXPECT_EQ("0\n", disabled()) << "it is not turned off again";
}

// ---- auto

TEST_F(Ipv6ConfSet, AutoTurnsOnListensAndAsks)
{
    EXPECT_EQ(0, set(KAVO_IPV6_AUTO));
    EXPECT_EQ("DEVICE=lan0\nIPV6INIT=\"auto\"\n# kept\nIPV6_ACCEPT_RA=\"1\"\n", file());
    EXPECT_EQ("0\n", disabled());
    EXPECT_EQ("2", accept_ra());
    EXPECT_THAT(calls(), ElementsAre(RDISC6));
    EXPECT_EQ(0, support::waits());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(Ipv6ConfSet, AutoTakesTheStaticAddressOff)
{
    reset(OLD_STATIC);
    EXPECT_EQ(0, set(KAVO_IPV6_AUTO));
    EXPECT_THAT(calls(), ElementsAre(DELETE_OLD, RDISC6));
    EXPECT_EQ("DEVICE=lan0\nIPV6INIT=\"auto\"\nIPV6ADDR=\"2001:db8::9\"\nIPV6PREFIXLENG=\"48\"\nIPV6_ACCEPT_RA=\"1\"\n",
              file());
}

TEST_F(Ipv6ConfSet, AutoStopsTheClientFirst)
{
    const Client client("client");
    reset(OLD_STATIC);
    EXPECT_EQ(0, set(KAVO_IPV6_AUTO));
    EXPECT_THAT(calls(), ElementsAre(STOP_CLIENT, DELETE_OLD, RDISC6));
}

TEST_F(Ipv6ConfSet, TheClientIsStoppedInItsTurn)
{
    struct {
        int mode;
        const char *at_stop;
    } const cases[] = {{KAVO_IPV6_AUTO, "0\n"},
                       {KAVO_IPV6_OFF, "x"},
                       {KAVO_IPV6_DHCP, "0\n"},
                       {KAVO_IPV6_STATIC, "x"},
                       {KAVO_IPV6_AUTO_DHCP, "0\n"}};
    for (const auto &[mode, at_stop] : cases) {
        Client client("client");
        reset();
        std::string seen;
        support::on_unit([&](const std::string &verb, const std::string &) {
            if (verb == "stop") {
                seen += disabled();
                client.end();
            }
        });
        EXPECT_EQ(0, KAVONetIPv6ConfSet(mode, "lan0", "2001:db8::5", 64, nullptr)) << mode;
        EXPECT_EQ(at_stop, seen) << mode;
    }
}

TEST_F(Ipv6ConfSet, AnInterfaceThatCannotBeTurnedOnKeepsClientAndAddress)
{
    const Client client("client");
    for (const int mode : {KAVO_IPV6_AUTO, KAVO_IPV6_DHCP, KAVO_IPV6_AUTO_DHCP}) {
        reset(OLD_STATIC);
        close_switch(switch_of("lan0"));
        EXPECT_EQ(-1, set(mode)) << mode;
        EXPECT_THAT(calls(), IsEmpty()) << mode;
        EXPECT_EQ(OLD_STATIC, file()) << mode;
        open_switch(switch_of("lan0"));
    }
}

TEST_F(Ipv6ConfSet, AModeThatWasOffInAnyCaseIsPutBack)
{
    for (const char *off : {"off", "OFF", "Off"}) {
        for (const int mode : {KAVO_IPV6_DHCP, KAVO_IPV6_AUTO_DHCP, KAVO_IPV6_STATIC}) {
            reset(std::string("IPV6INIT=") + off + "\n");
            support::answer_unit("start", 0);
            EXPECT_EQ(-1, set(mode));
            EXPECT_EQ("1\n", disabled()) << off << " " << mode;
        }
    }
}

TEST_F(Ipv6ConfSet, AutoFailsWithItsSteps)
{
    close_switch(switch_of("lan0"));
    EXPECT_EQ(-1, set(KAVO_IPV6_AUTO));
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ(AUTO, file());
    open_switch(switch_of("lan0"));

    reset(OFF);
    fail_call("KLIBCFileSetKeyValue", 1);
    EXPECT_EQ(-1, set(KAVO_IPV6_AUTO));
    EXPECT_EQ(LOG_ERR, error(set_failure("IPV6INIT", "auto")));
    EXPECT_EQ("x", accept_ra());
    EXPECT_EQ("0\n", disabled()) << "this mode does not turn it off again";
    EXPECT_THAT(calls(), IsEmpty());

    reset();
    take_switch_away(accept_ra_of("lan0"));
    ASSERT_EQ(0, mkdir(accept_ra_of("lan0").c_str(), 0755));
    EXPECT_EQ(-1, set(KAVO_IPV6_AUTO));
    EXPECT_EQ(LOG_ERR, error("Failed to open file [" + accept_ra_of("lan0") + "]"));
    EXPECT_EQ(LOG_ERR, error("Failed to enable ipv6 accept_ra"));
    EXPECT_EQ(AUTO, file());
    EXPECT_THAT(calls(), IsEmpty());
    open_switch(accept_ra_of("lan0"));

    reset();
    make_full(accept_ra_of("lan0"));
    EXPECT_EQ(-1, set(KAVO_IPV6_AUTO));
    EXPECT_EQ(LOG_ERR, error("Failed to write file [" + accept_ra_of("lan0") + "]"));

    reset();
    fail_call("KLIBCFileSetKeyValue", 2);
    EXPECT_EQ(-1, set(KAVO_IPV6_AUTO));
    EXPECT_EQ(LOG_ERR, error("Failed to set key IPV6_ACCEPT_RA in " + ifcfg("lan0")));
    EXPECT_EQ(LOG_ERR, error("Failed to enable ipv6 accept_ra"));
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(Ipv6ConfSet, ARouterThatCannotBeAskedIsOnlyAWarning)
{
    record("/usr/sbin/rdisc6", 2);
    EXPECT_EQ(0, set(KAVO_IPV6_AUTO));
    EXPECT_EQ(1U, log_lines().size());
    EXPECT_EQ(LOG_WARNING, error("Failed to send RS for lan0"));
    reset();
    ASSERT_EQ(0, unlink("/usr/sbin/rdisc6"));
    EXPECT_EQ(0, set(KAVO_IPV6_AUTO));
    EXPECT_EQ(LOG_WARNING, error("Failed to send RS for lan0"));
}

// ---- The steps that modes share

TEST_F(Ipv6ConfSet, StopsTheClientThatRuns)
{
    {
        const Client info("info");
        EXPECT_EQ(0, set(KAVO_IPV6_OFF));
        EXPECT_THAT(calls(), ElementsAre(STOP_INFO));
        const Client client("client");
        reset();
        EXPECT_EQ(0, set(KAVO_IPV6_OFF));
        EXPECT_THAT(calls(), ElementsAre(STOP_CLIENT)) << "the one that gets addresses counts";
    }
    // The pid files are still there, the clients are not.
    reset();
    EXPECT_EQ(0, set(KAVO_IPV6_OFF));
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(Ipv6ConfSet, StopsNothingThatIsNoClient)
{
    const Client other("client", "dhclien");
    const Client longer("info", "dhclient6");
    EXPECT_EQ(0, set(KAVO_IPV6_OFF));
    EXPECT_THAT(calls(), IsEmpty());
    const Client dead("client");
    dead.kill_only(); // it has ended, but nobody has asked how
    reset();
    EXPECT_EQ(0, set(KAVO_IPV6_OFF));
    EXPECT_THAT(calls(), IsEmpty());
    for (const char *content : {"", "0\n", "-1\n", "x\n", "99999999999999999999\n", "4194304999\n", "1 2\n"}) {
        write_file(Client::pid_file("client"), content);
        EXPECT_EQ(0, set(KAVO_IPV6_OFF)) << content;
        EXPECT_THAT(calls(), IsEmpty()) << content;
    }
}

TEST_F(Ipv6ConfSet, AClientThatCannotBeStoppedIsOnlyLogged)
{
    const Client client("client");
    support::answer_unit("stop", 0);
    EXPECT_EQ(0, set(KAVO_IPV6_OFF));
    EXPECT_EQ(LOG_WARNING, error("Failed to stop dhclient6 [dhclient6@lan0-client.service]"));
}

TEST_F(Ipv6ConfSet, NeitherAnAbsentClientNorOneThatGoesOnIsAFailure)
{
    EXPECT_EQ(0, set(KAVO_IPV6_OFF));
    EXPECT_EQ(NO_ERROR_SET, last_error()) << "there is no pid file";
    write_file(Client::pid_file("client"), "2147483647\n");
    EXPECT_EQ(0, set(KAVO_IPV6_OFF));
    EXPECT_EQ(NO_ERROR_SET, last_error()) << "there is no such process";
    const Client info("info");
    fail_to_stop();
    EXPECT_EQ(0, set(KAVO_IPV6_OFF));
    EXPECT_THAT(calls(), ElementsAre(STOP_INFO));
    EXPECT_EQ(NO_ERROR_SET, last_error());
}

TEST_F(Ipv6ConfSet, TakesAStaticAddressOffAsItIsConfigured)
{
    struct {
        const char *content, *call;
    } const cases[] = {{"IPV6INIT=Static\nIPV6ADDR=2001:db8::9\nIPV6PREFIXLENG=48\n", DELETE_OLD},
                       {"IPV6INIT=static\nIPV6ADDR=2001:db8::9\n", DELETE_OLD_128},
                       {"IPV6INIT=static\nIPV6ADDR=2001:db8::9\nIPV6PREFIXLENG=\n", DELETE_OLD_128},
                       {"IPV6INIT=static\nIPV6ADDR=2001:db8::9\nIPV6PREFIXLENG=x48\n", DELETE_OLD_128},
                       {"IPV6INIT=static\nIPV6PREFIXLENG=48\n", nullptr},
                       {"IPV6INIT=auto\nIPV6ADDR=2001:db8::9\nIPV6PREFIXLENG=48\n", nullptr},
                       {"IPV6ADDR=2001:db8::9\nIPV6PREFIXLENG=48\n", nullptr}};
    for (const auto &[content, call] : cases) {
        reset(content);
        EXPECT_EQ(0, set(KAVO_IPV6_AUTO));
        if (call != nullptr)
            EXPECT_THAT(calls(), ElementsAre(call, RDISC6)) << content;
        else
            EXPECT_THAT(calls(), ElementsAre(RDISC6)) << content;
        EXPECT_THAT(log_lines(), IsEmpty()) << content;
    }
}

TEST_F(Ipv6ConfSet, AStaticAddressThatStaysIsOnlyLogged)
{
    reset(OLD_STATIC);
    fail_call("KLIBCExecl");
    EXPECT_EQ(0, set(KAVO_IPV6_AUTO));
    EXPECT_EQ(LOG_ERR, error("Fail to delete ipv6 address 2001:db8::9, lan0"));
    EXPECT_THAT(calls(), ElementsAre(RDISC6));
    // The first read is the one that tells whether IPv6 was off.
    int read = 1;
    for (const char *key : {"IPV6INIT", "IPV6ADDR", "IPV6PREFIXLENG"}) {
        reset(OLD_STATIC);
        fail_call("KLIBCFileGetKeyValue", ++read);
        EXPECT_EQ(0, set(KAVO_IPV6_AUTO)) << key;
        EXPECT_EQ(LOG_ERR, error("Fail to get key " + ifcfg("lan0") + ", " + key));
        EXPECT_THAT(calls(), ElementsAre(RDISC6)) << key;
    }
    for (const char *prefix : {"129", "-1", "99999999999"}) {
        reset(std::string("IPV6INIT=static\nIPV6ADDR=2001:db8::9\nIPV6PREFIXLENG=") + prefix + "\n");
        EXPECT_EQ(0, set(KAVO_IPV6_AUTO));
        EXPECT_EQ(LOG_ERR, error("Fail to delete ipv6 address 2001:db8::9, lan0")) << prefix;
    }
    for (const char *address : {"none", "fe80::1%lan0", "10.0.0.1", ""}) {
        reset(std::string("IPV6INIT=static\nIPV6ADDR=") + address + "\n");
        EXPECT_EQ(0, set(KAVO_IPV6_AUTO));
        EXPECT_EQ(LOG_ERR, error(std::string("Fail to delete ipv6 address ") + address + ", lan0"));
        EXPECT_THAT(calls(), ElementsAre(RDISC6));
    }
}

// ---- off

TEST_F(Ipv6ConfSet, OffStopsTheClientAndTurnsIpv6Off)
{
    const Client client("client");
    EXPECT_EQ(0, set(KAVO_IPV6_OFF));
    EXPECT_EQ(OFF, file());
    EXPECT_EQ("1\n", disabled());
    EXPECT_EQ("x", accept_ra());
    EXPECT_THAT(calls(), ElementsAre(STOP_CLIENT));
    EXPECT_EQ(0, support::waits());
}

TEST_F(Ipv6ConfSet, OffFailsWithItsSteps)
{
    const Client client("client");
    fail_call("KLIBCFileSetKeyValue");
    EXPECT_EQ(-1, set(KAVO_IPV6_OFF));
    EXPECT_EQ(LOG_ERR, error(set_failure("IPV6INIT", "off")));
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ("x", disabled());
    close_switch(switch_of("lan0"));
    EXPECT_EQ(-1, set(KAVO_IPV6_OFF));
    EXPECT_EQ(OFF, file());
    EXPECT_THAT(calls(), ElementsAre(STOP_CLIENT));
}

// ---- dhcp

TEST_F(Ipv6ConfSet, DhcpStartsTheClientAndWaitsForTheVerdict)
{
    EXPECT_EQ(0, set(KAVO_IPV6_DHCP));
    EXPECT_EQ("DEVICE=lan0\nIPV6INIT=\"dhcp\"\n# kept\nIPV6_ACCEPT_RA=\"1\"\n", file());
    EXPECT_EQ("0\n", disabled());
    EXPECT_EQ("2", accept_ra());
    EXPECT_THAT(calls(), ElementsAre(START_CLIENT));
    EXPECT_EQ(1, support::waits());
    EXPECT_EQ(FIVE_SECONDS, support::waited());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(Ipv6ConfSet, DhcpStopsTheOtherClientFirstAndTakesTheStaticAddressOffLast)
{
    Client info("info");
    reset(OLD_STATIC);
    support::on_unit([&](const std::string &verb, const std::string &) {
        if (verb == "stop")
            info.end();
    });
    EXPECT_EQ(0, set(KAVO_IPV6_DHCP));
    EXPECT_THAT(calls(), ElementsAre(STOP_INFO, START_CLIENT, DELETE_OLD));
}

TEST_F(Ipv6ConfSet, AClientThatRunsOnCountsAsStarted)
{
    const Client info("info");
    support::answer_unit("stop", 0);
    EXPECT_EQ(0, set(KAVO_IPV6_DHCP));
    EXPECT_THAT(calls(), ElementsAre(STOP_INFO));
    EXPECT_EQ(LOG_ERR, error("DHCPv6 already running!"));
    EXPECT_EQ(FIVE_SECONDS, support::waited());
}

TEST_F(Ipv6ConfSet, DhcpWhoseClientDoesNotStart)
{
    support::answer_unit("start", 0);
    EXPECT_EQ(-1, set(KAVO_IPV6_DHCP));
    EXPECT_EQ(LOG_WARNING, error("Failed to start dhclient6 [dhclient6@lan0-client.service]"));
    EXPECT_EQ(LOG_ERR, support::logged("net_ipv6_conf_set\\.cpp:[0-9]+ Fail to start DHCP:lan0, .+"));
    EXPECT_EQ(NO_ERROR_SET, last_error()) << "the unit has left none";
    EXPECT_EQ(AUTO, file());
    EXPECT_EQ("0\n", disabled()) << "it was on before";
    EXPECT_EQ("x", accept_ra());
    EXPECT_EQ(0, support::waits());

    reset(OFF);
    support::answer_unit("start", 0);
    EXPECT_EQ(-1, set(KAVO_IPV6_DHCP));
    EXPECT_EQ("1\n", disabled()) << "it was off before";
    EXPECT_EQ(OFF, file());
    // A client that came up after all is stopped.
    reset();
    const Client *late = nullptr;
    support::on_unit([&](const std::string &verb, const std::string &) {
        if (verb == "start") {
            late = new Client("client");
            leave_unit_failure();
        } else {
            KLIBCErrSetEx(0x5353, "stop.c", 53);
        }
    });
    support::answer_unit("start", 0);
    support::answer_unit("stop", 0);
    EXPECT_EQ(-1, set(KAVO_IPV6_DHCP));
    EXPECT_THAT(calls(), ElementsAre(START_CLIENT, STOP_CLIENT));
    EXPECT_EQ(UNIT_FAILED, last_error());
    delete late;
}

TEST_F(Ipv6ConfSet, AUnitThatDoesNotStartSaysWhy)
{
    for (const int mode : {KAVO_IPV6_DHCP, KAVO_IPV6_AUTO_DHCP}) {
        reset(OFF);
        support::on_unit([](const std::string &, const std::string &) {
            leave_unit_failure();
            errno = EACCES;
        });
        support::answer_unit("start", 0);
        EXPECT_EQ(-1, set(mode)) << mode;
        EXPECT_EQ(UNIT_FAILED, last_error()) << mode;
        EXPECT_EQ(LOG_ERR, error(std::string("Fail to start DHCP:lan0, ") + strerror(EACCES))) << mode;
        EXPECT_EQ("1\n", disabled()) << mode;
    }
}

TEST_F(Ipv6ConfSet, DhcpWhoseAddressIsADuplicate)
{
    for (const bool was_off : {true, false}) {
        reset(was_off ? OFF : AUTO);
        find_duplicate();
        const Client *client = nullptr;
        support::on_unit([&](const std::string &verb, const std::string &) {
            if (verb == "start")
                client = new Client("client");
        });
        EXPECT_EQ(1, set(KAVO_IPV6_DHCP));
        EXPECT_THAT(calls(), ElementsAre(START_CLIENT, "[/sbin/ip] [-6] [address] [del] [2001:db8::5/64] [dev] [lan0]",
                                         STOP_CLIENT));
        EXPECT_EQ(LOG_ERR, error("ipv6 dad fail, ip:2001:db8::5, pxleng:64"));
        EXPECT_EQ(was_off ? OFF : AUTO, file());
        EXPECT_EQ(was_off ? "1\n" : "0\n", disabled());
        EXPECT_EQ("x", accept_ra());
        delete client;
    }
}

TEST_F(Ipv6ConfSet, ADuplicateLeavesTheFormerStaticAddress)
{
    reset(OLD_STATIC);
    find_duplicate();
    EXPECT_EQ(1, set(KAVO_IPV6_DHCP));
    EXPECT_THAT(calls(), ElementsAre(START_CLIENT, "[/sbin/ip] [-6] [address] [del] [2001:db8::5/64] [dev] [lan0]"));
    EXPECT_EQ(OLD_STATIC, file());
}

TEST_F(Ipv6ConfSet, TheResultCountsEveryDuplicate)
{
    support::on_wait([] {
        table(std::string(SETTLED) + DUPLICATE + "20010db8000000000000000000000006 02 40 00 88 lan0\n" +
              "20010db8000000000000000000000007 02 40 00 88 lan0\n");
    });
    EXPECT_EQ(3, set(KAVO_IPV6_DHCP));
    EXPECT_EQ(LOG_ERR, error("ipv6 dad fail, ip:2001:db8::5, pxleng:64"));
    EXPECT_EQ(3U, calls().size() - 1);
}

TEST_F(Ipv6ConfSet, DuplicatesThatCannotBeFoundAreAFailure)
{
    reset(OFF);
    const Client *client = nullptr;
    support::on_unit([&](const std::string &verb, const std::string &) {
        if (verb == "start")
            client = new Client("client");
        else
            leave_unit_failure();
    });
    support::answer_unit("stop", 0);
    support::on_wait([] { unlink("/proc/net/if_inet6"); });
    EXPECT_EQ(-1, set(KAVO_IPV6_DHCP));
    EXPECT_TRUE(support::is_set_in("net_lnx_v6_ip_get.cpp", NET_ERR_OPEN_FAILED));
    EXPECT_EQ(LOG_ERR, error("failed to run ipv6 dad failed ip"));
    EXPECT_THAT(calls(), ElementsAre(START_CLIENT, STOP_CLIENT));
    EXPECT_EQ(OFF, file());
    EXPECT_EQ("1\n", disabled());
    delete client;
}

TEST_F(Ipv6ConfSet, DhcpThatCannotBeStoredStopsTheClient)
{
    for (const int mode : {KAVO_IPV6_DHCP, KAVO_IPV6_AUTO_DHCP}) {
        const std::string type = mode == KAVO_IPV6_DHCP ? "client" : "info";
        reset(OFF);
        const Client *client = nullptr;
        support::on_unit([&](const std::string &verb, const std::string &) {
            if (verb == "start")
                client = new Client(type.c_str());
        });
        fail_call("KLIBCFileSetKeyValue", 1);
        EXPECT_EQ(-1, set(mode));
        EXPECT_EQ(LOG_ERR, error(set_failure("IPV6INIT", mode == KAVO_IPV6_DHCP ? "dhcp" : "auto_dhcp")));
        EXPECT_THAT(calls(), ElementsAre(mode == KAVO_IPV6_DHCP ? START_CLIENT : START_INFO,
                                         mode == KAVO_IPV6_DHCP ? STOP_CLIENT : STOP_INFO));
        EXPECT_EQ(OFF, file());
        EXPECT_EQ("1\n", disabled());
        delete client;
    }
}

TEST_F(Ipv6ConfSet, DhcpThatCannotListenLeavesTheClientRunning)
{
    for (const int mode : {KAVO_IPV6_DHCP, KAVO_IPV6_AUTO_DHCP}) {
        reset(OFF);
        const Client *client = nullptr;
        support::on_unit([&](const std::string &verb, const std::string &) {
            if (verb == "start")
                client = new Client(mode == KAVO_IPV6_DHCP ? "client" : "info");
        });
        close_switch(accept_ra_of("lan0"));
        EXPECT_EQ(-1, set(mode));
        EXPECT_EQ(LOG_ERR, error("Failed to enable ipv6 accept_ra"));
        EXPECT_THAT(calls(), ElementsAre(mode == KAVO_IPV6_DHCP ? START_CLIENT : START_INFO));
        EXPECT_EQ("1\n", disabled());
        open_switch(accept_ra_of("lan0"));
        delete client;
    }
}

// ---- auto_dhcp

TEST_F(Ipv6ConfSet, AutoDhcpStartsTheInformationClientWithoutWaiting)
{
    Client client("client");
    reset(OLD_STATIC);
    support::on_unit([&](const std::string &verb, const std::string &) {
        if (verb == "stop")
            client.end();
    });
    EXPECT_EQ(0, set(KAVO_IPV6_AUTO_DHCP));
    EXPECT_THAT(calls(), ElementsAre(STOP_CLIENT, START_INFO, DELETE_OLD));
    EXPECT_EQ("DEVICE=lan0\nIPV6INIT=\"auto_dhcp\"\nIPV6ADDR=\"2001:db8::9\"\nIPV6PREFIXLENG=\"48\"\n"
              "IPV6_ACCEPT_RA=\"1\"\n",
              file());
    EXPECT_EQ("0\n", disabled());
    EXPECT_EQ("2", accept_ra());
    EXPECT_EQ(0, support::waits());
}

TEST_F(Ipv6ConfSet, AutoDhcpWhoseClientDoesNotStart)
{
    reset(OFF);
    support::answer_unit("start", 0);
    EXPECT_EQ(-1, set(KAVO_IPV6_AUTO_DHCP));
    EXPECT_EQ(LOG_WARNING, error("Failed to start dhclient6 [dhclient6@lan0-info.service]"));
    EXPECT_EQ(LOG_ERR, support::logged("net_ipv6_conf_set\\.cpp:[0-9]+ Fail to start DHCP:lan0, .+"));
    EXPECT_EQ(OFF, file());
    EXPECT_EQ("1\n", disabled());
    EXPECT_EQ("x", accept_ra());
}

// ---- static

TEST_F(Ipv6ConfSet, StaticSetsTheAddress)
{
    const Client client("client");
    write_ifcfg("lan0", AUTO + "IPV6_DEFAULTGW=\"fe80::9\"\n");
    follow("net/ipv6_change");
    // Between its two switches it stops listening to routers.
    std::string seen;
    support::on_call("KLIBCFileSetKeyValue", [&] { seen += disabled(); });
    // The former router goes when all that is new has been stored.
    std::string at_removal;
    support::on_call("KLIBCFileRemoveKey", [&] { at_removal = file(); });
    EXPECT_EQ(0, set_static());
    EXPECT_EQ("1\n0\n0\n0\n", seen);
    EXPECT_EQ("DEVICE=lan0\nIPV6INIT=\"static\"\n# kept\nIPV6_DEFAULTGW=\"fe80::9\"\nIPV6_ACCEPT_RA=\"0\"\n"
              "IPV6ADDR=\"2001:db8::5\"\nIPV6PREFIXLENG=\"64\"\n",
              at_removal);
    EXPECT_EQ("DEVICE=lan0\nIPV6INIT=\"static\"\n# kept\nIPV6_ACCEPT_RA=\"0\"\nIPV6ADDR=\"2001:db8::5\"\n"
              "IPV6PREFIXLENG=\"64\"\n",
              file());
    EXPECT_EQ("0\n", disabled());
    EXPECT_EQ("0", accept_ra());
    EXPECT_THAT(calls(), ElementsAre(STOP_CLIENT, "[event] [net/ipv6_change] [pre]", ADD_NEW));
    EXPECT_EQ(1, support::waits());
    EXPECT_EQ(FIVE_SECONDS, support::waited());
    EXPECT_THAT(log_lines(), IsEmpty());
}

TEST_F(Ipv6ConfSet, StaticSetsARouterOfItsSubnetOrALinkLocalOne)
{
    for (const char *router : {"fe80::1", "febf::1", "2001:db8::1", "2001:DB8:0:0:ffff::1"}) {
        reset();
        EXPECT_EQ(0, set_static("2001:db8::5", 64, router)) << router;
        EXPECT_THAT(calls(), ElementsAre(ADD_NEW, std::string("[/sbin/ip] [-6] [route] [add] [default] [via] [") +
                                                      router + "] [dev] [lan0]"));
        EXPECT_EQ(1, KLIBCFileCheckKeyValue(ifcfg("lan0").c_str(), "IPV6_DEFAULTGW", router, 0));
        EXPECT_THAT(log_lines(), IsEmpty());
    }
    reset();
    EXPECT_EQ(0, set_static("2001:db8::5", 0, "9000::1")) << "with prefix 0 everything is in the subnet";
    reset(AUTO + "IPV6_DEFAULTGW=\"fe80::9\"\n");
    EXPECT_EQ(0, set_static("2001:db8::5", 64, "")) << "an empty router is none";
    EXPECT_EQ(std::string::npos, file().find("DEFAULTGW"));
}

TEST_F(Ipv6ConfSet, StaticRefusesWhatIsNoAddress)
{
    std::vector<const char *> texts = {"",
                                       "none",
                                       "10.0.0.1",
                                       "fe80::1%lan0",
                                       "fe80::1%2",
                                       "2001:db8::5%",
                                       "2001:db8::5/",
                                       "2001:db8::5/129",
                                       "2001:db8::5/0064",
                                       "2001:db8::5/64/64",
                                       "2001:db8:::5",
                                       "1:2:3:4:5:6:7",
                                       "2001:db8:",
                                       " 2001:db8::5",
                                       "2001:db8::5 ",
                                       "2001:db8::5\n",
                                       "::ffff:10.0.0.256",
                                       "0000:0000:0000:0000:0000:0000:0000:00000:0000:0"};
    const std::string huge(100'000, '1');
    texts.push_back(huge.c_str());
    for (const char *text : texts) {
        reset(OFF);
        EXPECT_EQ(-1, set_static(text)) << text;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_ADDRESS)) << text;
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_EQ(OFF + "IPV6_ACCEPT_RA=\"0\"\n", file());
        EXPECT_EQ("1\n", disabled());
        EXPECT_THAT(calls(), IsEmpty());
        EXPECT_EQ(0, support::waits());
    }
    EXPECT_EQ(LOG_ERR, support::logged("net_ipv6_conf_set\\.cpp:[0-9]+ IPv6 address illegal 1+"));
    reset();
    EXPECT_EQ(-1, set_static(nullptr));
    EXPECT_EQ(LOG_ERR, error("IPv6 address illegal "));
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_ADDRESS));
    EXPECT_EQ("0\n", disabled());
}

TEST_F(Ipv6ConfSet, WhatIsNoAddressIsSaidEvenWhenIpv6CannotBeTurnedOffAgain)
{
    reset(OFF);
    // The interface goes down at the last of the four looks for it: the call's own, off, on, and off again.
    int looks = 0;
    support::on_call("KLIBCModuleIsLoad", [&] {
        if (++looks == 4)
            shell("ip link set lan0 down");
    });
    EXPECT_EQ(-1, set_static("none"));
    EXPECT_EQ(4, looks);
    EXPECT_EQ("0\n", disabled());
    EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_ADDRESS));
}

TEST_F(Ipv6ConfSet, StaticTakesEveryWayToWriteAnAddress)
{
    for (const char *text : {"2001:DB8::5", "2001:db8:0:0:0:0:0:5", "::ffff:10.0.0.1", "2001:db8::10.0.0.1", "::5",
                             "5::", "0000:0000:0000:0000:0000:ffff:255.255.255.255"}) {
        reset();
        EXPECT_EQ(0, set_static(text)) << text;
        EXPECT_EQ(1, KLIBCFileCheckKeyValue(ifcfg("lan0").c_str(), "IPV6ADDR", text, 0)) << text;
    }
}

TEST_F(Ipv6ConfSet, StaticHandsOnAnAddressWithAPrefixBehindIt)
{
    for (const std::string text : {"2001:db8::5/64", "fe80::5/64"}) {
        reset();
        EXPECT_EQ(0, set_static(text.c_str())) << text;
        EXPECT_THAT(calls(), ElementsAre("[/sbin/ip] [-6] [address] [add] [" + text + "/64] [dev] [lan0]"));
        EXPECT_EQ(1, KLIBCFileCheckKeyValue(ifcfg("lan0").c_str(), "IPV6ADDR", text.c_str(), 0));
        EXPECT_EQ(LOG_ERR, support::logged("net_ipv6_is_same_subnet\\.cpp:[0-9]+ Invalid network address: " + text));
    }
    reset(OFF);
    EXPECT_EQ(3, set_static("2001:db8::5/64", 64, "2001:db8::1")) << "it is in no subnet";
    EXPECT_EQ(LOG_ERR, error("Gateway IP and IPv6 Addr is not the same subnet"));
}

TEST_F(Ipv6ConfSet, StaticRefusesALinkLocalAddressAndWritesNoAddressKey)
{
    for (const char *text : {"fe80::1", "fe80::", "febf:ffff::1", "FE90::1"}) {
        reset(OFF);
        EXPECT_EQ(2, set_static(text)) << text;
        EXPECT_EQ(LOG_ERR, error("Cannot set link local address manually"));
        EXPECT_EQ(OFF + "IPV6_ACCEPT_RA=\"0\"\n", file());
        EXPECT_EQ("1\n", disabled());
        EXPECT_THAT(calls(), IsEmpty());
    }
    reset();
    EXPECT_EQ(2, set_static("fe80::1"));
    EXPECT_EQ("0\n", disabled());
    reset();
    EXPECT_EQ(0, set_static("fec0::1")) << "just behind the link-local ones";
}

TEST_F(Ipv6ConfSet, StaticRefusesPrefixesOutOfRange)
{
    for (const int prefix : {129, 1000, INT_MAX, -1, INT_MIN}) {
        reset();
        EXPECT_EQ(-1, set_static("2001:db8::5", prefix)) << prefix;
        EXPECT_EQ(LOG_ERR, error("Fail to add ipv6 address 2001:db8::5, lan0"));
        EXPECT_EQ(AUTO + "IPV6_ACCEPT_RA=\"0\"\n", file());
        EXPECT_THAT(calls(), IsEmpty());
    }
    for (const int prefix : {0, 128}) {
        reset();
        EXPECT_EQ(0, set_static("2001:db8::5", prefix));
        EXPECT_EQ(1,
                  KLIBCFileCheckKeyValue(ifcfg("lan0").c_str(), "IPV6PREFIXLENG", std::to_string(prefix).c_str(), 0));
    }
}

TEST_F(Ipv6ConfSet, StaticWhoseAddressIsADuplicate)
{
    for (const bool was_off : {true, false}) {
        reset(was_off ? OFF : AUTO);
        find_duplicate();
        EXPECT_EQ(1, set_static("2001:db8::5", 64, "fe80::1"));
        EXPECT_THAT(calls(), ElementsAre(ADD_NEW, "[/sbin/ip] [-6] [address] [del] [2001:db8::5/64] [dev] [lan0]"));
        EXPECT_EQ(LOG_ERR, error("ipv6 dad fail, ip:2001:db8::5, pxleng:64"));
        EXPECT_EQ((was_off ? OFF : AUTO) + "IPV6_ACCEPT_RA=\"0\"\n", file());
        EXPECT_EQ(was_off ? "1\n" : "0\n", disabled());
    }
}

TEST_F(Ipv6ConfSet, StaticStopsAClientThatStillRunsWithADuplicate)
{
    const Client client("client");
    fail_to_stop();
    find_duplicate();
    EXPECT_EQ(1, set_static());
    const char *const DELETE_NEW = "[/sbin/ip] [-6] [address] [del] [2001:db8::5/64] [dev] [lan0]";
    EXPECT_THAT(calls(), ElementsAre(STOP_CLIENT, ADD_NEW, DELETE_NEW, STOP_CLIENT));
    EXPECT_EQ(NO_ERROR_SET, last_error()) << "a duplicate is told by the result";
    reset();
    fail_to_stop();
    find_duplicate();
    fail_call("KLIBCExecl", 2);
    EXPECT_EQ(-1, set_static());
    EXPECT_THAT(calls(), ElementsAre(STOP_CLIENT, ADD_NEW, STOP_CLIENT));
    EXPECT_TRUE(support::is_set_in("fault.c", 0x5151));
}

TEST_F(Ipv6ConfSet, StaticWithoutMemoryForAllItsAddresses)
{
    reset(OFF);
    std::string rows = SETTLED;
    for (int i = 10; i < 26; ++i)
        rows += "20010db80000000000000000000000" + std::to_string(i) + " 02 40 00 80 lan0\n";
    table(rows);
    support::on_wait([] { fail_call("calloc"); });
    EXPECT_EQ(-1, set_static());
    EXPECT_EQ(LOG_ERR, error("failed to run ipv6 dad failed ip"));
    EXPECT_TRUE(support::is_set_in("net_ipv6_remove_dad_failed_ip.cpp", NET_ERR_NO_SPACE));
    EXPECT_THAT(calls(), ElementsAre(ADD_NEW));
    EXPECT_EQ(OFF + "IPV6_ACCEPT_RA=\"0\"\n", file());
    EXPECT_EQ("1\n", disabled());
}

TEST_F(Ipv6ConfSet, StaticWhoseDuplicateStays)
{
    find_duplicate();
    fail_call("KLIBCExecl", 2);
    EXPECT_EQ(-1, set_static());
    EXPECT_EQ(LOG_ERR, error("failed to run ipv6 dad failed ip"));
    EXPECT_EQ(AUTO + "IPV6_ACCEPT_RA=\"0\"\n", file());
}

TEST_F(Ipv6ConfSet, StaticFailsWithItsSwitches)
{
    close_switch(switch_of("lan0"));
    EXPECT_EQ(-1, set_static());
    EXPECT_EQ("x", accept_ra());
    EXPECT_EQ(AUTO, file());
    open_switch(switch_of("lan0"));

    reset(OFF);
    close_switch(accept_ra_of("lan0"));
    EXPECT_EQ(-1, set_static());
    EXPECT_EQ(LOG_ERR, error("Failed to open file [" + accept_ra_of("lan0") + "]"));
    EXPECT_EQ(LOG_ERR, error("Failed to disable ipv6 accept_ra"));
    EXPECT_EQ("1\n", disabled());
    EXPECT_EQ(OFF, file());
    open_switch(accept_ra_of("lan0"));

    reset(OFF);
    fail_call("KLIBCFileSetKeyValue", 1);
    EXPECT_EQ(-1, set_static());
    EXPECT_EQ(LOG_ERR, error("Failed to set key IPV6_ACCEPT_RA in " + ifcfg("lan0")));
    EXPECT_EQ(LOG_ERR, error("Failed to disable ipv6 accept_ra"));

    // It cannot be turned on again.
    reset();
    support::on_call("KLIBCFileSetKeyValue", [] { close_switch(switch_of("lan0")); });
    EXPECT_EQ(-1, set_static());
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ(AUTO + "IPV6_ACCEPT_RA=\"0\"\n", file());
    open_switch(switch_of("lan0"));
}

TEST_F(Ipv6ConfSet, StaticWhoseAddressCannotBeAdded)
{
    reset(OFF);
    fail_call("KLIBCExecl");
    EXPECT_EQ(-1, set_static());
    EXPECT_EQ(LOG_ERR, error("Fail to add ipv6 address 2001:db8::5, lan0"));
    EXPECT_EQ(0, support::waits());
    EXPECT_EQ(OFF + "IPV6_ACCEPT_RA=\"0\"\n", file());
    EXPECT_EQ("1\n", disabled());
}

TEST_F(Ipv6ConfSet, StaticWhoseKeysCannotBeStored)
{
    const std::pair<const char *, const char *> keys[] = {
        {"IPV6INIT", "static"}, {"IPV6ADDR", "2001:db8::5"}, {"IPV6PREFIXLENG", "64"}};
    int write = 1; // the first one is IPV6_ACCEPT_RA
    for (const auto &[key, value] : keys) {
        reset(OFF);
        fail_call("KLIBCFileSetKeyValue", ++write);
        EXPECT_EQ(-1, set_static("2001:db8::5", 64, "fe80::1")) << key;
        EXPECT_EQ(2U, log_lines().size());
        EXPECT_EQ(LOG_ERR, error(set_failure(key, value)));
        EXPECT_EQ(LOG_ERR, error("Fail to set ipv6 static key values"));
        EXPECT_THAT(calls(), ElementsAre(ADD_NEW));
        EXPECT_EQ("1\n", disabled());
    }
    reset(OFF + "IPV6_DEFAULTGW=\"fe80::9\"\n");
    fail_call("KLIBCFileRemoveKey");
    EXPECT_EQ(-1, set_static());
    EXPECT_EQ(LOG_ERR, error("Error while removing key IPV6_DEFAULTGW from " + ifcfg("lan0")));
    EXPECT_EQ("1\n", disabled());
}

TEST_F(Ipv6ConfSet, StaticRefusesARouterOfAnotherSubnet)
{
    for (const auto &[router, prefix] :
         std::vector<std::pair<const char *, int>>{{"2001:db8:0:1::1", 64}, {"2001:db8::6", 128}, {"fec0::1", 64}}) {
        reset(OFF + "IPV6_DEFAULTGW=\"fe80::9\"\n");
        EXPECT_EQ(3, set_static("2001:db8::5", prefix, router)) << router;
        EXPECT_EQ(1U, log_lines().size());
        EXPECT_EQ(LOG_ERR, error("Gateway IP and IPv6 Addr is not the same subnet"));
        EXPECT_EQ(1U, calls().size());
        EXPECT_EQ("DEVICE=lan0\nIPV6INIT=\"static\"\n# kept\nIPV6_DEFAULTGW=\"fe80::9\"\nIPV6_ACCEPT_RA=\"0\"\n"
                  "IPV6ADDR=\"2001:db8::5\"\nIPV6PREFIXLENG=\"" +
                      std::to_string(prefix) + "\"\n",
                  file());
        EXPECT_EQ("1\n", disabled());
        EXPECT_EQ(NO_ERROR_SET, last_error()) << "the result says it";
    }
}

TEST_F(Ipv6ConfSet, StaticRefusesARouterThatIsNoAddress)
{
    for (const char *router : {"none", "10.0.0.1", "fe80::1%lan0", "fe80::1/64", "2001:db8::1/64", "fe80:::1", " "}) {
        reset(OFF);
        EXPECT_EQ(-1, set_static("2001:db8::5", 64, router)) << router;
        EXPECT_TRUE(support::is_set_in(FILE_NAME, NET_ERR_BAD_ADDRESS)) << router;
        EXPECT_EQ(2U, log_lines().size());
        EXPECT_EQ(LOG_ERR, error(std::string("IPv6 router address illegal ") + router));
        EXPECT_EQ(LOG_ERR, error("Fail to set IPv6 router"));
        EXPECT_THAT(calls(), ElementsAre(ADD_NEW));
        EXPECT_EQ(std::string::npos, file().find("DEFAULTGW"));
        EXPECT_EQ("1\n", disabled());
    }
}

TEST_F(Ipv6ConfSet, StaticWhoseRouteCannotBeSet)
{
    reset(OFF);
    script("/sbin/ip", "record_call \"$0\" \"$@\"\n[ \"$2\" != route ]");
    EXPECT_EQ(-1, set_static("2001:db8::5", 64, "fe80::1"));
    EXPECT_EQ(2U, log_lines().size());
    EXPECT_EQ(LOG_ERR, error("Fail to add ipv6 router fe80::1, v6ip 2001:db8::5, dev lan0"));
    EXPECT_EQ(LOG_ERR, error("Fail to set IPv6 router"));
    EXPECT_EQ(std::string::npos, file().find("DEFAULTGW"));
    EXPECT_EQ("1\n", disabled());
}

TEST_F(Ipv6ConfSet, ARouterThatCannotBeStoredIsLoggedByTheAddressesName)
{
    reset(OFF);
    fail_call("KLIBCFileSetKeyValue", 5);
    EXPECT_EQ(-1, set_static("2001:db8::5", 64, "fe80::1"));
    EXPECT_EQ(2U, log_lines().size());
    EXPECT_EQ(LOG_ERR, error(set_failure("IPV6ADDR", "2001:db8::5")));
    EXPECT_EQ(LOG_ERR, error("Fail to set IPv6 router"));
    EXPECT_EQ("1\n", disabled());
}

TEST_F(Ipv6ConfSet, ReallyChangesTheKernel)
{
    script("/sbin/ip", "exec /usr/bin/ip \"$@\"");
    ASSERT_EQ(0, umount2("/proc/sys/net/ipv6/conf", MNT_DETACH));
    ASSERT_EQ(0, umount2(("/proc/" + std::to_string(getpid()) + "/net").c_str(), MNT_DETACH));
    EXPECT_EQ(0, set_static("2001:db8::5", 64, "fe80::1"));
    EXPECT_NE("", shell("ip -6 -o address show dev lan0 to 2001:db8::5/64"));
    EXPECT_NE(std::string::npos, shell("ip -6 route show default").find("default via fe80::1 dev lan0"));
    EXPECT_EQ("0\n", accept_ra());
    EXPECT_EQ(0, set(KAVO_IPV6_AUTO));
    EXPECT_EQ("", shell("ip -6 -o address show dev lan0 to 2001:db8::5/64"));
    EXPECT_EQ("2\n", accept_ra());
    EXPECT_EQ(0, set(KAVO_IPV6_OFF));
    EXPECT_EQ("", shell("ip -6 -o address show dev lan0"));
    EXPECT_EQ("1\n", disabled());
}

} // namespace
