// Hosts by name, as several nouns look them up.
#pragma once

#include <string>
#include <vector>

#include "errors.h"
#include "kavonetsdk/kavonetsdk.h"

namespace cli {

// All addresses of a host; none when nobody knows one. Blocks for as long as the name servers take.
std::vector<LookupIPEntry> addresses_of(const std::string &host);

// What is said when there are none.
Failure unknown_host(const std::string &what, const std::string &host);

} // namespace cli
