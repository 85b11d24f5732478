#include "tests/context/ContextFixture.h"

#include <log/log.h>

namespace velora::test {
namespace {

using testing::ElementsAre;
using Values = ParameterValues::Values;

class SndContextTest : public ContextFixture {
protected:
    SndContextTest() {
        context.registerObserver(&observer);
        EXPECT_THAT(observer.take(), ElementsAre("load"));
    }

    SndContext& context = restart();
    RecordingObserver observer;
};

TEST_F(SndContextTest, AListIsAChangeUnlessItBeginsTheStoredOne) {
    const std::tuple<Values, Values, bool> cases[] = {{{5, 7}, {5}, false}, {{5, 7}, {5, 8}, true},
                                                      {{5}, {5, 7}, true},  {{5}, {}, false},
                                                      {{}, {5}, true},      {{}, {}, true}};
    for (const auto& [stored, given, written] : cases) {
        GeqPreset preset(0);
        preset.set(GEQ_GAIN, stored);
        EXPECT_EQ(SndContext::setParameter(preset, GEQ_GAIN, given), written);
        EXPECT_EQ(preset.get(GEQ_GAIN), written ? given : stored);
    }
}

// Each row once for the selected profile, where it is told, and once for another, where it is not.
TEST_F(SndContextTest, EveryChangeOfTheSelectedProfileIsToldOnce) {
    const struct {
        std::function<void(int profile)> change;
        std::vector<std::string> told;
        std::vector<std::string> toldAgain = {};
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
    for (size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        cases[i].change(1);
        EXPECT_THAT(observer.take(), ElementsAre());
        cases[i].change(0);
        EXPECT_EQ(observer.take(), cases[i].told);
        cases[i].change(0);  // the same again is no change, but a reset is told every time
        EXPECT_EQ(observer.take(), cases[i].toldAgain);
    }
}

TEST_F(SndContextTest, SwitchProfileAndReloadAreTold) {
    context.setSfxOn(true);
    context.setSelectedProfile(0);
    context.setSfxOn(false);
    context.setSelectedProfile(3);
    context.reloadAllProfile();  // neither was saved
    EXPECT_THAT(observer.take(), ElementsAre("off", "profile", "profile", "on"));
    EXPECT_TRUE(context.isSelected(0));
}

TEST_F(SndContextTest, TheIeqPresetGoesWithItsSwitch) {
    // What is set; then what is selected, the switch, what is in force.
    const std::tuple<Parameter, Values, Values> steps[] = {
        {IEQ_ID, {0}, {0, 0, 0}},     {IEQ_ID, {2}, {2, 1, 2}},
        {IEQ_ENABLE, {0}, {2, 0, 0}},  // selected for when it is switched on again
        {IEQ_ID, {-1}, {2, 0, 0}},    {IEQ_ID, {5}, {2, 0, 0}},
        {IEQ_ID, {}, {2, 0, 0}},      {IEQ_ID, {4}, {4, 1, 4}},  // the count is included
    };
    for (const auto& [parameter, values, expected] : steps) {
        context.setProfileParameter(0, Endpoint::SPEAKER, parameter, values);
        Values state{context.getProfileEndpoint(0, Endpoint::SPEAKER)->getSelectedIeqPreset()};
        for (const Parameter part : {IEQ_ENABLE, IEQ_ID}) {
            state.push_back(context.getProfileParameter(0, Endpoint::SPEAKER, part).front());
        }
        EXPECT_EQ(state, expected);
    }
}

TEST_F(SndContextTest, ModifiedMeansDifferentFromTheTuningFile) {
    const auto marks = [&] {
        return std::vector<bool>{context.isProfileModified(2), context.isProfileGeqModified(2),
                                 context.isProfileSpecificSettingsModified(2)};
    };
    context.setProfileGeqParameter(2, GEQ_GAIN, Values(20, 1));
    EXPECT_THAT(marks(), ElementsAre(true, true, false));
    context.resetProfileGeq(2);
    context.getProfileEndpoint(2, Endpoint::OTHER)->setSelectedIeqPreset(1);
    EXPECT_THAT(marks(), ElementsAre(true, false, false));
    context.resetProfile(2);
    EXPECT_THAT(marks(), ElementsAre(false, false, false));
    context.setProfileParameter(2, Endpoint::OTHER, VOLMAX_BOOST, {3});
    EXPECT_THAT(marks(), ElementsAre(true, false, true));
}

TEST_F(SndContextTest, DevicesAreSelectedByNameAndToldWhenTheTuningChanges) {
    EXPECT_TRUE(context.setSelectedTuning(PORT_USB, "default_usb", false));
    EXPECT_TRUE(context.setSelectedTuning(PORT_USB, "default_usb", true));
    EXPECT_TRUE(context.setSelectedTuning(PORT_USB, "usb_dac", false));
    EXPECT_THAT(observer.take(),
                ElementsAre("tuning 5 headphone_neutral", "tuning 5 usb_converter"));
    EXPECT_FALSE(context.setSelectedTuning(PORT_USB, "default_hdmi", false));
    EXPECT_EQ(context.getSelectedTuningDevice(PORT_USB), "usb_dac");
    context.selectDefaultTuning(PORT_USB);
    EXPECT_EQ(context.getSelectedTuningDevice(PORT_USB), "default_usb");
    EXPECT_EQ(context.getSelectedProfileIeq(PORT_OTHER), nullptr);
}

TEST_F(SndContextTest, ObserversAreToldInTheOrderOfAddressesAndMayComeAndGoMeanwhile) {
    RecordingObserver three[3];
    std::string order;
    for (const int i : {2, 0, 1, 0}) {  // those that come are told of the load
        three[i].onTold = [&order, i] { order += std::to_string(i); };
        context.registerObserver(&three[i]);
    }
    context.setSfxOn(false);
    EXPECT_EQ(std::exchange(order, ""), "2010012");
    three[0].onTold = [&] {
        EXPECT_NE(context.getSelectedProfile(), nullptr) << "no lock is held";
        for (auto* const gone : {&three[0], &three[1], &observer}) context.unregisterObserver(gone);
    };
    context.setSfxOn(true);
    context.registerObserver(&observer);
    context.setSelectedProfile(1);
    EXPECT_EQ(order, "22");
    EXPECT_EQ(three[0].told.back(), "on");
    EXPECT_EQ(observer.told.back(), "profile");
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
}

TEST_F(SndContextTest, AProfileOrEndpointThatDoesNotExistEndsTheProcess) {
    __android_log_set_logger(nullptr);  // to standard error
    EXPECT_EXIT(context.setSelectedProfile(5), testing::ExitedWithCode(255), "profileId: 5");
    EXPECT_EXIT(context.getProfileEndpoint(Endpoint{9}), testing::ExitedWithCode(255), "fo 9");
}

}  // namespace
}  // namespace velora::test
