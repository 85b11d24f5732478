#include "store/DatabaseHelper.h"
#include "tests/store/StoreFixture.h"

namespace velora::test {
namespace {

using testing::ElementsAre;

class DatabaseHelperTest : public StoreFixture {
protected:
    DatabaseHelperTest() : db("kiv_sqlite3.db") {
        db.init();
        LogCapture::clear();
    }

    /// Every cell of a query's rows, as texts.
    std::vector<std::string> cells(const std::string& sql) {
        std::vector<std::string> all;
        db.getAllRows(sql, {}, [&](std::span<const RowData> row) {
            for (const RowData& cell : row) {
                all.push_back(cell.storageClass == 1 ? std::to_string(cell.integer)
                                                     : std::string(cell.text));
            }
        });
        return all;
    }

    DatabaseHelper db;
};

TEST_F(DatabaseHelperTest, TablesHaveTheirColumnsInOrder) {
    const auto columns = [&](const std::string& table) {
        std::vector<std::string> names;
        db.getAllRows("SELECT name, type, pk FROM pragma_table_info('" + table + "')", {},
                      [&](std::span<const RowData> row) {
                          EXPECT_EQ(row[1].text, names.empty() ? "INTEGER" : "TEXT");
                          EXPECT_EQ(row[2].integer, 0);
                          names.emplace_back(row[0].text);
                      });
        return names;
    };
    EXPECT_THAT(columns("configuration"), ElementsAre("_id", "key", "value"));
    EXPECT_THAT(columns("ieq_presets"), ElementsAre("_id", "custom_name", "preset_id", "name",
                                                    "ieq_frequency", "ieq_target"));
    EXPECT_THAT(columns("device_tunings"),
                ElementsAre("_id", "custom_name", "device", "port", "tuning_id"));
    const auto endpoints = columns("profile_endpoints");
    EXPECT_EQ(endpoints.size(), 5U + 28U);
    const auto type = std::find(endpoints.begin(), endpoints.end(), "virtual_bass_type");
    EXPECT_THAT(std::vector(type - 1, type + 2),
                ElementsAre("virtual_bass_enable", "virtual_bass_type", "virtualizer_enable"));
    EXPECT_THAT(columns("geq_presets"),
                ElementsAre("_id", "custom_name", "profile_id", "geq_frequency", "geq_gain"));
    const auto attributes = [&](const std::string& table, size_t parameters) {
        auto names = columns(table);
        EXPECT_TRUE(std::is_sorted(names.begin() + 6, names.end() - 1));
        EXPECT_EQ(names.size(), 6 + parameters);
        names.resize(6);
        return names;
    };
    EXPECT_THAT(attributes("profiles", 12), ElementsAre("_id", "custom_name", "profile_id", "name",
                                                        "is_mobility", "selected_geq_preset_id"));
    auto tunings = columns("tunings");
    EXPECT_EQ(tunings.size(), 6U + 59U);
    tunings.resize(6);
    EXPECT_THAT(tunings,
                ElementsAre("_id", "custom_name", "name", "endpoint", "is_mono", "is_readonly"));
    EXPECT_TRUE(db.hasLayout());
    db.execSQL("ALTER TABLE profiles ADD COLUMN more TEXT");
    EXPECT_FALSE(db.hasLayout());
}

TEST_F(DatabaseHelperTest, EachRecordComesBackAsItWasStored) {
    Profile profile(2, "Rock & Roll,", true);
    profile.completeTo(Profile::kStoredParams);
    profile.set(CUSTOM_DRC_METADATA, {0, -2, 5});
    profile.setSelectedGeqPreset(7);
    db.insertValue(&profile, "default", -1);
    EXPECT_EQ(profile.getId(), 1);
    db.insertValue(&profile, "custom", -1);
    EXPECT_EQ(profile.getId(), 2);
    EXPECT_THAT(
        cells("SELECT _id, custom_name, name, is_mobility, custom_drc_metadata, "
              "volume_modeler_enable FROM profiles"),
        ElementsAre("1", "default", "Rock & Roll", "1", "0,-2,5", "",  // no comma at the end
                    "2", "custom", "Rock & Roll", "1", "0,-2,5", ""));
    Profile read(2, "", false);
    EXPECT_TRUE(db.queryProfileValue(2, "custom", &read));
    EXPECT_EQ(read.getId(), 2);
    EXPECT_EQ(read.getName(), "Rock & Roll");
    EXPECT_TRUE(read.isMobility());
    EXPECT_EQ(read.getSelectedGeqPreset(), 7);
    EXPECT_TRUE(read.equals(profile));

    ProfileEndpoint endpoint(2, Endpoint::OTHER, 3);
    endpoint.completeTo(ProfileEndpoint::kStoredParams);
    endpoint.set(VIRTUAL_BASS_TYPE, {1});
    db.insertValue(&endpoint, "custom", 9);
    ProfileEndpoint readEndpoint(2, Endpoint::OTHER, 0);
    EXPECT_TRUE(db.queryEndpointValue(2, Endpoint::OTHER, "custom", &readEndpoint));
    EXPECT_EQ(readEndpoint.getId(), 9);
    EXPECT_TRUE(readEndpoint.equals(endpoint));
    EXPECT_FALSE(db.queryEndpointValue(2, Endpoint::SPEAKER, "custom", &readEndpoint));

    IeqPreset ieq(3, "warm");
    ieq.completeTo(IeqPreset::kStoredParams);
    ieq.set(IEQ_FREQUENCY, {100});
    db.insertValue(&ieq, "default");
    IeqPreset readIeq(3, "");
    EXPECT_TRUE(db.queryIeqValue(3, "default", &readIeq));
    EXPECT_EQ(readIeq.toString(), "id=1\npresetId=3\nname=warm\nieq_frequency=100,\nieq_target=\n");

    for (const Endpoint e : kEndpoints) {
        Tuning tuning("tuning " + std::string(nameOf(e)), e, e == Endpoint::OTHER);
        tuning.completeTo(Tuning::kStoredParams);
        db.insertValue(&tuning, "oem");
        Tuning readTuning(tuning.getName(), Endpoint::HEADPHONE, false);
        EXPECT_TRUE(db.queryTuning(tuning.getName(), &readTuning));
        EXPECT_EQ(readTuning.getEndpoint(), e);
        EXPECT_EQ(readTuning.isMono(), tuning.isMono());
        DeviceTuning device("d", "usb", tuning.getName());
        db.insertValue(&device, "oem");
    }
    std::vector<std::unique_ptr<DeviceTuning>> devices;
    EXPECT_TRUE(db.queryDeviceTunings("usb", &devices));
    ASSERT_EQ(devices.size(), 3U);
    EXPECT_EQ(devices[0]->toString(), "id=1\ndevice=d\nport=usb\ntuning=tuning speaker");
    db.clearOemTunings();
    db.clearOemDeviceTunings();
    EXPECT_EQ(db.getRowCount(TableType::TUNINGS) + db.getRowCount(TableType::DEVICE_TUNINGS), 0);
    EXPECT_EQ(
        log.count("D DatabaseHelper: Delete existing tuning with SQL [DELETE from tunings WHERE "
                  "custom_name = 'oem']"),
        1U);
    EXPECT_EQ(log.count("E ..."), 0U);
}

TEST_F(DatabaseHelperTest, AnIncompleteRecordFillsItsOwnColumnsOnly) {
    GeqPreset preset(4);
    preset.set(GEQ_GAIN, {1, 2});
    preset.set(PEAK_VALUE, {3});
    db.insertValue(&preset, "default", -1);
    EXPECT_THAT(cells("SELECT * FROM geq_presets"), ElementsAre("1", "default", "4", "", "1,2"));
}

TEST_F(DatabaseHelperTest, AQuoteCostsItsRowAndNothingElse) {
    Tuning quoted("Bob's", Endpoint::SPEAKER, false);
    Tuning plain("plain", Endpoint::SPEAKER, false);
    db.beginTransaction();
    db.insertValue(&quoted, "default");
    db.insertValue(&plain, "default");
    EXPECT_TRUE(db.commitTransaction());
    EXPECT_THAT(cells("SELECT name FROM tunings"), ElementsAre("plain"));
    EXPECT_EQ(log.count("E DatabaseHelper: failed to store a value with a single quote: Bob's"),
              1U);
    EXPECT_FALSE(db.queryTuning("x' OR '1'='1", &plain));

    Profile profile(1, "plain", false);
    db.insertValue(&profile, "custom", -1);
    profile.setName("Bob's");
    EXPECT_FALSE(db.updateProfileValue(&profile, "custom"));
    db.insertConfigurationValue("Profile", "3");
    db.updateSelectedProfile("Profile", "4'");
    EXPECT_THAT(cells("SELECT name FROM profiles"), ElementsAre("plain"));
    EXPECT_EQ(db.queryConfigurationValue("Profile"), "3");
}

TEST_F(DatabaseHelperTest, AFailedWriteFailsItsWholeBracketAndOnlyThat) {
    GeqPreset preset(1);
    db.insertValue(&preset, "custom", -1);
    db.execSQL(
        "CREATE TRIGGER no BEFORE INSERT ON geq_presets BEGIN SELECT RAISE(FAIL, 'no'); END");
    EXPECT_FALSE(db.updateGeqValue(&preset, "custom"));
    EXPECT_EQ(db.getRowCount(TableType::GEQ_PRESETS), 1) << "the old row stays";
    db.beginTransaction();
    db.insertConfigurationValue("a", "1");
    db.beginTransaction();
    EXPECT_TRUE(db.commitTransaction()) << "good so far";
    EXPECT_FALSE(db.updateGeqValue(&preset, "custom"));
    LogCapture::clear();
    db.insertConfigurationValue("b", "1");
    EXPECT_EQ(log.count("E ..."), 0U) << "what follows a failure isn't tried";
    EXPECT_FALSE(db.commitTransaction());
    EXPECT_THAT(cells("SELECT key FROM configuration"), ElementsAre());
    db.insertConfigurationValue("c", "1");
    EXPECT_THAT(cells("SELECT _id, key FROM configuration"), ElementsAre("1", "c"));
    EXPECT_FALSE(db.commitTransaction()) << "there is none";
}

TEST_F(DatabaseHelperTest, WhatAnotherProcessHoldsIsNotRead) {
    db.insertConfigurationValue("Profile", "3");
    DatabaseHelper other("kiv_sqlite3.db");
    other.beginTransaction();
    EXPECT_EQ(db.queryConfigurationValue("Profile"), "");
    EXPECT_EQ(db.failedReads(), 1U);
    other.commitTransaction();
    EXPECT_EQ(db.queryConfigurationValue("Profile"), "3");
    EXPECT_EQ(db.failedReads(), 1U);
    EXPECT_FALSE(db.isDamaged());
}

TEST_F(DatabaseHelperTest, OnlyTheFactoryCopyCannotBeReplaced) {
    GeqPreset preset(1);
    for (const char* copy : {"default", "custom"}) db.insertValue(&preset, copy, -1);
    preset.set(GEQ_GAIN, {5});
    db.updateGeqValue(&preset, "default");
    EXPECT_EQ(log.count("E DatabaseHelper: the default value can't be updated, 1"), 1U);
    db.updateGeqValue(&preset, "custom");
    EXPECT_THAT(cells("SELECT _id, custom_name, geq_gain FROM geq_presets"),
                ElementsAre("1", "default", "", "2", "custom", "5"));
    ProfileEndpoint speaker(1, Endpoint::SPEAKER, 0);
    ProfileEndpoint other(1, Endpoint::OTHER, 0);
    db.insertValue(&speaker, "custom", -1);
    db.insertValue(&other, "custom", -1);
    other.setSelectedIeqPreset(2);
    db.updateProfileEndpointValue(&other, "custom");
    EXPECT_THAT(cells("SELECT endpoint, selected_ieq_preset_id FROM profile_endpoints"),
                ElementsAre("speaker", "0", "other", "2"));
}

TEST_F(DatabaseHelperTest, ConfigurationIsTextUnderKeys) {
    EXPECT_FALSE(db.querySfxStatus("State"));
    EXPECT_EQ(db.querySelectedProfile("Profile"), "-1");
    db.updateSfxStatus("State", true);  // no row: none is made
    EXPECT_EQ(db.queryConfigurationValue("State"), "");
    db.insertConfigurationValue("State", "maybe");
    EXPECT_TRUE(db.querySfxStatus("State"));
    db.updateSfxStatus("State", false);
    EXPECT_FALSE(db.querySfxStatus("State"));
    db.insertConfigurationValue("Profile", "3");
    db.insertConfigurationValue("Profile", "4");
    EXPECT_EQ(db.querySelectedProfile("Profile"), "3");
    EXPECT_THAT(cells("SELECT * FROM configuration"),
                ElementsAre("1", "State", "false", "2", "Profile", "3", "3", "Profile", "4"));
}

TEST_F(DatabaseHelperTest, NullRecordsAndTablesThatStandAreHarmless) {
    GeqPreset preset(1);
    db.insertValue(&preset, "custom", -1);
    db.init();
    EXPECT_EQ(db.getRowCount(TableType::GEQ_PRESETS), 1);
    EXPECT_EQ(log.count("E ..."), 0U);
    db.insertValue(static_cast<Tuning*>(nullptr), "default");
    db.updateProfileValue(nullptr, "custom");
    EXPECT_EQ(log.count("E DatabaseHelper: invalid value"), 2U);
    db.queryTuning("x", nullptr);
    db.queryEndpointValue(0, Endpoint::OTHER, "custom", nullptr);
    EXPECT_EQ(log.count("E DatabaseHelper: Tuning doesn't exist!"), 1U);
    EXPECT_EQ(log.count("E DatabaseHelper: Endpoint doesn't exist!"), 1U);
    EXPECT_EQ(db.execSQL("SELECT 1 FROM nothing"), 1);
    EXPECT_EQ(log.count("D DatabaseHelper: failed to prepare SQL : SELECT 1 FROM nothing"), 1U);
    EXPECT_EQ(db.execSQL("SELECT 1"), 1);  // a row is not done
    for (const char* nothing : {"", "-- comment"}) {
        EXPECT_EQ(db.execSQL(nothing), 1);
        EXPECT_FALSE(db.getAllRows(nothing, {}, [](auto) {}));
    }
    EXPECT_EQ(db.getRowCount(TableType::GEQ_PRESETS), 1);
    EXPECT_EQ(db.execSQL("DELETE FROM geq_presets"), 0);
    EXPECT_EQ(db.getRowCount(TableType::GEQ_PRESETS), 0);
}

TEST_F(DatabaseHelperTest, WithoutADatabaseEveryOperationFailsAndSaysSo) {
    setRootPrefix((dir.path() / "missing").string());
    DatabaseHelper none("kiv_sqlite3.db");
    EXPECT_EQ(log.count("E DatabaseHelper: can't open the database ..."), 1U);
    GeqPreset preset(1);
    none.insertValue(&preset, "custom", -1);
    EXPECT_EQ(preset.getId(), 0);
    EXPECT_FALSE(none.queryGeqValue(1, "custom", &preset));
    none.updateSelectedProfile("Profile", "1");
    none.insertConfigurationValue("Profile", "1");
    none.beginTransaction();
    EXPECT_FALSE(none.commitTransaction());
    none.clear();
    for (const char* line :
         {"the db is not open...", "the database is not connected", "db is not connected"}) {
        EXPECT_GE(log.count("E DatabaseHelper: " + std::string(line)), 1U) << line;
    }
}

}  // namespace
}  // namespace velora::test
