#include "uninterrupted.h"

#include <ctime>
#include <system_error>

#include <unistd.h>

namespace cli {
namespace {

constexpr timespec STEP{0, 50'000'000};
constexpr timespec NOW{0, 0};

// A command in the background of a script is started with interrupts ignored, and stays so.
bool is_ignored(int signal)
{
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

[[noreturn]] void die_by(int signal)
{
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigaction(signal, &action, nullptr);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    kill(getpid(), signal);
    _exit(128 + signal);
}

} // namespace

Uninterrupted::Uninterrupted(const Session &session) : json_(session.json)
{
    sigemptyset(&held_);
    if (is_ignored(SIGINT))
        return;
    sigaddset(&held_, SIGINT);
    pthread_sigmask(SIG_BLOCK, &held_, &before_);
    try {
        thread_ = std::thread(&Uninterrupted::watch, this);
    } catch (const std::system_error &) {
        // Without a watcher nobody would hear the second one either.
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
}

Uninterrupted::~Uninterrupted()
{
    release();
}

int Uninterrupted::end(int result)
{
    release();
    if (received_ != 0)
        die_by(received_);
    return result;
}

void Uninterrupted::release()
{
    if (!thread_.joinable())
        return;
    done_ = true;
    thread_.join();
    // One that came after the watcher's last look counts too.
    if (received_ == 0 && sigtimedwait(&held_, nullptr, &NOW) > 0)
        received_ = SIGINT;
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

void Uninterrupted::watch()
{
    while (!done_) {
        const int signal = sigtimedwait(&held_, nullptr, &STEP);
        if (signal <= 0)
            continue;
        if (received_ != 0)
            die_by(signal);
        received_ = signal;
        if (!json_)
            print_error("\nkavonet: finishing the change first; press Ctrl-C again to stop at once\n");
    }
}

} // namespace cli
