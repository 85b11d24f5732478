#include "store/DatabaseHelper.h"
#include "store/RowChecksums.h"
#include "tests/store/FilledStore.h"

namespace velora::test {
namespace {

using testing::ElementsAre;

class DatabaseHelperTest : public RootFixture {
protected:
    DatabaseHelperTest() { db.init(); }

    DatabaseHelper db{"kiv_sqlite3.db"};
    GeqPreset preset{1};
};

// Stores that exist on devices must remain readable.
TEST_F(DatabaseHelperTest, TheTablesAreThoseOfTheirVersion) {
    const auto columns = cells(
        "SELECT group_concat(m.name || ' ' || c.name || ' ' || c.type || char(10), '') FROM "
        "sqlite_master m, pragma_table_info(m.name) c WHERE m.name<>'row_checksums'");
    EXPECT_THAT(columns, ElementsAre(contentsOf(sourceFile("tests/data/columns.txt"))));
}

TEST_F(DatabaseHelperTest, TablesAreComparedByTheirColumns) {
    const struct {
        const char* columns;
        bool isLayout;
    } cases[] = {
        {"_id integer,\n\tkey   text, value TEXT DEFAULT 'x'", true},
        {"_id INTEGER, value TEXT, key TEXT", false},
        {"_id INTEGER, key TEXT, value BLOB", false},
        {"_id INTEGER, key TEXT", false},
    };
    db.execSQL("CREATE TABLE more (a)");
    for (const auto& row : cases) {
        db.execSQL("DROP TABLE configuration");
        db.execSQL(std::string("CREATE TABLE configuration(").append(row.columns).append(")"));
        EXPECT_EQ(db.hasLayout(), row.isLayout) << row.columns;
    }
}

TEST_F(DatabaseHelperTest, RecordsAreStoredAsEarlierVersionsDidOrTheirRowIsLeftOut) {
    Transaction transaction(db);
    Profile profile(2, "Rock & Roll", true);
    profile.set(CUSTOM_DRC_METADATA, {0, -2, 5});
    db.insertValue(&profile, "custom", -1);
    for (const char* name : {"x,", "true", "false", "Bob's", "two\nlines"}) {
        IeqPreset named(0, name);
        db.insertValue(&named, "default");
    }
    EXPECT_TRUE(transaction.commit());
    EXPECT_THAT(
        cells("SELECT name, is_mobility, custom_drc_metadata, volume_modeler_enable FROM profiles"),
        ElementsAre("Rock & Roll", "1", "0,-2,5", ""));
    EXPECT_THAT(cells("SELECT name FROM ieq_presets"), ElementsAre("x", "1", "0", "two"));
}

// SQLite rolls back by itself after some failures, and would store what follows.
TEST_F(DatabaseHelperTest, AFailedWriteFailsItsWholeTransaction) {
    db.insertValue(&preset, "custom", -1);
    db.execSQL(
        "CREATE TRIGGER no BEFORE INSERT ON geq_presets BEGIN SELECT RAISE(ROLLBACK, 'no'); END");
    EXPECT_FALSE(db.updateGeqValue(&preset, "custom"));
    EXPECT_EQ(db.getRowCount(TableType::GEQ_PRESETS), 1) << "the old row remains";

    Transaction transaction(db);
    db.insertConfigurationValue("a", "1");
    EXPECT_FALSE(db.updateGeqValue(&preset, "custom"));
    EXPECT_EQ(db.execSQL("INSERT INTO configuration VALUES (2, 'b', '1')"), 1);
    EXPECT_FALSE(transaction.commit());

    db.insertConfigurationValue("c", "1");
    EXPECT_THAT(cells("SELECT _id, key FROM configuration"), ElementsAre("1", "c"));
}

TEST_F(DatabaseHelperTest, ATransactionThatIsNotCommittedFailsTheOneAroundIt) {
    Transaction outer(db);
    db.insertConfigurationValue("a", "1");
    { const Transaction inner(db); }
    EXPECT_FALSE(outer.commit());
    db.insertConfigurationValue("b", "1");
    EXPECT_THAT(cells("SELECT key FROM configuration"), ElementsAre("b"));
}

TEST_F(DatabaseHelperTest, AnUpdateReplacesOneCopyAndNeverTheFactoryCopy) {
    ProfileEndpoint speaker(1, Endpoint::SPEAKER, 0);
    ProfileEndpoint other(1, Endpoint::OTHER, 0);
    for (const char* copy : {"default", "custom"}) {
        for (auto* endpoint : {&speaker, &other}) db.insertValue(endpoint, copy, -1);
    }
    Transaction transaction(db);
    for (const int boost : {4, 5}) {
        speaker.set(VOLMAX_BOOST, {boost, 6});
        EXPECT_FALSE(db.updateProfileEndpointValue(&speaker, "default"));
        EXPECT_TRUE(db.updateProfileEndpointValue(&speaker, "custom"));
    }
    EXPECT_TRUE(transaction.commit());
    EXPECT_THAT(cells("SELECT _id, endpoint, volmax_boost FROM profile_endpoints ORDER BY _id"),
                ElementsAre("1", "speaker", "", "2", "other", "",  //
                            "3", "speaker", "5,6", "4", "other", ""));
}

TEST_F(DatabaseHelperTest, TheNextIdFollowsTheNumberOfRows) {
    const Transaction transaction(db);
    db.insertValue(&preset, "custom", -1);
    EXPECT_TRUE(db.updateGeqValue(&preset, "custom"));
    for (const int64_t id : {2, 3}) {
        GeqPreset next(9);
        db.insertValue(&next, "custom", -1);
        EXPECT_EQ(next.getId(), id);
    }
}

TEST_F(DatabaseHelperTest, RowsAreFoundAgainWhenTheirTableMayHaveChanged) {
    db.insertValue(&preset, "custom", -1);
    EXPECT_TRUE(db.updateGeqValue(&preset, "custom"));
    DatabaseHelper("kiv_sqlite3.db").execSQL("UPDATE geq_presets SET profile_id=2");
    const Transaction transaction(db);
    EXPECT_TRUE(db.queryGeqValue(2, "custom", &preset));
    db.execSQL("UPDATE geq_presets SET profile_id=3");
    EXPECT_TRUE(db.queryGeqValue(3, "custom", &preset));
}

TEST_F(DatabaseHelperTest, WithoutADatabaseEveryOperationFails) {
    setRootPrefix((dir.path() / "missing").string());
    DatabaseHelper none("kiv_sqlite3.db");
    EXPECT_FALSE(ReadSession(none).ok());
    EXPECT_FALSE(none.updateGeqValue(&preset, "custom"));
    none.insertConfigurationValue("Profile", "1");
    EXPECT_EQ(log.count("E DatabaseHelper: db is not connected"), 1U);
}

class RowChecksumsTest : public RootFixture {
protected:
    RowChecksumsTest() {
        Provider provider;
        EXPECT_TRUE(fill(provider, 1));
    }

