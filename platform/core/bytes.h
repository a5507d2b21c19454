// Bytes that grow: the content of a file, zero bytes included.
#pragma once

#include <cstdlib>
#include <string_view>

namespace kavo {

class Bytes {
public:
    Bytes() = default;
    Bytes(const Bytes &) = delete;
    Bytes &operator=(const Bytes &) = delete;
    ~Bytes() { free(data_); }

    [[nodiscard]] std::string_view view() const { return {data_, size_}; }

    // False when out of memory; the content is then what it was.
    bool append(std::string_view more);

    // Appends what is left to read of an open file. False with errno; ENOMEM when out of memory.
    bool append_file(int fd);

private:
    // Room for that many bytes beyond the content.
    bool reserve(size_t more);

    char *data_ = nullptr;
    size_t size_ = 0;
    size_t room_ = 0;
};

} // namespace kavo
