// The kernel's IPv4 routes.
#pragma once

#include <string>
#include <vector>

#include "json.h"

namespace cli {

struct Route {
    std::string network;   // "10.0.0.0/24", "0.0.0.0/0"
    std::string gateway{}; // empty: reached directly
    std::string interface {
    };
    std::string source{}; // the address that packets leave with, where the route says so
    unsigned metric = 0;

    bool operator==(const Route &) const = default;
};

// The routes of the main table, in the kernel's order. False with errno when it does not answer.
bool list_routes(std::vector<Route> &routes);

// "10.0.0.0" and "255.255.255.0" of an address and its mask as "10.0.0.0/24"; empty when one is malformed.
std::string network_of(const std::string &address, const std::string &mask);

// An array of objects with the fields of a route.
void put_routes(Json &json, const std::vector<Route> &routes);

} // namespace cli
