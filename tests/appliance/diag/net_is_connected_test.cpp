#include "host_test.h"

#include <csignal>
#include <functional>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/time.h>

namespace {

std::function<int(int fd, const sockaddr *address, socklen_t size)> connect_stand_in;

} // namespace

extern "C" int connect(int fd, const sockaddr *address, socklen_t size)
{
    if (connect_stand_in)
        return connect_stand_in(fd, address, size);
    return static_cast<int>(syscall(SYS_connect, fd, address, size));
}

namespace {

using support::is_set_in;
using support::last_error;
using support::NO_ERROR_SET;
using testing::ElementsAre;
using testing::IsEmpty;
using Clock = std::chrono::steady_clock;

constexpr char FILE_NAME[] = "net_is_connected.cpp";
constexpr int PORT = 5000;
constexpr int LONG = 30; // seconds; an answer comes long before, however busy the machine is

class NetIsConnected : public HostTest {
protected:
    void TearDown() override
    {
        connect_stand_in = {};
        HostTest::TearDown();
    }

    // The result, and how many whole seconds it took.
    bool connected(const char *host, int port = PORT, int seconds = 5)
    {
        const auto start = Clock::now();
        const int result = BlKLIBIsConnected(host, port, seconds);
        took = std::chrono::duration<double>(Clock::now() - start).count();
        EXPECT_TRUE(result == 0 || result == 1) << result;
        return result == 1;
    }

    // What the next connection to a listener was sent, up to its end.
    static std::string received(const sockets::Handle &listener)
    {
        const sockets::Handle server(accept4(listener.fd(), nullptr, nullptr, SOCK_CLOEXEC));
        EXPECT_GE(server.fd(), 0);
        std::string bytes;
        char buffer[16];
        ssize_t size = 0;
        while ((size = read(server.fd(), buffer, sizeof buffer)) > 0)
            bytes.append(buffer, static_cast<size_t>(size));
        EXPECT_EQ(0, size);
        return bytes;
    }

    static bool nobody_called(const sockets::Handle &listener)
    {
        pollfd asked{listener.fd(), POLLIN, 0};
        return poll(&asked, 1, 0) == 0;
    }

    // Connects before it returns, as a connection to the own machine may.
    static void connect_at_once()
    {
        connect_stand_in = [](int fd, const sockaddr *address, socklen_t size) {
            const int flags = fcntl(fd, F_GETFL);
            EXPECT_NE(0, flags & O_NONBLOCK);
            fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
            const auto result = syscall(SYS_connect, fd, address, size);
            fcntl(fd, F_SETFL, flags);
            return static_cast<int>(result);
        };
    }

