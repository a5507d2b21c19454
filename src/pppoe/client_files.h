// The files of the system's PPPoE client.
#pragma once

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "frame/text.h"
#include "kavo/core.h"

namespace kavonet {

inline constexpr char CLIENT_FILE[] = "/etc/ppp/pppoe.conf";
inline constexpr char SECRETS_FILE[] = "/etc/ppp/pap-secrets";
inline constexpr char NEW_SECRETS_FILE[] = "/etc/ppp/pap-secrets.tmp";

// Whether a text means itself to a shell: the client's scripts read their settings as one.
inline bool is_plain_word(const char *text)
{
    constexpr char PLAIN[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._:@+-";
    return text[strspn(text, PLAIN)] == '\0';
}

// Whether a text fits on a line of its own.
inline bool is_one_line(const char *text)
{
    return strpbrk(text, "\r\n") == nullptr;
}

// Copies the secret of the user whose stored name it is; false when there is no line for him.
template <size_t Size> bool find_secret(FILE *secrets, const char *stored_name, char (&secret)[Size])
{
    for (Text<512> line; fgets(line.buffer(), line.size(), secrets) != nullptr;) {
        if (line.c_str()[0] == '#')
            continue;
        char *rest = KLIBCStrTokIndex(line.buffer(), "*");
        if (rest == nullptr)
            continue;
        KLIBCStrTrimSpace(line.buffer(), 0);
        if (!line.is(stored_name))
            continue;
        KLIBCStrTrimSpace(rest, 0);
        copy_text(secret, rest);
        return true;
    }
    return false;
}

// Opens a file for a secret. What lay there under its name goes away, a link too, so that the secret gets into a file
// which nobody else has open or may open. Null with errno.
inline FILE *create_private(const char *path)
{
    unlink(path);
    const int fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    FILE *file = fd < 0 ? nullptr : fdopen(fd, "w");
    if (fd >= 0 && file == nullptr) {
        const int saved = errno;
        close(fd);
        unlink(path);
        errno = saved;
    }
    return file;
}

} // namespace kavonet
