#define LOG_TAG "DatabaseHelper"

#include "store/Database.h"

#include "store/LogMessages.h"
#include "store/Statement.h"

#include <system_error>

#include <sqlite3.h>

#include <log/log.h>

namespace velora {

namespace {

// Log texts that are part of the interface: they must not change, nor may their spelling be
// corrected.
constexpr char kNotOpenMessage[] = "the db is not open...";
constexpr char kNotPreparedMessage[] = "failed to prepare SQL : %s";
constexpr char kNotExecutedMessage[] = "failed to exec SQL: %s";
constexpr char kCountNotPreparedMessage[] = "failed to prepare SQL: %s";
constexpr char kQueryNotPreparedMessage[] = "failed to prepare sql command: %s, ret = %d, line %d";
constexpr char kQueryFailedMessage[] = "Unknow error... %d";

/// How long a statement waits for a lock. In normal operation only this process uses the file, but
/// somebody's tool may hold a lock for a moment.
constexpr int kBusyTimeoutMs = 2000;

/// How often a file that is not found intact is looked at, before that is believed.
constexpr int kMaxLooks = 3;

/// In WAL mode, EXTRA is the same as FULL: the log is synchronised by every commit. If the file
/// can't be put into WAL mode, it keeps its journal, and FULL would not be enough: after a loss of
/// power a deleted journal could reappear and roll back a transaction that was reported as stored.
/// The limit empties the log when the file is closed.
constexpr char kDurable[] =
    "PRAGMA synchronous=EXTRA; PRAGMA journal_size_limit=0; PRAGMA journal_mode=WAL";

/// Length, in pages, from which the log is copied into the file: 1 MiB.
constexpr int kLongLog = 256;

/// The primary result code of an extended result code of SQLite.
int primaryResult(int result) { return result & 0xff; }

/// Somebody else has locked the file.
bool isLocked(int result) {
    const int primary = primaryResult(result);
    return primary == SQLITE_BUSY || primary == SQLITE_LOCKED || primary == SQLITE_PROTOCOL;
}

/// The contents of the file are wrong.
bool isDamage(int result) {
    const int primary = primaryResult(result);
    return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB;
}

/// A failure of the file, of memory, or because of somebody's lock, as opposed to an error in the
/// statement.
bool isStorageFailure(int result) {
    switch (primaryResult(result)) {
        case SQLITE_FULL:
        case SQLITE_IOERR:
        case SQLITE_NOMEM:
        case SQLITE_READONLY:
        case SQLITE_CANTOPEN:
            return true;
        default:  // the codes are SQLite's, and there are many others
            return isDamage(result) || isLocked(result);
    }
}

}  // namespace

void Database::CloseConnection::operator()(sqlite3* connection) const { sqlite3_close(connection); }

Database::Database(const std::string& path, Check check) : mFile(path) {
    if (check == Check::PAGES) {
        open();
        return;
    }
    std::string problem;
    if (connect(&problem) != SQLITE_OK) {
        close();
        ALOGE("nothing can be read of %s: %s", path.c_str(), problem.c_str());
    }
}

Database::~Database() = default;

void Database::open() {
    mEmpty = false;
    mDamaged = false;
    std::string problem;
    int result = SQLITE_OK;
    for (int look = 0; look < kMaxLooks; ++look) {
        result = connect(&problem);
        // Check every page now, because a damaged file can be replaced only at the start. Otherwise
        // the damage could first be noticed during a later write.
        if (result == SQLITE_OK) result = checkPages(&problem);
        if (result == SQLITE_OK) {
            setUp();
            return;
        }
        close();
        if (isLocked(result)) break;  // the busy timeout has passed
    }

    // A file that can't be read at the moment is not treated as damaged, but it isn't used. SQLite
    // reports some failed reads as damage.
    mDamaged = (isDamage(result) || !isStorageFailure(result)) && mFile.isReadable();
    ALOGE(mDamaged ? "the database %s is damaged: %s" : "can't open the database %s: %s",
          mFile.path().c_str(), problem.c_str());
}

void Database::close() {
    mStatements.clear();
    mConnection.reset();
    mLogNumber = 0;
    mState = State::NONE;
    mDepth = 0;
}

int Database::connect(std::string* problem) {
    if (const auto reason = mFile.refusal()) {
        *problem = *reason;
        return SQLITE_CANTOPEN;
    }

    constexpr int kFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX;
    sqlite3* handle = nullptr;
    const int result = sqlite3_open_v2(mFile.path().c_str(), &handle, kFlags, nullptr);
    mConnection.reset(handle);
    ++mConnections;
    if (result != SQLITE_OK) {
        *problem = sqlite3_errmsg(handle);
        return result;
    }

    sqlite3_busy_timeout(handle, kBusyTimeoutMs);
    // Until its pages are checked, closing the file must not copy the log into it.
    sqlite3_db_config(handle, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    return SQLITE_OK;
}

/// SQLITE_OK if every page was read and found intact.
int Database::checkPages(std::string* problem) {
    std::string finding;
    int result = readCell("PRAGMA quick_check(1)", &finding);
    if (result == SQLITE_OK && finding != "ok") {
        // The check also reports pages that it couldn't read.
        int error = 0;
        sqlite3_file_control(mConnection.get(), "main", SQLITE_FCNTL_LAST_ERRNO, &error);
        *problem = finding;
        return error != 0 ? SQLITE_IOERR : SQLITE_CORRUPT;
    }

    std::string tables;
    if (result == SQLITE_OK) result = readCell("SELECT COUNT(*) FROM sqlite_master", &tables);
    mEmpty = result == SQLITE_OK && tables == "0";
    if (result != SQLITE_OK) *problem = sqlite3_errmsg(mConnection.get());
    return result == SQLITE_OK ? checkLength(problem) : result;
}

/// SQLite takes a file that is shorter than a page for a new one.
int Database::checkLength(std::string* problem) {
    std::string pages;
    const int result = readCell("PRAGMA page_count", &pages);
    if (result != SQLITE_OK || pages != "0" || mFile.size() == 0) return result;
    *problem = "its end is missing";
    return SQLITE_CORRUPT;
}

/// Reads the only cell of a query's result, as text. Returns SQLite's result code and logs nothing.
int Database::readCell(const std::string& sql, std::string* text) {
    Statement statement(mConnection.get(), sql);
    if (statement.result() != SQLITE_OK) return statement.result();
    const int result = statement.step();
    if (result != SQLITE_ROW) return result;

    std::vector<RowData> row;
    statement.readRow(row);
    *text = row.front().toString();
    return SQLITE_OK;
}

/// Sets up a connection to a file that was found intact.
void Database::setUp() {
    mMustReopen = sqlite3_db_readonly(mConnection.get(), "main") == 1;
    if (mMustReopen) {
        ALOGE("the database %s can't be written", mFile.path().c_str());
        return;
    }

    // An empty log remains beside the closed file, because SQLite could not read the file if the
    // log were missing and the file system were read-only.
    int isLogKept = 1;
    sqlite3_file_control(mConnection.get(), "main", SQLITE_FCNTL_PERSIST_WAL, &isLogKept);
    sqlite3_db_config(mConnection.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
    const int result = sqlite3_exec(mConnection.get(), kDurable, nullptr, nullptr, nullptr);
    if (result != SQLITE_OK) {
        ALOGW("the database %s keeps its journal mode: %s", mFile.path().c_str(),
              sqlite3_errmsg(mConnection.get()));
        mMustReopen = !isLocked(result);
    }
    mLogNumber = mFile.logNumber();

    // This replaces SQLite's own hook, by which some commits would copy the log.
    mLogPages = 0;
    const auto setLogPages = [](void* logPages, sqlite3*, const char*, int pages) {
        *static_cast<int*>(logPages) = pages;
        return SQLITE_OK;
    };
    sqlite3_wal_hook(mConnection.get(), setLogPages, &mLogPages);
}

/// What is written to a file that was moved or removed is not found by the next start.
bool Database::hasMoved() const {
    int moved = 0;
    sqlite3_file_control(mConnection.get(), "main", SQLITE_FCNTL_HAS_MOVED, &moved);
    return moved != 0;
}

/// What is written to a log that was removed is not found either. SQLite copies it into the file
/// when it closes the file.
bool Database::hasLostLog() const {
    const bool isKnown = isOpen() && mLogNumber != 0;
    return isKnown && mFile.logNumber() != mLogNumber && !hasMoved();
}

std::optional<std::string> Database::setAside() {
    close();
    std::error_code error;
    auto renamed = mFile.setAside(&error);
    if (!renamed) {
        ALOGE("the damaged database %s can't be renamed: %s", mFile.path().c_str(),
              error.message().c_str());
        return std::nullopt;
    }

    ALOGE("the damaged database %s is kept as %s", mFile.path().c_str(), renamed->c_str());
    mFailedReads = 0;
    open();
    return renamed;
}

void Database::primeLog() {
    std::string version;
    const bool begun = begin(Access::WRITE);
    if (!begun || readCell("PRAGMA user_version", &version) != SQLITE_OK ||
        !execute("PRAGMA user_version=" + version)) {
        abort();
    }
    (void)commit();  // a failure is logged
}

void Database::checkpoint() {
    if (!isOpen() || mLogPages < kLongLog) return;
    mLogPages = 0;  // if this fails, the next commit sets it again
    const int result = sqlite3_wal_checkpoint_v2(mConnection.get(), "main",
                                                 SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
    if (result != SQLITE_OK && !isLocked(result)) handleFailure(result);
}

bool Database::begin(Access access) {
    if (mDepth == 0 && access == Access::WRITE && hasLostLog()) {
        ALOGE("the log of the database %s was removed while it was in use", mFile.path().c_str());
        mMustReopen = true;
    }
    if (mDepth == 0 && mMustReopen && (access == Access::WRITE || !isOpen())) {
        close();
        open();
    }

    if (mDepth++ > 0) return isTransactionOpen();
    mState = State::OPEN;
    if (!execute(access == Access::WRITE ? "BEGIN EXCLUSIVE" : "BEGIN")) mState = State::FAILED;
    if (access == Access::WRITE && isTransactionOpen() && hasMoved()) {
        ALOGE("the database %s was moved or removed while it was in use", mFile.path().c_str());
        abort();
    }
    return isTransactionOpen();
}

bool Database::commit() {
    if (mDepth == 0) {
        ALOGE("there is no transaction to commit");
        return false;
    }
    if (--mDepth > 0) return isTransactionOpen();

    const bool stored = isTransactionOpen() && execute("COMMIT");
    mState = State::NONE;
    if (stored) {
        if (mLogNumber == 0) mLogNumber = mFile.logNumber();  // the first commit creates the log
        return true;
    }

    ALOGE("the transaction failed, nothing of it is stored");
    // After some failures SQLite has already rolled back; then there is nothing to roll back.
    if (isOpen() && sqlite3_get_autocommit(mConnection.get()) == 0) (void)execute("ROLLBACK");
    return false;
}

void Database::abort() {
    if (isTransactionOpen()) mState = State::FAILED;
}

// A storage failure fails the whole transaction. SQLite may already have rolled it back; each later
// write would then be committed on its own.
void Database::handleFailure(int result) {
    if (!isStorageFailure(result)) return;
    ALOGE("database %s: %s", mFile.path().c_str(), sqlite3_errmsg(mConnection.get()));
    mDamaged = mDamaged || isDamage(result);
    mMustReopen = mMustReopen || !isLocked(result);
    abort();
}

bool Database::execute(const std::string& sql) {
    if (!isOpen()) {
        ALOGE(kNotOpenMessage);
        return false;
    }

    Statement statement(mConnection.get(), sql);
    if (statement.result() != SQLITE_OK) {
        ALOGD(kNotPreparedMessage, sql.c_str());
        handleFailure(statement.result());
        return false;
    }
    return runWrite(statement, sql);
}

bool Database::write(const std::string& sql, const Arguments& arguments) {
    if (!isOpen()) {
        ALOGE(kNotOpenMessage);
        return false;
    }

    int result = SQLITE_OK;
    Statement* const statement = prepare(sql, &result);
    if (statement == nullptr) {
        ALOGD(kNotPreparedMessage, sql.c_str());
        abort();
        return false;
    }

    statement->bind(arguments);
    if (runWrite(*statement, sql)) return true;
    abort();
    return false;
}

bool Database::runWrite(Statement& statement, const std::string& sql) {
    // A failed transaction will be rolled back, so skip its remaining writes.
    if (mState == State::FAILED) return false;

    const int result = statement.step();
    statement.reset();
    if (result == SQLITE_DONE) return true;
    ALOGE(kNotExecutedMessage, sql.c_str());
    handleFailure(result);
    return false;
}

/// Returns the kept statement for `sql`, preparing it first if necessary. Returns null, and sets
/// `*result` to SQLite's result code, if it can't be prepared.
Statement* Database::prepare(const std::string& sql, int* result) {
    auto& statement = mStatements[sql];
    if (statement != nullptr) return statement.get();

    statement = std::make_unique<Statement>(mConnection.get(), sql);
    *result = statement->result();
    if (*result == SQLITE_OK) return statement.get();
    handleFailure(*result);
    mStatements.erase(sql);
    return nullptr;
}

bool Database::read(const std::string& sql, const Arguments& arguments, const RowVisitor& visit) {
    ++mFailedReads;  // reversed at the end, when the read has succeeded
    if (!isOpen()) {
        ALOGE(kNotConnectedMessage);
        return false;
    }

    int result = SQLITE_OK;
    Statement* const statement = prepare(sql, &result);
    if (statement == nullptr) {
        ALOGE(kQueryNotPreparedMessage, sql.c_str(), result, __LINE__);
        return false;
    }

    statement->bind(arguments);
    std::vector<RowData> row;
    for (result = statement->step(); result == SQLITE_ROW; result = statement->step()) {
        statement->readRow(row);
        visit(row);
    }
    statement->reset();

    if (result != SQLITE_DONE) {
        ALOGE(kQueryFailedMessage, result);
        handleFailure(result);
        return false;
    }
    --mFailedReads;
    return true;
}

std::optional<int64_t> Database::countRows(std::string_view table) {
    if (!isOpen()) {
        ALOGE(kNotOpenMessage);
        return std::nullopt;
    }

    const std::string sql = std::string("SELECT COUNT(*) FROM ").append(table);
    Statement statement(mConnection.get(), sql);
    if (statement.result() != SQLITE_OK) {
        ALOGE(kCountNotPreparedMessage, sql.c_str());
        handleFailure(statement.result());
        return std::nullopt;
    }
    if (const int result = statement.step(); result != SQLITE_ROW) {
        ALOGE("can't count the rows: %s", sql.c_str());
        handleFailure(result);
        return std::nullopt;
    }

    std::vector<RowData> row;
    statement.readRow(row);
    return row.front().integer;
}

int64_t Database::lastRowid() const { return sqlite3_last_insert_rowid(mConnection.get()); }

}  // namespace velora
