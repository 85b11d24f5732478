#include "model/DeviceData.h"

#include <gtest/gtest.h>

namespace velora {
namespace {

using Values = ParameterValues::Values;

TEST(ParameterValuesTest, CheckAndUpdateTakesOnlyValidChanges) {
    struct Case {
        int parameter;
        Values values;
        bool taken;
    } const cases[] = {
        {GEQ_GAIN, {1}, false},                   // not a profile's
        {HEADPHONE_VIRTUALIZER_MODE, {}, false},  // an entry, but no change
        {CUSTOM_DRC_METADATA, {1, 2}, true},
        {CUSTOM_DRC_METADATA, {1, 2}, false},
        {CUSTOM_DRC_METADATA, {1, 3}, true},
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

TEST(ParameterValuesTest, CompletingGivesExactlyTheParametersOfASet) {
    ProfileEndpoint endpoint(0, Endpoint::SPEAKER, 0);
    for (const Parameter parameter : {VOLMAX_BOOST, GEQ_GAIN}) endpoint.set(parameter, {7});
    endpoint.setDirty(false);
    const ParameterSet dropped = endpoint.completeTo(ProfileEndpoint::kStoredParams);
    EXPECT_TRUE(dropped.size() == 1 && dropped.contains(GEQ_GAIN));
    EXPECT_EQ(endpoint.size(), 28U);
    EXPECT_EQ(endpoint.get(VOLMAX_BOOST), Values{7});
    EXPECT_FALSE(endpoint.checkAndUpdate(VIRTUAL_BASS_TYPE, {1}));  // stored, but not changed
    EXPECT_FALSE(endpoint.isDirty());
}

TEST(RecordsTest, ARecordThatWasReadIsCleanUntilASettingChanges) {
    Profile profile(1, 3, "p", false);
    ProfileEndpoint endpoint(1, 0, Endpoint::OTHER, 0);
    profile.setMobility(true);
    EXPECT_FALSE(profile.isDirty() || endpoint.isDirty() || GeqPreset(1, 0).isDirty());
    profile.setSelectedGeqPreset(1);
    endpoint.setSelectedIeqPreset(2);
    EXPECT_TRUE(profile.isDirty() && endpoint.isDirty() && GeqPreset(0).isDirty());
}

TEST(RecordsTest, EqualityIsThatOfNumbersAndEntries) {
    const Profile profile(0, "a", false);
    Profile changed = profile;
    changed.set(CUSTOM_DRC_METADATA, {1});
    EXPECT_TRUE(profile.equals(Profile(5, 0, "b", true)));
    EXPECT_FALSE(profile.equals(Profile(1, "a", false)) || profile.equals(changed));
    EXPECT_FALSE(GeqPreset(0).equals(GeqPreset(1)));
    const ProfileEndpoint endpoint(0, Endpoint::OTHER, 1);
    EXPECT_TRUE(endpoint.equals(ProfileEndpoint(5, 0, Endpoint::OTHER, 1)));
    for (const auto& other :
         {ProfileEndpoint(0, Endpoint::OTHER, 2), ProfileEndpoint(0, Endpoint::SPEAKER, 1),
          ProfileEndpoint(1, Endpoint::OTHER, 1)})
        EXPECT_FALSE(endpoint.equals(other)) << other.toString();
}

TEST(DeviceDataTest, ValidatingSelectsTheOffPresetWhereIeqIsOff) {
    const std::pair<Values, int> cases[] = {{{0}, 0}, {{1}, 3}, {{}, 3}};
    for (const auto& [enabled, preset] : cases) {
        ProfileEndpoint endpoint(0, Endpoint::SPEAKER, 3);
        endpoint.set(IEQ_ENABLE, enabled);
        DeviceData data;
        data.setProfileEndPoints({&endpoint});
        data.validateData();
        EXPECT_EQ(endpoint.getSelectedIeqPreset(), preset);
    }
}

}  // namespace
}  // namespace velora
