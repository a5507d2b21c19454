// Real sockets in the states that a test asks for, on the loopback card.
#pragma once

#include <cstdint>
#include <cstdio>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "support/read_back.h"

namespace sockets {

class Handle {
public:
    Handle() = default;
    explicit Handle(int fd) : fd_(fd) {}
    Handle(Handle &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Handle &operator=(Handle &&other) noexcept
    {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Handle() { shut(); }

    int fd() const { return fd_; }
    void shut()
    {
        if (fd_ >= 0)
            close(std::exchange(fd_, -1));
    }

private:
    int fd_ = -1;
};

struct Address {
    sockaddr_storage bytes{};
    socklen_t size = 0;
    const sockaddr *get() const { return reinterpret_cast<const sockaddr *>(&bytes); }
};

// The loopback address of the family (or the given IPv4 one) with a port.
inline Address address(int family, int port, const char *text = "127.0.0.1")
{
    Address result;
    if (family == AF_INET) {
        auto *in = reinterpret_cast<sockaddr_in *>(&result.bytes);
        in->sin_family = AF_INET;
        in->sin_port = htons(static_cast<uint16_t>(port));
        EXPECT_EQ(1, inet_pton(AF_INET, text, &in->sin_addr));
        result.size = sizeof *in;
    } else {
        auto *in = reinterpret_cast<sockaddr_in6 *>(&result.bytes);
        in->sin6_family = AF_INET6;
        in->sin6_port = htons(static_cast<uint16_t>(port));
        in->sin6_addr = in6addr_loopback;
        result.size = sizeof *in;
    }
    return result;
}

inline Handle bound(int family, int type, int port, const char *text = "127.0.0.1")
{
    Handle handle(socket(family, type | SOCK_CLOEXEC, 0));
    const int on = 1;
    EXPECT_EQ(0, setsockopt(handle.fd(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on));
    if (family == AF_INET6) {
        EXPECT_EQ(0, setsockopt(handle.fd(), IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on));
    }
    const Address own = address(family, port, text);
    EXPECT_EQ(0, bind(handle.fd(), own.get(), own.size)) << port;
    return handle;
}

inline Handle listening(int family, int port, const char *text = "127.0.0.1")
{
    Handle handle = bound(family, SOCK_STREAM, port, text);
    EXPECT_EQ(0, listen(handle.fd(), 16));
    return handle;
}

// From now on the socket sees nothing of what arrives for it, as behind a filter.
inline void deafen(const Handle &handle)
{
    sock_filter drop = BPF_STMT(BPF_RET | BPF_K, 0);
    const sock_fprog program = {1, &drop};
    EXPECT_EQ(0, setsockopt(handle.fd(), SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program));
}

// Asks for a connection and does not wait for it.
inline Handle calling(int family, int port, int to)
{
    Handle handle = bound(family, SOCK_STREAM | SOCK_NONBLOCK, port);
    const Address other = address(family, to);
    connect(handle.fd(), other.get(), other.size);
    return handle;
}

struct Pair {
    Handle listener, client, server;
};

inline Pair connected(int family, int client_port, int server_port)
{
    Pair pair;
    pair.listener = listening(family, server_port);
    pair.client = bound(family, SOCK_STREAM, client_port);
    const Address other = address(family, server_port);
    EXPECT_EQ(0, connect(pair.client.fd(), other.get(), other.size));
    pair.server = Handle(accept4(pair.listener.fd(), nullptr, nullptr, SOCK_CLOEXEC));
    EXPECT_GE(pair.server.fd(), 0);
    return pair;
}

// The states in which the kernel's table lists sockets of a local port.
inline std::set<unsigned> states(const std::string &table, int port)
{
    std::set<unsigned> found;
    for (const std::string &line : support::lines_of(support::read_file(table))) {
        unsigned local = 0;
        unsigned state = 0;
        if (sscanf(line.c_str(), " %*d: %*[0-9A-F]:%X %*[0-9A-F]:%*X %X", &local, &state) == 2 &&
            local == static_cast<unsigned>(port))
            found.insert(state);
    }
    return found;
}

// The same, once the wanted state is among them: the kernel gets there a moment later.
inline std::set<unsigned> states_with(unsigned wanted, const std::string &table, int port)
{
    std::set<unsigned> found = states(table, port);
    for (int i = 0; i < 1000 && !found.contains(wanted); ++i) {
        poll(nullptr, 0, 10);
        found = states(table, port);
    }
    return found;
}

// One socket in a state, at a port of its own. What else keeps it there stays open beside it.
struct InState {
    const char *name;
    unsigned state;
    int port;
    std::vector<Handle> held;
};

inline void hold(InState &in, Pair &&pair)
{
    in.held.push_back(std::move(pair.client));
    in.held.push_back(std::move(pair.server));
}

// A TCP socket in every state that the kernel lists, at the ports first, first + 1, ...
inline std::vector<InState> in_every_state(int family, int first)
{
    enum : unsigned {
        ESTABLISHED = 1,
        SYN_SENT,
        SYN_RECV,
        FIN_WAIT1,
        FIN_WAIT2,
        TIME_WAIT,
        CLOSE_WAIT = 8,
        LAST_ACK,
        LISTEN,
        CLOSING
    };
    std::vector<InState> all;
    int port = first;
    int other = first + 100; // of the sockets beside them
    const auto add = [&](const char *name, unsigned state) -> InState & {
        return all.emplace_back(InState{name, state, port++, {}});
    };

    hold(add("established", ESTABLISHED), connected(family, first, ++other));

    InState &sent = add("syn sent", SYN_SENT);
    sent.held.push_back(listening(family, ++other));
    deafen(sent.held.back());
    sent.held.push_back(calling(family, sent.port, other));

    InState &received = add("syn received", SYN_RECV);
    received.held.push_back(listening(family, received.port));
    received.held.push_back(bound(family, SOCK_STREAM | SOCK_NONBLOCK, ++other));
    deafen(received.held.back());
    const Address listener = address(family, received.port);
    connect(received.held.back().fd(), listener.get(), listener.size);

    InState &wait1 = add("fin wait 1", FIN_WAIT1);
    Pair pair = connected(family, wait1.port, ++other);
    deafen(pair.server);
    EXPECT_EQ(0, shutdown(pair.client.fd(), SHUT_WR));
    hold(wait1, std::move(pair));

    InState &wait2 = add("fin wait 2", FIN_WAIT2);
    pair = connected(family, wait2.port, ++other);
    EXPECT_EQ(0, shutdown(pair.client.fd(), SHUT_WR));
    hold(wait2, std::move(pair));

    InState &time_wait = add("time wait", TIME_WAIT);
    pair = connected(family, time_wait.port, ++other);
    pair.client.shut();
    pair.server.shut();

    InState &close_wait = add("close wait", CLOSE_WAIT);
    pair = connected(family, close_wait.port, ++other);
    EXPECT_EQ(0, shutdown(pair.server.fd(), SHUT_WR));
    hold(close_wait, std::move(pair));

    InState &last_ack = add("last ack", LAST_ACK);
    pair = connected(family, last_ack.port, ++other);
    EXPECT_EQ(0, shutdown(pair.server.fd(), SHUT_WR));
    deafen(pair.server);
    EXPECT_EQ(0, shutdown(pair.client.fd(), SHUT_WR));
    hold(last_ack, std::move(pair));

    InState &listen_only = add("listening", LISTEN);
    listen_only.held.push_back(listening(family, listen_only.port));

    // Both ends close, and neither hears that the other one heard it.
    InState &closing = add("closing", CLOSING);
    pair = connected(family, closing.port, ++other);
    deafen(pair.server);
    EXPECT_EQ(0, shutdown(pair.client.fd(), SHUT_WR));
    EXPECT_EQ(0, shutdown(pair.server.fd(), SHUT_WR));
    hold(closing, std::move(pair));
    return all;
}

} // namespace sockets
