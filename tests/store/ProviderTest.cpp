#include "store/Provider.h"
#include "tests/store/StoreFixture.h"

#include <fstream>

namespace velora::test {
namespace {

using testing::ElementsAre;
using Values = ParameterValues::Values;
using ProviderTest = StoreFixture;

TEST_F(ProviderTest, AFreshStoreHasNoRecordsAndItsDefaults) {
    Provider provider;
    provider.initDatabase();
    EXPECT_TRUE(provider.isDatabaseVersionChanged());
    EXPECT_EQ(provider.init(), -22);
    EXPECT_EQ(provider.getSelectedProfile(), -1);
    provider.setSfxOn(true);  // no row: none is made
    EXPECT_FALSE(provider.isSfxOn());
    for (const char* signature : {"abc", "def"}) provider.setDefaultXmlSignature(signature);
    EXPECT_TRUE(provider.isSfxOn() && !provider.isDatabaseVersionChanged());
    EXPECT_EQ(provider.getSelectedProfile(), 0);
    EXPECT_EQ(provider.getDefaultXmlSignature(), "abc") << "the first row counts";
}

TEST_F(ProviderTest, SavingChangesTheUsersCopyAndResettingBringsTheFactorysBack) {
    Provider before;
    ASSERT_TRUE(fill(before, 5));
    ASSERT_EQ(before.init(), 0);
    ASSERT_TRUE(saveAll(before, 8));
    Provider provider;  // another life of the process
    ASSERT_EQ(provider.init(), 0);
    EXPECT_EQ(provider.getNumOfProfiles(), 3);
    GeqPreset* const geq = provider.loadGeqPreset(1);
    EXPECT_EQ(geq->get(GEQ_GAIN), Values(20, 8));
    EXPECT_EQ(provider.loadDefaultGeqPreset(1)->get(GEQ_GAIN), Values(20, 5));
    const int64_t row = geq->getId();
    EXPECT_EQ(provider.reset(geq)->getId(), row);
    EXPECT_EQ(provider.loadGeqPreset(1)->get(GEQ_GAIN), Values(20, 8));  // not stored by the reset
    provider.save(provider.reset(geq));
    EXPECT_FALSE(geq->isDirty());
    EXPECT_TRUE(provider.loadGeqPreset(1)->equals(*provider.loadDefaultGeqPreset(1)));
    ProfileEndpoint* const other = provider.loadProfileEndpoint(2, Endpoint::OTHER);
    EXPECT_EQ(provider.reset(other)->getSelectedIeqPreset(), 5);
    EXPECT_EQ(provider.reset(provider.loadProfile(2))->getSelectedGeqPreset(), 5);
}

TEST_F(ProviderTest, TuningsAreCachedByNameAndDevicesByPort) {
    Provider provider;
    fill(provider, 5, 2);
    DeviceTuning shared("hdmi_tv", "hdmi", "tuning1");
    DeviceTuning orphan("an orphan", "hdmi", "nothing");
    for (auto* device : {&shared, &orphan}) provider.create(device, Provider::kOemName);
    EXPECT_EQ(provider.loadTuningForDevice("device1"), nullptr);  // its port isn't loaded yet
    EXPECT_THAT(devices(provider, PORT_USB), ElementsAre("device0", "device1"));
    EXPECT_THAT(devices(provider, PORT_HDMI), ElementsAre("hdmi_tv", "an orphan"));
    Tuning* const tuning = provider.loadTuningForDevice("device1");
    ASSERT_NE(tuning, nullptr);
    EXPECT_EQ(tuning->get(AUDIO_OPTIMIZER_GAIN_L), Values(40, 5));
    EXPECT_EQ(provider.loadTuningForDevice("hdmi_tv"), tuning);
    EXPECT_EQ(provider.loadTuningForDevice("an orphan"), nullptr);

    fill(provider, 6, 2);
    provider.reloadCachedDeviceTunings();
    EXPECT_TRUE(devices(provider, PORT_HDMI).empty());
    EXPECT_EQ(tuning->get(AUDIO_OPTIMIZER_GAIN_L), Values(40, 6));  // the same object, new values
    DatabaseHelper("kiv_sqlite3.db").execSQL("DELETE FROM tunings WHERE name='tuning1'");
    provider.reloadCachedDeviceTunings();
    EXPECT_EQ(provider.loadTuningForDevice("device1"), nullptr);
    EXPECT_EQ(tuning->getName(), "tuning1") << "it was handed out";
}

TEST_F(ProviderTest, ProfilesAndPresetsAreKnownByTheirNumbers) {
    Provider provider;
    fill(provider, 5);
    for (const int id : {4, 256}) {
        Profile profile(id, "number " + std::to_string(id), false);
        provider.create(&profile);
    }
    ASSERT_EQ(provider.init(), 0);
    EXPECT_EQ(provider.getNumOfProfiles(), 5);
    EXPECT_EQ(provider.loadProfile(3)->getName() + provider.loadProfile(4)->getName(), "number 4");
    EXPECT_EQ(log.count("E VlrDatabaseProvider: there can't be a profile 256"), 1U);
    EXPECT_EQ(provider.loadProfile(5), nullptr);
    EXPECT_EQ(provider.loadProfileEndpoints(-1)[0], nullptr);

    IeqPreset* const off = provider.loadIeqPreset(0);
    EXPECT_EQ(off->getName(), "off5");
    EXPECT_EQ(provider.loadIeqPreset(1)->size(), 3U) << "no row: empty curves";
    for (const int id : {2, -1}) EXPECT_EQ(provider.loadIeqPreset(id), off);
}

TEST_F(ProviderTest, WhatAnotherProcessHoldsIsAskedForAgain) {
    Provider provider;
    fill(provider, 5, 2);
    {
        DatabaseHelper other("kiv_sqlite3.db");
        other.beginTransaction();
        EXPECT_TRUE(devices(provider, PORT_USB).empty());
        EXPECT_TRUE(devices(provider, static_cast<Port>(99)).empty());
        EXPECT_EQ(provider.getDefaultXmlSignature(), "");
        EXPECT_EQ(provider.failedReads(), 2U);
    }
    EXPECT_EQ(devices(provider, PORT_USB).size(), 2U);
    EXPECT_EQ(provider.getDefaultXmlSignature(), "5");
    EXPECT_EQ(provider.failedReads(), 2U);
    EXPECT_FALSE(provider.isDamaged());
}

TEST_F(ProviderTest, AFileThatIsNoDatabaseIsPutAsideAndReplacedOrStaysAsItIs) {
    const auto aside = database.string() + ".damaged";
    std::filesystem::create_directories(aside + "/occupied");
    std::ofstream(database) << std::string(100000, 'x');
    Provider provider;
    EXPECT_EQ(provider.init(), -22);
    provider.replaceDamaged();
    EXPECT_EQ(log.count("E DatabaseHelper: the damaged database ..."), 1U);
    EXPECT_TRUE(provider.isDamaged());
    EXPECT_FALSE(fill(provider, 1));
    EXPECT_EQ(std::filesystem::file_size(database), 100000U);

    std::filesystem::remove_all(aside);
    provider.replaceDamaged();
    EXPECT_FALSE(provider.isDamaged());
    EXPECT_TRUE(fill(provider, 1));
    EXPECT_EQ(std::filesystem::file_size(aside), 100000U);
}

}  // namespace
}  // namespace velora::test
