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

/// Which rows the tables have: the rowids of each key, and the number of rows. The tables have no
/// index of their own, so finding every record through SQLite would be quadratic.
///
/// Owned by the database helper, which uses it only inside an open transaction, when nobody else
/// can change the file, reports every change of its own, and clears it at the end. Reads each table
/// on first use.
class RowIndex {
public:
    using Rowids = std::vector<int64_t>;

    /// The database must outlive the index.
    explicit RowIndex(Database* database) : mDatabase(database) {}

    /// The rows with this key: the values of the table's key columns, in order. Null if the table
    /// can't be read, which fails the transaction; otherwise valid until the next change.
    const Rowids* find(TableType type, std::span<const std::string_view> key);
    /// Number of rows of a table. None if it can't be read.
    std::optional<int64_t> count(TableType type);

    /// A row was inserted: the texts of its columns after `_id`.
    void insert(TableType type, std::span<const std::string_view> columns, int64_t rowid);
    /// All rows with this key were deleted.
    void erase(TableType type, std::span<const std::string_view> key);
    /// Forgets everything: the tables may have changed in any way.
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
