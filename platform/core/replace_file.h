// Changing a file as a whole: who reads it, or looks after a crash, finds the old content or the new one, complete.
#pragma once

#include <string_view>

#include <sys/stat.h>

#include "core/bytes.h"
#include "core/path.h"

namespace kavo {

// What a file is replaced by: the same mode and owner as before, or 0644 and the caller's for a new file.
struct Attributes {
    bool existed = false;
    mode_t mode = 0644;
    uid_t uid = 0;
    gid_t gid = 0;
};

// A change of one file. It begins with the lock that keeps other writers out, which goes with the object.
class FileChange {
public:
    FileChange() = default;
    FileChange(const FileChange &) = delete;
    FileChange &operator=(const FileChange &) = delete;
    ~FileChange();

    // Locks the file and reads it. A missing file is empty; existed() tells. On failure the error record is set.
    bool begin(const char *path);

    [[nodiscard]] bool existed() const { return attributes_.existed; }
    [[nodiscard]] std::string_view content() const { return content_.view(); }

    // Puts the new content in the place of the old one. On failure the error record is set, the old file stands as it
    // was and no temporary file is left.
    bool finish(std::string_view content);

private:
    int lock_ = -1;
    PathBuffer target_; // the file itself, where the path is a link
    Bytes content_;
    Attributes attributes_;
};

// Reads a whole file. On failure the error record is set.
bool read_file(const char *path, Bytes &content);

} // namespace kavo
