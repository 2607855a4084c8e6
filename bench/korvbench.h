// SPDX-License-Identifier: MIT
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
                times.emplace_back(run.benchmark_name(), run.GetAdjustedCPUTime());
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

    // Each of our runs beside the peer library's run of the same work.
    void printComparisons(const std::vector<std::pair<std::string, std::string>>& pairs) const
    {
        if (pairs.empty())
            return;
        std::printf("\nTime per iteration relative to protobuf:\n");
        for (const auto& pair : pairs) {
            const double ours = timeOf(pair.first);
            const double theirs = timeOf(pair.second);
            if (ours <= 0)
                continue;
            if (theirs <= 0)
                std::printf("  %-40s  baseline missing (%s not run)\n", pair.first.c_str(),
                            pair.second.c_str());
            else
                std::printf("  %-40s %10.2fx  of %s\n", pair.first.c_str(), ours / theirs,
                            pair.second.c_str());
        }
    }

    // Each run beside a baseline of the same work done another way, in CPU
    // time per iteration.
    void printBaselines(const std::vector<std::pair<std::string, std::string>>& pairs) const
    {
        if (pairs.empty())
            return;
        std::printf("\nCPU time per iteration beside its baseline:\n");
        for (const auto& pair : pairs) {
            const double ours = timeOf(pair.first);
            const double theirs = timeOf(pair.second);
            if (ours <= 0 || theirs <= 0)
                std::printf("  %-40s  not run\n", pair.first.c_str());
            else
                std::printf("  %-40s %10.2fx  of %s\n", pair.first.c_str(), ours / theirs, pair.second.c_str());
        }
    }

    double timeOf(const std::string& name) const
    {
        for (const auto& t : times) {
            if (t.first == name)
                return t.second;
        }
        return 0;
    }

    std::vector<std::pair<std::string, double>> times;
};

inline std::vector<std::pair<std::string, std::string>>& comparisons()
{
    static std::vector<std::pair<std::string, std::string>> pairs;
    return pairs;
}

// Registers "ours" to be printed as a ratio to the peer library's "theirs".
struct Compare
{
    Compare(const char* ours, const char* theirs) { comparisons().emplace_back(ours, theirs); }
};

inline std::vector<std::pair<std::string, std::string>>& baselines()
{
    static std::vector<std::pair<std::string, std::string>> pairs;
    return pairs;
}

// Registers "ours" to be printed beside "baseline", a run of this program.
struct Beside
{
    Beside(const char* ours, const char* baseline) { baselines().emplace_back(ours, baseline); }
};

inline int run(int argc, char** argv, const char* baseline)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
#ifndef KORV_HAVE_PROTOBUF
    if (!comparisons().empty())
        std::printf("protobuf baseline missing: built without libprotobuf-dev "
                    "(install it and protobuf-compiler, then configure again)\n");
#endif
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios(baseline);
    reporter.printComparisons(comparisons());
    reporter.printBaselines(baselines());
    benchmark::Shutdown();
    return 0;
}

} // namespace korvbench

#define KORV_BENCH_CAT2(a, b) a##b
#define KORV_BENCH_CAT(a, b) KORV_BENCH_CAT2(a, b)
#define KORV_BENCH_COMPARE(ours, theirs)                                                           \
    static const korvbench::Compare KORV_BENCH_CAT(korvCompare, __LINE__)(ours, theirs);

#define KORV_BENCH_BESIDE(ours, baseline)                                                          \
    static const korvbench::Beside KORV_BENCH_CAT(korvBeside, __LINE__)(ours, baseline);

#define KORV_BENCH_MAIN(baseline)                                                                  \
    int main(int argc, char** argv) { return korvbench::run(argc, argv, baseline); }
