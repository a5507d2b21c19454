// Small readers for assertions.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace support {

std::string read_file(const std::string &path);
// Creates the folders above the file too.
void write_file(const std::string &path, const std::string &content, unsigned mode = 0644);
bool exists(const std::string &path);
// Names in a folder, sorted.
std::vector<std::string> entries(const std::string &folder);
std::vector<std::string> lines_of(const std::string &text);

// The calling thread's error record.
struct Error {
    unsigned code;
    std::string file;
    int line;
    bool operator==(const Error &) const = default;
};
std::ostream &operator<<(std::ostream &out, const Error &error);
Error last_error();
// Leaves a record that no function sets, so that a test sees whether one was set.
void clear_error();
inline const Error NO_ERROR_SET{0, "", 0};

// The descriptors that the process holds; equal before and after a call that must not leak.
std::vector<std::string> open_descriptors();

} // namespace support
