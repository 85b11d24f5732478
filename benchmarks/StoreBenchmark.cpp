// How the cost of the settings store grows with the number of tunings.

#include "store/Provider.h"
#include "tuning/TuningFileParser.h"

#include <cstdlib>
#include <filesystem>
#include <string>

#include <benchmark/benchmark.h>

#include <log/log.h>
#include <velora/RootPrefix.h>

namespace velora {
namespace {

/// A fresh directory as the root of all files.
class Root {
public:
    Root() {
        std::string name = std::filesystem::temp_directory_path() / "velora-bench-XXXXXX";
        mPath = mkdtemp(name.data());
        std::filesystem::create_directories(mPath / "data/vendor/velora");
        setRootPrefix(mPath.string());
        __android_log_set_minimum_priority(ANDROID_LOG_ERROR);
    }
    ~Root() { std::filesystem::remove_all(mPath); }

private:
    std::filesystem::path mPath;
};

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
    const Root root;
    TuningFileParser parser(VELORA_SOURCE_DIR "/data/multimedia_velora_kiv_default.xml");
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
}  // namespace velora
