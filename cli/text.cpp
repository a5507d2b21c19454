#include "text.h"

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <vector>

namespace cli {
namespace {

// What the first byte of a character says: how many follow, and the range of the first that follows (the narrower ranges
// keep out overlong forms, surrogates and what lies beyond Unicode).
struct Lead {
    uint8_t from, to, following, second_from, second_to;
};

constexpr Lead LEADS[] = {
    {0xC2, 0xDF, 1, 0x80, 0xBF}, {0xE0, 0xE0, 2, 0xA0, 0xBF}, {0xE1, 0xEC, 2, 0x80, 0xBF}, {0xED, 0xED, 2, 0x80, 0x9F},
    {0xEE, 0xEF, 2, 0x80, 0xBF}, {0xF0, 0xF0, 3, 0x90, 0xBF}, {0xF1, 0xF3, 3, 0x80, 0xBF}, {0xF4, 0xF4, 3, 0x80, 0x8F},
};

uint8_t byte(std::string_view text, size_t i)
{
    return static_cast<uint8_t>(text[i]);
}

bool follows(std::string_view text, const Lead &lead)
{
    if (text.size() <= lead.following || byte(text, 1) < lead.second_from || byte(text, 1) > lead.second_to)
        return false;
    for (size_t i = 2; i <= lead.following; ++i) {
        if ((byte(text, i) & 0xC0) != 0x80)
            return false;
    }
    return true;
}

// U+0080 to U+009F are control characters too, and some terminals obey them.
bool is_control(std::string_view character)
{
    return byte(character, 0) < 0x20 || byte(character, 0) == 0x7F ||
           (character.size() == 2 && byte(character, 0) == 0xC2 && byte(character, 1) < 0xA0);
}

} // namespace

size_t utf8_length(std::string_view text)
{
    if (text.empty())
        return 0;
    if (byte(text, 0) < 0x80)
        return 1;
    for (const Lead &lead : LEADS) {
        if (byte(text, 0) >= lead.from && byte(text, 0) <= lead.to)
            return follows(text, lead) ? lead.following + 1U : 0;
    }
    return 0;
}

std::string printable(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        const size_t length = utf8_length(text);
        const std::string_view character = text.substr(0, std::max<size_t>(length, 1));
        if (length == 0 || is_control(character)) {
            for (size_t i = 0; i < character.size(); ++i)
                result += formatted("\\x%02x", byte(character, i));
        } else {
            result += character;
        }
        text.remove_prefix(character.size());
    }
    return result;
}

std::string formatted(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    char *text = nullptr;
    const int length = vasprintf(&text, format, args);
    va_end(args);
    std::string result;
    if (length >= 0)
        result.assign(text, static_cast<size_t>(length));
    free(text);
    return result;
}

size_t distance(std::string_view a, std::string_view b)
{
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t changed = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, changed});
        }
    }
    return row[b.size()];
}

} // namespace cli
