#pragma once

#include <string>
#include <utility>

#include <benchmark/benchmark.h>

namespace velora::bench {

/// Adds the two benchmarks of a row of the table: both run with `size`, what that is to them.
inline void addRatio(const std::string& name, void (*ours)(benchmark::State&, int),
                     void (*floor)(benchmark::State&, int), int size) {
    for (const auto& [kind, run] : {std::pair{"/ours", ours}, {"/floor", floor}}) {
        benchmark::RegisterBenchmark((name + kind).c_str(), run, size)
            ->Unit(benchmark::kMicrosecond)
            ->UseRealTime();
    }
}

}  // namespace velora::bench
