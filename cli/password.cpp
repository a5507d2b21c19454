#include "password.h"

#include <cerrno>
#include <csignal>
#include <cstring>

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include "session.h"

namespace cli {
namespace {

volatile sig_atomic_t interrupted_by = 0;

// While it lives, the terminal on standard input does not echo, and signals that would end the process wait until the
// terminal is as it was.
class Silence {
public:
    Silence()
    {
        sigset_t held;
        sigemptyset(&held);
        struct sigaction note {};
        note.sa_handler = [](int number) { interrupted_by = number; };
        for (size_t i = 0; i < COUNT; ++i) {
            sigaddset(&held, SIGNALS[i]);
            sigaction(SIGNALS[i], &note, &actions_[i]);
        }
        sigprocmask(SIG_BLOCK, &held, &mask_);
        is_silent_ = tcgetattr(STDIN_FILENO, &terminal_) == 0 && turn_echo_off();
    }
    Silence(const Silence &) = delete;
    Silence &operator=(const Silence &) = delete;
    ~Silence()
    {
        if (is_silent_)
            tcsetattr(STDIN_FILENO, TCSAFLUSH, &terminal_);
        for (size_t i = 0; i < COUNT; ++i)
            sigaction(SIGNALS[i], &actions_[i], nullptr);
        sigprocmask(SIG_SETMASK, &mask_, nullptr);
        if (interrupted_by != 0)
            raise(interrupted_by);
    }

    explicit operator bool() const { return is_silent_; }

    // Waits for input; false when a signal came first.
    [[nodiscard]] bool wait() const
    {
        pollfd input{STDIN_FILENO, POLLIN, 0};
        while (ppoll(&input, 1, nullptr, &mask_) < 0 && errno == EINTR && interrupted_by == 0) {
        }
        return interrupted_by == 0;
    }

private:
    static constexpr int SIGNALS[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
    static constexpr size_t COUNT = sizeof SIGNALS / sizeof *SIGNALS;

    bool turn_echo_off() const
    {
        termios silent = terminal_;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        silent.c_lflag |= ECHONL;
        return tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent) == 0;
    }

    struct sigaction actions_[COUNT];
    sigset_t mask_;
    termios terminal_{};
    bool is_silent_ = false;
};

ssize_t read_input(char *buffer, size_t size)
{
    ssize_t got = -1;
    while ((got = read(STDIN_FILENO, buffer, size)) < 0 && errno == EINTR) {
    }
    return got;
}

// A terminal hands out one line at a time.
ssize_t ask(const std::string &prompt, char *buffer, size_t size)
{
    const Silence silence;
    if (!silence)
        return -1;
    print_error(prompt);
    return silence.wait() ? read_input(buffer, size) : -1;
}

// All that standard input holds, as far as it fits.
ssize_t take_all(char *buffer, size_t size)
{
    size_t length = 0;
    while (length < size) {
        const ssize_t got = read_input(buffer + length, size - length);
        if (got < 0)
            return got;
        if (got == 0)
            break;
        length += static_cast<size_t>(got);
    }
    return static_cast<ssize_t>(length);
}

} // namespace

Password::~Password()
{
    explicit_bzero(text_, sizeof text_);
}

bool Password::read(const std::string &prompt, std::string &reason)
{
    const bool terminal = isatty(STDIN_FILENO) != 0;
    const ssize_t got = terminal ? ask(prompt, text_, sizeof text_) : take_all(text_, sizeof text_);
    if (got < 0) {
        reason = strerror(errno);
        return false;
    }
    length_ = static_cast<size_t>(got);
    if (length_ == sizeof text_) {
        reason = "it is longer than a password can be";
        return false;
    }
    if (length_ > 0 && text_[length_ - 1] == '\n')
        --length_;
    text_[length_] = '\0';
    if (memchr(text_, '\0', length_) != nullptr || strpbrk(text_, "\r\n") != nullptr) {
        reason = "it is more than one line of text";
        return false;
    }
    if (length_ == 0)
        reason = "none was given";
    return length_ > 0;
}

} // namespace cli
