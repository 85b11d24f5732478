#include "model/DeviceParameters.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velora {
namespace {

using testing::ElementsAre;
using Values = ParameterValues::Values;

TEST(ParameterValuesTest, CheckAndUpdateTakesOnlyValidChanges) {
    const std::tuple<int, Values, bool> cases[] = {
        {GEQ_GAIN, {1}, false},                   // not a profile's
        {HEADPHONE_VIRTUALIZER_MODE, {}, false},  // an entry, but no change
        {CUSTOM_DRC_METADATA, {1, 2}, true},
        {CUSTOM_DRC_METADATA, {1, 2}, false},
        {CUSTOM_DRC_METADATA, {}, true},
        {-1, {1}, false},
        {104, {1}, false},
        {INT32_MAX, {1}, false},
    };
    Profile profile(4, 0, "Music", false);
    for (const auto& [parameter, values, taken] : cases) {
        profile.setDirty(false);
        EXPECT_EQ(profile.checkAndUpdate(static_cast<Parameter>(parameter), values), taken);
        EXPECT_EQ(profile.isDirty(), taken);
        EXPECT_TRUE(!taken || profile.get(CUSTOM_DRC_METADATA) == values);
    }
    profile.set(static_cast<Parameter>(104), {1});
    EXPECT_EQ(profile.size(), 2U);
    EXPECT_FALSE(profile.isDirty());
}

struct RecordingObserver : ParamChangeObserver {
    void setSource(ParameterValues*, Endpoint endpoint, bool mono) override {
        told += " " + std::string(nameOf(endpoint)) + (mono ? " mono" : "");
    }
    void onParameterChanged(Parameter parameter) override {
        told += " " + std::string(infoOf(parameter).column);
    }
    std::string told;
};

TEST(ParameterViewTest, TellsOfWhatIsNewAndOfNothingElse) {
    RecordingObserver observer;
    DeviceParameters view(&observer);
    Tuning tuning("t", Endpoint::SPEAKER, true);
    tuning.set(REGULATOR_ENABLE, {1});
    tuning.set(HEIGHT_FILTER_MODE, {2});
    tuning.set(HEADPHONE_VIRTUALIZER_MODE, {3});  // not a device's
    view.setTuning(tuning);
    tuning.set(HEIGHT_FILTER_MODE, {});
    view.setTuning(tuning);
    EXPECT_EQ(observer.told,
              " other speaker mono height_filter_mode regulator_enable speaker mono");
    EXPECT_THAT(view.get(HEIGHT_FILTER_MODE), ElementsAre(2));
}

}  // namespace
}  // namespace velora
