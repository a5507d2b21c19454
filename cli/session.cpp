#include "session.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace cli {
namespace {

bool write_whole(int fd, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t n = write(fd, text.data(), text.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return false;
        text.remove_prefix(static_cast<size_t>(n));
    }
    return true;
}

// A reader that has gone away (a pager that was quit) needs no message.
int output_failed()
{
    if (errno != EPIPE)
        print_error(std::string("kavonet: cannot write the output: ") + strerror(errno) + "\n");
    return FAILED;
}

} // namespace

bool is_smart_terminal(int fd)
{
    if (isatty(fd) == 0)
        return false;
    const char *term = getenv("TERM");
    return term != nullptr && term[0] != '\0' && strcmp(term, "dumb") != 0;
}

bool wants_colours(int fd)
{
    const char *no_color = getenv("NO_COLOR");
    return (no_color == nullptr || no_color[0] == '\0') && is_smart_terminal(fd);
}

bool secure_standard_files()
{
    for (int fd = 0; fd <= 2; ++fd) {
        // Standard output is opened for reading, so that writing to it still fails.
        if (fcntl(fd, F_GETFD) < 0 && open("/dev/null", fd == 2 ? O_WRONLY : O_RDONLY) != fd)
            return false;
    }
    return true;
}

int print(std::string_view text)
{
    return write_whole(STDOUT_FILENO, text) ? DONE : output_failed();
}

int finish_output(int result)
{
    if (close(STDOUT_FILENO) == 0 || (result != DONE && result != FOUND))
        return result;
    return output_failed();
}

void print_error(std::string_view text)
{
    (void)write_whole(STDERR_FILENO, text);
}

} // namespace cli
