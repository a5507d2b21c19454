#include "core/line.h"

#include <cstring>

namespace kavo {
namespace {

constexpr char DEFAULT_FORMAT[] = "%s=\"%s\"\n";

std::string_view between(const char *begin, const char *end)
{
    return {begin, static_cast<size_t>(end - begin)};
}

bool is_blank(char c)
{
    return c == ' ' || c == '\t';
}

bool all_blank(std::string_view text)
{
    return text.find_first_not_of(" \t") == std::string_view::npos;
}

bool has_line_end(std::string_view text)
{
    return text.find_first_of("\n\r") != std::string_view::npos;
}

bool has(std::string_view text, char c)
{
    return text.find(c) != std::string_view::npos;
}

} // namespace

bool parse_line(std::string_view line, Indent indent, KeyValue &result)
{
    while (indent == Indent::IGNORED && !line.empty() && is_blank(line.front()))
        line.remove_prefix(1);
    const size_t equals = line.find('=');
    if (equals == std::string_view::npos || line.front() == '#')
        return false;
    result.key = {line.data(), equals};
    line.remove_prefix(equals + 1);
    result.value = line;
    return true;
}

std::string_view unquoted(std::string_view value)
{
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
        value.remove_prefix(1);
        value.remove_suffix(1);
    }
    return value;
}

bool is_key(std::string_view key)
{
    return !key.empty() && key.front() != '#' && !has(key, '=') && !has_line_end(key);
}

bool LineFormat::parse(const char *format)
{
    if (format == nullptr)
        format = DEFAULT_FORMAT;
    const char *key = strstr(format, "%s");
    const char *value = key == nullptr ? nullptr : strstr(key + 2, "%s");
    if (value == nullptr)
        return false;
    before_ = between(format, key);
    between_ = between(key + 2, value);
    after_ = value + 2;
    if (!after_.empty() && after_.back() == '\n')
        after_.remove_suffix(1);
    return all_blank(before_) && !between_.empty() && between_.front() == '=' && !has(between_, '%') &&
           !has_line_end(between_) && !has(after_, '%') && !has_line_end(after_);
}

bool LineFormat::quotes() const
{
    return has(between_, '"') || has(after_, '"');
}

bool LineFormat::takes(std::string_view key, std::string_view value) const
{
    const bool indent_lost = indent() == Indent::IGNORED && !key.empty() && is_blank(key.front());
    const bool quote_lost = quotes() && (has(key, '"') || has(value, '"'));
    return is_key(key) && !indent_lost && !quote_lost && !has_line_end(value);
}

bool LineFormat::write(Bytes &out, std::string_view key, std::string_view value) const
{
    for (const std::string_view part : {before_, key, between_, value, after_, std::string_view("\n")}) {
        if (!out.append(part))
            return false;
    }
    return true;
}

KeyEdit::KeyEdit(const tagKLIBSZHASH *set, const tagKLIBSZHASH *remove, const LineFormat &format, Indent indent)
    : set_(set),
      remove_(remove),
      format_(format),
      indent_(indent),
      written_(static_cast<bool *>(calloc(count(set) + 1, sizeof(bool))))
{
}

bool KeyEdit::pass(Bytes &out, const Lines &line)
{
    if (written_ == nullptr)
        return false;
    KeyValue pair;
    if (!parse_line(line.text(), indent_, pair))
        return out.append(line.whole());
    if (const auto *entry = set_ == nullptr ? nullptr : find(set_, pair.key)) {
        bool &written = written_[entry - set_->entries];
        if (written)
            return true;
        written = true;
        return format_.write(out, pair.key, entry->value);
    }
    const bool dropped = remove_ != nullptr && find(remove_, pair.key) != nullptr;
    return dropped || out.append(line.whole());
}

bool KeyEdit::append_rest(Bytes &out)
{
    if (written_ == nullptr)
        return false;
    for (size_t i = 0; i < count(set_); ++i) {
        const auto &entry = set_->entries[i];
        if (written_[i])
            continue;
        if (!end_line(out) || !format_.write(out, entry.key, entry.value))
            return false;
    }
    return true;
}

bool end_line(Bytes &out)
{
    return out.view().empty() || out.view().back() == '\n' || out.append("\n");
}

} // namespace kavo
