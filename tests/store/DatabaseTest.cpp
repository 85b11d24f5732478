#include "tests/store/FilledStore.h"

namespace velora::test {
namespace {

using testing::ElementsAre;

class DatabaseTest : public RootFixture {
protected:
    /// Opens a file with these contents.
    Database& open(const std::string& contents) {
        std::ofstream(database, std::ios::binary) << contents;
        return db.emplace(database);
    }

    const std::string garbage = std::string(100'000, 'x');
    std::optional<Database> db;
};

TEST_F(DatabaseTest, EveryConnectionIsDurable) {
    EXPECT_THAT(cells("PRAGMA journal_mode=WAL"), ElementsAre("wal")) << "the file keeps this";
    EXPECT_THAT(cells("PRAGMA synchronous"), ElementsAre("3")) << "EXTRA";
    EXPECT_THAT(cells("PRAGMA journal_mode"), ElementsAre("delete"));
}

TEST_F(DatabaseTest, ADamagedFileIsRenamedWithItsJournal) {
    const std::string journal("\0journal", 8);  // with another first byte SQLite would apply it
    std::ofstream(database + "-journal", std::ios::binary) << journal;
    open(garbage).replaceDamaged();
    EXPECT_TRUE(db->isEmpty());
    EXPECT_FALSE(db->isDamaged());
    EXPECT_EQ(contentsOf(database + ".damaged"), garbage);
    EXPECT_EQ(contentsOf(database + ".damaged-journal"), journal);

    open(garbage).replaceDamaged();
    EXPECT_FALSE(std::filesystem::exists(database + ".damaged-journal")) << "of the earlier file";
}

TEST_F(DatabaseTest, ADamagedFileThatCannotBeRenamedRemainsUnchanged) {
    std::filesystem::create_directories(database + ".damaged/occupied");
    open(garbage).replaceDamaged();
    EXPECT_EQ(log.count("E DatabaseHelper: the damaged database ..."), 1U);
    EXPECT_TRUE(db->isDamaged());
    EXPECT_FALSE(db->execute("CREATE TABLE a (b)"));
    EXPECT_EQ(contentsOf(database), garbage);
}

TEST_F(DatabaseTest, DamageThatNoQueryHasMetIsFound) {
    constexpr size_t kPage = 4096;
    EXPECT_TRUE(open("").execute("CREATE TABLE a (b)"));
    std::string contents = contentsOf(database);
    contents.replace(contents.size() - kPage, kPage, kPage, '\xa5');
    EXPECT_TRUE(open(contents).isDamaged());
}

TEST_F(DatabaseTest, AFileThatIsLockedIsNeitherEmptyNorDamaged) {
    const auto other = holdStore();
    db.emplace(database);
    EXPECT_FALSE(db->isEmpty());
    EXPECT_FALSE(db->isDamaged());
    EXPECT_FALSE(db->isOpen()) << "nothing is written to it later";
}

}  // namespace
}  // namespace velora::test
