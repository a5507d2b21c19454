// A file of the kernel (/proc, /sys), read line by line.
#pragma once

#include <cstdio>

#include "frame/owner.h"
#include "frame/text.h"

namespace kavonet {

class KernelFile {
public:
    explicit KernelFile(const char *path) : file_(fopen(path, "re"))
    {
        // The kernel hands out at most a page a read; the stream asks for no less.
        if (file_)
            setvbuf(file_.get(), page_, _IOFBF, sizeof page_);
    }

    explicit operator bool() const { return static_cast<bool>(file_); }
    [[nodiscard]] bool failed() const { return ferror(file_.get()) != 0; }

    // The next line with its newline, or as much of it as fits. False at the end and on failure.
    template <size_t Size> bool next_line(Text<Size> &line)
    {
        return fgets(line.buffer(), line.size(), file_.get()) != nullptr;
    }

private:
    char page_[4096];
    File file_; // after the page, so that it is closed first
};

} // namespace kavonet
