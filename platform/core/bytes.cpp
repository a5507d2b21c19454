#include "core/bytes.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include <unistd.h>

namespace kavo {
namespace {

constexpr size_t FIRST_ROOM = 4096;

} // namespace

bool Bytes::reserve(size_t more)
{
    if (more <= room_ - size_)
        return true;
    if (more > SIZE_MAX / 2 - size_) {
        errno = ENOMEM;
        return false;
    }
    const size_t room = std::max({size_ + more, room_ + room_ / 2, FIRST_ROOM});
    char *moved = static_cast<char *>(realloc(data_, room));
    if (moved == nullptr)
        return false;
    data_ = moved;
    room_ = room;
    return true;
}

bool Bytes::append(std::string_view more)
{
    if (!reserve(more.size()))
        return false;
    if (!more.empty())
        memcpy(data_ + size_, more.data(), more.size());
    size_ += more.size();
    return true;
}

bool Bytes::append_file(int fd)
{
    for (;;) {
        if (!reserve(FIRST_ROOM))
            return false;
        const ssize_t got = read(fd, data_ + size_, room_ - size_);
        if (got == 0)
            return true;
        if (got > 0)
            size_ += static_cast<size_t>(got);
        else if (errno != EINTR)
            return false;
    }
}

} // namespace kavo
