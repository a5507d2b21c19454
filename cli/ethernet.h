// The Ethernet link of an interface, as several nouns show it.
#pragma once

#include <string>

#include "json.h"
#include "kavonetsdk/kavonetsdk.h"

namespace cli {

// What the driver does not say stays -1.
KAVOETHINFO read_ethernet(const std::string &name);

std::string speed_text(const KAVOETHINFO &ethernet); // "1000 Mbit/s full", empty when unknown

// The fields "speed", "duplex" and "mtu".
void put_ethernet(Json &json, const KAVOETHINFO &ethernet);

} // namespace cli
