#include "effect/SfxEffect.h"
#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <velora/SfxParamStore.h>

namespace velora {

namespace {

TEST(SfxEffectTest, WritesABlockAndCommitsOnceOrWritesNothingOfIt) {
    constexpr int32_t kVbon = 0x6e6f6276;
    test::LogCapture log;
    SfxEffect effect(-1, android::String16("test"));
    int commits = 0;
    auto& store = SfxParamStore::getInstance();
    store.setListener([&] { ++commits; });
    EXPECT_EQ(effect.send(0, {2, 2, 8, kVbon, 1, 5, 2, kVbon, 2, 1, 2}), -22);
    EXPECT_EQ(commits, 1);
    effect.send(0, {2, 2, 8, kVbon, 1, 7, 2, kVbon, 2, 1});  // the last value is missing
    EXPECT_EQ(commits, 1);
    EXPECT_EQ(log.count("E SfxEffect: sendSharedStore() Invalid data for setting parameter ..."),
              1U);
    store.setListener(nullptr);
    store.commitChange();
    SfxParamStore::Caches caches;
    int count = 0;
    store.getStoredParams(&caches, true, &count);
    EXPECT_THAT(caches.valueAt(0)->params().at(kVbon), testing::ElementsAre(1, 2));
    EXPECT_THAT(caches.valueAt(1)->params().at(kVbon), testing::ElementsAre(5));
}

}  // namespace

}  // namespace velora
