// What an interface is besides a card: part of a bond, a bridge, a VLAN, Open vSwitch.
#pragma once

#include <string>
#include <vector>

#include "json.h"

namespace cli {

struct Role {
    const char *kind;     // a stable word, "vlan"
    std::string text;     // for people, "VLAN 5 of eth0"
    std::string device{}; // what it stands on, if anything
    int id = 0;           // of a VLAN
    std::string mode{};   // of a bond
    std::vector<std::string> members{};
};

// An interface can have several: a bond may be the port of a bridge.
std::vector<Role> roles_of(const std::string &name);

// For people; empty when there are none.
std::string text_of(const std::vector<Role> &roles);

void put_roles(Json &json, const std::vector<Role> &roles);

} // namespace cli
