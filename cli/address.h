// Addresses as they are typed.
#pragma once

#include <string>

namespace cli {

// Takes "A.B.C.D/PREFIX", or an address and a mask, apart. False when the library refuses them, with its error record.
bool read_address(const std::string &text, const std::string &mask_text, std::string &address, std::string &mask);

// The record has room for the usual form only, and a file and a command must not read "010" differently.
bool is_plain_address(const std::string &address);

// What is wrong with an address that is not plain, and what to do.
inline constexpr char NOT_PLAIN[] = "the address is not in the usual form";
inline constexpr char NOT_PLAIN_ADVICE[] =
    "give four decimal numbers without leading zeros, for example 192.168.1.5/24";

} // namespace cli
