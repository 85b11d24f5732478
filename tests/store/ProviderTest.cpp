#include "store/Provider.h"
#include "tests/store/StoreFixture.h"

#include <fstream>

namespace velora::test {
namespace {

using ProviderTest = StoreFixture;

TEST_F(ProviderTest, TuningsAreCachedByNameAndDevicesByPort) {
    Provider provider;
    fill(provider, 5, 2);
    DeviceTuning orphan("an orphan", "hdmi", "nothing");
    provider.create(&orphan, Provider::kOemName);
    EXPECT_EQ(provider.loadTuningForDevice("device1"), nullptr);  // its port isn't loaded yet
    EXPECT_EQ(provider.loadDeviceTuningsForPort(PORT_USB).size(), 2U);
    EXPECT_EQ(provider.loadDeviceTuningsForPort(PORT_HDMI).size(), 1U);
    EXPECT_EQ(provider.loadTuningForDevice("an orphan"), nullptr);
    Tuning* const tuning = provider.loadTuningForDevice("device1");
    ASSERT_NE(tuning, nullptr);
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
        const ReadSession session = provider.startReading();
        EXPECT_TRUE(session.ok());
        EXPECT_TRUE(provider.loadDeviceTuningsForPort(PORT_USB).empty());
        EXPECT_TRUE(provider.loadDeviceTuningsForPort(static_cast<Port>(99)).empty());
        EXPECT_EQ(provider.getDefaultXmlSignature(), "");
        EXPECT_FALSE(session.ok());
    }
    const ReadSession session = provider.startReading();
    EXPECT_EQ(provider.loadDeviceTuningsForPort(PORT_USB).size(), 2U);
    EXPECT_EQ(provider.getDefaultXmlSignature(), "5");
    EXPECT_TRUE(session.ok());
    EXPECT_FALSE(provider.isDamaged());
}

TEST_F(ProviderTest, ADamagedFileThatCannotBePutAsideStaysAsItIs) {
    std::filesystem::create_directories(database.string() + ".damaged/occupied");
    std::ofstream(database) << std::string(100000, 'x');
    Provider provider;
    EXPECT_EQ(provider.init(), -22);
    provider.replaceDamaged();
    EXPECT_EQ(log.count("E DatabaseHelper: the damaged database ..."), 1U);
    EXPECT_TRUE(provider.isDamaged());
    EXPECT_FALSE(fill(provider, 1));
    EXPECT_EQ(std::filesystem::file_size(database), 100000U);
}

}  // namespace
}  // namespace velora::test
