#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <android/hidl/base/1.0/IBase.h>
#include <utils/RefBase.h>

namespace android {
namespace {

struct Counted : RefBase {
    explicit Counted(std::atomic<int>& alive) : mAlive(alive) { ++mAlive; }
    ~Counted() override { --mAlive; }
    void onFirstRef() override { ++firstRefs; }
    std::atomic<int>& mAlive;
    const wp<Counted> self{this};
    int firstRefs = 0;
};

TEST(RefBaseTest, LivesFromTheFirstStrongReferenceToTheLast) {
    std::atomic<int> alive{0};
    sp<Counted> a = sp<Counted>::make(alive);
    sp<Counted> b = a;
    const wp<Counted> weak = b;
    EXPECT_EQ(weak.promote(), a);
    EXPECT_EQ(a->self.promote(), a);
    a.clear();
    EXPECT_EQ(alive, 1);
    EXPECT_EQ(b->firstRefs, 1);
    b = nullptr;
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(weak.promote(), nullptr);

    wp<Counted> neverHeld;
    {
        Counted onTheStack(alive);
        neverHeld = onTheStack.self;
    }
    EXPECT_EQ(neverHeld.promote(), nullptr);
}

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

struct Mourner : hardware::hidl_death_recipient {
    void serviceDied(uint64_t cookie, const wp<hidl::base::V1_0::IBase>&) override {
        cookies.push_back(cookie);
    }
    std::vector<uint64_t> cookies;
};

TEST(DeathLinkTest, TellsEachLinkedRecipientOnceAndNoneAfterwards) {
    const auto object = sp<hidl::base::V1_0::IBase>::make();
    const auto told = sp<Mourner>::make();
    const auto unlinked = sp<Mourner>::make();
    EXPECT_TRUE(object->linkToDeath(told, 7).value());
    EXPECT_TRUE(object->linkToDeath(unlinked, 8).value());
    EXPECT_TRUE(object->unlinkToDeath(unlinked).value());
    EXPECT_FALSE(object->unlinkToDeath(unlinked).value());
    EXPECT_TRUE(object->linkToDeath(sp<Mourner>::make(), 9).value());  // nobody keeps it
    for (int i = 0; i < 2; ++i) object->onDied();
    EXPECT_EQ(told->cookies, std::vector<uint64_t>{7});
    EXPECT_TRUE(unlinked->cookies.empty());
    EXPECT_FALSE(object->linkToDeath(told, 1).value());
}

}  // namespace
}  // namespace android
