#include "model/DeviceParameters.h"

#include <string>
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
    std::vector<std::string> told;
};

TEST(ParameterViewTest, TellsOfWhatIsNewInAscendingOrderAndOfNothingElse) {
    RecordingObserver observer;
    DeviceParameters view(&observer);
    Tuning tuning("t", Endpoint::SPEAKER, true);
    tuning.set(REGULATOR_ENABLE, {1});
    tuning.set(HEIGHT_FILTER_MODE, {2});
    tuning.set(OUTPUT_MIX_MATRIX, {});
    tuning.set(HEADPHONE_VIRTUALIZER_MODE, {3});  // not a device's
    for (int i = 0; i < 2; ++i) view.setTuning(tuning);
    Tuning other("o", Endpoint::HEADPHONE, false);
    other.set(REGULATOR_ENABLE, {0});
    other.set(HEIGHT_FILTER_MODE, {});
    view.setTuning(other);
    ProfileEndpoint endpoint(0, Endpoint::SPEAKER, 0);
    endpoint.set(VIRTUAL_BASS_TYPE, {1});
    view.setProfileEndpoint(endpoint);
    EXPECT_THAT(observer.told,
                ElementsAre("other", "speaker mono", "height_filter_mode", "regulator_enable",
                            "speaker mono", "headphone", "regulator_enable", "virtual_bass_type"));
    EXPECT_THAT(view.get(HEIGHT_FILTER_MODE), ElementsAre(2));
}

}  // namespace
}  // namespace velora
