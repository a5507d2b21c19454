// Bounded copies of a part of a text. Validators are called for every address that enters, so no formatting here.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "frame/text.h"

namespace kavonet {

// The first `length` bytes of a text that has at least so many, cut to the buffer.
template <size_t Size> Text<Size> first_bytes(const char *text, size_t length)
{
    Text<Size> copy;
    memcpy(copy.buffer(), text, std::min(length, Size - 1));
    return copy;
}

// A whole text, cut to the buffer.
template <size_t Size> Text<Size> bounded_copy(const char *text)
{
    return first_bytes<Size>(text, strnlen(text, Size - 1));
}

} // namespace kavonet
