#include "tests/context/ContextFixture.h"

#include <log/log.h>

namespace velora::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Values = ParameterValues::Values;

class SndContextTest : public ContextFixture {
protected:
    SndContextTest() : context(restart()) {
        context.registerObserver(&observer);
        EXPECT_THAT(observer.take(), ElementsAre("load"));
    }

    SndContext& context;
    RecordingObserver observer;
};

TEST_F(SndContextTest, AListIsAChangeUnlessItBeginsTheStoredOne) {
    const struct {
        Values stored, given;
        bool written;
    } cases[] = {
        {{5, 7}, {5}, false}, {{5, 7}, {5, 7}, false}, {{5, 7}, {5, 8}, true}, {{5}, {5, 7}, true},
        {{5}, {}, false},     {{}, {5}, true},         {{}, {}, true},
    };
    for (const auto& c : cases) {
        GeqPreset preset(0);
        preset.set(GEQ_GAIN, c.stored);
        EXPECT_EQ(SndContext::setParameter(preset, GEQ_GAIN, c.given), c.written);
        EXPECT_EQ(preset.get(GEQ_GAIN), c.written ? c.given : c.stored);
    }
}

// Each row once for the selected profile, where it is told, and once for another, where it is not.
TEST_F(SndContextTest, EveryChangeOfTheSelectedProfileIsToldOnce) {
    const struct {
        std::function<void(int profile)> change;
        std::vector<std::string> told;
    } cases[] = {
        {[&](int p) { context.setProfileParameter(p, HEADPHONE_VIRTUALIZER_MODE, {7}); },
         {"parameter Dynamic"}},
        {[&](int p) { context.setProfileGeqParameter(p, GEQ_GAIN, Values(20, 3)); }, {"geq"}},
        {[&](int p) { context.setProfileParameter(p, Endpoint::HEADPHONE, VOLMAX_BOOST, {99}); },
         {"endpoint 3", "endpoint 4", "endpoint 5"}},
        {[&](int p) {
             context.setProfileParameter(p, Endpoint::SPEAKER, VIRTUAL_BASS_ENABLE, {5});
         },
         {"endpoint 0"}},
        {[&](int p) { context.setProfileParameter(p, Endpoint::OTHER, IEQ_ID, {0}); },
         {"ieq 1 off", "ieq 2 off"}},
        {[&](int p) { context.setProfileParameter(p, Endpoint::OTHER, IEQ_ID, {3}); },
         {"endpoint 1", "endpoint 2", "ieq 1 warm", "ieq 2 warm"}},
        {[&](int p) { context.resetProfileGeq(p); }, {"geq"}},
        {[&](int p) { context.resetProfile(p); }, {"profile"}},
    };
    for (const Endpoint e : kEndpoints) {  // a known beginning
        for (const int profile : {0, 1}) context.setProfileParameter(profile, e, IEQ_ID, {2});
        for (const int profile : {0, 1}) context.setProfileParameter(profile, e, IEQ_ENABLE, {0});
    }
    observer.take();
    for (size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        cases[i].change(1);
        EXPECT_THAT(observer.take(), IsEmpty());
        cases[i].change(0);
        EXPECT_EQ(observer.take(), cases[i].told);
        const bool resets = i + 2 >= std::size(cases);
        cases[i].change(0);  // the same again is no change, but a reset is told every time
        EXPECT_EQ(observer.take(), resets ? cases[i].told : std::vector<std::string>{});
    }
}

TEST_F(SndContextTest, SwitchProfileAndReloadAreTold) {
    context.setSfxOn(true);
    context.setSelectedProfile(0);
    EXPECT_THAT(observer.take(), IsEmpty());
    context.setSfxOn(false);
    context.setSelectedProfile(3);
    EXPECT_THAT(observer.take(), ElementsAre("off", "profile"));
    EXPECT_EQ(context.getSelectedProfile()->getName(), "Game");
    context.reloadAllProfile();  // neither was saved
    EXPECT_THAT(observer.take(), ElementsAre("profile", "on"));
    EXPECT_TRUE(context.isSelected(0));
}

