#include "effect/SetParamCommand.h"
#include "tests/support/EffectBlocks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velora {

namespace {

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

}  // namespace

}  // namespace velora
