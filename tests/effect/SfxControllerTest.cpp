#include "effect/SfxController.h"
#include "tests/context/ContextFixture.h"
#include "tests/support/EffectBlocks.h"

namespace velora::test {
namespace {

using testing::Contains;
using testing::Each;
using testing::StartsWith;

class SfxControllerTest : public ContextFixture {
protected:
    SfxControllerTest() { context->registerObserver(&controller); }
    ~SfxControllerTest() override { context->unregisterObserver(&controller); }

    /// The devices of the entries since the last call, each once where it follows itself.
    std::string devices() {
        std::string text;
        for (const auto& entry : effect.take()) {
            const std::string device = " " + entry.substr(0, entry.find(' '));
            if (!text.ends_with(device)) text += device;
        }
        return text;
    }

    SndContext* context = &restart();
    RecordingEffect effect;
    SfxController controller{effect};
};

TEST_F(SfxControllerTest, EachChangeReachesTheDevicesThatItConcerns) {
    EXPECT_EQ(effect.blocks.front().front(), 0x40000000);
    EXPECT_EQ(devices(), " 2 8 80 400 4000 8000 40000000") << "in one block";
    const auto headphone = Endpoint::HEADPHONE;
    const std::pair<const char*, std::function<void()>> rows[] = {
        {" 40000000", [&] { context->setProfileParameter(0, REVERB_SUPPRESSION_AMOUNT, {9}); }},
        {" 40000000", [&] { context->setProfileGeqParameter(0, GEQ_GAIN, {77}); }},
        {" 8 80 4000", [&] { context->setProfileParameter(0, headphone, PEAK_VALUE, {123}); }},
        {" 8 80 4000", [&] { context->setProfileParameter(0, headphone, IEQ_ID, {1}); }},
        {"", [&] { context->setSfxOn(!context->getSfxOn()); }},
        {" 8 80 4000 40000000", [&] { context->resetProfile(0); }},
        {" 4000", [&] { context->setSelectedTuning(PORT_USB, "usb_dac", false); }},
    };
    for (size_t i = 0; i < std::size(rows); ++i) {
        rows[i].second();
        EXPECT_EQ(devices(), rows[i].first) << i;
    }
    context->setSelectedProfile(2);
    EXPECT_THAT(effect.take(), Contains(StartsWith("40000000 GEBS 20 40 55")));

    RecordingEffect other;
    context->setSfxOn(true);
    controller.setSfxEffect(other, *context);
    EXPECT_TRUE(other.enabled);
    context->setProfileParameter(2, REVERB_SUPPRESSION_AMOUNT, {7});
    EXPECT_THAT(other.take(), Contains("40000000 RVSA 7"));
    EXPECT_TRUE(effect.blocks.empty());
}

// It is in force with the class, and so with the endpoint and preset, that its tuning has then.
TEST_F(SfxControllerTest, ATuningOfAnotherClassBringsItsEndpointAndPresetWithIt) {
    context->setProfileParameter(0, Endpoint::OTHER, PEAK_VALUE, {321});
    context->setProfileParameter(0, Endpoint::OTHER, IEQ_ID, {1});
    effect.take();
    Tuning* const tuning = context->getSelectedTuning(PORT_HEADPHONE);
    tuning->setEndpoint(Endpoint::OTHER);
    controller.onSelectedTuningChanged(*context, PORT_HEADPHONE, *tuning);
    EXPECT_THAT(effect.take(), Contains("8 DPLP 321"));
    EXPECT_EQ(controller.getContext().getDeviceParameters(PORT_HEADPHONE)->getIeqPreset(),
              context->getSelectedProfileIeq(PORT_HEADPHONE));
}

TEST_F(SfxControllerTest, APortWithoutATuningIsNamedAndServedWhenItGetsOne) {
    context->unregisterObserver(&controller);
    install(replaced(sample, "endpoint_port=\"usb\"", "endpoint_port=\"hdmi\""));
    context = &restart();
    SfxController fresh(effect);
    context->registerObserver(&fresh);
    EXPECT_THAT(log.lines(), Contains("E SfxController: No profile endpoint found for port : 5"));
    EXPECT_THAT(log.lines(), Contains("E SfxController: No tuning found for port : usb"));
    effect.take();
    installOem(replaced(extra, "\"bluetooth\"", "\"usb\""));
    EXPECT_EQ(manager().loadOemTuning(), 0);
    const auto sent = effect.take();
    EXPECT_THAT(sent, Each(StartsWith("4000 ")));
    for (const char* entry : {"4000 DPLP 0", "4000 IEID ", "4000 SVM "}) {
        EXPECT_THAT(sent, Contains(StartsWith(entry))) << "of endpoint, preset and tuning";
    }
    context->unregisterObserver(&fresh);
}

}  // namespace
}  // namespace velora::test
