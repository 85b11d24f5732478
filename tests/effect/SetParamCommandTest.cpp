#include "effect/SetParamCommand.h"
#include "tests/support/EffectBlocks.h"
#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <velora/SfxParamStore.h>

namespace velora {

namespace {

using test::LogCapture;
using test::RecordingEffect;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr int32_t kVbon = 0x6e6f6276;
constexpr int32_t kVol = 0x006c6f76;

TEST(SetParamCommandTest, PacksEveryKindOfEntryAsTheEffectReadsIt) {
    SetParamCommand command(2);
    const std::vector<int> a{1, 2};
    const std::vector<int> none;
    command.add(SfxParameter::VOL, none);
    command.setDeviceId(8);
    command.add(SfxParameter::VBON, 5);
    command.add(SfxParameter::VBON, a);
    command.add(SfxParameter::VBON, {&a, &none, &a});
    command.setDeviceId(kNoDevice);
    command.add(SfxParameter::VBON, 7, {&a, &none});
    RecordingEffect effect;
    EXPECT_EQ(command.execute(effect), -22);
    EXPECT_THAT(effect.blocks, ElementsAre(ElementsAreArray({2,  5,                     //
                                                             -1, kVol,  0,              //
                                                             8,  kVbon, 1, 5,           //
                                                             8,  kVbon, 2, 1, 2,        //
                                                             8,  kVbon, 4, 1, 2, 1, 2,  //
                                                             0,  kVbon, 3, 7, 1, 2})));
}

TEST(SetParamCommandTest, SendsNothingWithoutAnEntry) {
    RecordingEffect effect;
    EXPECT_EQ(SetParamCommand(2).execute(effect), 0);
    EXPECT_THAT(effect.blocks, IsEmpty());
}

TEST(SetParamCommandTest, ANameThatIsNoneHasNoCode) {
    EXPECT_EQ(sfxCodeOf(""), 0u);
    EXPECT_EQ(sfxCodeOf("VBONX"), 0u);
    EXPECT_EQ(sfxCodeOf("Z"), uint32_t{'z'});
}

/// Counts commits.
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
