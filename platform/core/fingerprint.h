// A number for a text, well spread but not secret (FNV-1a).
#pragma once

#include <cstdint>
#include <string_view>

namespace kavo {

constexpr uint64_t fingerprint(std::string_view text)
{
    uint64_t hash = 0xcbf29ce484222325U;
    for (const char c : text)
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
    return hash ^ hash >> 32;
}

} // namespace kavo
