#include "model/DeviceParameters.h"
#include "model/ProfileParameters.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velora {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct RecordingObserver : ParamChangeObserver {
    void setSource(ParameterValues* newSource, Endpoint endpoint, bool mono) override {
        source = newSource;
        told.push_back(std::string(nameOf(endpoint)) + (mono ? " mono" : ""));
    }
    void onParameterChanged(Parameter parameter) override {
        told.emplace_back(infoOf(parameter).column);
    }
    std::vector<std::string> take() { return std::exchange(told, {}); }

    ParameterValues* source = nullptr;
    std::vector<std::string> told;
};

TEST(ParameterViewTest, TellsOfWhatIsNewInAscendingOrderAndOfNothingElse) {
    RecordingObserver observer;
    ProfileParameters view(&observer);
    EXPECT_EQ(observer.source, &view);
    EXPECT_THAT(observer.take(), ElementsAre("other"));

    Profile profile(0, "Music", false);
    profile.set(VOLUME_MODELER_ENABLE, {1});
    profile.set(HEADPHONE_VIRTUALIZER_MODE, {2});
    profile.set(REVERB_SUPPRESSION_AMOUNT, {});
    profile.set(PEAK_VALUE, {7});  // not a profile's
    view.setProfile(profile);
    EXPECT_THAT(observer.take(),
                ElementsAre("headphone_virtualizer_mode", "volume_modeler_enable"));
    view.setProfile(profile);
    EXPECT_THAT(observer.take(), IsEmpty());

    Profile other(1, "Movie", false);
    other.set(HEADPHONE_VIRTUALIZER_MODE, {});
    other.set(VOLUME_MODELER_ENABLE, {0});
    view.setProfile(other);
    EXPECT_THAT(observer.take(), ElementsAre("volume_modeler_enable"));
    EXPECT_THAT(view.get(HEADPHONE_VIRTUALIZER_MODE), ElementsAre(2));
    EXPECT_EQ(view.getProfile(), &other);
    EXPECT_EQ(view.getId(), -1);
}

TEST(ParameterViewTest, ADeviceIsAnnouncedWithEachTuningBeforeItsValues) {
    RecordingObserver observer;
    DeviceParameters view(&observer);
    Tuning tuning("t", Endpoint::SPEAKER, true);
    tuning.set(REGULATOR_ENABLE, {1});
    observer.take();
    view.setTuning(tuning);
    EXPECT_THAT(observer.take(), ElementsAre("speaker mono", "regulator_enable"));
    view.setTuning(tuning);
    EXPECT_THAT(observer.take(), ElementsAre("speaker mono"));

    Profile profile(0, "Music", false);
    profile.set(VOLUME_MODELER_ENABLE, {1});
    view.setProfile(profile);
    EXPECT_THAT(observer.take(), IsEmpty()) << "no parameter of a profile is a device's";

    ProfileEndpoint endpoint(0, Endpoint::SPEAKER, 0);
    endpoint.set(VIRTUAL_BASS_TYPE, {1});
    IeqPreset preset(3, "rich");
    view.setProfileEndpoint(endpoint);
    view.setIeqPreset(preset);
    EXPECT_THAT(observer.take(), ElementsAre("virtual_bass_type", "ieq_id"));
}

TEST(ParameterViewTest, NeedsNoObserver) {
    DeviceParameters view(nullptr);
    Tuning tuning("t", Endpoint::OTHER, false);
    tuning.set(REGULATOR_ENABLE, {1});
    view.setTuning(tuning);
    EXPECT_THAT(view.get(REGULATOR_ENABLE), ElementsAre(1));
}

}  // namespace

}  // namespace velora
