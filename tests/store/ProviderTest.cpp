#include "store/Provider.h"
#include "tests/store/StoreFixture.h"

#include <fstream>

namespace velora::test {
namespace {

using testing::ElementsAre;
using Values = ParameterValues::Values;

class ProviderTest : public StoreFixture {
protected:
    std::vector<std::string> devices(Provider& provider, Port port) {
        std::vector<std::string> names;
        for (const auto* device : provider.loadDeviceTuningsForPort(port)) {
            names.push_back(device->getDevice());
        }
        return names;
    }
};

TEST_F(ProviderTest, AFreshStoreHasItsDefaults) {
    Provider provider;
    provider.initDatabase();
    EXPECT_TRUE(provider.isDatabaseVersionChanged());
    EXPECT_EQ(provider.init(), -22);
    for (const std::string what : {"profiles", "ieq presets"}) {
        EXPECT_EQ(
            log.count("E VlrDatabaseProvider: init(): No " + what + " found from the database"),
            1U);
    }
    EXPECT_EQ(provider.getSelectedProfile(), -1);
    EXPECT_EQ(provider.getZenithGameSystemGain(), 0);
    provider.setDefaultXmlSignature("abc");
    provider.setDefaultXmlFormatVersion("3.4.0");
    provider.setZenithGameSystemGain(-24);
    provider.setDeviceTuning("usb", "dac");
    provider.updateDeviceTuning("usb", "dac2");
    EXPECT_TRUE(provider.isSfxOn() && !provider.isDatabaseVersionChanged());
    EXPECT_EQ(provider.getSelectedProfile(), 0);
    EXPECT_EQ(provider.getDefaultXmlSignature() + provider.getDefaultXmlFormatVersion(),
              "abc3.4.0");
    EXPECT_EQ(provider.getZenithGameSystemGain(), -24);
    EXPECT_EQ(provider.getDeviceTuning("usb"), "dac2");
    EXPECT_EQ(provider.loadIeqPreset(7)->getName(), "off");
    provider.save(static_cast<Profile*>(nullptr));
    EXPECT_EQ(provider.reset(static_cast<GeqPreset*>(nullptr)), nullptr);
    EXPECT_EQ(provider.loadProfile(0), nullptr);
}

TEST_F(ProviderTest, SavingChangesTheUsersCopyAndResettingBringsTheFactorysBack) {
    Provider before;
    ASSERT_TRUE(fill(before, 5));
    ASSERT_EQ(before.init(), 0);
    ASSERT_TRUE(saveAll(before, 8));
    before.setSfxOn(false);
    Provider provider;  // another life of the process
    ASSERT_EQ(provider.init(), 0);
    EXPECT_EQ(provider.getNumOfProfiles(), 3);
    EXPECT_EQ(provider.getNumOfIeqPresets(), 1);
    EXPECT_FALSE(provider.isSfxOn());
    EXPECT_EQ(provider.getSelectedProfile(), 8);
    GeqPreset* const geq = provider.loadGeqPreset(1);
    EXPECT_EQ(geq->get(GEQ_GAIN), Values(20, 8));
    EXPECT_EQ(provider.loadDefaultGeqPreset(1)->get(GEQ_GAIN), Values(20, 5));
    const int64_t row = geq->getId();
    EXPECT_EQ(provider.reset(geq), geq);
    EXPECT_EQ(geq->getId(), row);
    EXPECT_EQ(provider.loadGeqPreset(1)->get(GEQ_GAIN), Values(20, 8));  // not stored by the reset
    provider.save(provider.reset(geq));
    EXPECT_TRUE(provider.loadGeqPreset(1)->equals(*provider.loadDefaultGeqPreset(1)));
    ProfileEndpoint* const other = provider.loadProfileEndpoint(2, Endpoint::OTHER);
    EXPECT_EQ(provider.reset(other)->getSelectedIeqPreset(), 5);
    EXPECT_EQ(provider.reset(provider.loadProfile(2))->getSelectedGeqPreset(), 5);
    EXPECT_EQ(provider.loadProfile(0)->getName(), "profile5");
    EXPECT_EQ(provider.loadProfile(0)->size(), 12U);
}

TEST_F(ProviderTest, TuningsAreCachedByNameAndDevicesByPort) {
    Provider provider;
    fill(provider, 5, 2);
    DeviceTuning shared("hdmi_tv", "hdmi", "tuning1");
    DeviceTuning orphan("orphan", "hdmi", "nothing");
    provider.create(&shared, Provider::kDefaultName);
    provider.create(&orphan, Provider::kDefaultName);
    EXPECT_EQ(provider.loadTuningForDevice("device1"), nullptr);  // its port isn't loaded yet
    EXPECT_THAT(devices(provider, PORT_USB), ElementsAre("device0", "device1"));
    EXPECT_THAT(devices(provider, PORT_HDMI), ElementsAre("hdmi_tv", "orphan"));
    Tuning* const tuning = provider.loadTuningForDevice("device1");
    ASSERT_NE(tuning, nullptr);
    EXPECT_EQ(tuning->get(AUDIO_OPTIMIZER_GAIN_L), Values(40, 5));
    EXPECT_EQ(tuning->size(), 59U);
    EXPECT_EQ(provider.loadTuningForDevice("hdmi_tv"), tuning);
    EXPECT_EQ(provider.loadTuningForDevice("orphan"), nullptr);
    for (const char* line :
         {"W VlrDatabaseProvider: Cannot find device with name device1 in mDeviceTunings",
          "D VlrDatabaseProvider: Found existing tuning[tuning1] from cache device[hdmi_tv]",
          "D VlrDatabaseProvider: Load tuning[..."}) {
        EXPECT_EQ(log.count(line), 1U) << line;
    }

    DeviceTuning later("later", "usb", "tuning0");
    provider.create(&later, Provider::kOemName);
    EXPECT_EQ(devices(provider, PORT_USB).size(), 2U);  // answered from the cache
    fill(provider, 6, 2);
    provider.create(&later, Provider::kOemName);
    provider.reloadCachedDeviceTunings();
    EXPECT_THAT(devices(provider, PORT_USB), ElementsAre("device0", "device1", "later"));
    EXPECT_TRUE(devices(provider, PORT_HDMI).empty());
    EXPECT_EQ(tuning->get(AUDIO_OPTIMIZER_GAIN_L), Values(40, 6));  // the same object, new values
    EXPECT_EQ(log.count("D VlrDatabaseProvider: Clear cached device tuning ..."), 4U);
}

TEST_F(ProviderTest, ProfilesAndPresetsAreKnownByTheirNumbers) {
    Provider provider;
    fill(provider, 5);
    for (const int id : {4, 300}) {
        Profile profile(id, "number " + std::to_string(id), false);
        provider.create(&profile);
    }
    ASSERT_EQ(provider.init(), 0);
    EXPECT_EQ(provider.getNumOfProfiles(), 5);
    EXPECT_EQ(provider.loadProfile(3)->getName() + provider.loadProfile(4)->getName(), "number 4");
    EXPECT_EQ(log.count("E VlrDatabaseProvider: there can't be a profile 300"), 1U);
    EXPECT_EQ(provider.loadProfile(5), nullptr);
    EXPECT_EQ(provider.loadProfileEndpoints(-1)[0], nullptr);

    IeqPreset* const off = provider.loadIeqPreset(0);
    EXPECT_EQ(off->getName(), "off5");
    EXPECT_EQ(provider.loadIeqPreset(1)->toString(),  // no row: empty curves
              "id=-1\npresetId=1\nname=\nieq_frequency=\nieq_target=\n");
    for (const int id : {2, -1}) EXPECT_EQ(provider.loadIeqPreset(id), off);
    EXPECT_EQ(log.count("E VlrDatabaseProvider: There is no IEQ preset ..."), 2U);
}

TEST_F(ProviderTest, WhatAnotherProcessHoldsIsAskedForAgain) {
    Provider provider;
    fill(provider, 5, 2);
    ASSERT_EQ(provider.init(), 0);
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
    Tuning* const tuning = provider.loadTuningForDevice("device0");
    {
        DatabaseHelper other("kiv_sqlite3.db");
        other.execSQL("DELETE FROM tunings WHERE name='tuning0'");
    }
    provider.reloadCachedDeviceTunings();
    EXPECT_EQ(provider.loadTuningForDevice("device0"), nullptr);
    EXPECT_EQ(tuning->getName(), "tuning0") << "it was handed out";
    EXPECT_EQ(log.count("W VlrDatabaseProvider: There is no tuning[tuning0] for device[device0]"),
              1U);
}

TEST_F(ProviderTest, AFileThatIsNoDatabaseIsPutAsideAndReplacedOrStaysAsItIs) {
    const auto aside = database().string() + ".damaged";
    std::filesystem::create_directories(aside + "/occupied");
    std::ofstream(database()) << std::string(100000, 'x');
    Provider provider;
    EXPECT_EQ(provider.init(), -22);
    provider.replaceDamaged();
    EXPECT_EQ(log.count("E DatabaseHelper: the damaged database ..."), 1U);
    EXPECT_TRUE(provider.isDamaged());
    EXPECT_FALSE(fill(provider, 1));
    EXPECT_EQ(std::filesystem::file_size(database()), 100000U);

    std::filesystem::remove_all(aside);
    provider.replaceDamaged();
    EXPECT_FALSE(provider.isDamaged());
    EXPECT_TRUE(fill(provider, 1));
    EXPECT_EQ(provider.init(), 0);
    EXPECT_EQ(std::filesystem::file_size(aside), 100000U);
}

// Never the end of the process, and a store that can be filled anew.
TEST_F(ProviderTest, DamageAnywhereInTheFileIsSurvived) {
    {
        Provider provider;
        fill(provider, 5);
    }
    const auto size = std::filesystem::file_size(database());
    const auto intact = dir.path() / "intact";
    std::filesystem::copy_file(database(), intact);
    size_t noticed = 0;
    for (uintmax_t place = 0; place + 200 < size; place += 1500) {
        std::filesystem::copy_file(intact, database(),
                                   std::filesystem::copy_options::overwrite_existing);
        std::fstream(database(), std::ios::in | std::ios::out | std::ios::binary)
                .seekp(static_cast<std::streamoff>(place))
            << std::string(200, '\xa5');
        Provider provider;
        provider.init();
        for (int id = 0; id < provider.getNumOfProfiles(); ++id) {
            provider.loadProfile(id);
            provider.loadProfileEndpoints(id);
            provider.loadGeqPreset(id);
        }
        for (const auto& device : devices(provider, PORT_USB)) provider.loadTuningForDevice(device);
        if (!provider.isDamaged()) continue;
        ++noticed;
        provider.replaceDamaged();
        EXPECT_TRUE(fill(provider, 6));
    }
    EXPECT_GT(noticed, 3U);
}

}  // namespace
}  // namespace velora::test
