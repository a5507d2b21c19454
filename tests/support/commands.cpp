#include "support/commands.h"

#include <cstdlib>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace support {
namespace {

// The output goes to a file, not through a pipe: a server that a command leaves behind would hold that open.
CommandResult run_with(const char *streams, const std::string &command)
{
    const int file = memfd_create("output", MFD_CLOEXEC);
    EXPECT_LE(0, file) << command;
    const std::string path = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(file);
    // NOLINTNEXTLINE(cert-env33-c): it is a shell that is wanted
    const int status = system(("exec >" + path + streams + "; " + command).c_str());
    CommandResult result{WIFEXITED(status) ? WEXITSTATUS(status) : -1, ""};
    lseek(file, 0, SEEK_SET);
    char buffer[4096];
    for (ssize_t n = 0; (n = read(file, buffer, sizeof buffer)) > 0;)
        result.output.append(buffer, static_cast<size_t>(n));
    close(file);
    return result;
}

} // namespace

CommandResult run(const std::string &command)
{
    return run_with(" 2>&1", command);
}

std::string shell(const std::string &command)
{
    const CommandResult result = run("set -e; " + command);
    EXPECT_EQ(0, result.status) << command << "\n" << result.output;
    return result.output;
}

bool succeeds(const std::string &command)
{
    return run(command).status == 0;
}

std::string output_of(const std::string &command)
{
    return run_with("", command).output;
}

std::string all_output_of(const std::string &command)
{
    return run(command).output;
}

} // namespace support
