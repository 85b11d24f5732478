#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <utils/RefBase.h>

namespace android {
namespace {

struct Counted : RefBase {
    explicit Counted(std::atomic<int>& alive) : mAlive(alive) { ++mAlive; }
    ~Counted() override { --mAlive; }
    void onFirstRef() override { ++firstRefs; }
    std::atomic<int>& mAlive;
    int firstRefs = 0;
};

TEST(RefBaseTest, PromotionRacesWithTheLastRelease) {
    for (int round = 0; round < 200; ++round) {
        std::atomic<int> alive{0};
        sp<Counted> strong = sp<Counted>::make(alive);
        std::vector<std::thread> threads;
        for (int i = 0; i < 3; ++i) {
            threads.emplace_back([weak = wp<Counted>(strong)] {
                while (const auto object = weak.promote()) EXPECT_EQ(object->firstRefs, 1);
            });
        }
        strong.clear();
        for (auto& thread : threads) thread.join();
        EXPECT_EQ(alive, 0);
    }
}

}  // namespace
}  // namespace android
