// What stands on a terminal while something takes its time: after a second, a line with what is going on and for how long,
// and which step of it.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "session.h"

namespace cli {

// The library blocks the calling thread, so the line is drawn by a thread of its own. Nothing is drawn, and no thread
// started, unless standard error is a terminal; nor with -v, whose log lines would be mixed into it.
class Progress {
public:
    Progress(const Session &session, const std::string &what);
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;
    ~Progress();

private:
    void draw();

    std::string what_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool done_ = false;
    std::thread thread_;
};

// Runs something and gives its result; the line is gone by then.
template <class Action> auto with_progress(const Session &session, const std::string &what, Action action)
{
    const Progress progress(session, what);
    return action();
}

} // namespace cli
