#include "store/RowChecksums.h"
#include "tests/store/FilledStore.h"

namespace velora::test {
namespace {

using testing::ElementsAre;

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
        EXPECT_TRUE(saveAll(provider, 3));
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
