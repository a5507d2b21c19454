// Text as people and programs may safely read it: names of interfaces and files can hold any byte.
#pragma once

#include <string>
#include <string_view>

namespace cli {

// The length of the UTF-8 character that the text begins with; 0 when it begins with none.
size_t utf8_length(std::string_view text);

// The text with every control character and every byte that is no UTF-8 as "\xHH": nothing in it moves the cursor.
std::string printable(std::string_view text);

__attribute__((format(printf, 1, 2))) std::string formatted(const char *format, ...);

// The candidate that is nearest to the word, null when none is near.
template <class Names> const char *nearest(std::string_view word, const Names &candidates);

// How many letters must be added, taken or changed to turn one word into the other.
size_t distance(std::string_view a, std::string_view b);

template <class Names> const char *nearest(std::string_view word, const Names &candidates)
{
    const char *best = nullptr;
    size_t best_distance = 3;
    for (const char *candidate : candidates) {
        const size_t d = distance(word, candidate);
        if (d < best_distance && d < word.size() && d < std::string_view(candidate).size()) {
            best = candidate;
            best_distance = d;
        }
    }
    return best;
}

} // namespace cli
