// Commands of the emulated machine, as the tests there run them.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

namespace vm_test {

// Runs commands up to the first that fails, which fails the test.
inline void shell(const std::string &command)
{
    ASSERT_EQ(0, system(("set -e; " + command).c_str())) << command;
}

inline bool succeeds(const std::string &command)
{
    return system(("{ " + command + "; } >/dev/null 2>&1").c_str()) == 0;
}

// What a command prints on its standard output.
inline std::string output_of(const std::string &command)
{
    std::string text;
    FILE *pipe = popen(command.c_str(), "r");
    char buffer[4096];
    while (const size_t n = fread(buffer, 1, sizeof buffer, pipe))
        text.append(buffer, n);
    pclose(pipe);
    return text;
}

// The same with what the last of its commands prints on standard error.
inline std::string all_output_of(const std::string &command)
{
    return output_of(command + " 2>&1");
}

} // namespace vm_test
