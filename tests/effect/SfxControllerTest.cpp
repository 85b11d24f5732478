#include "effect/SfxController.h"
#include "tests/context/ContextFixture.h"
#include "tests/support/EffectBlocks.h"

#include <set>

namespace velora {

namespace {

using test::RecordingEffect;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class SfxControllerTest : public test::ContextFixture {
protected:
    SfxControllerTest() { context.registerObserver(&controller); }
    ~SfxControllerTest() override {
        if (manager().getSndContext() == &context) context.unregisterObserver(&controller);
    }

    /// The controller has the records that are in force, on every port.
    void expectInForce() {
        SfxContext& held = controller.getContext();
        for (const Port port : kSupportedPorts) {
            SCOPED_TRACE(port);
            const DeviceParameters& view = *held.getDeviceParameters(port);
            EXPECT_EQ(view.getProfile(), context.getSelectedProfile());
            EXPECT_EQ(view.getProfileEndpoint(), context.getSelectedProfileEndpoint(port));
            EXPECT_EQ(view.getIeqPreset(), context.getSelectedProfileIeq(port));
            EXPECT_EQ(view.getTuning(), context.getSelectedTuning(port));
        }
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
    EXPECT_THAT(sent, Not(Contains(StartsWith("8 DPLP")))) << "no tuning has it";
    EXPECT_THAT(sent, Each(StartsWith("8 ")));
}

TEST_F(SfxControllerTest, ATuningOfAnotherClassBringsItsEndpointAndPresetWithIt) {
    effect.take();
    Tuning* const tuning = context.getSelectedTuning(PORT_HEADPHONE);
    context.setProfileParameter(0, Endpoint::OTHER, PEAK_VALUE, {321});
    effect.take();
    tuning->setEndpoint(Endpoint::OTHER);
    controller.onSelectedTuningChanged(context, PORT_HEADPHONE, *tuning);
    EXPECT_THAT(effect.take(), Contains("8 DPLP 321"));
    controller.onSelectedTuningChanged(context, PORT_USB, *tuning);  // both have this tuning
    expectInForce();
}

TEST_F(SfxControllerTest, SelectingAProfileNamesItAndSendsWhatDiffers) {
    effect.take();
    context.setSelectedProfile(2);
    EXPECT_EQ(log.count("I SfxController: Profile Changed to Music"), 1u);
    EXPECT_THAT(effect.take(), Contains(StartsWith("40000000 GEBS 20 40 55")));
    expectInForce();
}

TEST_F(SfxControllerTest, APortWithoutATuningIsNamedAndServedWhenItGetsOne) {
    const auto withPort = [](const char* file, const std::string& from, const std::string& to) {
        std::string xml = test::contentsOf(test::sourceFile(file));
        for (size_t at = 0; (at = xml.find(from, at)) != std::string::npos;) {
            xml.replace(at, from.size(), to);
        }
        return xml;
    };
    const std::string usb = "endpoint_port=\"usb\"";
    context.unregisterObserver(&controller);
    install(withPort("data/multimedia_velora_kiv_default.xml", usb, "endpoint_port=\"hdmi\""));
    SndContext& changed = restart();
    log.clear();
    SfxController fresh(effect);
    changed.registerObserver(&fresh);
    EXPECT_EQ(log.count("E SfxController: No profile endpoint found for port : 5"), 1u);
    EXPECT_EQ(log.count("E SfxController: No tuning found for port : usb"), 1u);
    EXPECT_EQ(log.count("E ..."), 2u);
    EXPECT_THAT(fresh.getContext().getParameters(0x4000)->get(PEAK_VALUE), IsEmpty());
    EXPECT_THAT(fresh.getContext().getParameters(0x8000)->get(PEAK_VALUE), ElementsAre(0));
    EXPECT_EQ(fresh.getContext().getParameters(0x1), nullptr);

    effect.take();
    installOem(withPort("data/kiv-extra.xml", "endpoint_port=\"bluetooth\"", usb));
    EXPECT_EQ(manager().loadOemTuning(), 0);
    const auto sent = effect.take();
    EXPECT_THAT(sent, Each(StartsWith("4000 ")));
    for (const char* entry : {"4000 DPLP 0", "4000 IEID ", "4000 SVM "}) {
        EXPECT_THAT(sent, Contains(StartsWith(entry))) << "of endpoint, preset and tuning";
    }
    changed.unregisterObserver(&fresh);
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
