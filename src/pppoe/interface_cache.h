// The file that remembers the connection's PPP interface. It lies where every user may put files, so nothing is followed,
// waited for or believed there but a plain file of the system's or the caller's own that nobody else may write.
#pragma once

#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "frame/owner.h"
#include "frame/text.h"

namespace kavonet {

inline constexpr char INTERFACE_CACHE[] = "/tmp/kavopppoe.intf";

inline bool is_trusted(int fd)
{
    struct stat file {};
    return fstat(fd, &file) == 0 && S_ISREG(file.st_mode) && file.st_nlink == 1 &&
           (file.st_uid == 0 || file.st_uid == geteuid()) && (file.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

// Reads the file's first line, with its newline where it has one; false when there is none.
template <size_t Size> bool read_interface_cache(Text<Size> &line)
{
    const Descriptor file(open(INTERFACE_CACHE, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file || !is_trusted(file.get()))
        return false;
    const ssize_t got = read(file.get(), line.buffer(), Size - 1);
    if (got <= 0)
        return false;
    const void *newline = memchr(line.c_str(), '\n', static_cast<size_t>(got));
    const ssize_t end = newline == nullptr ? got : static_cast<const char *>(newline) - line.c_str() + 1;
    line.buffer()[end] = '\0';
    return true;
}

inline void write_interface_cache(const char *name)
{
    unlink(INTERFACE_CACHE);
    const Descriptor file(open(INTERFACE_CACHE, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644));
    const auto length = static_cast<ssize_t>(strlen(name));
    if (file && write(file.get(), name, strlen(name)) != length)
        unlink(INTERFACE_CACHE);
}

} // namespace kavonet
