// How the cost of the settings store grows with the number of tunings.

#include "benchmarks/Sample.h"
#include "store/Provider.h"
#include "tuning/TuningFileParser.h"

#include <string>

#include <benchmark/benchmark.h>

namespace velora::bench {
namespace {

/// Stores `count` tunings, made by giving those of the sample file new names, each with a device.
void populate(Provider& provider, const DeviceData& sample, int64_t count) {
    provider.beginTransaction();
    provider.clear();
    provider.initDatabase();
    for (int64_t i = 0; i < count; ++i) {
        const auto& tunings = sample.getTunings();
        const Tuning& model = *tunings[static_cast<size_t>(i) % tunings.size()];
        Tuning tuning(model.getName() + std::to_string(i), model.getEndpoint(), model.isMono());
        for (const auto& [parameter, values] : model) tuning.set(parameter, values);
        provider.create(&tuning, Provider::kDefaultName);
        DeviceTuning device("device" + std::to_string(i), "usb", tuning.getName());
        provider.create(&device, Provider::kDefaultName);
    }
    provider.commitTransaction();
}

void populateTunings(benchmark::State& state) {
    const Root root(1);
    TuningFileParser parser(root.tuningFile());
    parser.parseTuningFile();
    Provider provider;
    for (auto _ : state) populate(provider, *parser.getDeviceData(), state.range(0));
    state.SetComplexityN(state.range(0));
}
BENCHMARK(populateTunings)
    ->RangeMultiplier(5)
    ->Range(40, 5000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Complexity();

}  // namespace
}  // namespace velora::bench
