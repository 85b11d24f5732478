#define LOG_TAG "DatabaseHelper"

#include "store/Database.h"

#include "store/LogMessages.h"
#include "util/Integers.h"

#include <filesystem>
#include <system_error>
#include <utility>

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

/// EXTRA and not FULL, which doesn't synchronise the directory after a journal was deleted: after a
/// loss of power the journal could reappear and roll back a transaction that was reported as
/// stored.
constexpr char kDurable[] = "PRAGMA synchronous=EXTRA; PRAGMA journal_mode=DELETE";

/// The primary result code of an extended result code of SQLite.
int primaryResult(int result) { return result & 0xff; }

/// A failure of the file, of memory, or because of somebody's lock, as opposed to an error in the
/// statement.
bool isStorageFailure(int result) {
    switch (primaryResult(result)) {
        case SQLITE_FULL:
        case SQLITE_IOERR:
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
        case SQLITE_NOMEM:
        case SQLITE_READONLY:
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
        case SQLITE_CANTOPEN:
            return true;
        default:  // the codes are SQLite's, and there are many others
            return false;
    }
}

bool isDamage(int result) {
    const int primary = primaryResult(result);
    return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB;
}

}  // namespace

std::vector<int> RowData::values() const {
    if (storageClass == SQLITE_INTEGER) return {static_cast<int>(integer)};
    std::vector<int> values;
    string2IntVector(text, values);
    return values;
}

int RowData::number() const {
    if (storageClass == SQLITE_INTEGER) return static_cast<int>(integer);
    return string2Int(text);
}

std::optional<int> RowData::plainNumber() const {
    const int value = number();
    if (text != std::to_string(value)) return std::nullopt;
    return value;
}

