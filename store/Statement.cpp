#include "store/Statement.h"

#include <sqlite3.h>

namespace velora {

Statement::Statement(sqlite3* connection, const std::string& sql)
    : mResult(sqlite3_prepare_v2(connection, sql.c_str(), static_cast<int>(sql.size()), &mHandle,
                                 nullptr)) {
    // SQLite accepts a text without any statement in it, such as a comment.
    if (mHandle == nullptr && mResult == SQLITE_OK) mResult = SQLITE_MISUSE;
}

Statement::~Statement() { sqlite3_finalize(mHandle); }

void Statement::bind(std::span<const std::string_view> arguments) {
    int index = 0;
    for (const std::string_view text : arguments) {
        sqlite3_bind_text(mHandle, ++index, text.data() != nullptr ? text.data() : "",
                          static_cast<int>(text.size()), SQLITE_STATIC);
    }
}

int Statement::step() { return sqlite3_step(mHandle); }

void Statement::readRow(std::vector<RowData>& row) {
    const int columns = sqlite3_column_count(mHandle);
    for (int i = static_cast<int>(row.size()); i < columns; ++i) {
        row.push_back({sqlite3_column_name(mHandle, i), 0, 0, {}});
    }
    for (int i = 0; i < columns; ++i) readCell(i, row[static_cast<size_t>(i)]);
}

void Statement::readCell(int index, RowData& cell) {
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

void Statement::reset() {
    sqlite3_reset(mHandle);
    sqlite3_clear_bindings(mHandle);
}

}  // namespace velora
