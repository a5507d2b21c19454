// The string list as this library's own functions use it.
#pragma once

#include <string_view>

#include "kavo/core.h"

namespace kavo {

// Appends a copy of a text (up to its first zero byte, as a C string holds it). False when out of memory.
bool push(PKLIBSZLIST *list, std::string_view text);

// Frees the strings from the n-th on: takes back what a call that failed midway has pushed.
void cut_list(PKLIBSZLIST list, int n);

// The strings themselves, to be put in order.
char **strings(PKLIBSZLIST list);

} // namespace kavo
