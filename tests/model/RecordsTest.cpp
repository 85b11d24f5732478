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
    EXPECT_TRUE(profile.get(GEQ_GAIN).empty());
    EXPECT_EQ(profile.size(), 2U);
    EXPECT_FALSE(profile.isDirty());
    profile.set(CUSTOM_DRC_METADATA, {});  // unguarded: the same values, and still a change
    EXPECT_TRUE(profile.isDirty());
}

TEST(ParameterValuesTest, CompletingGivesExactlyTheParametersOfASet) {
    ProfileEndpoint endpoint(0, Endpoint::SPEAKER, 0);
    endpoint.set(VOLMAX_BOOST, {7});
    endpoint.set(GEQ_GAIN, {1});
    endpoint.setDirty(false);
    const ParameterSet dropped = endpoint.completeTo(ProfileEndpoint::kStoredParams);
    EXPECT_TRUE(dropped.size() == 1 && dropped.contains(GEQ_GAIN));
    EXPECT_EQ(endpoint.size(), 28U);
    EXPECT_EQ(endpoint.get(VOLMAX_BOOST), Values{7});
    EXPECT_EQ(*endpoint.find(VIRTUAL_BASS_TYPE), Values{});
    EXPECT_FALSE(endpoint.checkAndUpdate(VIRTUAL_BASS_TYPE, {1}));  // stored, but not changed
    EXPECT_FALSE(endpoint.isDirty());
}

TEST(RecordsTest, TextFormsAreExact) {
    Tuning tuning(7, "Dock", Endpoint::HEADPHONE, true, false);
    tuning.set(OUTPUT_MIX_MATRIX, {16384, 0, -2});
    tuning.set(AUDIO_OPTIMIZER_ENABLE, {1});
    tuning.set(ORIENTATION, {});
    EXPECT_EQ(tuning.toString(),
              "id=7\nname=Dock\nendpoint=headphone\nmono=true\nreadonly=false\n"
              "audio_optimizer_enable=1,\norientation=\noutput_mix_matrix=16384,0,-2,\n");
    EXPECT_EQ(DeviceTuning("dev", "usb", "").toString(), "id=-1\ndevice=dev\nport=usb\ntuning=");
    EXPECT_EQ(Profile(3, "Movie", true).toString(),
              "id=-1\nprofileId=3\nname=Movie\nmobility=true\nselectedGeqPreset=3\n");
    EXPECT_EQ(ProfileEndpoint(2, 1, Endpoint::OTHER, 3).toString(),
              "id=2\nprofileId=1\nendpoint=other\nselectedIeqPreset=3\n");
    EXPECT_EQ(GeqPreset(9, 2).toString(), "id=9\nprofileId=2\n");
    // The preset's number is shown once, though it is a value too.
    IeqPreset preset(2, "balanced");
    preset.set(IEQ_TARGET, {-1});
    EXPECT_EQ(preset.get(IEQ_ID), Values{2});
    EXPECT_EQ(preset.toString(), "id=-1\npresetId=2\nname=balanced\nieq_target=-1,\n");
}

TEST(RecordsTest, StartDirtyWhenNewAndCleanWhenReadWithTheKnownExceptions) {
    const Tuning made("t", Endpoint::SPEAKER, false);
    EXPECT_TRUE(made.isDirty() && made.isReadonly() && made.getId() == -1);
    EXPECT_FALSE(Tuning(1, "t", Endpoint::SPEAKER, false, false).isDirty());
    EXPECT_TRUE(Profile(0, "p", false).isDirty());
    EXPECT_FALSE(Profile(1, 0, "p", false).isDirty());
    EXPECT_TRUE(ProfileEndpoint(0, Endpoint::SPEAKER, 0).isDirty());
    EXPECT_FALSE(ProfileEndpoint(1, 0, Endpoint::SPEAKER, 0).isDirty());
    EXPECT_TRUE(GeqPreset(0).isDirty());
    EXPECT_FALSE(GeqPreset(1, 0).isDirty());
    EXPECT_TRUE(IeqPreset(1, 2, "warm").isDirty());  // storing its number is a change
    EXPECT_TRUE(DeviceTuning(1, "d", "usb", "t").isDirty());
}

TEST(RecordsTest, AttributesMarkTheRecordDirtyOnlyWhereTheyAreSettings) {
    const auto dirties = [](auto record, auto change) {
        record.setDirty(false);
        change(record);
        return record.isDirty();
    };
    const Profile profile(1, 3, "p", false);
    EXPECT_FALSE(dirties(profile, [](auto& p) { p.setMobility(true); }));
    EXPECT_TRUE(dirties(profile, [](auto& p) { p.setSelectedGeqPreset(1); }));
    EXPECT_TRUE(dirties(profile, [](auto& p) { p.setName("q"); }));
    EXPECT_TRUE(dirties(ProfileEndpoint(1, 0, Endpoint::OTHER, 0),
                        [](auto& e) { e.setSelectedIeqPreset(2); }));
    EXPECT_TRUE(dirties(IeqPreset(1, "warm"), [](auto& p) { p.setName("warmer"); }));
    EXPECT_FALSE(dirties(Tuning(1, "t", Endpoint::OTHER, false, true), [](auto& tuning) {
        tuning.setMono(true);
        tuning.setEndpoint("usb");
        tuning.setEndpoint("speaker");  // a short name is no port's name
        EXPECT_TRUE(tuning.isMono() && tuning.getEndpoint() == Endpoint::HEADPHONE);
    }));
}

TEST(RecordsTest, EqualityIsThatOfNumbersAndEntriesInWhateverOrderTheyCame) {
    GeqPreset a(1);
    GeqPreset b(5, 1);
    a.set(GEQ_FREQUENCY, {100});
    a.set(GEQ_GAIN, {2});
    b.set(GEQ_GAIN, {2});
    EXPECT_FALSE(a.equals(b));
    b.set(GEQ_FREQUENCY, {100});
    EXPECT_TRUE(a.equals(b));
    EXPECT_FALSE(GeqPreset(0).equals(GeqPreset(1)));

    const Profile profile(0, "a", false);
    Profile changed = profile;
    changed.set(CUSTOM_DRC_METADATA, {1});
    EXPECT_TRUE(profile.equals(Profile(0, "b", true)));
    EXPECT_FALSE(profile.equals(Profile(1, "a", false)) || profile.equals(changed));

    const ProfileEndpoint endpoint(0, Endpoint::OTHER, 1);
    ProfileEndpoint louder = endpoint;
    louder.set(VOLMAX_BOOST, {1});
    EXPECT_TRUE(endpoint.equals(ProfileEndpoint(5, 0, Endpoint::OTHER, 1)));
    for (const auto& other :
         {ProfileEndpoint(0, Endpoint::OTHER, 2), louder, ProfileEndpoint(0, Endpoint::SPEAKER, 1),
          ProfileEndpoint(1, Endpoint::OTHER, 1)}) {
        EXPECT_FALSE(endpoint.equals(other)) << other.toString();
    }
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
