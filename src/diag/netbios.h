// Hosts of the local network that only NetBIOS knows.
#pragma once

#include <cstdlib>
#include <cstring>

#include "frame/owner.h"
#include "frame/text.h"

namespace kavonet {

// Only a bare name is asked for there. One that begins with "-" would be an option of the program.
inline bool is_bare_name(const char *host)
{
    return host[0] != '-' && strpbrk(host, ".:") == nullptr;
}

// The program's answer, read address by address.
class NetbiosAnswer {
public:
    using Field = Text<20>;

    explicit NetbiosAnswer(const char *host)
        : mark_("%s<", host),
          command_(KLIBCPopen("/usr/local/bin/nmblookup", "r", host, static_cast<char *>(nullptr))),
          line_(command_ ? static_cast<char *>(calloc(FIRST_SIZE, 1)) : nullptr)
    {
    }

    // Whether the program runs, and whether there is room for a line of it.
    explicit operator bool() const { return static_cast<bool>(command_); }
    [[nodiscard]] bool has_buffer() const { return static_cast<bool>(line_); }

    // The first field of the next line that tells an address of the host. It is taken as it is.
    bool next(Field &address)
    {
        while (getline(line_.handle(), &size_, command_.get()) >= 0) {
            if (strstr(line_.get(), mark_.c_str()) == nullptr)
                continue;
            static constexpr char SPACE[] = " \t\n\v\f\r";
            const char *word = line_.get() + strspn(line_.get(), SPACE);
            address.format("%.*s", static_cast<int>(strcspn(word, SPACE)), word);
            return true;
        }
        return false;
    }

private:
    static constexpr size_t FIRST_SIZE = 64; // most lines fit

    Text<70> mark_; // a longer host is compared as far as it fits
    Command command_;
    Allocated<char> line_;
    size_t size_ = FIRST_SIZE;
};

} // namespace kavonet
