#pragma once

#include "store/Database.h"
#include "store/RecordRows.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace velora {

/// An in-memory index of the database's tables: the rowids of the rows with each key, and the
/// number of rows of each table. The tables have no SQLite index, so looking up each of n records
/// with a query would take time proportional to n squared.
///
/// The database helper owns it, and uses it on one thread at a time and only inside an open
/// transaction, while nobody else can change the file. The helper reports every row that it inserts
/// or deletes, and calls `clear` when the transaction ends. The index reads a table when it is
/// first asked for it.
class RowIndex {
public:
    using Rowids = std::vector<int64_t>;

    /// The database must outlive the index.
    explicit RowIndex(Database* database) : mDatabase(database) {}

    /// Returns the rowids of the rows with this key, which has the value of each key column in the
    /// order of the columns; an empty list if there is none. Returns null, and marks the
    /// transaction as failed, if the table can't be read. The result remains valid until the next
    /// `insert`, `erase` or `clear`.
    const Rowids* find(TableType type, std::span<const std::string_view> key);
    /// Number of rows of a table. None if it can't be read.
    std::optional<int64_t> count(TableType type);

    /// Records that a row was inserted. `columns` has the values, as text, of all columns after
    /// `_id`.
    void insert(TableType type, std::span<const std::string_view> columns, int64_t rowid);
    /// Records that all rows with this key were deleted.
    void erase(TableType type, std::span<const std::string_view> key);
    /// Discards everything that was read, because the tables may have changed in any way.
    void clear();

private:
    /// Key -> rowids. A key is its column values, each followed by NUL.
    using Keys = std::unordered_map<std::string, Rowids>;
    struct TableRows {
        std::optional<Keys> keys;
        std::optional<int64_t> count;
    };

    TableRows& rowsOf(TableType type) { return mTables[static_cast<size_t>(type)]; }
    Keys* keysOf(TableType type);

    Database* const mDatabase;
    std::array<TableRows, kNumTables> mTables;
};

}  // namespace velora