    /// Runs a statement as a fault of the disk would change rows: their checksums remain.
    static void damage(DatabaseHelper& store, const std::string& sql) {
        for (const std::string& each :
             {std::string("CREATE TEMP TABLE kept AS SELECT * FROM row_checksums"), sql,
              std::string("INSERT OR IGNORE INTO row_checksums SELECT * FROM kept"),
              std::string("DROP TABLE kept")}) {
            EXPECT_EQ(store.execSQL(each), 0) << each;
        }
    }

    /// Reads everything from the store. Returns whether it is damaged.
    static bool load(Provider& provider) {
        EXPECT_EQ(provider.init(), 0);
        provider.loadAll();
        return provider.isDamaged();
    }

    /// The number of rows without a checksum.
    static std::vector<std::string> unprotected() {
        std::string rows;
        for (const Table& table : allTables()) {
            rows.append("(SELECT count(*) FROM ").append(table.name).append(") + ");
        }
        return cells("SELECT " + rows + "0 - (SELECT count(*) FROM row_checksums)");
    }
};

TEST_F(RowChecksumsTest, AChangedCellIsNoticedInAnyColumn) {
    DatabaseHelper store("kiv_sqlite3.db");
    for (const Table& table : allTables()) {
        const std::string name(table.name);
        std::vector<std::string> changes{"_id=_id+1"};
        for (const std::string_view column : table.columns) {
            changes.push_back(std::string(column).append("=").append(column).append("||'1'"));
        }
        for (const std::string& change : changes) {
            store.beginTransaction();
            damage(store, std::string("UPDATE ").append(name).append(" SET ").append(change).append(
                              " WHERE rowid=1"));
            log.clear();
            std::set<std::string> texts;
            EXPECT_TRUE(store.queryTexts(table.type, table.columns.front(), "", &texts));
            EXPECT_EQ(log.count("E DatabaseHelper: a row of " + name + " is damaged: ..."), 1U)
                << change;
            store.abortTransaction();
            EXPECT_FALSE(store.commitTransaction());
        }
    }
}

TEST_F(RowChecksumsTest, ALostRowIsNoticed) {
    {
        DatabaseHelper store("kiv_sqlite3.db");
        damage(store, "DELETE FROM geq_presets WHERE rowid=2");
    }
    Provider provider;
    EXPECT_TRUE(load(provider));
    EXPECT_EQ(log.count("E DatabaseHelper: 1 rows of geq_presets are lost"), 1U);
}

TEST_F(RowChecksumsTest, RowsWithoutAChecksumAreUsedAndGetOneWithTheNextSave) {
    const auto expectRepaired = [] {
        Provider provider;
        EXPECT_FALSE(load(provider));
        EXPECT_EQ(provider.loadProfile(1)->getName(), "edited");
        Transaction transaction(provider);
        provider.setSelectedProfile(2);
        EXPECT_TRUE(transaction.commit());
        EXPECT_THAT(unprotected(), ElementsAre("0"));
    };
    changeStore("UPDATE profiles SET name='edited'");
    EXPECT_THAT(unprotected(), ElementsAre(std::to_string(2 * kFilledProfiles)));
    expectRepaired();

    // A store of an earlier release.
    for (const std::string& statement : RowChecksums::dropStatements()) changeStore(statement);
    expectRepaired();
}

}  // namespace
}  // namespace velora::test
