// The listening ports against a bare read of the kernel's tables, on 16, 1024 and 8192 listeners.
#include <cerrno>
#include <cstdio>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "cards.h"
#include "kavonetsdk/kavonetsdk.h"
#include "medians.h"

namespace {

constexpr int FIRST_PORT = 10000;
constexpr int TCP = 1;
int ports[16384];

void list_ports(benchmark::State &state)
{
    int count = 0;
    for (auto _ : state) {
        count = static_cast<int>(std::size(ports));
        if (KAVONetGetPortUsedInRange(ports, &count, 1, 65535, TCP) != 0)
            state.SkipWithError("KAVONetGetPortUsedInRange");
    }
    state.counters["listed"] = count;
}

void read_tables(benchmark::State &state)
{
    for (auto _ : state) {
        for (const char *table : {"/proc/net/tcp", "/proc/net/tcp6"}) {
            const int fd = open(table, O_RDONLY | O_CLOEXEC);
            char page[4096];
            while (read(fd, page, sizeof page) > 0)
                benchmark::DoNotOptimize(page);
            close(fd);
        }
    }
}

BENCHMARK(list_ports)->Unit(benchmark::kMicrosecond)->MinTime(0.05)->Repetitions(9)->ReportAggregatesOnly();
BENCHMARK(read_tables)->Unit(benchmark::kMicrosecond)->MinTime(0.05)->Repetitions(9)->ReportAggregatesOnly();

// They are closed when the process ends.
bool open_listeners(int count)
{
    for (int i = 0; i < count; ++i) {
        const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<uint16_t>(FIRST_PORT + i));
        if (fd < 0 || bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 || listen(fd, 1) != 0)
            return false;
    }
    return true;
}

void measure(int listeners)
{
    const pid_t child = fork();
    if (child == 0) {
        bench::enter_network(0);
        const rlimit room = {16384, 16384};
        if (setrlimit(RLIMIT_NOFILE, &room) != 0 || !open_listeners(listeners)) {
            perror("listeners");
            _exit(1);
        }
        const bench::Medians medians = bench::run_all();
        const double ours = medians.of("list_ports");
        const double bare = medians.of("read_tables");
        printf("%4d listeners: list %8.1f us, bare read %8.1f us, ratio %.2f; %.2f us a listener\n", listeners, ours,
               bare, ours / bare, ours / listeners);
        fflush(stdout);
        bench::leave_network();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0)
        exit(1);
}

} // namespace

int main()
{
    for (const int listeners : {16, 1024, 8192})
        measure(listeners);
    return 0;
}
