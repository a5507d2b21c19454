#include "progress.h"

#include <chrono>
#include <system_error>

#include <unistd.h>

#include "steps.h"
#include "text.h"

namespace cli {
namespace {

constexpr std::chrono::milliseconds PATIENCE{1000};
constexpr std::chrono::milliseconds STEP{100};
constexpr char WHEEL[] = "|/-\\";
constexpr char ERASE[] = "\r\033[K";

} // namespace

Progress::Progress(const Session &session, const std::string &what) : what_(printable(what))
{
    if (session.verbose || !is_smart_terminal(STDERR_FILENO))
        return;
    try {
        thread_ = std::thread(&Progress::draw, this);
    } catch (const std::system_error &) {
        // Without a thread there is no progress to see; the work itself does not depend on it.
        done_ = true;
    }
}

Progress::~Progress()
{
    if (!thread_.joinable())
        return;
    {
        const std::lock_guard lock(mutex_);
        done_ = true;
    }
    changed_.notify_one();
    thread_.join();
}

void Progress::draw()
{
    const auto start = std::chrono::steady_clock::now();
    std::unique_lock lock(mutex_);
    if (changed_.wait_for(lock, PATIENCE, [this] { return done_; }))
        return;
    std::string step;
    for (unsigned turn = 0; !done_; ++turn) {
        // Between two steps there may be none for a moment.
        if (const std::string now = running_step(); !now.empty())
            step = ": " + printable(now);
        const auto elapsed = std::chrono::steady_clock::now() - start;
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(elapsed).count();
        print_error(formatted("%s%c %s%s (%lld s)", ERASE, WHEEL[turn % 4], what_.c_str(), step.c_str(),
                              static_cast<long long>(seconds)));
        changed_.wait_for(lock, STEP, [this] { return done_; });
    }
    print_error(ERASE);
}

} // namespace cli
