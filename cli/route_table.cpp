#include "route_table.h"

#include <array>
#include <cerrno>
#include <cstring>

#include <arpa/inet.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

#include "kavonetsdk/kavonetsdk.h"

namespace cli {
namespace {

// A socket to the kernel's routing.
class Kernel {
public:
    Kernel() : fd_(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE)) {}
    Kernel(const Kernel &) = delete;
    Kernel &operator=(const Kernel &) = delete;
    ~Kernel()
    {
        if (fd_ >= 0)
            close(fd_);
    }

    [[nodiscard]] bool ask() const
    {
        struct {
            nlmsghdr header;
            rtmsg route;
        } request{};
        request.header.nlmsg_len = sizeof request;
        request.header.nlmsg_type = RTM_GETROUTE;
        request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
        request.route.rtm_family = AF_INET;
        return fd_ >= 0 && send(fd_, &request, sizeof request, 0) == static_cast<ssize_t>(sizeof request);
    }

    // The length of the next answer; -1 with errno when there is none.
    template <size_t Size> [[nodiscard]] ssize_t answer(std::array<char, Size> &buffer) const
    {
        ssize_t length = 0;
        do {
            length = recv(fd_, buffer.data(), buffer.size(), 0);
        } while (length < 0 && errno == EINTR);
        return length;
    }

private:
    int fd_;
};

std::string address_text(const void *address)
{
    char text[INET_ADDRSTRLEN] = "";
    return inet_ntop(AF_INET, address, text, sizeof text) == nullptr ? "" : text;
}

uint32_t number(const rtattr *attribute)
{
    uint32_t value = 0;
    memcpy(&value, RTA_DATA(attribute), sizeof value);
    return value;
}

std::string interface_name(uint32_t index)
{
    char name[IF_NAMESIZE] = "";
    return if_indextoname(index, name) == nullptr ? "" : name;
}

// Every attribute that is looked at holds an address or a number, but the one of several next hops.
template <class Take> void each_attribute(const rtattr *first, size_t room, Take take)
{
    auto length = static_cast<int>(room);
    for (const rtattr *a = first; RTA_OK(a, length); a = RTA_NEXT(a, length)) {
        if (RTA_PAYLOAD(a) >= sizeof(uint32_t))
            take(*a);
    }
}

void take_hops(const Route &route, const rtattr &hops, std::vector<Route> &routes)
{
    size_t room = RTA_PAYLOAD(&hops);
    const auto *hop = static_cast<const rtnexthop *>(RTA_DATA(&hops));
    while (room >= sizeof *hop && hop->rtnh_len >= sizeof *hop && hop->rtnh_len <= room) {
        Route &added = routes.emplace_back(route);
        added.interface = interface_name(static_cast<uint32_t>(hop->rtnh_ifindex));
        each_attribute(RTNH_DATA(hop), hop->rtnh_len - sizeof *hop, [&](const rtattr &a) {
            if (a.rta_type == RTA_GATEWAY)
                added.gateway = address_text(RTA_DATA(&a));
        });
        const size_t step = RTNH_ALIGN(hop->rtnh_len);
        room -= step < room ? step : room;
        hop = RTNH_NEXT(hop);
    }
}

// Takes one route up, if it is one of the main table that packets are sent by.
void take_route(const nlmsghdr &message, std::vector<Route> &routes)
{
    const auto *info = static_cast<const rtmsg *>(NLMSG_DATA(&message));
    if (message.nlmsg_len < NLMSG_LENGTH(sizeof *info) || info->rtm_type != RTN_UNICAST)
        return;
    uint32_t table = info->rtm_table;
    const rtattr *hops = nullptr;
    Route route{"0.0.0.0"};
    each_attribute(RTM_RTA(info), RTM_PAYLOAD(&message), [&](const rtattr &a) {
        switch (a.rta_type) {
        case RTA_DST:
            route.network = address_text(RTA_DATA(&a));
            break;
        case RTA_GATEWAY:
            route.gateway = address_text(RTA_DATA(&a));
            break;
        case RTA_PREFSRC:
            route.source = address_text(RTA_DATA(&a));
            break;
        case RTA_OIF:
            route.interface = interface_name(number(&a));
            break;
        case RTA_PRIORITY:
            route.metric = number(&a);
            break;
        case RTA_TABLE:
            table = number(&a);
            break;
        case RTA_MULTIPATH:
            hops = &a;
            break;
        default:
            break;
        }
    });
    if (table != RT_TABLE_MAIN)
        return;
    route.network.append("/").append(std::to_string(info->rtm_dst_len));
    if (hops == nullptr)
        routes.push_back(std::move(route));
    else
        take_hops(route, *hops, routes);
}

} // namespace

bool list_routes(std::vector<Route> &routes)
{
    const Kernel kernel;
    if (!kernel.ask())
        return false;
    alignas(nlmsghdr) std::array<char, 65536> buffer;
    for (;;) {
        const ssize_t length = kernel.answer(buffer);
        if (length <= 0)
            return false;
        auto room = static_cast<unsigned>(length);
        for (auto *m = reinterpret_cast<nlmsghdr *>(buffer.data()); NLMSG_OK(m, room); m = NLMSG_NEXT(m, room)) {
            if (m->nlmsg_type == NLMSG_DONE)
                return true;
            if (m->nlmsg_type == NLMSG_ERROR) {
                errno = -static_cast<const nlmsgerr *>(NLMSG_DATA(m))->error;
                return false;
            }
            take_route(*m, routes);
        }
    }
}

std::string network_of(const std::string &address, const std::string &mask)
{
    in_addr host{};
    in_addr bits{};
    if (inet_pton(AF_INET, address.c_str(), &host) != 1 || inet_pton(AF_INET, mask.c_str(), &bits) != 1)
        return "";
    const int prefix = KAVONetNetmaskToPrefix(mask.c_str());
    host.s_addr &= bits.s_addr;
    return prefix < 0 ? "" : address_text(&host) + "/" + std::to_string(prefix);
}

void put_routes(Json &json, const std::vector<Route> &routes)
{
    json.begin_array();
    for (const Route &route : routes) {
        json.begin_object().field("network", route.network).field_or_null("gateway", route.gateway);
        json.field_or_null("interface", route.interface).field_or_null("source", route.source);
        json.field("metric", static_cast<int64_t>(route.metric)).end_object();
    }
    json.end_array();
}

} // namespace cli
