// What several nouns read about an interface, and how they show it.
#pragma once

#include <string>
#include <vector>

#include "json.h"
#include "kavonetsdk/kavonetsdk.h"
#include "table.h"

namespace cli {

// An interface as the kernel has it. One whose name the library refuses is known by its name alone.
struct Interface {
    KAVONETIFENTRY entry{};
    bool known = true;

    [[nodiscard]] bool is_up() const;
    [[nodiscard]] bool is_loopback() const;
    [[nodiscard]] bool has_link() const { return entry.nLink == 2; }
    [[nodiscard]] std::string mac() const;     // empty when it has none
    [[nodiscard]] std::string address() const; // with its prefix, empty when it has none
};

// The interfaces that a listing is about.
enum class Kind { ALL, PHYSICAL, USABLE, USABLE_PPP, STANDALONE, LOCAL_LAN, NOT_LOCAL_LAN, ETH };
inline constexpr char KIND_WORDS[] = "all|physical|usable|usable-ppp|standalone|local-lan|not-local-lan|eth";
Kind kind_of(const std::string &word);

// The counters of every interface that the library knows, up or down. False with an error record when they cannot be read.
bool list_counters(std::vector<NetStat> &counters);

// False with an error record when they cannot be listed.
bool list_interfaces(Kind kind, std::vector<Interface> &found);

// False with an error record when there is none of that name.
bool read_interface(const std::string &name, Interface &interface);

// The IPv4 configuration of an interface.
struct Ipv4 {
    enum Method { NONE, DHCP, STATIC } method = NONE;
    std::string address{}; // what is configured; empty without a lease
    std::string mask{};

    [[nodiscard]] const char *method_name() const; // empty when nothing is configured
    [[nodiscard]] std::string text() const;        // "static 10.0.0.5/24"
};

// False with an error record when it cannot be told.
bool read_ipv4(const std::string &name, Ipv4 &ipv4);

// "10.0.0.5/24"; the address alone when the mask is none.
std::string with_prefix(const char *address, const char *mask);

// The fields "address", "mask" and "prefix".
void put_address(Json &json, const char *address, const char *mask);
// The fields of an interface, from "name" on.
void put_interface(Json &json, const Interface &interface);
// The fields "method", "address", "mask" and "prefix".
void put_ipv4(Json &json, const Ipv4 &ipv4);

Cell state_cell(const Interface &interface);
Cell link_cell(const Interface &interface);

} // namespace cli
