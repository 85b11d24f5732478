// Runs the benchmarks and prints two tables. The first has the time of an operation, the least time
// that it must take (its floor), both as medians of the same run, and their ratio. The second has
// the benchmarks without a floor.

#include "benchmarks/EmptyService.h"
#include "benchmarks/Ratio.h"

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <log/log.h>

namespace velora::bench {
namespace {

/// Collects the medians, in microseconds, and prints a dot for each benchmark to show progress.
class MedianReporter : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context& /*context*/) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        fputc('.', stderr);
        for (const Run& run : runs) {
            if (run.error_occurred) failed = true;
            if (run.aggregate_name != "median") continue;
            const double perMicrosecond = 1e-6 * benchmark::GetTimeUnitMultiplier(run.time_unit);
            medians[run.run_name.function_name] = run.GetAdjustedRealTime() / perMicrosecond;
        }
    }
    void Finalize() override { fputc('\n', stderr); }

    std::map<std::string, double> medians;
    bool failed = false;
};

/// Prints both tables as Markdown. Removes from `medians` what the first one contains.
void printTables(std::map<std::string, double>& medians) {
    const char* heading = "| | Ours, us | Floor, us | Ratio | Goal |\n|---|---|---|---|---|\n";
    for (const Row& row : rows()) {
        const auto ours = medians.extract(row.name + "/ours");
        const auto floor = medians.extract(row.name + "/floor");
        if (ours.empty() || floor.empty()) continue;  // not selected by the arguments

        printf("%s| %s | %.1f | %.1f | %.2f |", std::exchange(heading, ""), row.name.c_str(),
               ours.mapped(), floor.mapped(), ours.mapped() / floor.mapped());
        if (row.goal == kNoGoal) {
            printf(" |\n");
        } else {
            printf(" %.2f |\n", row.goal);
        }
    }

    heading = "\n| | us |\n|---|---|\n";
    for (const auto& [name, median] : medians) {
        printf("%s| %s | %.1f |\n", std::exchange(heading, ""), name.c_str(), median);
    }
}

}  // namespace
}  // namespace velora::bench

int main(int argc, char** argv) {
    if (argc > 1 && std::string(argv[1]) == velora::bench::kServeNothing) {
        return velora::bench::serveNothing();
    }

    __android_log_set_minimum_priority(ANDROID_LOG_ERROR);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;

    velora::bench::MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    velora::bench::printTables(reporter.medians);
    return reporter.failed ? 1 : 0;
}
