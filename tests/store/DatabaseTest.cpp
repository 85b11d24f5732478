#include "tests/store/StoreFixture.h"

namespace velora::test {
namespace {

using testing::ElementsAre;

class DatabaseTest : public StoreFixture {
protected:
    /// Opens a file with these contents.
    Database& open(const std::string& contents) {
        std::ofstream(path, std::ios::binary) << contents;
        return db.emplace(path);
    }

    const std::string path = database.string();
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
    std::ofstream(path + "-journal", std::ios::binary) << journal;
    open(garbage).replaceDamaged();
    EXPECT_TRUE(db->isEmpty());
    EXPECT_FALSE(db->isDamaged());
    EXPECT_EQ(contentsOf(path + ".damaged"), garbage);
    EXPECT_EQ(contentsOf(path + ".damaged-journal"), journal);

    open(garbage).replaceDamaged();
    EXPECT_FALSE(std::filesystem::exists(path + ".damaged-journal")) << "of the earlier file";
}

TEST_F(DatabaseTest, ADamagedFileThatCannotBeRenamedRemainsUnchanged) {
    std::filesystem::create_directories(path + ".damaged/occupied");
    open(garbage).replaceDamaged();
    EXPECT_EQ(log.count("E DatabaseHelper: the damaged database ..."), 1U);
    EXPECT_TRUE(db->isDamaged());
    EXPECT_FALSE(db->execute("CREATE TABLE a (b)"));
    EXPECT_EQ(contentsOf(path), garbage);
}

TEST_F(DatabaseTest, DamageThatNoQueryHasMetIsFound) {
    constexpr size_t kPage = 4096;
    open("").execute("CREATE TABLE a (b)");
    std::string contents = contentsOf(path);
    contents.replace(contents.size() - kPage, kPage, kPage, '\xa5');
    EXPECT_TRUE(open(contents).isDamaged());
}

TEST_F(DatabaseTest, AFileThatIsLockedIsNeitherEmptyNorDamaged) {
    const auto other = hold();
    db.emplace(path);
    EXPECT_FALSE(db->isEmpty());
    EXPECT_FALSE(db->isDamaged());
    EXPECT_FALSE(db->isOpen()) << "nothing is written to it later";
}

}  // namespace
}  // namespace velora::test
