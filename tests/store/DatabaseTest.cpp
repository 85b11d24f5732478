#include "tests/faults/Disk.h"
#include "tests/store/FilledStore.h"

#include <sys/wait.h>
#include <unistd.h>

namespace velora::test {
namespace {

using testing::ElementsAre;

class DatabaseTest : public RootFixture {
protected:
    /// Opens a file with these contents.
    Database& open(const std::string& contents) {
        db.reset();
        std::ofstream(database, std::ios::binary) << contents;
        return db.emplace(database);
    }

    bool store(const std::string& sql) {
        (void)db->begin(Database::Access::WRITE);
        (void)db->execute(sql);
        return db->commit();
    }

    /// Opens a new file and creates a table of 2 MiB, whose cells are all "stored".
    void openFilled() {
        open("");
        fillTable();
    }
    void fillTable() {
        EXPECT_TRUE(db->execute("CREATE TABLE a (b, c)"));
        EXPECT_TRUE(db->execute(
            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 500) "
            "INSERT INTO a SELECT 'stored', zeroblob(4000) FROM n"));
    }

    Disk& disk = useFreshDisk(dir.path());
    const std::string garbage = std::string(100'000, 'x');
    std::optional<Database> db;
};

TEST_F(DatabaseTest, EveryConnectionIsDurable) {
    EXPECT_THAT(cells("PRAGMA journal_mode=DELETE"), ElementsAre("delete")) << "the file keeps it";
    EXPECT_THAT(cells("PRAGMA synchronous"), ElementsAre("3")) << "EXTRA";
    EXPECT_THAT(cells("PRAGMA journal_mode"), ElementsAre("wal"));
}

TEST_F(DatabaseTest, ACommitSynchronisesOnceOrTwiceAndNeverCopiesTheLog) {
    const auto syncsOf = [&](const std::string& sql) {
        const uint64_t before = disk.syncs();
        EXPECT_TRUE(store(sql));
        return disk.syncs() - before;
    };
    open("").primeLog();
    EXPECT_EQ(syncsOf("CREATE TABLE z (y)"), 1U);
    fillTable();
    EXPECT_EQ(std::filesystem::file_size(database), 4096U);
    EXPECT_EQ(syncsOf("DELETE FROM z"), 1U);
    db->checkpoint();
    EXPECT_GT(std::filesystem::file_size(database), 2'000'000U);
    EXPECT_EQ(syncsOf("INSERT INTO z VALUES (1)"), 2U);
    EXPECT_EQ(syncsOf("DELETE FROM z"), 1U);
}

TEST_F(DatabaseTest, AStoreOfAnEarlierReleaseIsReadWithTheJournalOfItsCrash) {
    const pid_t child = fork();
    if (child == 0) {
        openFilled();
        (void)db->execute("PRAGMA journal_mode=DELETE");
        (void)db->execute("PRAGMA cache_size=100");  // so that it writes before the commit
        (void)db->begin(Database::Access::WRITE);
        (void)db->execute("UPDATE a SET b='not stored'");
        _exit(0);
    }
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    EXPECT_THAT(contentsOf(database), testing::HasSubstr("not stored"));
    EXPECT_GT(std::filesystem::file_size(database + "-journal"), 0U);
    EXPECT_THAT(cells("SELECT DISTINCT b FROM a"), ElementsAre("stored"));
    EXPECT_THAT(cells("PRAGMA journal_mode"), ElementsAre("wal"));
}

TEST_F(DatabaseTest, TheNewestFourDamagedFilesAreKeptWithTheFilesBesideThem) {
    std::ofstream(database + ".damaged") << "of an earlier release";
    for (const char* number : {"1", "2", "3", "4", "5"}) {
        for (const char* beside : {"-wal", "-journal"}) {
            db.reset();
            std::ofstream(database + beside, std::ios::binary) << '\0' << number;
        }
        EXPECT_TRUE(open(garbage + number).setAside());
        EXPECT_TRUE(db->isEmpty());
        EXPECT_FALSE(db->isDamaged());
    }
    for (const char* number : {"2", "3", "4", "5"}) {
        const std::string kept = database + ".damaged-" + number;
        EXPECT_EQ(contentsOf(kept), garbage + number);
        EXPECT_EQ(contentsOf(kept + "-journal").substr(1), number);
        EXPECT_EQ(contentsOf(kept + "-wal").substr(1), number);
    }
    for (const char* removed : {".damaged", ".damaged-1", ".damaged-1-wal", ".damaged-1-journal"}) {
        EXPECT_FALSE(std::filesystem::exists(database + removed)) << removed;
    }
}

TEST_F(DatabaseTest, ADamagedFileThatCannotBeRenamedRemainsUnchanged) {
    open(garbage);
    disk.isReadOnly = true;
    EXPECT_FALSE(db->setAside());
    disk.isReadOnly = false;
    EXPECT_EQ(log.count("E DatabaseHelper: the damaged database ..."), 1U);
    EXPECT_TRUE(db->isDamaged());
    EXPECT_FALSE(db->execute("CREATE TABLE a (b)"));
    EXPECT_EQ(contentsOf(database), garbage);
}

TEST_F(DatabaseTest, DamageThatNoQueryHasMetIsFound) {
    constexpr size_t kPage = 4096;
    EXPECT_TRUE(open("").execute("CREATE TABLE a (b)"));
    db.reset();
    std::string contents = contentsOf(database);
    contents.replace(contents.size() - kPage, kPage, kPage, '\xa5');
    EXPECT_TRUE(open(contents).isDamaged());
}

TEST_F(DatabaseTest, AReadThatFailsIsNoDamage) {
    openFilled();
    db.reset();
    const std::string contents = contentsOf(database);
    for (const uint64_t good : {0U, 10U, 100U}) {
        for (const bool isOnce : {true, false}) {
            log.clear();
            disk.failNext(DiskCall::PREAD, isOnce ? 0 : good + 1);
            db.emplace(database);
            disk.clearFault();
            EXPECT_EQ(db->isOpen(), isOnce) << good;
            EXPECT_EQ(log.lines().size(), isOnce ? 0U : 1U) << good;
            EXPECT_FALSE(db->isDamaged()) << good;
        }
    }
}

TEST_F(DatabaseTest, AFileThatIsLockedIsNeitherEmptyNorDamaged) {
    Database other(database);
    (void)other.execute("PRAGMA locking_mode=EXCLUSIVE");  // returns a row, so it isn't "executed"
    EXPECT_TRUE(other.execute("CREATE TABLE a (b)"));
    db.emplace(database);
    EXPECT_FALSE(db->isEmpty());
    EXPECT_FALSE(db->isDamaged());
    EXPECT_FALSE(db->isOpen()) << "nothing is written to it later";
}

TEST_F(DatabaseTest, AfterAFaultOfTheDiskTheNextTransactionIsStored) {
    openFilled();
    disk.failNext(DiskCall::FDATASYNC);
    EXPECT_FALSE(store("UPDATE a SET b='never stored'"));
    EXPECT_TRUE(store("UPDATE a SET b='stored later'"));
    db.reset();

    disk.isReadOnly = true;
    db.emplace(database);
    EXPECT_FALSE(store("DELETE FROM a"));
    EXPECT_THAT(cells("SELECT DISTINCT b FROM a"), ElementsAre("stored later"));
    disk.isReadOnly = false;
    EXPECT_TRUE(store("DELETE FROM a"));
    EXPECT_THAT(cells("SELECT b FROM a"), testing::IsEmpty());
}

TEST_F(DatabaseTest, AFileThatWasMovedIsNotWrittenAndOneWithoutItsLogIsOpenedAgain) {
    open("");
    EXPECT_TRUE(store("CREATE TABLE a (b)"));
    std::filesystem::rename(database, database + ".moved");
    EXPECT_FALSE(store("INSERT INTO a VALUES ('not stored')"));
    EXPECT_EQ(log.count("E DatabaseHelper: the database " + database + " was moved ..."), 1U);
    std::filesystem::rename(database + ".moved", database);
    for (const char* const beside : {"-wal", "-shm"}) std::filesystem::remove(database + beside);
    EXPECT_TRUE(store("INSERT INTO a VALUES ('stored')"));
    EXPECT_THAT(cells("SELECT b FROM a"), ElementsAre("stored")) << "another connection reads it";
    EXPECT_EQ(log.count("E DatabaseHelper: the log of the database..."), 1U);
}

TEST_F(DatabaseTest, OnlyAPlainFileOfTheSameUserIsOpened) {
    const auto expectRefused = [&](const std::string& reason) {
        log.clear();
        EXPECT_FALSE(db.emplace(database).isOpen());
        EXPECT_EQ(log.count("E DatabaseHelper: can't open the database " + database + ": " +
                            std::filesystem::path(database).filename().string() + reason + "..."),
                  1U);
        std::filesystem::remove(database);
    };
    std::filesystem::create_symlink(dir.path() / "elsewhere", database);
    expectRefused(" is a symbolic link; ");
    EXPECT_FALSE(std::filesystem::exists(dir.path() / "elsewhere"));
    std::filesystem::create_directory(database);
    expectRefused(" is not a plain file; ");
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a file to another user";
    std::ofstream(database) << "";
    EXPECT_EQ(chown(database.c_str(), 1, 1), 0);
    expectRefused(" belongs to user 1 ");
}

}  // namespace
}  // namespace velora::test
