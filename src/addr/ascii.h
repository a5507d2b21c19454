// Letters and digits of the C locale, whatever locale the program has set and whatever bytes a text holds.
#pragma once

namespace kavonet {

constexpr bool is_ascii_digit(char c)
{
    return c >= '0' && c <= '9';
}

constexpr bool is_ascii_letter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

} // namespace kavonet
