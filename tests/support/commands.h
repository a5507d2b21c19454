// Commands of the machine that a test runs on, and waiting for what they bring about.
#pragma once

#include <chrono>
#include <string>
#include <thread>

namespace support {

// How a command line of the shell ended. What it leaves running in the background is not waited for.
struct CommandResult {
    int status;         // -1 when a signal ended it
    std::string output; // both streams
};

CommandResult run(const std::string &command);

// Runs commands up to the first that fails, which fails the test. What they print on both streams.
std::string shell(const std::string &command);

bool succeeds(const std::string &command);

// What commands print on their standard output, and on both streams, however they end.
std::string output_of(const std::string &command);
std::string all_output_of(const std::string &command);

// Waits for something that the kernel or another process does; how long it takes is not the matter of these tests.
template <class Condition> bool wait_for(Condition condition)
{
    constexpr std::chrono::seconds PATIENCE{120};
    constexpr std::chrono::milliseconds STEP{50};
    for (const auto end = std::chrono::steady_clock::now() + PATIENCE; std::chrono::steady_clock::now() < end;) {
        if (condition())
            return true;
        std::this_thread::sleep_for(STEP);
    }
    return condition();
}

} // namespace support
