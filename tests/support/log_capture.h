// The log lines that the libraries write, caught before they reach the system log.
#pragma once

#include <string>
#include <vector>

namespace support {

struct LogLine {
    int level;
    std::string text;
};

// The lines since the last clear_log().
const std::vector<LogLine> &log_lines();
void clear_log();

// The level of the first line that matches a regular expression in whole; -1 when there is none. Line numbers that are
// not part of the interface are matched with "[0-9]+".
int logged(const std::string &pattern);

} // namespace support