    double took = -1;
};

inline const std::string ZERO_BYTE(1, '\0');

// ---- The resolver

TEST_F(NetIsConnected, ReachesAListener)
{
    const auto listener = sockets::listening(AF_INET, PORT);
    EXPECT_TRUE(connected("127.0.0.1", PORT, LONG));
    EXPECT_EQ(ZERO_BYTE, received(listener));
    EXPECT_TRUE(nobody_called(listener)) << "one connection is enough";
    EXPECT_LT(took, LONG);
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
    EXPECT_FALSE(asked_netbios());
}

TEST_F(NetIsConnected, ReachesAListenerOverIpv6)
{
    const auto listener = sockets::listening(AF_INET6, PORT);
    EXPECT_TRUE(connected("::1"));
    EXPECT_EQ(ZERO_BYTE, received(listener));
    hosts("::1 storage\n");
    EXPECT_TRUE(connected("storage"));
    EXPECT_EQ(ZERO_BYTE, received(listener));
}

TEST_F(NetIsConnected, TellsAPortThatRefuses)
{
    for (const char *host : {"127.0.0.1", "::1"}) {
        EXPECT_FALSE(connected(host, PORT, LONG));
        EXPECT_LT(took, LONG) << host;
    }
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetIsConnected, WaitsForAPortThatDoesNotAnswer)
{
    const auto filtered = sockets::listening(AF_INET, PORT);
    sockets::deafen(filtered);
    EXPECT_FALSE(connected("127.0.0.1", PORT, 1));
    EXPECT_GE(took, 1);
    EXPECT_LT(took, 11);
}

TEST_F(NetIsConnected, WaitsForEachAddressAnew)
{
    const auto first = sockets::listening(AF_INET, PORT, "127.0.0.2");
    const auto second = sockets::listening(AF_INET, PORT, "127.0.0.3");
    sockets::deafen(first);
    sockets::deafen(second);
    hosts("127.0.0.2 storage.lab\n127.0.0.3 storage.lab\n");
    EXPECT_FALSE(connected("storage.lab", PORT, 1));
    EXPECT_GE(took, 2);
    EXPECT_LT(took, 12);
}

TEST_F(NetIsConnected, GoesOnToTheNextAddress)
{
    const auto filtered = sockets::listening(AF_INET, PORT, "127.0.0.2");
    sockets::deafen(filtered);
    const auto listener = sockets::listening(AF_INET, PORT, "127.0.0.4");
    hosts("127.0.0.2 storage\n127.0.0.3 storage\n127.0.0.4 storage\n");
    EXPECT_TRUE(connected("storage", PORT, 1));
    EXPECT_EQ(ZERO_BYTE, received(listener));
    EXPECT_LT(took, 11);
    EXPECT_FALSE(asked_netbios());
}

TEST_F(NetIsConnected, DoesNotWaitWithoutTime)
{
    const auto filtered = sockets::listening(AF_INET, PORT);
    sockets::deafen(filtered);
    for (const int seconds : {0, -1, INT_MIN}) {
        EXPECT_FALSE(connected("127.0.0.1", PORT, seconds));
        EXPECT_LT(took, 10) << seconds;
    }
}

TEST_F(NetIsConnected, TakesALongTimeLimit)
{
    const auto listener = sockets::listening(AF_INET, PORT);
    for (const int seconds : {2147483, 2147484, INT_MAX})
        EXPECT_TRUE(connected("127.0.0.1", PORT, seconds)) << seconds;
}

TEST_F(NetIsConnected, SendsNothingOverAConnectionThatStandsAtOnce)
{
    const auto listener = sockets::listening(AF_INET, PORT);
    connect_at_once();
    EXPECT_TRUE(connected("127.0.0.1"));
    EXPECT_EQ("", received(listener));
}

TEST_F(NetIsConnected, TakesASignalForNoAnswer)
{
    const auto filtered = sockets::listening(AF_INET, PORT);
    sockets::deafen(filtered);
    struct sigaction action = {}, before = {};
    action.sa_handler = [](int) {};
    ASSERT_EQ(0, sigaction(SIGALRM, &action, &before));
    // Again and again, because the first one may come before the wait.
    const itimerval soon = {{0, 200'000}, {0, 200'000}}, never = {};
    ASSERT_EQ(0, setitimer(ITIMER_REAL, &soon, nullptr));
    EXPECT_FALSE(connected("127.0.0.1", PORT, LONG));
    EXPECT_LT(took, LONG);
    ASSERT_EQ(0, setitimer(ITIMER_REAL, &never, nullptr));
    ASSERT_EQ(0, sigaction(SIGALRM, &before, nullptr));
}

TEST_F(NetIsConnected, SurvivesAByteThatCannotBeSent)
{
    // Sending over a connection that is shut down ends a program that does not expect it.
    const auto listener = sockets::listening(AF_INET, PORT);
    connect_stand_in = [](int fd, const sockaddr *address, socklen_t size) {
        const auto result = syscall(SYS_connect, fd, address, size);
        const int error = errno;
        EXPECT_EQ(0, shutdown(fd, SHUT_WR));
        errno = error;
        return static_cast<int>(result);
    };
    EXPECT_TRUE(connected("127.0.0.1"));
    EXPECT_EQ("", received(listener));
}

TEST_F(NetIsConnected, GoesOnWhenThereIsNoSocket)
{
    const auto first = sockets::listening(AF_INET, PORT, "127.0.0.3");
    const auto second = sockets::listening(AF_INET, PORT, "127.0.0.4");
    hosts("127.0.0.3 storage.lab\n127.0.0.4 storage.lab\n");
    support::fail_call("socket");
    EXPECT_TRUE(connected("storage.lab")) << "by the second address";
    support::fail_call("socket", 0);
    EXPECT_FALSE(connected("storage.lab"));
    EXPECT_FALSE(connected("127.0.0.4"));
}

TEST_F(NetIsConnected, UsesDescriptorsAbove1023)
{
    rlimit before = {};
    ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &before));
    const rlimit more = {std::max<rlim_t>(before.rlim_cur, 1200), std::max<rlim_t>(before.rlim_max, 1200)};
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &more));
    {
        const auto listener = sockets::listening(AF_INET, PORT);
        std::vector<sockets::Handle> held;
        while (held.empty() || held.back().fd() < 1024) {
            held.emplace_back(fcntl(0, F_DUPFD_CLOEXEC, 0));
            ASSERT_GE(held.back().fd(), 0);
        }
        EXPECT_TRUE(connected("127.0.0.1"));
        EXPECT_EQ(ZERO_BYTE, received(listener));
    }
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &before));
}

