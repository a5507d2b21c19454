#include "kavonetsdk/diag.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include <sys/socket.h>

#include "frame/error.h"
#include "frame/name.h"
#include "frame/owner.h"

using namespace kavonet;

namespace {

// Broadcast destination, the target as the source, the type of the frame, and the magic pattern.
using WakeFrame = std::array<uint8_t, 116>;
constexpr size_t MAC_SIZE = sizeof EtherWakeTarget::mac;

WakeFrame wake_frame(const uint8_t (&mac)[MAC_SIZE])
{
    constexpr uint8_t TYPE[] = {0x08, 0x42};
    constexpr uint8_t EVERYBODY = 0xFF;
    constexpr int REPETITIONS = 16;
    WakeFrame frame;
    auto *at = std::fill_n(frame.data(), MAC_SIZE, EVERYBODY);
    at = std::copy_n(mac, MAC_SIZE, at);
    at = std::copy_n(TYPE, sizeof TYPE, at);
    at = std::fill_n(at, MAC_SIZE, EVERYBODY);
    for (int i = 0; i < REPETITIONS; ++i)
        at = std::copy_n(mac, MAC_SIZE, at);
    return frame;
}

bool send_wide(const Descriptor &socket, const WakeFrame &frame, const sockaddr &card)
{
    const int on = 1;
    return setsockopt(socket.get(), SOL_SOCKET, SO_BROADCAST, &on, sizeof on) == 0 &&
           sendto(socket.get(), frame.data(), frame.size(), 0, &card, sizeof card) ==
               static_cast<ssize_t>(frame.size());
}

} // namespace

int KLIBNetEtherWake(const EtherWakeTarget *p)
{
    // The number of the type stands for the protocol too. Nothing is received, and so it stays.
    constexpr int PROTOCOL = SOCK_PACKET;
    if (p == nullptr)
        return fail(NET_ERR_BAD_PARAMETER, -1);
    sockaddr card{};
    snprintf(card.sa_data, sizeof card.sa_data, "%.*s", static_cast<int>(sizeof card.sa_data - 1), p->szIfName);
    if (!is_interface_name(card.sa_data))
        return fail(NET_ERR_BAD_PARAMETER, -1);
    const Descriptor socket(::socket(AF_INET, SOCK_PACKET | SOCK_CLOEXEC, PROTOCOL));
    if (!socket)
        return fail(NET_ERR_OPEN_FAILED, -1);
    if (!send_wide(socket, wake_frame(p->mac), card))
        return fail(NET_ERR_EXEC_FAILED, -1);
    return 0;
}
