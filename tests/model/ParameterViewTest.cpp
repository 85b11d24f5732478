#include "model/DeviceParameters.h"
#include "model/ProfileParameters.h"

#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velora {
namespace {

using testing::ElementsAre;

struct RecordingObserver : ParamChangeObserver {
    void setSource(ParameterValues*, Endpoint endpoint, bool mono) override {
        told.push_back(std::string(nameOf(endpoint)) + (mono ? " mono" : ""));
    }
    void onParameterChanged(Parameter parameter) override {
        told.emplace_back(infoOf(parameter).column);
    }
    std::vector<std::string> take() { return std::exchange(told, {}); }

    std::vector<std::string> told;
};

TEST(ParameterViewTest, TellsOfWhatIsNewInAscendingOrderAndOfNothingElse) {
    RecordingObserver observer;
    ProfileParameters view(&observer);
    Profile profile(0, "Music", false);
    profile.set(VOLUME_MODELER_ENABLE, {1});
    profile.set(HEADPHONE_VIRTUALIZER_MODE, {2});
    profile.set(REVERB_SUPPRESSION_AMOUNT, {});
    profile.set(PEAK_VALUE, {7});  // not a profile's
    for (int i = 0; i < 2; ++i) view.setProfile(profile);
    EXPECT_THAT(observer.take(),
                ElementsAre("other", "headphone_virtualizer_mode", "volume_modeler_enable"));

    Profile other(1, "Movie", false);
    other.set(HEADPHONE_VIRTUALIZER_MODE, {});
    other.set(VOLUME_MODELER_ENABLE, {0});
    view.setProfile(other);
    EXPECT_THAT(observer.take(), ElementsAre("volume_modeler_enable"));
    EXPECT_THAT(view.get(HEADPHONE_VIRTUALIZER_MODE), ElementsAre(2));
    EXPECT_EQ(view.getProfile(), &other);
}

TEST(ParameterViewTest, ADeviceIsAnnouncedWithEachTuningBeforeItsValues) {
    RecordingObserver observer;
    Tuning tuning("t", Endpoint::SPEAKER, true);
    tuning.set(REGULATOR_ENABLE, {1});
    Profile profile(0, "Music", false);
    profile.set(VOLUME_MODELER_ENABLE, {1});  // no parameter of a profile is a device's
    ProfileEndpoint endpoint(0, Endpoint::SPEAKER, 0);
    endpoint.set(VIRTUAL_BASS_TYPE, {1});
    IeqPreset preset(3, "rich");
    DeviceParameters views[] = {DeviceParameters(&observer), DeviceParameters(nullptr)};
    for (DeviceParameters& view : views) {
        for (int i = 0; i < 2; ++i) view.setTuning(tuning);
        view.setProfile(profile);
        view.setProfileEndpoint(endpoint);
        view.setIeqPreset(preset);
        EXPECT_THAT(view.get(REGULATOR_ENABLE), ElementsAre(1));
    }
    EXPECT_THAT(observer.take(), ElementsAre("other", "speaker mono", "regulator_enable",
                                             "speaker mono", "virtual_bass_type", "ieq_id"));
}

}  // namespace
}  // namespace velora
