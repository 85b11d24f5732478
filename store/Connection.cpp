#define LOG_TAG "DatabaseHelper"

#include "store/Connection.h"

#include "util/Integers.h"

#include <sqlite3.h>

#include <log/log.h>

namespace velora {

namespace {

constexpr int kBusyTimeoutMs = 2000;  // nobody else should use the file at all

/// FULL would leave out the directory: after a loss of power a journal that had been deleted could
/// be back, and roll back a transaction that was reported as stored.
constexpr char kDurable[] = "PRAGMA synchronous=EXTRA; PRAGMA journal_mode=DELETE";

}  // namespace

std::vector<int> RowData::values() const {
    if (storageClass == SQLITE_INTEGER) return {static_cast<int>(integer)};
    std::vector<int> values;
    string2IntVector(text, values);
    return values;
}

int RowData::number() const {
    const std::vector<int> all = values();
    return all.empty() ? 0 : all.front();
}

bool isStorageFailure(int result) {
    switch (result & 0xff) {
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
        default:  // SQLite's numbers, not ours
            return false;
    }
}

bool isDamage(int result) {
    return (result & 0xff) == SQLITE_CORRUPT || (result & 0xff) == SQLITE_NOTADB;
}

std::unique_ptr<Connection> Connection::open(const std::string& path) {
    constexpr int kFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX;
    sqlite3* handle = nullptr;
    const int result = sqlite3_open_v2(path.c_str(), &handle, kFlags, nullptr);
    if (result != SQLITE_OK) {
        ALOGE("can't open the database %s: %s", path.c_str(), sqlite3_errmsg(handle));
        sqlite3_close(handle);
        return nullptr;
    }
    sqlite3_busy_timeout(handle, kBusyTimeoutMs);
    if (sqlite3_db_readonly(handle, "main") == 1) {
        ALOGE("the database %s can't be written", path.c_str());
    }
    return std::unique_ptr<Connection>(new Connection(handle));
}

Connection::~Connection() { sqlite3_close(mHandle); }

void Connection::makeDurable() const {
    if (sqlite3_exec(mHandle, kDurable, nullptr, nullptr, nullptr) == SQLITE_OK) return;
    ALOGE("a loss of power may take stored settings along: %s", lastError());
}

const char* Connection::lastError() const { return sqlite3_errmsg(mHandle); }

int Connection::lastResult() const { return sqlite3_errcode(mHandle); }

bool Connection::isInTransaction() const { return sqlite3_get_autocommit(mHandle) == 0; }

int64_t Connection::lastRow() const { return sqlite3_last_insert_rowid(mHandle); }

static_assert(Statement::kOk == SQLITE_OK && Statement::kRow == SQLITE_ROW &&
              Statement::kDone == SQLITE_DONE);

Statement::Statement(const Connection& connection, const std::string& sql)
    : mResult(sqlite3_prepare_v2(connection.mHandle, sql.c_str(), static_cast<int>(sql.size()),
                                 &mHandle, nullptr)) {
    if (mHandle == nullptr && mResult == SQLITE_OK) mResult = SQLITE_MISUSE;  // no statement
}

Statement::~Statement() { sqlite3_finalize(mHandle); }

void Statement::bind(int index, std::string_view text) {
    sqlite3_bind_text(mHandle, index, text.data() != nullptr ? text.data() : "",
                      static_cast<int>(text.size()), SQLITE_STATIC);
}

void Statement::bind(int index, int64_t value) { sqlite3_bind_int64(mHandle, index, value); }

void Statement::bind(std::initializer_list<std::string_view> texts) {
    int index = 0;
    for (const std::string_view text : texts) bind(++index, text);
}

int Statement::step() { return sqlite3_step(mHandle); }

void Statement::readRow(std::vector<RowData>& row) {
    const int columns = sqlite3_column_count(mHandle);
    for (int i = static_cast<int>(row.size()); i < columns; ++i) {
        row.push_back({sqlite3_column_name(mHandle, i), 0, 0, {}});
    }
    for (int i = 0; i < columns; ++i) {
        RowData& cell = row[static_cast<size_t>(i)];
        cell.storageClass = sqlite3_column_type(mHandle, i);
        cell.integer = 0;
        cell.text = {};
        if (cell.storageClass == SQLITE_INTEGER) {
            cell.integer = sqlite3_column_int64(mHandle, i);
        } else if (cell.storageClass == SQLITE_TEXT) {
            cell.text = {reinterpret_cast<const char*>(sqlite3_column_text(mHandle, i)),
                         static_cast<size_t>(sqlite3_column_bytes(mHandle, i))};
        }
    }
}

void Statement::reset() {
    sqlite3_reset(mHandle);
    sqlite3_clear_bindings(mHandle);
}

}  // namespace velora