// ---- NetBIOS

TEST_F(NetIsConnected, ReachesAHostThatOnlyNetbiosKnows)
{
    const auto listener = sockets::listening(AF_INET, PORT, "127.0.0.5");
    netbios("querying printer on 127.255.255.255\n127.0.0.5 printer<00>\n");
    EXPECT_TRUE(connected("printer"));
    EXPECT_EQ(ZERO_BYTE, received(listener));
    EXPECT_THAT(calls(), ElementsAre("[/usr/local/bin/nmblookup] [printer]"));
    EXPECT_EQ(NO_ERROR_SET, last_error());
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetIsConnected, AsksNetbiosWhenNoAddressOfTheResolverAnswers)
{
    const auto listener = sockets::listening(AF_INET, PORT, "127.0.0.5");
    hosts("127.0.0.4 printer\n127.0.0.4 printer.lan\n");
    netbios("127.0.0.5 printer<00>\n127.0.0.5 printer.lan<00>\n");
    EXPECT_TRUE(connected("printer"));
    EXPECT_EQ(ZERO_BYTE, received(listener));
    EXPECT_EQ(1U, calls().size());
    EXPECT_FALSE(connected("printer.lan"));
    EXPECT_FALSE(connected("127.0.0.4"));
    EXPECT_FALSE(connected("::1"));
    EXPECT_EQ(1U, calls().size()) << "only a bare name";
}

TEST_F(NetIsConnected, TriesEachAddressOfNetbios)
{
    const auto filtered = sockets::listening(AF_INET, PORT, "127.0.0.3");
    sockets::deafen(filtered);
    const auto listener = sockets::listening(AF_INET, PORT, "127.0.0.5");
    const auto later = sockets::listening(AF_INET, PORT, "127.0.0.6");
    netbios("127.0.0.6 other<00>\n"
            "127.0.0.2 printer<00>\n"
            "127.0.0.3 printer<00>\n"
            "nonsense printer<00>\n"
            "127.0.0.5.6 printer<00>\n"
            "::1 printer<00>\n"
            "127.0.0.5 printer<20>\n"
            "127.0.0.6 printer<20>\n");
    EXPECT_TRUE(connected("printer", PORT, 1));
    EXPECT_EQ(ZERO_BYTE, received(listener));
    EXPECT_TRUE(nobody_called(later));
    EXPECT_GE(took, 1);
    EXPECT_LT(took, 11);
}

