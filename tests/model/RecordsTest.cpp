#include "model/DeviceData.h"

#include <gtest/gtest.h>

namespace velora {
namespace {

using Values = ParameterValues::Values;

TEST(ParameterValuesTest, CheckAndUpdateTakesOnlyValidChanges) {
    Profile profile(4, 0, "Music", false);
    EXPECT_FALSE(profile.checkAndUpdate(GEQ_GAIN, {1}));  // not a profile's
    EXPECT_EQ(profile.size(), 0U);

    EXPECT_FALSE(profile.checkAndUpdate(CUSTOM_DRC_METADATA, {}));  // an entry, but no change
    EXPECT_NE(profile.find(CUSTOM_DRC_METADATA), nullptr);
    EXPECT_FALSE(profile.isDirty());

    EXPECT_TRUE(profile.checkAndUpdate(CUSTOM_DRC_METADATA, {1, 2}));
    EXPECT_TRUE(profile.isDirty());
    profile.setDirty(false);
    EXPECT_FALSE(profile.checkAndUpdate(CUSTOM_DRC_METADATA, {1, 2}));
    EXPECT_FALSE(profile.isDirty());
    EXPECT_TRUE(profile.checkAndUpdate(CUSTOM_DRC_METADATA, {1, 2, 3}));
    EXPECT_TRUE(
        profile.checkAndUpdate(HEADPHONE_VIRTUALIZER_MODE, profile.get(CUSTOM_DRC_METADATA)));
    EXPECT_TRUE(profile.checkAndUpdate(CUSTOM_DRC_METADATA, {}));

    profile.setDirty(false);
    profile.set(CUSTOM_DRC_METADATA, {});  // unguarded: the same values, and still a change
    EXPECT_TRUE(profile.isDirty());
}

TEST(ParameterValuesTest, LookupNeverInserts) {
    const GeqPreset preset(0);
    EXPECT_EQ(preset.find(GEQ_GAIN), nullptr);
    EXPECT_TRUE(preset.get(GEQ_GAIN).empty());
    EXPECT_EQ(preset.size(), 0U);
}

TEST(ParameterValuesTest, NumbersThatAreNoParametersAreIgnored) {
    GeqPreset preset(0);
    for (const int number : {-1, 104, 128, 200, INT32_MAX}) {
        preset.set(static_cast<Parameter>(number), {1});
        EXPECT_FALSE(preset.checkAndUpdate(static_cast<Parameter>(number), {1}));
        EXPECT_EQ((ParameterSet() | static_cast<Parameter>(number)).size(), 0U);
    }
    EXPECT_EQ(preset.size(), 0U);
}

TEST(ParameterValuesTest, EqualityIsThatOfTheEntriesInWhateverOrderTheyCame) {
    GeqPreset a(1);
    GeqPreset b(1);
    a.set(GEQ_FREQUENCY, {100});
    a.set(GEQ_GAIN, {2});
    b.set(GEQ_GAIN, {2});
    EXPECT_FALSE(a.equals(b));
    b.set(GEQ_FREQUENCY, {100});
    b.setDirty(false);
    EXPECT_TRUE(a.equals(b));
    a.set(PEAK_VALUE, {});
    EXPECT_FALSE(a.equals(b));
}

TEST(ParameterValuesTest, CompletingGivesExactlyTheParametersOfASet) {
    ProfileEndpoint endpoint(0, Endpoint::SPEAKER, 0);
    endpoint.set(VOLMAX_BOOST, {7});
    endpoint.set(GEQ_GAIN, {1});
    endpoint.setDirty(false);
    const ParameterSet dropped = endpoint.completeTo(ProfileEndpoint::kStoredParams);
    EXPECT_EQ(dropped.size(), 1U);
    EXPECT_TRUE(dropped.contains(GEQ_GAIN));
    EXPECT_EQ(endpoint.size(), 28U);
    EXPECT_EQ(endpoint.get(VOLMAX_BOOST), Values{7});
    EXPECT_EQ(*endpoint.find(VIRTUAL_BASS_TYPE), Values{});
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
    EXPECT_EQ(DeviceTuning("dev", "usb", "Dock").toString(),
              "id=-1\ndevice=dev\nport=usb\ntuning=Dock");
    EXPECT_EQ(DeviceTuning(3, "dev", "usb", "").toString(), "id=3\ndevice=dev\nport=usb\ntuning=");
    EXPECT_EQ(Profile(3, "Movie", true).toString(),
              "id=-1\nprofileId=3\nname=Movie\nmobility=true\nselectedGeqPreset=3\n");
    EXPECT_EQ(ProfileEndpoint(2, 1, Endpoint::OTHER, 3).toString(),
              "id=2\nprofileId=1\nendpoint=other\nselectedIeqPreset=3\n");
    EXPECT_EQ(GeqPreset(9, 2).toString(), "id=9\nprofileId=2\n");
    // The preset's number is shown once, though it is a value too.
    IeqPreset preset(2, "balanced");
    preset.set(IEQ_TARGET, {-1});
    EXPECT_EQ(preset.toString(), "id=-1\npresetId=2\nname=balanced\nieq_target=-1,\n");
}

TEST(RecordsTest, StartDirtyWhenNewAndCleanWhenReadWithTheKnownExceptions) {
    const Tuning made("t", Endpoint::SPEAKER, false);
    EXPECT_TRUE(made.isDirty() && made.isReadonly() && made.getId() == -1);
    EXPECT_FALSE(Tuning(1, "t", Endpoint::SPEAKER, false, false).isDirty());
    EXPECT_FALSE(Tuning(1, "t", Endpoint::SPEAKER, false, false).isReadonly());
    EXPECT_TRUE(Profile(0, "p", false).isDirty());
    EXPECT_FALSE(Profile(1, 0, "p", false).isDirty());
    EXPECT_TRUE(ProfileEndpoint(0, Endpoint::SPEAKER, 0).isDirty());
    EXPECT_FALSE(ProfileEndpoint(1, 0, Endpoint::SPEAKER, 0).isDirty());
    EXPECT_TRUE(GeqPreset(0).isDirty());
    EXPECT_FALSE(GeqPreset(1, 0).isDirty());
    EXPECT_TRUE(IeqPreset(1, 2, "warm").isDirty());  // storing its number is a change
    EXPECT_EQ(IeqPreset(1, 2, "warm").get(IEQ_ID), Values{2});
    EXPECT_TRUE(DeviceTuning(1, "d", "usb", "t").isDirty());
}

TEST(RecordsTest, AttributesMarkTheRecordDirtyOnlyWhereTheyAreSettings) {
    Profile profile(1, 3, "p", false);
    EXPECT_EQ(profile.getSelectedGeqPreset(), 3);
    profile.setMobility(true);
    EXPECT_TRUE(profile.isMobility());
    EXPECT_FALSE(profile.isDirty());
    profile.setSelectedGeqPreset(1);
    EXPECT_TRUE(profile.isDirty());
    profile.setDirty(false);
    profile.setName("q");
    EXPECT_TRUE(profile.isDirty());

    ProfileEndpoint endpoint(1, 0, Endpoint::OTHER, 0);
    endpoint.setSelectedIeqPreset(2);
    EXPECT_TRUE(endpoint.isDirty());

    IeqPreset preset(1, "warm");
    preset.setDirty(false);
    preset.setName("warmer");
    EXPECT_TRUE(preset.isDirty());

    DeviceTuning device("d", "usb", "t");
    device.setDirty(false);
    EXPECT_FALSE(device.isDirty());

    Tuning tuning(1, "t", Endpoint::OTHER, false, true);
    tuning.setMono(true);
    EXPECT_TRUE(tuning.isMono());
    tuning.setEndpoint("usb");
    EXPECT_EQ(tuning.getEndpoint(), Endpoint::HEADPHONE);
    tuning.setEndpoint("speaker");  // a short name is no port's name
    EXPECT_EQ(tuning.getEndpoint(), Endpoint::HEADPHONE);
    EXPECT_FALSE(tuning.isDirty());
}

TEST(RecordsTest, EqualityLeavesNamesOut) {
    EXPECT_TRUE(Profile(0, "a", false).equals(Profile(0, "b", true)));
    EXPECT_FALSE(Profile(0, "a", false).equals(Profile(1, "a", false)));
    const ProfileEndpoint endpoint(0, Endpoint::OTHER, 1);
    EXPECT_TRUE(endpoint.equals(ProfileEndpoint(5, 0, Endpoint::OTHER, 1)));
    EXPECT_FALSE(endpoint.equals(ProfileEndpoint(0, Endpoint::OTHER, 2)));
    EXPECT_FALSE(endpoint.equals(ProfileEndpoint(0, Endpoint::SPEAKER, 1)));
    EXPECT_FALSE(endpoint.equals(ProfileEndpoint(1, Endpoint::OTHER, 1)));
    EXPECT_FALSE(GeqPreset(0).equals(GeqPreset(1)));
    Profile changed(0, "a", false);
    changed.set(CUSTOM_DRC_METADATA, {1});
    EXPECT_FALSE(changed.equals(Profile(0, "a", false)));
    ProfileEndpoint louder(endpoint);
    louder.set(VOLMAX_BOOST, {1});
    EXPECT_FALSE(louder.equals(endpoint));
}

TEST(RecordsTest, NoRecordButTheDeviceViewTakesTheVirtualBassType) {
    EXPECT_FALSE(Tuning("t", Endpoint::SPEAKER, false).checkAndUpdate(VIRTUAL_BASS_TYPE, {1}));
    EXPECT_FALSE(Tuning("t", Endpoint::SPEAKER, false).checkAndUpdate(VIRTUAL_BASS_ENABLE, {1}));
    ProfileEndpoint endpoint(0, Endpoint::SPEAKER, 0);
    EXPECT_FALSE(endpoint.checkAndUpdate(VIRTUAL_BASS_TYPE, {1}));
    EXPECT_TRUE(endpoint.checkAndUpdate(VIRTUAL_BASS_ENABLE, {1}));
}

TEST(DeviceDataTest, ValidatingSelectsTheOffPresetWhereIeqIsOff) {
    ProfileEndpoint off(0, Endpoint::SPEAKER, 3);
    ProfileEndpoint on(0, Endpoint::HEADPHONE, 3);
    ProfileEndpoint silent(0, Endpoint::OTHER, 3);
    off.set(IEQ_ENABLE, {0});
    on.set(IEQ_ENABLE, {1});
    silent.set(IEQ_ENABLE, {});
    {
        DeviceData data;
        data.setProfileEndPoints({&off, &on, &silent});
        data.validateData();
    }
    EXPECT_EQ(off.getSelectedIeqPreset(), 0);
    EXPECT_EQ(on.getSelectedIeqPreset(), 3);
    EXPECT_EQ(silent.getSelectedIeqPreset(), 3);
}

}  // namespace
}  // namespace velora
