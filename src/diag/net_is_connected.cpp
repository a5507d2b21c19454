#include "kavonetsdk/diag.h"

#include <cerrno>
#include <climits>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>

#include "diag/netbios.h"
#include "diag/resolver.h"
#include "frame/error.h"
#include "frame/log.h"

using namespace kavonet;

namespace {

enum class Connection { NONE, AT_ONCE, AWAITED };

// Waits for an answer to a connection attempt, whichever it is. Not with select(), which knows no descriptor above 1023:
// services hold more.
bool is_answered(const Descriptor &socket, int seconds)
{
    constexpr int MILLISECONDS = 1000;
    if (seconds < 0)
        return false;
    const int limit = seconds > INT_MAX / MILLISECONDS ? INT_MAX : seconds * MILLISECONDS;
    pollfd asked{socket.get(), POLLIN | POLLOUT | POLLPRI, 0};
    if (poll(&asked, 1, limit) != 1)
        return false;
    int error = 0;
    socklen_t size = sizeof error;
    return getsockopt(socket.get(), SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
}

Connection try_to_connect(const Descriptor &socket, const sockaddr *address, socklen_t size, int seconds)
{
    if (!socket)
        return Connection::NONE;
    if (connect(socket.get(), address, size) == 0)
        return Connection::AT_ONCE;
    return errno == EINPROGRESS && is_answered(socket, seconds) ? Connection::AWAITED : Connection::NONE;
}

// The other side gets one zero byte. Whether it takes it does not count: the connection stood.
void send_zero(const Descriptor &socket)
{
    const char zero = 0;
    (void)send(socket.get(), &zero, sizeof zero, MSG_NOSIGNAL);
}

Descriptor stream(int family, int type, int protocol)
{
    return Descriptor(socket(family, type | SOCK_NONBLOCK | SOCK_CLOEXEC, protocol));
}

bool reaches_resolved(const char *host, int port, int seconds)
{
    const Text<10> service("%d", port);
    ResolvedAddresses addresses;
    if (!resolve(host, service.c_str(), addresses))
        return false;
    for (const addrinfo *result = addresses.get(); result != nullptr; result = result->ai_next) {
        const Descriptor socket = stream(result->ai_family, result->ai_socktype, result->ai_protocol);
        const Connection connection = try_to_connect(socket, result->ai_addr, result->ai_addrlen, seconds);
        if (connection == Connection::AWAITED)
            send_zero(socket);
        if (connection != Connection::NONE)
            return true;
    }
    return false;
}

bool reaches_netbios(NetbiosAnswer &answer, int port, int seconds)
{
    NetbiosAnswer::Field text;
    while (answer.next(text)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<uint16_t>(port));
        if (inet_pton(AF_INET, text.c_str(), &address.sin_addr) != 1)
            continue;
        const Descriptor socket = stream(AF_INET, SOCK_STREAM, 0);
        if (try_to_connect(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address, seconds) !=
            Connection::NONE) {
            send_zero(socket);
            return true;
        }
    }
    return false;
}

} // namespace

int BlKLIBIsConnected(const char *szHost, int port, int seconds)
{
    if (szHost == nullptr) {
        log_err("bad parameter, szHost is NULL");
        return fail(NET_ERR_BAD_PARAMETER, 0);
    }
    // A number that is no port would be taken for another port by what resolves it.
    if (szHost[0] == '\0' || port < 1 || port > UINT16_MAX)
        return fail(NET_ERR_BAD_PARAMETER, 0);
    if (reaches_resolved(szHost, port, seconds))
        return 1;
    if (!is_bare_name(szHost))
        return 0;

    NetbiosAnswer answer(szHost);
    if (!answer)
        return 0;
    if (!answer.has_buffer()) {
        log_err("pszBuf is NULL");
        return 0;
    }
    return reaches_netbios(answer, port, seconds) ? 1 : 0;
}
