// Writes JSON text. What comes in may hold any byte; what comes out is always valid: bytes that are no UTF-8 become the
// replacement character U+FFFD.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace cli {

class Json {
public:
    Json() = default;
    // For a text of about so many bytes, which then need not be moved while it grows.
    explicit Json(size_t expected) { text_.reserve(expected); }

    Json &begin_object() { return open('{'); }
    Json &end_object() { return close('}'); }
    Json &begin_array() { return open('['); }
    Json &end_array() { return close(']'); }

    // The name of what comes next in an object: one of the command's own words, which hold nothing to escape.
    Json &key(std::string_view name);

    Json &value(std::string_view text);
    Json &value(const char *text) { return value(std::string_view(text)); }
    Json &value(bool yes) { return literal(yes ? "true" : "false"); }
    Json &value(int64_t number);
    Json &value(int number) { return value(static_cast<int64_t>(number)); }
    Json &null() { return literal("null"); }

    template <class Value> Json &field(std::string_view name, Value content) { return key(name).value(content); }
    Json &null_field(std::string_view name) { return key(name).null(); }
    // An empty text says that there is none.
    Json &field_or_null(std::string_view name, std::string_view text)
    {
        return text.empty() ? null_field(name) : field(name, text);
    }

    [[nodiscard]] const std::string &text() const { return text_; }

private:
    Json &open(char bracket);
    Json &close(char bracket);
    Json &literal(std::string_view word);
    void separate();
    void quote(std::string_view text);

    std::string text_;
    bool first_ = true;
};

// The line that `put` makes of one thing, and the line of an array of what it makes of each of many.
template <class Thing, class Put> std::string json_line(const Thing &thing, Put put)
{
    Json json;
    put(json, thing);
    return json.text() + "\n";
}
template <class Things, class Put> std::string json_array(const Things &things, Put put)
{
    Json json;
    json.begin_array();
    for (const auto &thing : things)
        put(json, thing);
    return json.end_array().text() + "\n";
}

} // namespace cli
