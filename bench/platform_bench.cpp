// The platform's key change against a bare write and rename, and its commands against a bare posix_spawn.
#include <cstdio>
#include <string>

#include <fcntl.h>
#include <sched.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "kavo/core.h"
#include "medians.h"

namespace {

constexpr char TARGET[] = "/run/kavo-bench/ifcfg-eth0";
constexpr char TEMPORARY[] = "/run/kavo-bench/ifcfg-eth0.new";
const std::string CONTENT = "DEVICE=eth0\nONBOOT=yes\nBOOTPROTO=static\nIPADDR=192.168.1.5\nNETMASK=255.255.255.0\n"
                            "IPV6INIT=auto\nUSERCTL=no\n# kept\nBLOCK_CNT=\"0\"\n";

bool write_file(const char *path)
{
    const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    const bool done = fd >= 0 && write(fd, CONTENT.data(), CONTENT.size()) == static_cast<ssize_t>(CONTENT.size());
    return fd >= 0 && close(fd) == 0 && done;
}

void key_change(benchmark::State &state)
{
    for (auto _ : state) {
        if (KLIBCFileSetKeyValue(TARGET, "IPADDR", "192.168.1.6", "%s=%s\n") != 0)
            state.SkipWithError("KLIBCFileSetKeyValue");
    }
}

void bare_write_and_rename(benchmark::State &state)
{
    for (auto _ : state) {
        if (!write_file(TEMPORARY) || rename(TEMPORARY, TARGET) != 0)
            state.SkipWithError("write and rename");
    }
}

void command(benchmark::State &state)
{
    for (auto _ : state) {
        if (KLIBCExec("/bin/true", nullptr, nullptr, nullptr, nullptr) != 0)
            state.SkipWithError("KLIBCExec");
    }
}

void bare_posix_spawn(benchmark::State &state)
{
    char name[] = "/bin/true";
    char *argv[] = {name, nullptr};
    char *environment[] = {nullptr};
    for (auto _ : state) {
        pid_t child = 0;
        int status = 0;
        if (posix_spawn(&child, name, nullptr, nullptr, argv, environment) != 0 ||
            waitpid(child, &status, 0) != child || status != 0)
            state.SkipWithError("posix_spawn");
    }
}

BENCHMARK(key_change)->Unit(benchmark::kMicrosecond)->MinTime(0.05)->Repetitions(9)->ReportAggregatesOnly();
BENCHMARK(bare_write_and_rename)->Unit(benchmark::kMicrosecond)->MinTime(0.05)->Repetitions(9)->ReportAggregatesOnly();
BENCHMARK(command)->Unit(benchmark::kMicrosecond)->MinTime(0.1)->Repetitions(15)->ReportAggregatesOnly();
BENCHMARK(bare_posix_spawn)->Unit(benchmark::kMicrosecond)->MinTime(0.1)->Repetitions(15)->ReportAggregatesOnly();

} // namespace

int main()
{
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", "/run", "tmpfs", 0, nullptr) != 0 || mkdir("/run/kavo-bench", 0755) != 0 ||
        !write_file(TARGET)) {
        perror("a private /run (the benchmarks need root)");
        return 1;
    }
    const bench::Medians medians = bench::run_all();
    printf("key change on tmpfs: %.1f us, bare write and rename %.1f us, ratio %.2f\n", medians.of("key_change"),
           medians.of("bare_write_and_rename"), medians.of("key_change") / medians.of("bare_write_and_rename"));
    printf("command: %.1f us, bare posix_spawn %.1f us, ratio %.2f\n", medians.of("command"),
           medians.of("bare_posix_spawn"), medians.of("command") / medians.of("bare_posix_spawn"));
    return 0;
}
