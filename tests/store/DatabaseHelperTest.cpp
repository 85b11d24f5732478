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
    struct Case {
        const char* table;
        const char* first;  ///< its columns up to the parameters
        size_t parameters;
    } const cases[] = {
        {"configuration", "_id,key,value", 0},
        {"ieq_presets", "_id,custom_name,preset_id,name", 2},
        {"geq_presets", "_id,custom_name,profile_id", 2},
        {"profiles", "_id,custom_name,profile_id,name,is_mobility,selected_geq_preset_id", 12},
        {"profile_endpoints", "_id,custom_name,profile_id,endpoint,selected_ieq_preset_id", 28},
        {"tunings", "_id,custom_name,name,endpoint,is_mono,is_readonly", 59},
        {"device_tunings", "_id,custom_name,device,port,tuning_id", 0},
    };
    for (const auto& [table, first, parameters] : cases) {
        const auto names =
            cells("SELECT name FROM pragma_table_info('" + std::string(table) + "')");
        const auto behind = names.end() - static_cast<ptrdiff_t>(parameters);
        std::string joined = *names.begin();
        for (auto name = names.begin() + 1; name != behind; ++name) joined += "," + *name;
        EXPECT_EQ(joined, first);
        std::vector<Parameter> numbers;
        for (auto name = behind; name != names.end(); ++name)
            numbers.push_back(*kParameterOfColumn.find(*name));
        EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end())) << table;
    }
    EXPECT_THAT(cells("SELECT DISTINCT c.name='_id', c.type, c.pk FROM sqlite_master m, "
                      "pragma_table_info(m.name) c ORDER BY 1"),
                ElementsAre("0", "TEXT", "0", "1", "INTEGER", "0"));
    EXPECT_TRUE(db.hasLayout());
    db.execSQL("ALTER TABLE profiles ADD COLUMN more TEXT");
    EXPECT_FALSE(db.hasLayout());
}

TEST_F(DatabaseHelperTest, EachRecordComesBackAsItWasStored) {
    Profile profile(2, "Rock & Roll,", true);
    profile.completeTo(Profile::kStoredParams);
    profile.set(CUSTOM_DRC_METADATA, {0, -2, 5});
    profile.setSelectedGeqPreset(7);
    for (const char* copy : {"default", "custom"}) db.insertValue(&profile, copy, -1);
    EXPECT_THAT(
        cells("SELECT _id, custom_name, name, is_mobility, custom_drc_metadata, "
              "volume_modeler_enable FROM profiles"),
        ElementsAre("1", "default", "Rock & Roll", "1", "0,-2,5", "",  // no comma at the end
                    "2", "custom", "Rock & Roll", "1", "0,-2,5", ""));
    profile.setName("Rock & Roll");
    const auto expectRead = [](bool found, const auto& read, const auto& stored) {
        EXPECT_TRUE(found);
        EXPECT_EQ(read.toString(), stored.toString());
    };
    Profile read(2, "", false);
    expectRead(db.queryProfileValue(2, "custom", &read), read, profile);  // with its row, 2

    ProfileEndpoint endpoint(9, 2, Endpoint::OTHER, 3);
    endpoint.completeTo(ProfileEndpoint::kStoredParams);
    endpoint.set(VIRTUAL_BASS_TYPE, {1});
    db.insertValue(&endpoint, "custom", 9);
    ProfileEndpoint readEndpoint(2, Endpoint::OTHER, 0);
    expectRead(db.queryEndpointValue(2, Endpoint::OTHER, "custom", &readEndpoint), readEndpoint,
               endpoint);
    EXPECT_FALSE(db.queryEndpointValue(2, Endpoint::SPEAKER, "custom", &readEndpoint));

    IeqPreset ieq(3, "warm");
    ieq.completeTo(IeqPreset::kStoredParams);
    ieq.set(IEQ_FREQUENCY, {100});
    db.insertValue(&ieq, "default");
    IeqPreset readIeq(3, "");
    expectRead(db.queryIeqValue(3, "default", &readIeq), readIeq, ieq);

    for (const Endpoint e : kEndpoints) {
        Tuning tuning(std::string(nameOf(e)), e, e == Endpoint::OTHER);
        tuning.completeTo(Tuning::kStoredParams);
        db.insertValue(&tuning, "oem");
        Tuning readTuning(tuning.getName(), Endpoint::HEADPHONE, false);
        expectRead(db.queryTuning(tuning.getName(), &readTuning), readTuning, tuning);
        DeviceTuning device("d", "usb", tuning.getName());
        db.insertValue(&device, "oem");
    }
    std::vector<std::unique_ptr<DeviceTuning>> devices;
    EXPECT_TRUE(db.queryDeviceTunings("usb", &devices));
    ASSERT_EQ(devices.size(), 3U);
    EXPECT_EQ(devices[0]->toString(), "id=1\ndevice=d\nport=usb\ntuning=speaker");
    db.clearOemTunings();
    db.clearOemDeviceTunings();
    EXPECT_EQ(db.getRowCount(TableType::TUNINGS) + db.getRowCount(TableType::DEVICE_TUNINGS), 0);
    const std::string deleted = "D DatabaseHelper: Delete existing tuning with SQL [DELETE from ";
    EXPECT_EQ(log.count(deleted + "tunings WHERE custom_name = 'oem']"), 1U);
    EXPECT_EQ(log.count("E ..."), 0U);
}