/// A prepared statement. It must be destroyed before its connection.
class Database::Statement {
public:
    Statement(sqlite3* connection, const std::string& sql)
        : mResult(sqlite3_prepare_v2(connection, sql.c_str(), static_cast<int>(sql.size()),
                                     &mHandle, nullptr)) {
        // SQLite accepts a text without any statement in it, such as a comment.
        if (mHandle == nullptr && mResult == SQLITE_OK) mResult = SQLITE_MISUSE;
    }
    ~Statement() { sqlite3_finalize(mHandle); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    /// SQLITE_OK if it was prepared, otherwise SQLite's result code.
    int result() const { return mResult; }

    /// The texts must remain valid until `reset`.
    void bind(const Arguments& arguments) {
        int index = 0;
        for (const std::string_view text : arguments) {
            sqlite3_bind_text(mHandle, ++index, text.data() != nullptr ? text.data() : "",
                              static_cast<int>(text.size()), SQLITE_STATIC);
        }
    }

    /// SQLITE_ROW, SQLITE_DONE, or an error code.
    int step() { return sqlite3_step(mHandle); }

    /// Reads the row that the last step returned into `row`, which must be empty or have been
    /// filled from this statement. Its texts remain valid until the next step or `reset`.
    void readRow(std::vector<RowData>& row) {
        const int columns = sqlite3_column_count(mHandle);
        for (int i = static_cast<int>(row.size()); i < columns; ++i) {
            row.push_back({sqlite3_column_name(mHandle, i), 0, 0, {}});
        }
        for (int i = 0; i < columns; ++i) readCell(i, row[static_cast<size_t>(i)]);
    }

    /// Prepares the statement for its next run and releases the lock that it may hold on the file.
    void reset() {
        sqlite3_reset(mHandle);
        sqlite3_clear_bindings(mHandle);
    }

private:
    void readCell(int index, RowData& cell) {
        cell.storageClass = sqlite3_column_type(mHandle, index);
        cell.integer = 0;
        cell.text = {};
        if (cell.storageClass == SQLITE_INTEGER) {
            cell.integer = sqlite3_column_int64(mHandle, index);
        } else if (cell.storageClass == SQLITE_TEXT) {
            cell.text = {reinterpret_cast<const char*>(sqlite3_column_text(mHandle, index)),
                         static_cast<size_t>(sqlite3_column_bytes(mHandle, index))};
        }
    }

    sqlite3_stmt* mHandle = nullptr;
    int mResult;
};

void Database::CloseConnection::operator()(sqlite3* connection) const { sqlite3_close(connection); }

Database::Database(std::string path) : mPath(std::move(path)) { open(); }

Database::~Database() = default;

Database::Connection Database::connect(const std::string& path) {
    constexpr int kFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX;
    sqlite3* handle = nullptr;
    const int result = sqlite3_open_v2(path.c_str(), &handle, kFlags, nullptr);
    Connection connection(handle);
    if (result != SQLITE_OK) {
        ALOGE("can't open the database %s: %s", path.c_str(), sqlite3_errmsg(handle));
        return nullptr;
    }

    sqlite3_busy_timeout(handle, kBusyTimeoutMs);
    if (sqlite3_db_readonly(handle, "main") == 1) {
        ALOGE("the database %s can't be written", path.c_str());
    }
    return connection;
}

void Database::open() {
    mConnection = connect(mPath);
    if (!isOpen()) return;

    // Check every page now, because a damaged file can be replaced only at the start. Otherwise the
    // damage could first be noticed during a later write.
    std::string check;
    int64_t tables = 0;
    const bool wasRead = read("PRAGMA quick_check(1)", {},
                              [&](std::span<const RowData> row) { check = row.front().text; }) &&
                         read("SELECT COUNT(*) FROM sqlite_master", {},
                              [&](std::span<const RowData> row) { tables = row.front().integer; });
    mEmpty = wasRead && tables == 0;
    if (wasRead && check == "ok") {
        makeDurable();
        return;
    }

    // A file that can't be read at the moment is not treated as damaged, but it isn't used. A read
    // that failed because of damage has set `mDamaged` already.
    const int result = sqlite3_errcode(mConnection.get());
    mDamaged = mDamaged || wasRead || !isStorageFailure(result);
    const char* const reason = wasRead ? check.c_str() : sqlite3_errstr(result);
    if (mDamaged) ALOGE("database %s is damaged: %s", mPath.c_str(), reason);
    close();
}

void Database::close() {
    mStatements.clear();
    mConnection.reset();
    mState = State::NONE;
    mDepth = 0;
}

void Database::makeDurable() const {
    if (sqlite3_exec(mConnection.get(), kDurable, nullptr, nullptr, nullptr) == SQLITE_OK) return;
    ALOGE("stored settings may be lost when the power fails: %s",
          sqlite3_errmsg(mConnection.get()));
}

void Database::replaceDamaged() {
    close();
    const std::string renamed = mPath + ".damaged";
    std::error_code error;
    std::filesystem::rename(mPath, renamed, error);
    if (error) {
        ALOGE("the damaged database %s can't be renamed: %s", mPath.c_str(),
              error.message().c_str());
        return;
    }

    // The journal belongs to the damaged file. SQLite could apply it to the new one.
    std::filesystem::remove(renamed + "-journal", error);
    std::filesystem::rename(mPath + "-journal", renamed + "-journal", error);

    ALOGE("the database %s is damaged, it is kept as %s", mPath.c_str(), renamed.c_str());
    mDamaged = false;
    mFailedReads = 0;
    open();
}

bool Database::begin(Access access) {
    if (mDepth++ > 0) return isTransactionOpen();
    mState = State::OPEN;
    if (!execute(access == Access::WRITE ? "BEGIN EXCLUSIVE" : "BEGIN")) mState = State::FAILED;
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
    if (stored) return true;

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
    ALOGE("database %s: %s", mPath.c_str(), sqlite3_errmsg(mConnection.get()));
    mDamaged = mDamaged || isDamage(result);
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
Database::Statement* Database::prepare(const std::string& sql, int* result) {
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
