#pragma once

#include "store/RowData.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace velora {

/// A prepared statement of SQLite. The database owns it; it must be destroyed before its
/// connection, and it is used by one thread at a time. Logs nothing.
class Statement {
public:
    Statement(sqlite3* connection, const std::string& sql);
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    /// SQLITE_OK if it was prepared, otherwise SQLite's result code.
    int result() const { return mResult; }

    /// Sets the texts for the question marks. They must remain valid until `reset`.
    void bind(std::span<const std::string_view> arguments);
    /// SQLITE_ROW, SQLITE_DONE, or an error code.
    int step();
    /// Reads the row that the last step returned into `row`, which must be empty or have been
    /// filled from this statement. Its texts remain valid until the next step or `reset`.
    void readRow(std::vector<RowData>& row);
    /// Prepares the statement for its next run and releases the lock that it may hold on the file.
    void reset();

private:
    void readCell(int index, RowData& cell);

    sqlite3_stmt* mHandle = nullptr;
    int mResult;
};

}  // namespace velora
