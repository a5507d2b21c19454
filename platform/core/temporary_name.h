// Names for temporary files.
#pragma once

#include <climits>
#include <string_view>

namespace kavo {

using TemporaryName = char[NAME_MAX + 1];

// The name of a temporary file beside another: prefix, its name (cut where it would not fit), a dot and letters that
// nobody can foretell. False with errno when the system has no random bytes.
bool temporary_name(std::string_view prefix, std::string_view base, TemporaryName &name);

} // namespace kavo
