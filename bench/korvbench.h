#pragma once

// A main() for the benchmarks: runs them with the console reporter, then
// prints each benchmark's time per iteration as a ratio to a baseline run
// in the same process (memcpy, a peer library or a smaller size of the work).

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace korvbench {

class RatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration)
                times.emplace_back(run.benchmark_name(), run.GetAdjustedRealTime());
        }
    }

    void printRatios(const std::string& baseline) const
    {
        double base = 0;
        for (const auto& t : times) {
            if (t.first == baseline)
                base = t.second;
        }
        if (base <= 0)
            return;
        std::printf("\nTime per iteration relative to %s:\n", baseline.c_str());
        for (const auto& t : times)
            std::printf("  %-40s %10.2fx\n", t.first.c_str(), t.second / base);
    }

    std::vector<std::pair<std::string, double>> times;
};

inline int run(int argc, char** argv, const char* baseline)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios(baseline);
    benchmark::Shutdown();
    return 0;
}

} // namespace korvbench

#define KORV_BENCH_MAIN(baseline)                                                                  \
    int main(int argc, char** argv) { return korvbench::run(argc, argv, baseline); }
