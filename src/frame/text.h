// A bounded text in a fixed buffer: formats as snprintf does and knows whether it was cut.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>

namespace kavonet {

template <size_t Size> class Text {
public:
    static constexpr size_t capacity = Size; // NOLINT(bugprone-dynamic-static-initializers): a constant expression

    constexpr Text() = default;

    __attribute__((format(printf, 2, 3))) explicit Text(const char *format, ...)
    {
        va_list args;
        va_start(args, format);
        length_ = vsnprintf(data_, Size, format, args);
        va_end(args);
    }

    __attribute__((format(printf, 2, 3))) void format(const char *format, ...)
    {
        va_list args;
        va_start(args, format);
        length_ = vsnprintf(data_, Size, format, args);
        va_end(args);
    }

    // Adds a text at the end, as much of it as fits.
    void append(const char *text)
    {
        const size_t used = strlen(data_);
        const size_t added = strnlen(text, Size - 1 - used);
        memcpy(data_ + used, text, added);
        data_[used + added] = '\0';
        length_ = static_cast<int>(used + strlen(text));
    }

    // Whether the last text did not fit.
    [[nodiscard]] bool cut() const { return length_ < 0 || static_cast<size_t>(length_) >= Size; }

    [[nodiscard]] const char *c_str() const { return data_; }
    [[nodiscard]] bool empty() const { return data_[0] == '\0'; }
    [[nodiscard]] bool is(const char *other) const { return strcmp(data_, other) == 0; }

    // For calls that fill the buffer themselves.
    char *buffer() { return data_; }
    static constexpr int size() { return static_cast<int>(Size); }

private:
    char data_[Size] = {};
    int length_ = 0;
};

// Copies a text into a caller's field, cut to its size and always terminated.
template <size_t Size> void copy_text(char (&field)[Size], const char *text)
{
    const size_t length = strnlen(text, Size - 1);
    memcpy(field, text, length);
    field[length] = '\0';
}

} // namespace kavonet
