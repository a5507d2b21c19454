// The interface lists against getifaddrs(), on 4, 64 and 256 real cards with an address each.
#include <cstdio>

#include <benchmark/benchmark.h>
#include <ifaddrs.h>

#include "cards.h"
#include "kavonetsdk/kavonetsdk.h"
#include "medians.h"
#include "syscalls.h"

namespace {

KAVONETIFENTRY entries[512];

void list_interfaces(benchmark::State &state)
{
    int count = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(count = KLIBNetGetInterfaceInfo(entries, 512, NET_IF_SEL_USABLE));
    state.counters["listed"] = count;
}

void enumerate_interfaces(benchmark::State &state)
{
    int count = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(count = KLIBNetInterfaceEnum(entries, 512, 0));
    state.counters["listed"] = count;
}

// This kind reads the interfaces' files too.
void enumerate_by_mark(benchmark::State &state)
{
    int count = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(count = KLIBNetInterfaceEnum(entries, 512, NET_IF_ENUM_NOT_LOCAL_LAN));
    state.counters["listed"] = count;
}

void list_by_getifaddrs(benchmark::State &state)
{
    int count = 0;
    for (auto _ : state) {
        ifaddrs *list = nullptr;
        if (getifaddrs(&list) != 0)
            state.SkipWithError("getifaddrs");
        count = 0;
        for (const ifaddrs *one = list; one != nullptr; one = one->ifa_next)
            ++count;
        freeifaddrs(list);
    }
    state.counters["listed"] = count;
}

BENCHMARK(list_interfaces)->Unit(benchmark::kMicrosecond)->MinTime(0.05)->Repetitions(9)->ReportAggregatesOnly();
BENCHMARK(enumerate_interfaces)->Unit(benchmark::kMicrosecond)->MinTime(0.05)->Repetitions(9)->ReportAggregatesOnly();
BENCHMARK(enumerate_by_mark)->Unit(benchmark::kMicrosecond)->MinTime(0.05)->Repetitions(9)->ReportAggregatesOnly();
BENCHMARK(list_by_getifaddrs)->Unit(benchmark::kMicrosecond)->MinTime(0.05)->Repetitions(9)->ReportAggregatesOnly();

// One line of the report.
template <class Work> void report(int cards, const char *name, double ours, double theirs, Work work)
{
    const long calls = bench::count_syscalls(work);
    printf("%3d cards: %-14s %8.1f us, getifaddrs %8.1f us, ratio %.2f; %ld system calls, %.2f a card\n", cards, name,
           ours, theirs, ours / theirs, calls, static_cast<double>(calls) / cards);
    fflush(stdout);
}

void measure(int cards)
{
    const pid_t child = fork();
    if (child == 0) {
        bench::enter_network(cards);
        const bench::Medians medians = bench::run_all();
        const double theirs = medians.of("list_by_getifaddrs");
        report(cards, "list", medians.of("list_interfaces"), theirs,
               [] { KLIBNetGetInterfaceInfo(entries, 512, NET_IF_SEL_USABLE); });
        report(cards, "enumerate", medians.of("enumerate_interfaces"), theirs,
               [] { KLIBNetInterfaceEnum(entries, 512, 0); });
        report(cards, "without LANs", medians.of("enumerate_by_mark"), theirs,
               [] { KLIBNetInterfaceEnum(entries, 512, NET_IF_ENUM_NOT_LOCAL_LAN); });
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
    for (const int cards : {4, 64, 256})
        measure(cards);
    return 0;
}
