#include "effect/SfxEffect.h"
#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <velora/SfxParamStore.h>

namespace velora {

namespace {

using test::LogCapture;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int32_t kVbon = 0x6e6f6276;
constexpr int32_t kVol = 0x006c6f76;

/// The handle on the process's parameter store, whose commits are counted.
class SfxEffectTest : public testing::Test {
protected:
    SfxEffectTest() {
        store.setListener([this] { ++commits; });
    }
    ~SfxEffectTest() override { store.setListener(nullptr); }

    std::vector<int32_t> published(audio_devices_t device, SfxParameterId id) {
        SfxParamStore::Caches caches;
        int count = 0;
        store.getStoredParams(&caches, true, &count);
        const auto index = caches.indexOfKey(device);
        return index < 0 ? std::vector<int32_t>{}
                         : caches.valueAt(static_cast<size_t>(index))->params()[id];
    }

    LogCapture log;
    SfxParamStore& store = SfxParamStore::getInstance();
    SfxEffect effect{-1, android::String16("test")};
    int commits = 0;
};

TEST_F(SfxEffectTest, WritesAllEntriesOfABlockAndCommitsOnce) {
    EXPECT_EQ(effect.send(0, {2, 2, 8, kVbon, 1, 5, 2, kVol, 2, 1, 2}), -22);
    EXPECT_EQ(commits, 1);
    EXPECT_THAT(published(8, kVbon), ElementsAre(5));
    EXPECT_THAT(published(2, kVol), ElementsAre(1, 2));
    effect.send(0, {2, 0});
    EXPECT_EQ(commits, 2) << "an empty block is committed too";
}

TEST_F(SfxEffectTest, WritesNothingOfABlockThatIsNotValid) {
    constexpr int32_t kDevice = 0x77;
    const std::vector<std::vector<int32_t>> malformed{
        {},
        {2},
        {2, 1},
        {2, 2, kDevice, kVbon, 1, 5},                         // one entry short
        {2, 1, kDevice, kVbon, 1, 5, kDevice, kVbon, 1, 6},   // one too many
        {2, 2, kDevice, kVbon, 1, 5, kDevice, kVbon},         // header cut
        {2, 2, kDevice, kVbon, 1, 5, kDevice, kVbon, 2, 6},   // values cut
        {2, 2, kDevice, kVbon, 1, 5, kDevice, kVbon, -1, 6},  // negative count
        {2, -1, kDevice, kVbon, 1, 5},
        {2, 1, kDevice, kVbon, 1, 5, 0},  // a word behind
        {2, 2, kDevice, kVbon, 1, 5, kDevice, kVbon, 0x7fffffff, 6},
    };
    for (const auto& block : malformed) effect.send(0, block);
    SfxEffect::sendSharedStore(malformed[3].data(), 23);  // not whole words
    EXPECT_EQ(
        log.count("E SfxEffect: sendSharedStore() Invalid data for setting parameter values."),
        malformed.size() + 1);
    EXPECT_EQ(commits, 0);
    store.commitChange();
    EXPECT_THAT(published(kDevice, kVbon), IsEmpty());
}

TEST_F(SfxEffectTest, IsAlwaysInControl) {
    std::vector<int32_t> version{0};
    EXPECT_TRUE(effect.hasControl());
    EXPECT_EQ(effect.receive(3, version), 0);
    EXPECT_THAT(version, ElementsAre(0));
    EXPECT_EQ(effect.setEnabled(true), 0);
}

}  // namespace

}  // namespace velora
