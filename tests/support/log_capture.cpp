#include "support/log_capture.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <regex>

#include <syslog.h>

namespace support {
namespace {

std::mutex mutex;
std::vector<LogLine> lines;

} // namespace

const std::vector<LogLine> &log_lines()
{
    return lines;
}

void clear_log()
{
    const std::lock_guard guard(mutex);
    lines.clear();
}

int logged(const std::string &pattern)
{
    const std::regex regex(pattern);
    for (const LogLine &line : lines) {
        if (std::regex_match(line.text, regex))
            return line.level;
    }
    return -1;
}

} // namespace support

// Takes the place of libc's: the format may hold %m, which vsnprintf knows too.
extern "C" void vsyslog(int level, const char *format, va_list args)
{
    const int saved = errno;
    char text[8192];
    vsnprintf(text, sizeof text, format, args);
    const std::lock_guard guard(support::mutex);
    support::lines.push_back({level, text});
    errno = saved;
}

extern "C" void syslog(int level, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    vsyslog(level, format, args);
    va_end(args);
}
