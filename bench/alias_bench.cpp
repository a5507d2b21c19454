// The filter of stored aliases by the kernel's addresses against one getifaddrs(), with as many aliases as addresses.
#include <cstdio>
#include <string>

#include <benchmark/benchmark.h>
#include <ifaddrs.h>
#include <json-c/json.h>
#include <sys/wait.h>

#include "cards.h"
#include "kavonetsdk/kavonetsdk.h"
#include "medians.h"

namespace {

json_object *stored = nullptr;

std::string address_of(int i)
{
    return "10.200." + std::to_string(i / 250) + "." + std::to_string(1 + i % 250);
}

// A store with so many aliases of eth0.
json_object *store_of(int count)
{
    std::string text = R"({"eth0":{"ip_alias":[)";
    for (int i = 0; i < count; ++i)
        text += std::string(i == 0 ? "" : ",") + R"({"label":)" + std::to_string(i) + R"(,"IP":")" + address_of(i) +
                R"(","prefixlen":24})";
    return json_tokener_parse((text + "]}}").c_str());
}

void add_addresses(int count)
{
    const std::string file = "/tmp/kavo-bench-" + std::to_string(getpid()) + ".batch";
    FILE *batch = fopen(file.c_str(), "w");
    if (batch == nullptr)
        bench::give_up(file.c_str());
    for (int i = 0; i < count; ++i)
        fprintf(batch, "address add %s/24 dev eth0 label eth0:%d\n", address_of(i).c_str(), i);
    fclose(batch);
    bench::run("ip -batch " + file);
    unlink(file.c_str());
}

size_t kept()
{
    return json_object_array_length(json_object_object_get(json_object_object_get(stored, "eth0"), "ip_alias"));
}

// All are there, so that every call has the same work and keeps all of them.
void filter_aliases(benchmark::State &state)
{
    for (auto _ : state) {
        if (FilterExistAlias(stored) != 0)
            state.SkipWithError("FilterExistAlias");
    }
}

void list_addresses(benchmark::State &state)
{
    for (auto _ : state) {
        ifaddrs *list = nullptr;
        if (getifaddrs(&list) != 0)
            state.SkipWithError("getifaddrs");
        freeifaddrs(list);
    }
}

BENCHMARK(filter_aliases)->Unit(benchmark::kMicrosecond)->MinTime(0.05)->Repetitions(9)->ReportAggregatesOnly();
BENCHMARK(list_addresses)->Unit(benchmark::kMicrosecond)->MinTime(0.05)->Repetitions(9)->ReportAggregatesOnly();

void measure(int count)
{
    const pid_t child = fork();
    if (child == 0) {
        bench::enter_network(1);
        add_addresses(count);
        stored = store_of(count);
        const bench::Medians medians = bench::run_all();
        const bool all_kept = kept() == static_cast<size_t>(count);
        const double ours = medians.of("filter_aliases");
        const double theirs = medians.of("list_addresses");
        printf("%5d aliases, %5d addresses: filter %8.1f us, getifaddrs %8.1f us, ratio %.2f%s\n", count, count, ours,
               theirs, ours / theirs, all_kept ? "" : " (aliases were lost)");
        fflush(stdout);
        bench::leave_network();
        _exit(all_kept ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0)
        exit(1);
}

} // namespace

int main()
{
    for (const int count : {10, 100, 1000, 4000})
        measure(count);
    return 0;
}
