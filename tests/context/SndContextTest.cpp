#include "tests/context/ContextFixture.h"
#include "tests/faults/Disk.h"

#include <log/log.h>

namespace velora::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Values = ParameterValues::Values;

class SndContextTest : public ContextFixture {
protected:
    SndContextTest() {
        context.registerObserver(&observer);
        EXPECT_THAT(observer.drain(), ElementsAre("load"));
    }

    SndContext& context = restart();
    RecordingObserver observer;
};

TEST_F(SndContextTest, AListIsStoredUnlessItIsAPrefixOfTheStoredOne) {
    const struct {
        Values stored, given;
        bool written;
    } cases[] = {
        {.stored = {5, 7}, .given = {5}, .written = false},
        {.stored = {5, 7}, .given = {5, 8}, .written = true},
        {.stored = {5}, .given = {}, .written = false},
        {.stored = {}, .given = {5}, .written = true},
        {.stored = {}, .given = {}, .written = true},
    };
    for (const auto& [stored, given, written] : cases) {
        GeqPreset preset(0);
        preset.set(GEQ_GAIN, stored);
        EXPECT_EQ(SndContext::setParameter(preset, GEQ_GAIN, given), written);
        EXPECT_EQ(preset.get(GEQ_GAIN), written ? given : stored);
    }
}

TEST_F(SndContextTest, OnlyChangesOfTheSelectedProfileAreNotified) {
    const struct {
        std::function<void(int profile)> change;
        std::vector<std::string> first;
        /// The notifications when the change is made again: none if that changes no value. A reset
        /// is always notified.
        std::vector<std::string> again = {};
    } cases[] = {
        {[&](int p) { context.setProfileParameter(p, HEADPHONE_VIRTUALIZER_MODE, {7}); },
         {"parameter Dynamic"}},
        {[&](int p) { context.setProfileGeqParameter(p, GEQ_GAIN, Values(20, 3)); }, {"geq"}},
        {[&](int p) { context.setProfileParameter(p, Endpoint::HEADPHONE, VOLMAX_BOOST, {99}); },
         {"endpoint 3", "endpoint 4", "endpoint 5"}},
        {[&](int p) { context.setProfileParameter(p, Endpoint::OTHER, IEQ_ID, {3}); },
         {"endpoint 1", "endpoint 2", "ieq 1 warm", "ieq 2 warm"}},
        {[&](int p) { context.resetProfileGeq(p); }, {"geq"}, {"geq"}},
        {[&](int p) { context.resetProfile(p); }, {"profile"}, {"profile"}},
    };
    for (const auto& [change, first, again] : cases) {
        SCOPED_TRACE(first.front());
        change(1);
        EXPECT_THAT(observer.drain(), IsEmpty());
        change(0);
        EXPECT_EQ(observer.drain(), first);
        change(0);
        EXPECT_EQ(observer.drain(), again);
    }
}

TEST_F(SndContextTest, OnlyWhatChangesIsStored) {
    const std::function<void()> changes[] = {
        [&] { context.setProfileParameter(1, HEADPHONE_VIRTUALIZER_MODE, {3}); },
        [&] { context.setProfileParameter(1, Endpoint::OTHER, VOLMAX_BOOST, {42}); },
        [&] { context.setProfileGeqParameter(4, GEQ_GAIN, Values(20, -7)); },
        [&] { context.setSfxOn(false); },
        [&] { context.setSelectedProfile(2); },
        [&] { context.setSelectedTuning(PORT_USB, "usb_dac", false); },
    };
    const Disk& disk = useFreshDisk(dir.path());
    for (const auto& change : changes) {
        SCOPED_TRACE(&change - changes);
        change();
        uint64_t writes = disk.writes();
        EXPECT_TRUE(context.save());
        EXPECT_GT(disk.writes(), writes);
        writes = disk.writes();
        const uint64_t syncs = disk.syncs();
        change();
        EXPECT_TRUE(context.save());
        context.resetProfile(0);
        EXPECT_EQ(disk.writes(), writes) << "what is set already, and an unmodified profile";
        EXPECT_EQ(disk.syncs(), syncs);
    }
}

TEST_F(SndContextTest, SelectingAnIeqPresetSwitchesIeq) {
    const struct {
        Parameter parameter;
        Values values;
        int selected, inForce;
    } steps[] = {
        {.parameter = IEQ_ID, .values = {0}, .selected = 0, .inForce = 0},
        {.parameter = IEQ_ID, .values = {2}, .selected = 2, .inForce = 2},
        {.parameter = IEQ_ENABLE, .values = {0}, .selected = 2, .inForce = 0},
        {.parameter = IEQ_ID, .values = {-1}, .selected = 2, .inForce = 0},
        {.parameter = IEQ_ID, .values = {5}, .selected = 2, .inForce = 0},
        {.parameter = IEQ_ID, .values = {}, .selected = 2, .inForce = 0},
        {.parameter = IEQ_ID, .values = {4}, .selected = 4, .inForce = 4},
    };
    const ProfileEndpoint* const record = context.getProfileEndpoint(0, Endpoint::SPEAKER);
    for (const auto& step : steps) {
        context.setProfileParameter(0, Endpoint::SPEAKER, step.parameter, step.values);
        EXPECT_EQ(record->getSelectedIeqPreset(), step.selected);
        EXPECT_EQ(record->get(IEQ_ENABLE), Values{step.inForce != 0});
        EXPECT_EQ(context.getProfileParameter(0, Endpoint::SPEAKER, IEQ_ID), Values{step.inForce});
    }
}

