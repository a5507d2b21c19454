#include "json.h"

#include <array>
#include <charconv>

#include "text.h"

namespace cli {
namespace {

constexpr char REPLACEMENT[] = "\xEF\xBF\xBD";

// Most characters: those that stand for themselves in JSON text.
constexpr std::array<bool, 256> PLAIN = [] {
    std::array<bool, 256> plain{};
    for (size_t c = 0x20; c < 0x7F; ++c)
        plain[c] = c != '"' && c != '\\';
    return plain;
}();

bool is_plain(char c)
{
    return PLAIN[static_cast<unsigned char>(c)];
}

void escape(std::string &out, char c)
{
    constexpr char DIGITS[] = "0123456789abcdef";
    if (c == '"' || c == '\\') {
        out += '\\';
        out += c;
        return;
    }
    const auto byte = static_cast<unsigned char>(c);
    out += "\\u00";
    out += DIGITS[byte >> 4];
    out += DIGITS[byte & 0xF];
}

} // namespace

void Json::separate()
{
    if (!first_)
        text_ += ',';
    first_ = false;
}

Json &Json::open(char bracket)
{
    separate();
    text_ += bracket;
    first_ = true;
    return *this;
}

Json &Json::close(char bracket)
{
    text_ += bracket;
    first_ = false;
    return *this;
}

Json &Json::key(std::string_view name)
{
    text_ += first_ ? "\"" : ",\"";
    text_ += name;
    text_ += "\":";
    first_ = true;
    return *this;
}

Json &Json::value(std::string_view text)
{
    separate();
    quote(text);
    return *this;
}

Json &Json::value(int64_t number)
{
    std::array<char, 24> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    return literal(std::string_view(digits.data(), static_cast<size_t>(end - digits.data())));
}

Json &Json::literal(std::string_view word)
{
    separate();
    text_ += word;
    return *this;
}

void Json::quote(std::string_view text)
{
    text_ += '"';
    while (!text.empty()) {
        size_t plain = 0;
        while (plain < text.size() && is_plain(text[plain]))
            ++plain;
        text_ += text.substr(0, plain);
        text.remove_prefix(plain);
        if (text.empty())
            break;
        const size_t length = utf8_length(text);
        if (length == 0)
            text_ += REPLACEMENT;
        else if (length == 1)
            escape(text_, text.front());
        else
            text_ += text.substr(0, length);
        text.remove_prefix(length == 0 ? 1 : length);
    }
    text_ += '"';
}

} // namespace cli
