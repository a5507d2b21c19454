// The owner of an open file.
#pragma once

#include <cerrno>
#include <utility>

#include <unistd.h>

namespace kavo {

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(Descriptor &&other) noexcept : fd_(other.release()) {}
    Descriptor &operator=(Descriptor &&other) noexcept
    {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Descriptor()
    {
        const int saved = errno;
        close_now();
        errno = saved;
    }

    explicit operator bool() const { return fd_ >= 0; }
    [[nodiscard]] int get() const { return fd_; }
    int release() { return std::exchange(fd_, -1); }

    // For files that were written: whether the system took everything. The descriptor is gone in either case.
    bool close_now()
    {
        const int fd = release();
        return fd < 0 || close(fd) == 0;
    }

private:
    int fd_ = -1;
};

} // namespace kavo