TEST_F(SndContextTest, TheIeqPresetGoesWithItsSwitch) {
    const auto enabled = [&] {
        return context.getProfileParameter(0, Endpoint::SPEAKER, IEQ_ENABLE);
    };
    const auto inForce = [&] { return context.getProfileParameter(0, Endpoint::SPEAKER, IEQ_ID); };
    context.setProfileParameter(0, Endpoint::SPEAKER, IEQ_ID, {0});
    EXPECT_EQ(enabled(), Values{0});
    context.setProfileParameter(0, Endpoint::SPEAKER, IEQ_ID, {2});
    EXPECT_EQ(enabled(), Values{1});
    EXPECT_EQ(inForce(), Values{2});
    context.setProfileParameter(0, Endpoint::SPEAKER, IEQ_ENABLE, {0});
    EXPECT_EQ(inForce(), Values{0});  // the selection stays for when it is switched on again
    EXPECT_EQ(context.getProfileEndpoint(0, Endpoint::SPEAKER)->getSelectedIeqPreset(), 2);
    observer.take();
    for (const Values& invalid : {Values{-1}, Values{5}, Values{}}) {
        context.setProfileParameter(0, Endpoint::SPEAKER, IEQ_ID, invalid);
    }
    EXPECT_EQ(log.count("E SndContext: setProfileParameter(): Invalid IEq preset -1"), 1U);
    EXPECT_THAT(observer.take(), IsEmpty());
    context.setProfileParameter(0, Endpoint::SPEAKER, IEQ_ID, {4});  // the count is included
    EXPECT_EQ(context.getProfileEndpoint(0, Endpoint::SPEAKER)->getSelectedIeqPreset(), 4);
    EXPECT_EQ(context.getIeqPresetName(3) + context.getIeqPresetName(5), "warm");
    EXPECT_EQ(log.count("E SndContext: Invalid IEQ Preset Id!"), 1U);
    context.setProfileParameter(0, Endpoint::OTHER, VIRTUAL_BASS_ENABLE, {1});
    EXPECT_EQ(
        log.count("W SndContext: Setting virtual-bass-enable is not supported for non-speaker "
                  "endpoints"),
        1U);
}

TEST_F(SndContextTest, ModifiedMeansDifferentFromTheTuningFile) {
    const auto marks = [&] {
        return std::vector<bool>{context.isProfileModified(2), context.isProfileGeqModified(2),
                                 context.isProfileSpecificSettingsModified(2)};
    };
    EXPECT_THAT(marks(), ElementsAre(false, false, false));
    context.setProfileGeqParameter(2, GEQ_GAIN, Values(20, 1));
    EXPECT_THAT(marks(), ElementsAre(true, true, false));
    context.resetProfileGeq(2);
    context.getProfileEndpoint(2, Endpoint::OTHER)->setSelectedIeqPreset(1);
    EXPECT_THAT(marks(), ElementsAre(true, false, false));
    context.resetProfile(2);
    EXPECT_THAT(marks(), ElementsAre(false, false, false));
    context.setProfileParameter(2, Endpoint::OTHER, VOLMAX_BOOST, {3});
    EXPECT_THAT(marks(), ElementsAre(true, false, true));
    context.resetProfile(2);
    context.setProfileParameter(2, HEADPHONE_VIRTUALIZER_MODE, {3});
    EXPECT_THAT(marks(), ElementsAre(true, false, true));
}

