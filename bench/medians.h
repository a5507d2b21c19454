// Runs the registered benchmarks and keeps the medians, so that a program can print ratios of one run.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace bench {

class Medians : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            if (run.error_occurred)
                fprintf(stderr, "%s: %s\n", run.benchmark_name().c_str(), run.error_message.c_str());
            if (run.aggregate_name == "median")
                median_[run.run_name.function_name] = run.GetAdjustedRealTime();
        }
    }

    double of(const std::string &name) const { return median_.at(name); }

private:
    std::map<std::string, double> median_;
};

// The repetitions of what is compared take turns, so that whatever else the machine does falls on all of them alike.
inline Medians run_all()
{
    char name[] = "bench";
    char take_turns[] = "--benchmark_enable_random_interleaving=true";
    char *arguments[] = {name, take_turns, nullptr};
    int count = 2;
    benchmark::Initialize(&count, arguments);
    Medians medians;
    benchmark::RunSpecifiedBenchmarks(&medians);
    return medians;
}

} // namespace bench
