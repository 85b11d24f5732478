#pragma once

#include <cstdlib>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

namespace velora::bench {

/// A row of the table of ratios. The benchmarks "<name>/ours" and "<name>/floor" measure it.
struct Row {
    std::string name;
    double goal;  ///< the largest acceptable ratio, or kNoGoal
};

/// All rows, in the order in which they were added. Only the main thread uses them.
inline std::vector<Row>& rows() {
    // Created at the first use, because other files add rows during static initialisation.
    static auto* const kRows = new std::vector<Row>();
    return *kRows;
}

inline constexpr double kNoGoal = 0;

/// Adds a row and registers its two benchmarks. Both are called with `size`, which each benchmark
/// interprets in its own way.
template <typename Size>
void addRatio(const std::string& name, double goal, void (*ours)(benchmark::State&, Size),
              void (*floor)(benchmark::State&, Size), std::type_identity_t<Size> size) {
    rows().push_back({name, goal});
    for (const auto& [kind, run] : {std::pair{"/ours", ours}, {"/floor", floor}}) {
        auto* const added = benchmark::RegisterBenchmark((name + kind).c_str(), run, size)
                                ->Unit(benchmark::kMicrosecond)
                                ->UseRealTime();
        if (const char* const iterations = getenv("VELORA_ITERATIONS")) {
            added->Iterations(atoi(iterations));
        }
    }
}

}  // namespace velora::bench
