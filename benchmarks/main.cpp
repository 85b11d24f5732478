// Runs the benchmarks and prints one table: what a piece of work costs, the least that it must cost
// (its floor), both medians of the same run, and their ratio.

#include "benchmarks/EmptyService.h"

#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include <log/log.h>

namespace {

/// A row of the table; the benchmarks "<name>/ours" and "<name>/floor" measure it.
struct Row {
    std::string name;
    double goal;  ///< largest ratio; 0: none
};

const Row kRows[] = {
    {"parse the sample", 1.3},
    {"parse 20 times the sample", 1.3},
    {"cold start", 1.5},
    {"cold start, 4 times the tunings", 1.5},
    {"cold start, 16 times the tunings", 1.5},
    {"warm start", 1.5},
    {"warm start, 4 times the tunings", 1.5},
    {"warm start, 16 times the tunings", 1.5},
    {"set a parameter, 1 client", 2},
    {"set a parameter, 50 clients", 2},
    {"get a parameter", 2},
    {"resend all parameters", 3},
    {"get a parameter over the bus", 1.25},
    {"veloractl get / busctl call", 1},
};

/// Keeps the medians.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.error_occurred) failed = true;
            if (run.aggregate_name == "median") {
                medians[run.run_name.function_name] = run.GetAdjustedRealTime();
            }
        }
    }

    std::map<std::string, double> medians;  ///< microseconds
    bool failed = false;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::string(argv[1]) == velora::bench::kServeNothing) {
        return velora::bench::serveNothing();
    }
    __android_log_set_minimum_priority(ANDROID_LOG_ERROR);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    bool begun = false;
    for (const Row& row : kRows) {
        const auto ours = reporter.medians.find(row.name + "/ours");
        const auto floor = reporter.medians.find(row.name + "/floor");
        if (ours == reporter.medians.end() || floor == reporter.medians.end()) continue;
        if (!std::exchange(begun, true)) {
            printf("\n| | Ours, us | Floor, us | Ratio | Goal |\n|---|---|---|---|---|\n");
        }
        printf("| %s | %.1f | %.1f | %.2f | %.2f |\n", row.name.c_str(), ours->second,
               floor->second, ours->second / floor->second, row.goal);
    }
    return reporter.failed ? 1 : 0;
}
