#include "model/Profile.h"

#include <tuple>

#include <gtest/gtest.h>

namespace velora {
namespace {

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

}  // namespace
}  // namespace velora