TEST_F(SndContextTest, AnEndpointThatNoTuningIsMadeForKeepsItsIeqPreset) {
    install(replaced(sample, "endpoint_type=\"speaker\"", "endpoint_type=\"other\""));
    SndContext& again = restart();
    again.setProfileParameter(0, Endpoint::SPEAKER, IEQ_ID, {0});
    EXPECT_NE(again.getProfileEndpoint(0, Endpoint::SPEAKER)->getSelectedIeqPreset(), 0);
}

TEST_F(SndContextTest, ModifiedMeansDifferentFromTheTuningFile) {
    context.setProfileGeqParameter(2, GEQ_GAIN, Values(20, 1));
    EXPECT_TRUE(context.isProfileModified(2));
    EXPECT_TRUE(context.isProfileGeqModified(2));
    EXPECT_FALSE(context.isProfileSpecificSettingsModified(2));
    context.resetProfileGeq(2);
    context.getProfileEndpoint(2, Endpoint::OTHER)->setSelectedIeqPreset(1);
    EXPECT_TRUE(context.isProfileModified(2));
    EXPECT_FALSE(context.isProfileGeqModified(2));
    EXPECT_FALSE(context.isProfileSpecificSettingsModified(2));
    context.resetProfile(2);
    EXPECT_FALSE(context.isProfileModified(2));
    context.setProfileParameter(2, Endpoint::OTHER, VOLMAX_BOOST, {3});
    EXPECT_TRUE(context.isProfileSpecificSettingsModified(2));
}

TEST_F(SndContextTest, ADeviceIsSelectedByNameAndNotifiedIfTheTuningChanges) {
    install(replaced(sample, "\"default_headphone\" endpoint_port=\"headphone\"",
                     "\"second_usb\" endpoint_port=\"usb\""));
    SndContext& started = restart();
    started.registerObserver(&observer);
    EXPECT_TRUE(started.setSelectedTuning(PORT_USB, "second_usb", false));  // of the same tuning
    EXPECT_THAT(observer.drain(), ElementsAre("load"));
    EXPECT_TRUE(started.setSelectedTuning(PORT_USB, "second_usb", true));
    EXPECT_TRUE(started.setSelectedTuning(PORT_USB, "usb_dac", false));
    EXPECT_THAT(observer.drain(),
                ElementsAre("tuning 5 headphone_neutral", "tuning 5 usb_converter"));
    EXPECT_FALSE(started.setSelectedTuning(PORT_USB, "default_hdmi", false));
    EXPECT_EQ(started.getSelectedTuningDevice(PORT_USB), "usb_dac");
    started.selectDefaultTuning(PORT_USB);
    EXPECT_EQ(started.getSelectedTuningDevice(PORT_USB), "default_usb");
}

TEST_F(SndContextTest, ObserversAreNotifiedByAddressUnlessTheyAreUnregisteredMeanwhile) {
    RecordingObserver three[3];
    std::vector<int> order;
    for (const int i : {2, 0, 1, 0}) {  // each is notified of the load when it registers
        three[i].onNotified = [&order, i] { order.push_back(i); };
        context.registerObserver(&three[i]);
    }
    context.setSfxOn(false);
    EXPECT_THAT(order, ElementsAre(2, 0, 1, 0, 0, 1, 2));
    three[1].onNotified = [&] {
        EXPECT_NE(context.getSelectedProfile(), nullptr) << "the context is not locked";
        for (RecordingObserver& each : three) context.unregisterObserver(&each);
    };
    context.setSelectedProfile(1);
    context.setSfxOn(true);
    EXPECT_THAT(three[1].notifications, ElementsAre("load", "off", "profile"));
    EXPECT_THAT(three[2].notifications, ElementsAre("load", "off"));
}

TEST_F(SndContextTest, AfterAnObserverSelectsAnotherProfileTheRemainingPortsAreNotNotified) {
    context.setProfileParameter(0, Endpoint::OTHER, IEQ_ID, {2});
    for (const Parameter parameter : {IEQ_ID, VOLMAX_BOOST}) {
        observer.onNotified = nullptr;
        context.setSelectedProfile(0);
        observer.drain();
        observer.onNotified = [&] { context.setSelectedProfile(2); };
        context.setProfileParameter(0, Endpoint::OTHER, parameter, {3});
        EXPECT_THAT(observer.drain(), SizeIs(2)) << "one port and the profile";
    }
}

TEST_F(SndContextTest, AProfileOrEndpointThatDoesNotExistEndsTheProcess) {
    __android_log_set_logger(nullptr);  // to standard error
    EXPECT_EXIT(context.setSelectedProfile(5), testing::ExitedWithCode(255), "profileId: 5");
    EXPECT_EXIT(context.getProfileEndpoint(Endpoint{9}), testing::ExitedWithCode(255), "fo 9");
}

}  // namespace
}  // namespace velora::test
