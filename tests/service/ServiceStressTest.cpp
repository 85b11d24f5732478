#include "tests/service/ServiceFixture.h"

#include <chrono>
#include <functional>
#include <random>
#include <thread>
#include <tuple>

namespace velora::test {
namespace {

using ServiceStressTest = ServiceFixture;
using std::chrono::steady_clock;

// One life of the service follows another. In each, every thread registers, unregisters, dies,
// asks, changes settings, saves and reloads by chance, on keys that collide, and rarely one of them
// ends the service. In every other life the last thread to end also destroys it.
TEST_F(ServiceStressTest, AnyOperationsMayRunAtTheSameTime) {
    constexpr int kLives = 10;
    static constexpr std::chrono::milliseconds kLife(1000 * VELORA_STRESS_SECONDS / kLives);
    installOem(extra);
    const auto live = [](const sp<android::VeloraManagerService>& mine, unsigned seed) {
        const auto end = steady_clock::now() + kLife;
        std::minstd_rand dice(seed);
        const auto any = [&](unsigned sides) { return static_cast<int>(dice() % sides); };
        auto client = sp<RecordingClient>::make();
        const std::function<void()> acts[] = {
            [&] {
                const Command command{static_cast<uint32_t>(any(13))};
                Integers request = words(command, {0, any(6), 100 + any(17), any(18)});
                if (command == PROFILE_PORT_PARAMETER) request.insert(request.begin() + 3, any(8));
                Bytes bytes = bytesOf(request);
                std::ignore = mine->setSfxParam(bytes.data(), static_cast<uint32_t>(bytes.size()));
            },
            [&] {
                client->onDied();
                client = sp<RecordingClient>::make();
                mine->registerClient(client, any(11), static_cast<uint32_t>(any(8)));
            },
            [&] { mine->unregisterClient(client, any(11), static_cast<uint32_t>(any(8))); },
            [&] { mine->getDialogEnhancerAmount(); },
            [&] { mine->getActiveDevice(); },
            [&] {
                std::string device = any(2) != 0 ? "bluetooth_car_kit" : "bluetooth_earbud";
                mine->setSelectedTuningDevice(4, device.data(), static_cast<int>(device.size()));
            },
            [&] { mine->setIntParam(key::kReload, 0); },
            [&] { std::ignore = mine->saveSettings(); },
            [&] {
                if (any(1000) == 0) std::ignore = mine->shutdown();
            },
        };
        while (steady_clock::now() < end) acts[any(std::size(acts))]();
    };
    for (unsigned life = 0; life < kLives; ++life) {
        makeService();
        service->registerClient(nullptr, 0, 0);
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < 4; ++i) threads.emplace_back(live, service, 4 * life + i);
        if (life % 2 != 0) service.clear();
        for (auto& thread : threads) thread.join();
        if (!service) continue;
        // When every remaining client has unregistered, the counters must be zero.
        for (uint32_t sum = 0; sum < 20; ++sum) service->unregisterClient(nullptr, 0, sum);
        EXPECT_FALSE(service->hasDecCP());
        EXPECT_FALSE(service->hasDecDV());
    }
}

}  // namespace
}  // namespace velora::test
