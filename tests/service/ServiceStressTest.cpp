#include "tests/service/ServiceFixture.h"

#include <atomic>
#include <chrono>
#include <random>
#include <thread>

namespace velora::test {
namespace {

using namespace std::chrono_literals;

using ServiceStressTest = ServiceFixture;

// Every thread registers, unregisters, dies, asks and posts by dice, on keys that collide.
TEST_F(ServiceStressTest, RegistrationsDeathsQueriesAndRequestsAtOnce) {
    service->registerClient(nullptr, 0, 0);
    const auto end = std::chrono::steady_clock::now() + 2s;
    std::atomic<int> rounds{0};
    const auto live = [&](unsigned seed) {
        std::minstd_rand dice(seed);
        const auto throwDice = [&](unsigned sides) {
            return static_cast<uint32_t>(dice() % sides);
        };
        sp<RecordingClient> mine;
        auto request = bytesOf({command(1), 0, 0, 106, 16});
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
                case 4:
                    service->setSfxParam(request.data(), throwDice(21));
                    break;
                case 5:
                    service->getSfxParam(request.data(), throwDice(13), answer, 128);
                    break;
                case 6:
                    service->setSelectedTuningDevice(static_cast<int>(uid), names, 0);
                    break;
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