TEST_F(SndContextTest, DevicesAreSelectedByNameAndToldWhenTheTuningChanges) {
    EXPECT_EQ(context.getSelectedTuningDevice(PORT_USB), "default_usb");
    EXPECT_THAT(context.getAvailableTuningDevice(PORT_USB), ElementsAre("default_usb", "usb_dac"));
    EXPECT_TRUE(context.setSelectedTuning(PORT_USB, "default_usb", false));
    EXPECT_THAT(observer.take(), IsEmpty());
    EXPECT_TRUE(context.setSelectedTuning(PORT_USB, "default_usb", true));
    EXPECT_THAT(observer.take(), ElementsAre("tuning 5 headphone_neutral"));
    EXPECT_TRUE(context.setSelectedTuning(PORT_USB, "usb_dac", false));
    EXPECT_EQ(observer.take().size(), 1U);
    EXPECT_FALSE(context.setSelectedTuning(PORT_USB, "default_hdmi", false));
    EXPECT_EQ(
        log.count("E SndContext: default_hdmi is not a valid tuning device for port usb, please "
                  "call getAvailableTuningDevice(port) to check first!"),
        1U);
    EXPECT_EQ(context.getSelectedTuningDevice(PORT_USB), "usb_dac");
    context.selectDefaultTuning(PORT_USB);
    EXPECT_EQ(context.getSelectedTuningDevice(PORT_USB), "default_usb");
    EXPECT_EQ(context.getSelectedTuning(PORT_OTHER), nullptr);
    EXPECT_EQ(context.getSelectedProfileEndpoint(PORT_OTHER), nullptr);
    EXPECT_EQ(context.getSelectedProfileIeq(PORT_OTHER), nullptr);
    EXPECT_THAT(context.getSelectedTuningParameter(PORT_OTHER, ORIENTATION), IsEmpty());
    EXPECT_EQ(context.getDefaultTuningDevice(PORT_OTHER), "other");
}

TEST_F(SndContextTest, AnObserverMayCallBackAndLeaveWhileItIsTold) {
    RecordingObserver second;
    context.registerObserver(&second);
    second.take();
    for (auto* const o : {&observer, &second}) {
        o->onTold = [&] {
            EXPECT_TRUE(context.getSelectedProfile() != nullptr);
            context.unregisterObserver(&observer);
            context.unregisterObserver(&second);
        };
    }
    context.setSfxOn(false);
    EXPECT_EQ(observer.told.size() + second.told.size(), 1U);  // the first one sent both away
}

TEST_F(SndContextTest, WhatAnObserverChangedMeanwhileIsNotToldAnyMore) {
    context.setProfileParameter(0, Endpoint::OTHER, IEQ_ID, {2});
    observer.take();
    observer.onTold = [&, once = false]() mutable {
        if (observer.told.back() == "ieq 1 warm" && !std::exchange(once, true)) {
            context.setProfileParameter(0, Endpoint::OTHER, IEQ_ID, {1});
        }
        if (observer.told.back() == "endpoint 3") context.setSelectedProfile(2);
    };
    context.setProfileParameter(0, Endpoint::OTHER, IEQ_ID, {3});
    EXPECT_EQ(observer.take().back(), "ieq 2 detailed");  // what is in force
    context.setProfileParameter(0, Endpoint::HEADPHONE, VOLMAX_BOOST, {77});
    EXPECT_THAT(observer.take(), ElementsAre("endpoint 3", "profile"));
    observer.onTold = nullptr;
    context.setProfileParameter(2, ORIENTATION, {1});  // not a profile's
    context.setProfileParameter(2, static_cast<Parameter>(5000), {1});
    EXPECT_THAT(observer.take(), IsEmpty());
}

using SndContextDeathTest = SndContextTest;

TEST_F(SndContextDeathTest, AProfileThatDoesNotExistEndsTheProcess) {
    const auto dies = [&](auto call) {
        EXPECT_EXIT(
            {
                __android_log_set_logger(nullptr);
                call();
            },
            testing::ExitedWithCode(255), "Couldn't find the context for profileId: 5");
    };
    dies([&] { context.getProfile(5); });
    dies([&] { context.setSelectedProfile(5); });
}

}  // namespace
}  // namespace velora::test
