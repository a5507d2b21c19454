// Files of lines, and lines of the form key=value.
#pragma once

#include <cstdlib>
#include <string_view>

#include "core/bytes.h"
#include "core/hash.h"

namespace kavo {

// Walks through the lines of a content.
class Lines {
public:
    explicit Lines(std::string_view content) : rest_(content) {}

    // False behind the last line.
    bool next()
    {
        if (rest_.empty())
            return false;
        const size_t newline = rest_.find('\n');
        const bool ended = newline != std::string_view::npos;
        text_ = {rest_.data(), ended ? newline : rest_.size()};
        whole_ = {rest_.data(), ended ? newline + 1 : rest_.size()};
        rest_.remove_prefix(whole_.size());
        return true;
    }

    [[nodiscard]] std::string_view text() const { return text_; }   // without the newline
    [[nodiscard]] std::string_view whole() const { return whole_; } // with it, where the file has one
    [[nodiscard]] std::string_view rest() const { return rest_; }   // what follows the line

private:
    std::string_view rest_;
    std::string_view text_;
    std::string_view whole_;
};

// How blanks before a key are taken.
enum class Indent { PART_OF_KEY, IGNORED };

struct KeyValue {
    std::string_view key;
    std::string_view value; // as it stands in the file
};

// Takes a line apart. False when it holds no key: it begins with '#' or has no '='.
bool parse_line(std::string_view line, Indent indent, KeyValue &result);

// Takes one enclosing pair of double quotes off.
std::string_view unquoted(std::string_view value);

// Whether a key can be looked for. A line's key never holds '=' or a line's end, nor begins with '#'.
bool is_key(std::string_view key);

// The form in which a key and its value are written. It comes from callers in printf's words and is taken apart here, so
// that it never reaches printf.
class LineFormat {
public:
    // Null is key="value". False when it is not: blanks, "%s", "=", text, "%s", text with no other "%", all in one line.
    bool parse(const char *format);

    // Whether the pair, once written, reads as that pair again.
    [[nodiscard]] bool takes(std::string_view key, std::string_view value) const;

    // Writes the line with its newline. False when out of memory.
    bool write(Bytes &out, std::string_view key, std::string_view value) const;

    // A format that indents its lines finds them again whatever their indent is.
    [[nodiscard]] Indent indent() const { return before_.empty() ? Indent::PART_OF_KEY : Indent::IGNORED; }

private:
    [[nodiscard]] bool quotes() const;

    std::string_view before_;
    std::string_view between_;
    std::string_view after_; // without the newline
};

// A change of key lines: the lines go through it one by one, then the keys that none of them had are appended.
class KeyEdit {
public:
    // Sets the keys of one hash and drops those of the other; a key of both is set. Either may be null.
    KeyEdit(const tagKLIBSZHASH *set, const tagKLIBSZHASH *remove, const LineFormat &format, Indent indent);
    KeyEdit(const KeyEdit &) = delete;
    KeyEdit &operator=(const KeyEdit &) = delete;
    ~KeyEdit() { free(written_); }

    // Copies, replaces or drops a line. False when out of memory, as below.
    bool pass(Bytes &out, const Lines &line);

    // Appends what no line had.
    bool append_rest(Bytes &out);

private:
    const tagKLIBSZHASH *set_;
    const tagKLIBSZHASH *remove_;
    const LineFormat &format_;
    Indent indent_;
    bool *written_; // for each key to set
};

// Ends the last line if it has no newline. False when out of memory.
bool end_line(Bytes &out);

} // namespace kavo
