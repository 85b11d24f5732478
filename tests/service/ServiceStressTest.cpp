#include "tests/service/ServiceFixture.h"

#include <atomic>
#include <chrono>
#include <random>
#include <thread>

namespace velora::test {
namespace {

using ServiceStressTest = ServiceFixture;

constexpr int kSeconds = VELORA_STRESS_SECONDS;

// Every thread registers, unregisters, dies, asks, changes settings and reloads by dice, on keys
// that collide.
TEST_F(ServiceStressTest, RegistrationsDeathsQueriesChangesAndReloadsAtOnce) {
    dir.write("data/vendor/velora/kiv-extra.xml", contentsOf(sourceFile("data/kiv-extra.xml")));
    service->registerClient(nullptr, 0, 0);
    std::vector<std::string> devices{"default_bluetooth", "bluetooth_car_kit", "bluetooth_earbud"};
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(kSeconds);
    std::atomic<int> rounds{0};
    const auto live = [&](unsigned seed) {
        std::minstd_rand dice(seed);
        const auto throwDice = [&](unsigned sides) {
            return static_cast<uint32_t>(dice() % sides);
        };
        sp<RecordingClient> mine;
        auto question = bytesOf({command(1), 109, 0});
        char names[64];
        int32_t answer[32];
        while (std::chrono::steady_clock::now() < end) {
            const auto type = static_cast<int32_t>(throwDice(11));
            const uint32_t uid = throwDice(8);
            ++rounds;
            switch (throwDice(9)) {
                case 0:
                case 1:
                    mine = sp<RecordingClient>::make();
                    service->registerClient(mine, type, uid);
                    break;
                case 2:
                    service->unregisterClient(mine, type, uid);
                    break;
                case 3:
                    if (mine) mine->onDied();
                    break;
                case 4: {
                    const int commands[] = {0, 1, 1, 2, 2, 10, 12};
                    const int profile = static_cast<int>(throwDice(6));
                    const int value = static_cast<int>(throwDice(18));
                    const int id = 100 + static_cast<int>(throwDice(17));
                    const int number = commands[throwDice(7)];
                    auto request = number == 2 ? bytesOf({command(2), 0, profile, type, id, value})
                                               : bytesOf({command(number), 0, profile, id, value});
                    request.resize(request.size() - throwDice(3));
                    setBytes(std::move(request));
                    break;
                }
                case 5:
                    service->getSfxParam(question.data(), throwDice(13), answer, 128);
                    break;
                case 6: {
                    std::string& device = devices[throwDice(3)];
                    service->setSelectedTuningDevice(4, device.data(),
                                                     static_cast<int>(device.size()));
                    break;
                }
                case 7:
                    service->setIntParam(android::fourCharacters("RLTF"), 0);
                    break;
                default:
                    for (const int64_t value :
                         {key("DCCP"), key("DCDV"), key("DCOC"), key("LCTP"), key("ADEV"),
                          key("LCTM"), key("DEAM"), key("GDEA"), key("SPAA")}) {
                        EXPECT_GE(value, -1000);
                    }
                    service->getAvailableTuningDevices(1, names, sizeof names);
                    break;
            }
        }
    };
    std::vector<std::thread> threads;
    for (unsigned seed = 1; seed <= 4; ++seed) threads.emplace_back(live, seed);
    for (auto& thread : threads) thread.join();
    EXPECT_GT(rounds, 100);

    // Whoever is left leaves, so that the counters must come to zero.
    for (uint32_t sum = 0; sum < 20; ++sum) service->unregisterClient(nullptr, 0, sum);
    EXPECT_FALSE(service->hasDecCP());
    EXPECT_FALSE(service->hasDecDV());
    EXPECT_FALSE(service->hasMulitchannelDecDV());
}

}  // namespace
}  // namespace velora::test
