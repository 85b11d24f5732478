#include "store/DatabaseHelper.h"
#include "tests/store/StoreFixture.h"

namespace velora::test {
namespace {

using testing::ElementsAre;

class DatabaseHelperTest : public StoreFixture {
protected:
    DatabaseHelperTest() {
        db.init();
        LogCapture::clear();
    }

    DatabaseHelper db{"kiv_sqlite3.db"};
};

// What is on devices already must stay readable.
TEST_F(DatabaseHelperTest, TheLayoutIsThatOfTheVersion) {
    const auto columns = cells(
        "SELECT group_concat(m.name || ' ' || c.name || ' ' || c.type || char(10), '') FROM "
        "sqlite_master m, pragma_table_info(m.name) c");
    EXPECT_THAT(columns, ElementsAre(contentsOf(sourceFile("tests/data/columns.txt"))));
}

TEST_F(DatabaseHelperTest, ARecordIsStoredAsText) {
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
}

TEST_F(DatabaseHelperTest, AQuoteCostsItsRowAndNothingElse) {
    db.beginTransaction();
    for (const char* name : {"Bob's", "plain"}) {
        Tuning tuning(name, Endpoint::SPEAKER, false);
        db.insertValue(&tuning, "default");
    }
    EXPECT_TRUE(db.commitTransaction());
    EXPECT_EQ(log.count("E DatabaseHelper: failed to store a value with a single quote: Bob's"),
              1U);
    EXPECT_THAT(cells("SELECT name FROM tunings"), ElementsAre("plain"));
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

TEST_F(DatabaseHelperTest, AnUpdateReplacesOneCopyAndNeverTheFactorys) {
    ProfileEndpoint speaker(1, Endpoint::SPEAKER, 0);
    ProfileEndpoint other(1, Endpoint::OTHER, 0);
    for (const char* copy : {"default", "custom"})
        for (auto* endpoint : {&speaker, &other}) db.insertValue(endpoint, copy, -1);
    speaker.setSelectedIeqPreset(2);
    speaker.set(GEQ_GAIN, {3});  // has no column
    db.beginTransaction();
    for (const int boost : {4, 5}) {
        speaker.set(VOLMAX_BOOST, {boost, 6});
        for (const char* copy : {"default", "custom"})
            db.updateProfileEndpointValue(&speaker, copy);
    }
    EXPECT_TRUE(db.commitTransaction());
    EXPECT_EQ(log.count("E DatabaseHelper: the default value can't be updated, 1"), 2U);
    EXPECT_THAT(cells("SELECT _id, endpoint, selected_ieq_preset_id, volmax_boost FROM "
                      "profile_endpoints ORDER BY _id"),
                ElementsAre("1", "speaker", "0", "", "2", "other", "0", "", "3", "speaker", "2",
                            "5,6", "4", "other", "0", ""));
}

TEST_F(DatabaseHelperTest, WhatIsWrongOrCannotBeReachedFailsAndSaysSo) {
    for (const char* wrong : {"", "-- comment", "SELECT 1 FROM nothing", "SELECT 1"})
        EXPECT_EQ(db.execSQL(wrong), 1) << "a row is not done";

    setRootPrefix((dir.path() / "missing").string());
    DatabaseHelper none("kiv_sqlite3.db");
    EXPECT_EQ(log.count("E DatabaseHelper: can't open the database ..."), 1U);
    GeqPreset preset(1);
    EXPECT_FALSE(none.updateGeqValue(&preset, "custom"));
    none.insertConfigurationValue("Profile", "1");
    EXPECT_EQ(log.count("E DatabaseHelper: db is not connected"), 1U);
}

}  // namespace
}  // namespace velora::test