TEST_F(DatabaseHelperTest, AQuoteCostsItsRowAndNothingElse) {
    Tuning plain("plain", Endpoint::SPEAKER, false);
    db.beginTransaction();
    for (const char* name : {"Bob's", "plain"}) {
        Tuning tuning(name, Endpoint::SPEAKER, false);
        db.insertValue(&tuning, "default");
    }
    EXPECT_TRUE(db.commitTransaction());
    EXPECT_EQ(log.count("E DatabaseHelper: failed to store a value with a single quote: Bob's"),
              1U);
    EXPECT_FALSE(db.queryTuning("x' OR '1'='1", &plain));

    Profile profile(1, "plain", false);
    db.insertValue(&profile, "custom", -1);
    profile.setName("Bob's");
    EXPECT_FALSE(db.updateProfileValue(&profile, "custom"));
    db.insertConfigurationValue("Profile", "plain");
    db.updateSelectedProfile("Profile", "4'");
    EXPECT_THAT(cells("SELECT name FROM tunings UNION ALL SELECT name FROM profiles UNION ALL "
                      "SELECT value FROM configuration"),
                ElementsAre("plain", "plain", "plain"));
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
    db.insertConfigurationValue("c", "1");
    EXPECT_THAT(cells("SELECT _id, key FROM configuration"), ElementsAre("1", "c"));
    EXPECT_FALSE(db.commitTransaction()) << "there is none";
}

TEST_F(DatabaseHelperTest, OnlyTheFactoryCopyCannotBeReplaced) {
    GeqPreset preset(1);
    for (const char* copy : {"default", "custom"}) db.insertValue(&preset, copy, -1);
    preset.set(GEQ_GAIN, {5, 6});
    preset.set(PEAK_VALUE, {3});  // has no column
    for (const char* copy : {"default", "custom"}) db.updateGeqValue(&preset, copy);
    EXPECT_EQ(log.count("E DatabaseHelper: the default value can't be updated, 1"), 1U);
    EXPECT_THAT(cells("SELECT * FROM geq_presets"),
                ElementsAre("1", "default", "1", "", "", "2", "custom", "1", "", "5,6"));
    ProfileEndpoint speaker(1, Endpoint::SPEAKER, 0);
    ProfileEndpoint other(1, Endpoint::OTHER, 0);
    for (auto* endpoint : {&speaker, &other}) db.insertValue(endpoint, "custom", -1);
    other.setSelectedIeqPreset(2);
    db.updateProfileEndpointValue(&other, "custom");
    EXPECT_THAT(cells("SELECT endpoint, selected_ieq_preset_id FROM profile_endpoints"),
                ElementsAre("speaker", "0", "other", "2"));
}

TEST_F(DatabaseHelperTest, ConfigurationIsTextUnderKeys) {
    EXPECT_FALSE(db.querySfxStatus("State"));
    EXPECT_EQ(db.querySelectedProfile("Profile"), "-1");
    db.updateSfxStatus("State", true);  // no row: none is made
    db.insertConfigurationValue("State", "maybe");
    EXPECT_TRUE(db.querySfxStatus("State"));
    db.updateSfxStatus("State", false);
    EXPECT_FALSE(db.querySfxStatus("State"));
    for (const char* profile : {"3", "4"}) db.insertConfigurationValue("Profile", profile);
    EXPECT_EQ(db.querySelectedProfile("Profile"), "3");
    EXPECT_THAT(cells("SELECT * FROM configuration"),
                ElementsAre("1", "State", "false", "2", "Profile", "3", "3", "Profile", "4"));
}

TEST_F(DatabaseHelperTest, NullRecordsAndTablesThatStandAreHarmless) {
    GeqPreset preset(1);
    db.insertValue(&preset, "custom", -1);
    db.init();
    EXPECT_EQ(log.count("E ..."), 0U);
    db.insertValue(static_cast<Tuning*>(nullptr), "default");
    db.updateProfileValue(nullptr, "custom");
    EXPECT_EQ(log.count("E DatabaseHelper: invalid value"), 2U);
    db.queryEndpointValue(0, Endpoint::OTHER, "custom", nullptr);
    EXPECT_EQ(log.count("E DatabaseHelper: Endpoint doesn't exist!"), 1U);
    for (const char* wrong : {"", "-- comment", "SELECT 1 FROM nothing", "SELECT 1"})
        EXPECT_EQ(db.execSQL(wrong), 1) << "a row is not done";
    for (const char* nothing : {"", "-- comment"})
        EXPECT_FALSE(db.getAllRows(nothing, {}, [](auto) {}));
    EXPECT_EQ(log.count("D DatabaseHelper: failed to prepare SQL : SELECT 1 FROM nothing"), 1U);
    EXPECT_EQ(db.getRowCount(TableType::GEQ_PRESETS), 1);
    EXPECT_EQ(db.execSQL("DELETE FROM geq_presets"), 0);
    EXPECT_EQ(db.getRowCount(TableType::GEQ_PRESETS), 0);
}

TEST_F(DatabaseHelperTest, WithoutADatabaseEveryOperationFailsAndSaysSo) {
    setRootPrefix((dir.path() / "missing").string());
    DatabaseHelper none("kiv_sqlite3.db");
    GeqPreset preset(1);
    none.insertValue(&preset, "custom", -1);
    EXPECT_EQ(preset.getId(), 0);
    EXPECT_FALSE(none.queryGeqValue(1, "custom", &preset));
    none.updateSelectedProfile("Profile", "1");
    none.insertConfigurationValue("Profile", "1");
    none.beginTransaction();
    EXPECT_FALSE(none.commitTransaction());
    none.clear();
    for (const char* line : {"can't open the database ...", "the db is not open...",
                             "the database is not connected", "db is not connected"}) {
        EXPECT_GE(log.count("E DatabaseHelper: " + std::string(line)), 1U) << line;
    }
}

}  // namespace
}  // namespace velora::test
