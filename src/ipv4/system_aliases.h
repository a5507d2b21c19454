// The labelled IPv4 addresses that the kernel has.
#pragma once

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>

#include "frame/dotted.h"
#include "frame/owner.h"
#include "kavonetsdk/addr.h"

namespace kavonet {

// They are read once, put in order and then looked up: stores and systems may have thousands.
class SystemAliases {
public:
    enum class State { READ, NO_LIST, NO_MEMORY };

    State read()
    {
        if (getifaddrs(list_.handle()) != 0)
            return State::NO_LIST;
        size_t count = 0;
        for (const ifaddrs *entry = list_.get(); entry != nullptr; entry = entry->ifa_next)
            count += is_alias(*entry) ? 1 : 0;
        *room_.handle() = static_cast<Alias *>(calloc(count + 1, sizeof(Alias)));
        if (!room_)
            return State::NO_MEMORY;
        aliases_ = {room_.get(), count};
        Alias *next = room_.get();
        for (const ifaddrs *entry = list_.get(); entry != nullptr; entry = entry->ifa_next) {
            if (is_alias(*entry))
                *next++ = {number_of(entry->ifa_addr), entry};
        }
        std::sort(aliases_.begin(), aliases_.end(), Alias::before);
        return State::READ;
    }

    // Whether an interface has the address with this prefix under the label. The address must be written as the system
    // writes it.
    [[nodiscard]] bool hold(const char *interface, int label, const char *address, int prefix) const
    {
        in_addr number{};
        if (inet_pton(AF_INET, address, &number) != 1)
            return false;
        const auto found =
            std::equal_range(aliases_.begin(), aliases_.end(), Alias{number.s_addr, nullptr}, Alias::before);
        return std::any_of(found.first, found.second, [&](const Alias &alias) {
            return is_label(alias.entry->ifa_name, interface, label) && prefix_of(*alias.entry) == prefix;
        });
    }

private:
    struct Alias {
        uint32_t address; // in network byte order; any order does
        const ifaddrs *entry;

        static bool before(const Alias &a, const Alias &b) { return a.address < b.address; }
    };

    static bool is_alias(const ifaddrs &entry)
    {
        return entry.ifa_addr != nullptr && entry.ifa_addr->sa_family == AF_INET && entry.ifa_netmask != nullptr;
    }

    static uint32_t number_of(const sockaddr *address)
    {
        return reinterpret_cast<const sockaddr_in *>(address)->sin_addr.s_addr;
    }

    static int prefix_of(const ifaddrs &entry)
    {
        char mask[DOTTED_SIZE];
        write_dotted(number_of(entry.ifa_netmask), mask);
        return KAVONetNetmaskToPrefix(mask);
    }

    // Whether a name is "interface:label".
    static bool is_label(const char *name, const char *interface, int label)
    {
        const size_t length = strlen(interface);
        if (strncmp(name, interface, length) != 0 || name[length] != ':')
            return false;
        char number[16] = "";
        std::to_chars(number, number + sizeof number - 1, label);
        return strcmp(name + length + 1, number) == 0;
    }

    Owned<ifaddrs, freeifaddrs> list_;
    Allocated<Alias> room_;
    std::span<Alias> aliases_;
};

} // namespace kavonet
