#include "effect/SfxController.h"
#include "tests/context/ContextFixture.h"
#include "tests/support/EffectBlocks.h"

#include <set>

namespace velora {

namespace {

using test::RecordingEffect;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class SfxControllerTest : public test::ContextFixture {
protected:
    SfxControllerTest() { context.registerObserver(&controller); }
    ~SfxControllerTest() override { context.unregisterObserver(&controller); }

    std::string tuningValue(Port port, Parameter parameter) {
        return std::to_string(context.getSelectedTuningParameter(port, parameter).front());
    }

    SndContext& context = restart();
    RecordingEffect effect;
    SfxController controller{effect};
};

std::vector<std::string> devicesOf(const std::vector<std::string>& entries) {
    std::vector<std::string> devices;
    for (const auto& entry : entries) devices.push_back(entry.substr(0, entry.find(' ')));
    devices.erase(std::unique(devices.begin(), devices.end()), devices.end());
    return devices;
}

TEST_F(SfxControllerTest, LoadingSendsOneBlockForAllWithTheDevicesAscending) {
    ASSERT_EQ(effect.blocks.size(), 1u);
    EXPECT_EQ(effect.blocks[0][0], 0x40000000);
    EXPECT_THAT(devicesOf(effect.take()),
                ElementsAre("2", "8", "80", "400", "4000", "8000", "40000000"));
    EXPECT_EQ(log.count("I SfxController: onLoad()"), 1u);
    EXPECT_EQ(log.count("E SfxController: ..."), 0u);
}

// The block that docs/effect-block.md shows, word by word.
TEST_F(SfxControllerTest, AChangeSendsTheDocumentedBlock) {
    effect.take();
    context.setProfileParameter(0, Endpoint::SPEAKER, VIRTUAL_BASS_ENABLE, {0});
    std::istringstream doc(test::contentsOf(test::sourceFile("docs/effect-block.md")));
    std::vector<int32_t> documented;
    bool inExample = false;
    for (std::string line; std::getline(doc, line);) {
        if (line == "```") {
            inExample = !inExample;
            continue;
        }
        std::istringstream words(inExample ? line : "");
        for (std::string word; words >> word;) {
            documented.push_back(static_cast<int32_t>(std::stoul(word, nullptr, 16)));
        }
    }
    EXPECT_THAT(effect.blocks, ElementsAre(documented));
}

TEST_F(SfxControllerTest, EachChangeReachesTheDevicesThatItConcerns) {
    struct Row {
        std::string what;
        std::function<void()> change;
        std::vector<std::string> devices;
    };
    const auto ieq = [&](int preset) {
        context.setProfileParameter(0, Endpoint::HEADPHONE, IEQ_ID, {preset});
    };
    const auto gains = context.getProfileGeqParameter(0, GEQ_GAIN);
    auto otherGains = gains;
    otherGains.front() += 1;
    const int current = context.getProfileEndpoint(0, Endpoint::HEADPHONE)->getSelectedIeqPreset();
    const std::vector<Row> rows{
        {"profile parameter",
         [&] { context.setProfileParameter(0, REVERB_SUPPRESSION_AMOUNT, {9}); },
         {"40000000"}},
        {"the same value again",
         [&] { context.setProfileParameter(0, REVERB_SUPPRESSION_AMOUNT, {9}); },
         {}},
        {"GEQ", [&] { context.setProfileGeqParameter(0, GEQ_GAIN, otherGains); }, {"40000000"}},
        {"endpoint",
         [&] { context.setProfileParameter(0, Endpoint::HEADPHONE, PEAK_VALUE, {123}); },
         {"8", "80", "4000"}},
        {"IEQ", [&] { ieq(current == 1 ? 2 : 1); }, {"8", "80", "4000"}},
        {"another profile's value",
         [&] { context.setProfileParameter(1, REVERB_SUPPRESSION_AMOUNT, {8}); },
         {}},
        {"switch", [&] { context.setSfxOn(!context.getSfxOn()); }, {}},
        {"reset to the factory's values",
         [&] { context.resetProfile(0); },
         {"8", "80", "4000", "40000000"}},
        {"port without a device",
         [&] {
             controller.onSelectedTuningChanged(context, PORT_OTHER,
                                                *context.getSelectedTuning(PORT_HDMI));
         },
         {}},
    };
    effect.take();
    for (const Row& row : rows) {
        row.change();
        std::set<std::string> expected(row.devices.begin(), row.devices.end());
        const auto devices = devicesOf(effect.take());
        EXPECT_EQ(std::set<std::string>(devices.begin(), devices.end()), expected) << row.what;
    }
}

TEST_F(SfxControllerTest, AnotherTuningSendsItsDifferencesToItsDeviceAlone) {
    effect.take();
    const auto devices = context.getAvailableTuningDevice(PORT_HEADPHONE);
    ASSERT_GT(devices.size(), 1u);
    const bool firstSelected = context.getSelectedTuningDevice(PORT_HEADPHONE) == devices[0];
    ASSERT_TRUE(context.setSelectedTuning(PORT_HEADPHONE, devices[firstSelected ? 1 : 0], false));
    const auto sent = effect.take();
    EXPECT_FALSE(sent.empty());
    EXPECT_LT(sent.size(), 60u) << "what both tunings have in common isn't sent";
    EXPECT_THAT(sent, Each(StartsWith("8 ")));
}

TEST_F(SfxControllerTest, ATuningOfAnotherClassBringsItsEndpointAndPresetWithIt) {
    effect.take();
    Tuning* const tuning = context.getSelectedTuning(PORT_HEADPHONE);
    context.setProfileParameter(0, Endpoint::OTHER, PEAK_VALUE, {321});
    effect.take();
    tuning->setEndpoint(Endpoint::OTHER);
    controller.onSelectedTuningChanged(context, PORT_HEADPHONE, *tuning);
    EXPECT_THAT(effect.take(), testing::Contains("8 DPLP 321"));
    EXPECT_EQ(controller.getContext().getDeviceParameters(PORT_HEADPHONE)->getProfileEndpoint(),
              context.getProfileEndpoint(0, Endpoint::OTHER));
}

TEST_F(SfxControllerTest, SelectingAProfileNamesItAndSendsWhatDiffers) {
    effect.take();
    context.setSelectedProfile(2);
    EXPECT_EQ(log.count("I SfxController: Profile Changed to Music"), 1u);
    const auto sent = effect.take();
    EXPECT_FALSE(sent.empty());
    context.setSelectedProfile(0);
    context.setSelectedProfile(2);
    EXPECT_EQ(log.count("I SfxController: Profile Changed to Music"), 2u);
}

TEST_F(SfxControllerTest, AnotherEffectIsSentEverything) {
    RecordingEffect other;
    context.setSfxOn(true);
    controller.setSfxEffect(other, context);
    ASSERT_EQ(other.blocks.size(), 1u);
    EXPECT_TRUE(other.enabled);
    EXPECT_EQ(other.take().size(), 6u * 68 + 14) << "six devices and the profile";
    effect.take();
    context.setProfileParameter(0, REVERB_SUPPRESSION_AMOUNT, {7});
    EXPECT_THAT(other.take(), ElementsAre("40000000 RVSA 7"));
    EXPECT_THAT(effect.take(), IsEmpty());
}

}  // namespace

}  // namespace velora
