// The user's name as the client's files hold it: in single quotes, as a shell and the PPP daemon read it.
#pragma once

#include <cstring>

#include "frame/text.h"

namespace kavonet {

// A single quote inside the quotes: they end, a quoted quote follows, they begin again.
inline constexpr char QUOTED_QUOTE[] = "'\"'\"'";
inline constexpr size_t QUOTED_QUOTE_LENGTH = sizeof QUOTED_QUOTE - 1;

// The name in quotes. The rest of a name that does not fit is dropped, and the quotes are closed all the same.
class QuotedName {
public:
    explicit QuotedName(const char *name)
    {
        append("'", 1);
        for (const char *c = name; *c != '\0'; ++c) {
            const bool quote = *c == '\'';
            if (!append(quote ? QUOTED_QUOTE : c, quote ? QUOTED_QUOTE_LENGTH : 1))
                break;
        }
        memcpy(text_ + length_, "'", 2);
    }

    [[nodiscard]] const char *c_str() const { return text_; }

private:
    static constexpr size_t SIZE = 512;

    // Leaves room for the closing quote and the terminator.
    bool append(const char *piece, size_t length)
    {
        if (length_ + length > SIZE - 2)
            return false;
        memcpy(text_ + length_, piece, length);
        length_ += length;
        return true;
    }

    char text_[SIZE];
    size_t length_ = 0;
};

// Whether a quoted name has its closing quote: one that did not fit its buffer has lost it.
inline bool is_whole(const char *stored)
{
    if (*stored != '\'')
        return true;
    for (const char *c = stored + 1; *c != '\0'; ++c) {
        if (*c != '\'')
            continue;
        if (strncmp(c, QUOTED_QUOTE, QUOTED_QUOTE_LENGTH) != 0)
            return true;
        c += QUOTED_QUOTE_LENGTH - 1;
    }
    return false;
}

// The plain name of one that is in quotes, or that stands without them: there a backslash before a number sign only keeps
// it from beginning a comment.
inline void copy_plain_name(char (&field)[256], const char *stored)
{
    char *out = field;
    const bool quoted = *stored == '\'';
    for (const char *c = stored + (quoted ? 1 : 0); *c != '\0' && out < field + sizeof field - 1; ++c) {
        if (quoted && *c == '\'') {
            if (strncmp(c, QUOTED_QUOTE, QUOTED_QUOTE_LENGTH) != 0)
                break;
            c += QUOTED_QUOTE_LENGTH - 1; // what it stands for is a quote, and with a quote it ends
        } else if (!quoted && c[0] == '\\' && c[1] == '#') {
            continue;
        }
        *out++ = *c;
    }
    *out = '\0';
}

} // namespace kavonet
