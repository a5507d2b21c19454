// A change that a Ctrl-C must not break off half-way.
#pragma once

#include <atomic>
#include <csignal>
#include <string>
#include <thread>

#include "session.h"

namespace cli {

// Holds interrupts back while it lives: what runs meanwhile is finished, and the user is told so. A second interrupt ends
// the command at once. An interrupt that was held back ends the command when the caller says so, after its report.
class Uninterrupted {
public:
    explicit Uninterrupted(const Session &session);
    Uninterrupted(const Uninterrupted &) = delete;
    Uninterrupted &operator=(const Uninterrupted &) = delete;
    ~Uninterrupted();

    [[nodiscard]] bool interrupted() const { return received_ != 0; }

    // Ends the command the way the interrupt would have; gives `result` back when there was none.
    int end(int result);

private:
    void watch();
    void release();

    bool json_;
    sigset_t held_{};
    sigset_t before_{};
    std::atomic<bool> done_ = false;
    std::atomic<int> received_ = 0;
    std::thread thread_;
};

} // namespace cli
