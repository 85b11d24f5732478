#include "effect/DeviceParameters.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velora {
namespace {

using testing::ElementsAre;

struct RecordingObserver : ParamChangeObserver {
    void setSource(ParameterValues*, Endpoint endpoint, bool mono) override {
        told += " " + std::string(endpointName(endpoint)) + (mono ? " mono" : "");
    }
    void onParameterChanged(Parameter parameter) override {
        told += " " + std::string(parameterInfo(parameter).column);
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