TEST_F(NetIsConnected, EndsWithTheProgramsOutput)
{
    netbios("127.0.0.2 printer<00>\n127.0.0.3 printer<00>\n", 1);
    EXPECT_FALSE(connected("printer"));
    netbios("");
    EXPECT_FALSE(connected("printer"));
    ASSERT_EQ(0, unlink(NMBLOOKUP));
    EXPECT_FALSE(connected("printer"));
    EXPECT_THAT(support::log_lines(), IsEmpty());
}

TEST_F(NetIsConnected, SendsAZeroByteToEveryHostThatNetbiosKnows)
{
    const auto listener = sockets::listening(AF_INET, PORT, "127.0.0.5");
    netbios("127.0.0.5 printer<00>\n");
    connect_at_once();
    EXPECT_TRUE(connected("printer"));
    EXPECT_EQ(ZERO_BYTE, received(listener));
}

TEST_F(NetIsConnected, GoesOnWhenThereIsNoSocketForNetbios)
{
    const auto listener = sockets::listening(AF_INET, PORT, "127.0.0.5");
    netbios("127.0.0.5 printer<00>\n127.0.0.5 printer<00>\n");
    support::fail_call("socket", 0);
    EXPECT_FALSE(connected("printer"));
    EXPECT_TRUE(nobody_called(listener));
}

TEST_F(NetIsConnected, EndsWithoutALineBuffer)
{
    const auto listener = sockets::listening(AF_INET, PORT, "127.0.0.5");
    netbios("127.0.0.5 printer<00>\n");
    bool result = true;
    EXPECT_TRUE(fails_for_want_of_a_line_buffer(FILE_NAME, [&] { result = connected("printer"); }));
    EXPECT_FALSE(result);
}

// ---- What is refused

TEST_F(NetIsConnected, RefusesNoHost)
{
    EXPECT_EQ(0, BlKLIBIsConnected(nullptr, PORT, 1));
    EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    EXPECT_EQ(LOG_ERR, support::logged_in(FILE_NAME, "bad parameter, szHost is NULL"));
    support::clear_error();
    EXPECT_EQ(0, BlKLIBIsConnected("", PORT, 1));
    EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER));
    EXPECT_FALSE(asked_netbios());
}

TEST_F(NetIsConnected, RefusesWhatIsNoPort)
{
    const auto listener = sockets::listening(AF_INET, PORT);
    netbios("127.0.0.1 printer<00>\n");
    for (const int port : {0, -1, 65536, 65536 + PORT, -65536 + PORT, INT_MIN, INT_MAX}) {
        support::clear_error();
        EXPECT_EQ(0, BlKLIBIsConnected("127.0.0.1", port, 1)) << port;
        EXPECT_TRUE(is_set_in(FILE_NAME, NET_ERR_BAD_PARAMETER)) << port;
        EXPECT_EQ(0, BlKLIBIsConnected("printer", port, 1)) << port;
    }
    EXPECT_TRUE(nobody_called(listener));
    EXPECT_FALSE(asked_netbios());
}

TEST_F(NetIsConnected, ReachesTheHighestPort)
{
    const auto listener = sockets::listening(AF_INET, 65535);
    EXPECT_TRUE(connected("127.0.0.1", 65535));
    EXPECT_EQ(ZERO_BYTE, received(listener));
}

TEST_F(NetIsConnected, HandsNoOptionToTheProgram)
{
    for (const char *host : {"-d10", "--help", "-"})
        EXPECT_FALSE(connected(host)) << host;
    EXPECT_FALSE(asked_netbios());
    EXPECT_FALSE(connected("$(touch /tmp/x)"));
    EXPECT_THAT(calls(), ElementsAre("[/usr/local/bin/nmblookup] [$(touch /tmp/x)]"));
    EXPECT_FALSE(support::exists("/tmp/x"));
}

} // namespace
