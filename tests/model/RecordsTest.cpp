#include "model/DeviceTuning.h"
#include "model/IeqPreset.h"
#include "model/Profile.h"
#include "model/Tuning.h"

#include <gtest/gtest.h>

namespace velora {
namespace {

TEST(ParameterValuesTest, CheckAndUpdateStoresOnlyChangesOfValidParameters) {
    const struct {
        int parameter;
        ParameterValues::Values values;
        bool isStored;
    } rows[] = {
        {.parameter = GEQ_GAIN, .values = {1}, .isStored = false},  // not valid in a profile
        {.parameter = HEADPHONE_VIRTUALIZER_MODE, .values = {}, .isStored = false},
        {.parameter = CUSTOM_DRC_METADATA, .values = {1, 2}, .isStored = true},
        {.parameter = CUSTOM_DRC_METADATA, .values = {1, 2}, .isStored = false},
        {.parameter = CUSTOM_DRC_METADATA, .values = {}, .isStored = true},
        {.parameter = -1, .values = {1}, .isStored = false},
        {.parameter = INT32_MAX, .values = {1}, .isStored = false},
    };
    Profile profile(4, 0, "Music", false);
    for (const auto& row : rows) {
        profile.setDirty(false);
        const auto parameter = static_cast<Parameter>(row.parameter);
        EXPECT_EQ(profile.checkAndUpdate(parameter, row.values), row.isStored) << &row - rows;
        EXPECT_EQ(profile.isDirty(), row.isStored) << &row - rows;
        if (row.isStored) {
            EXPECT_EQ(profile.get(parameter), row.values) << &row - rows;
        }
    }
    profile.set(static_cast<Parameter>(104), {1});
    EXPECT_EQ(profile.size(), 2U) << "a valid parameter has an entry, a refused one has none";
}

TEST(RecordsTest, TheTextFormListsFieldsThenValuesExceptTheIeqId) {
    Tuning tuning("Flat", Endpoint::SPEAKER, true);
    tuning.set(HEIGHT_FILTER_MODE, {0, -2});
    EXPECT_EQ(tuning.toString(),
              "id=-1\nname=Flat\nendpoint=speaker\nmono=true\nreadonly=true\n"
              "height_filter_mode=0,-2,\n");
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
