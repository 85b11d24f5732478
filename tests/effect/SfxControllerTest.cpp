#include "effect/SfxController.h"
#include "tests/context/ContextFixture.h"
#include "tests/support/EffectBlocks.h"

#include <map>
#include <random>

namespace velora::test {
namespace {

using testing::Contains;
using testing::Each;
using testing::StartsWith;

class SfxControllerTest : public ContextFixture {
protected:
    SfxControllerTest() { context->registerObserver(&controller); }
    ~SfxControllerTest() override { context->unregisterObserver(&controller); }

    SndContext* context = &restart();
    RecordingEffect effect;
    SfxController controller{effect};
};

TEST_F(SfxControllerTest, ASelectedProfileSendsItsGains) {
    context->setSelectedProfile(2);
    EXPECT_THAT(effect.drain(), Contains(StartsWith("40000000 GEBS 20 40 55")));
}

TEST_F(SfxControllerTest, WhatTheEffectHasIsWhatANewOneWouldBeSent) {
    std::mt19937 random(20261123);
    const auto below = [&](size_t limit) { return static_cast<int>(random() % limit); };
    const auto port = [&] { return kSupportedPorts[random() % kSupportedPorts.size()]; };
    const auto endpoint = [&] { return kEndpoints[random() % kEndpoints.size()]; };
    // Several ports may have the same tuning.
    const auto changeTuning = [&](auto change) {
        change(*context->getSelectedTuning(port()));
        context->reloadTuning();
    };
    const std::function<void()> operations[] = {
        [&] { changeTuning([&](Tuning& tuning) { tuning.setEndpoint(endpoint()); }); },
        [&] { changeTuning([&](Tuning& tuning) { tuning.setMono(below(2) == 1); }); },
        [&] {
            changeTuning([&](Tuning& tuning) { tuning.set(OUTPUT_CHANNELS, {2 + 2 * below(2)}); });
        },
        [&] { changeTuning([&](Tuning& tuning) { tuning.set(BASS_MBDRC_ENABLE, {below(2)}); }); },
        [&] {
            changeTuning([&](Tuning& tuning) {
                tuning.set(REGULATOR_SIBILANCE_SUPPRESS_ENABLE, {below(2)});
            });
        },
        [&] {
            const Port changed = port();
            const auto devices = context->getAvailableTuningDevice(changed);
            EXPECT_TRUE(context->setSelectedTuning(changed, devices[random() % devices.size()],
                                                   below(2) == 1));
        },
        [&] { context->setSelectedProfile(below(5)); },
        [&] { context->setProfileParameter(below(5), endpoint(), IEQ_ID, {below(4)}); },
        [&] { context->setProfileParameter(below(5), endpoint(), PEAK_VALUE, {below(9)}); },
        [&] {
            context->setProfileGeqParameter(below(5), GEQ_GAIN, std::vector<int>(20, below(9)));
        },
        [&] { context->resetProfile(below(5)); },
    };

    using Entries = std::map<std::string, std::string>;  // by device and name
    const auto receive = [](RecordingEffect& from, Entries& entries) {
        for (const std::string& entry : from.drain()) {
            const size_t end = std::min(entry.find(' ', entry.find(' ') + 1), entry.size());
            entries[entry.substr(0, end)] = entry.substr(end);
        }
    };
    Entries received;
    controller.setSfxEffect(effect, *context);
    receive(effect, received);
    for (int step = 0; step < 200; ++step) {
        const auto operation = random() % std::size(operations);
        operations[operation]();
        receive(effect, received);

        RecordingEffect fresh;
        controller.setSfxEffect(fresh, *context);
        Entries wanted;
        receive(fresh, wanted);
        ASSERT_TRUE(fresh.enabled) << "switched on like the context";
        ASSERT_EQ(received, wanted) << "after operation " << operation << " in step " << step;
        controller.setSfxEffect(effect, *context);
        effect.drain();
    }
}

TEST_F(SfxControllerTest, APortWithoutATuningIsLoggedAndSentEverythingWhenItGetsOne) {
    context->unregisterObserver(&controller);
    install(replaced(sample, "endpoint_port=\"usb\"", "endpoint_port=\"hdmi\""));
    context = &restart();
    SfxController fresh(effect);
    context->registerObserver(&fresh);
    EXPECT_THAT(log.lines(), Contains("E SfxController: No profile endpoint found for port : 5"));
    EXPECT_THAT(log.lines(), Contains("E SfxController: No tuning found for port : usb"));
    effect.drain();
    installOem(replaced(extra, "\"bluetooth\"", "\"usb\""));
    EXPECT_EQ(manager().loadOemTuning(), 0);
    const auto sent = effect.drain();
    EXPECT_THAT(sent, Each(StartsWith("4000 ")));
    for (const char* entry : {"4000 DPLP 0", "4000 IEID ", "4000 SVM "}) {
        EXPECT_THAT(sent, Contains(StartsWith(entry))) << "from endpoint, preset and tuning";
    }
    context->unregisterObserver(&fresh);
}

}  // namespace
}  // namespace velora::test
