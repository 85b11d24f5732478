#include "model/DeviceTuning.h"
#include "model/IeqPreset.h"
#include "model/Profile.h"

#include <gtest/gtest.h>

namespace velora {
namespace {

TEST(ParameterValuesTest, CheckAndUpdateStoresOnlyChangesOfValidParameters) {
    using Values = ParameterValues::Values;
    const struct {
        int parameter;
        Values given;
        bool isChange;
        Values stored;  ///< afterwards
    } rows[] = {
        {GEQ_GAIN, {1}, false, {}},  // not valid in a profile
        {HEADPHONE_VIRTUALIZER_MODE, {}, false, {}},
        {CUSTOM_DRC_METADATA, {1, 2}, true, {1, 2}},
        {CUSTOM_DRC_METADATA, {1, 2}, false, {1, 2}},
        {CUSTOM_DRC_METADATA, {}, true, {}},
        {-1, {1}, false, {}},
        {INT32_MAX, {1}, false, {}},
    };
    Profile profile(4, 0, "Music", false);
    for (const auto& row : rows) {
        profile.setDirty(false);
        const auto parameter = static_cast<Parameter>(row.parameter);
        SCOPED_TRACE(&row - rows);
        EXPECT_EQ(profile.checkAndUpdate(parameter, row.given), row.isChange);
        EXPECT_EQ(profile.isDirty(), row.isChange);
        EXPECT_EQ(profile.get(parameter), row.stored);
    }
}

TEST(ParameterValuesTest, OnlyNumbersOfParametersGetAnEntry) {
    Profile profile(4, 0, "Music", false);
    for (const int number : {0, 103, 104, -1}) profile.set(static_cast<Parameter>(number), {1});
    EXPECT_EQ(profile.size(), 2U);
}

TEST(RecordsTest, TheTextOfAPresetAndOfADevice) {
    EXPECT_EQ(IeqPreset(4, 2, "Rich").toString(), "id=4\npresetId=2\nname=Rich\n");
    EXPECT_EQ(DeviceTuning("dac", "usb", "Flat").toString(),
              "id=-1\ndevice=dac\nport=usb\ntuning=Flat");
}

TEST(RecordsTest, ProfilesCompareByNumberAndValuesButNotByName) {
    Profile profile(4, 0, "Music", false), other(5, 0, "Film", true);
    EXPECT_TRUE(profile.equals(other));
    other.set(CUSTOM_DRC_METADATA, {1});
    EXPECT_FALSE(profile.equals(other));
}

}  // namespace
}  // namespace velora
