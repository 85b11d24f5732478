#include "store/RowIndex.h"

#include <utility>

namespace velora {

namespace {

void appendToKey(std::string& key, std::string_view value) { key.append(value).push_back('\0'); }

std::string joinKey(std::span<const std::string_view> values) {
    std::string key;
    for (const std::string_view value : values) appendToKey(key, value);
    return key;
}

}  // namespace

/// Null if the table can't be read.
RowIndex::Keys* RowIndex::keysOf(TableType type) {
    TableRows& rows = rowsOf(type);
    if (rows.keys) return &*rows.keys;

    const Table& table = tableOf(type);
    std::string sql = "SELECT rowid";
    for (const size_t column : table.key) sql.append(",").append(table.columns[column]);
    sql.append(" FROM ").append(table.name);

    Keys keys;
    const auto add = [&](std::span<const RowData> row) {
        std::string key;
        for (const RowData& cell : row.subspan(1)) appendToKey(key, cell.text);
        keys[key].push_back(row.front().integer);
    };
    if (!mDatabase->read(sql, {}, add)) {
        // The transaction must fail: replacing a row that could not be found would leave the old
        // row beside the new one.
        mDatabase->abort();
        return nullptr;
    }
    return &rows.keys.emplace(std::move(keys));
}

const RowIndex::Rowids* RowIndex::find(TableType type, std::span<const std::string_view> key) {
    static const auto* const kNoRows = new Rowids();
    const Keys* const keys = keysOf(type);
    if (keys == nullptr) return nullptr;
    const auto found = keys->find(joinKey(key));
    return found != keys->end() ? &found->second : kNoRows;
}

std::optional<int64_t> RowIndex::count(TableType type) {
    auto& count = rowsOf(type).count;
    if (!count) count = mDatabase->countRows(tableOf(type).name);
    return count;
}

void RowIndex::insert(TableType type, std::span<const std::string_view> columns, int64_t rowid) {
    TableRows& rows = rowsOf(type);
    if (rows.count) ++*rows.count;
    if (!rows.keys) return;
    std::string key;
    for (const size_t column : tableOf(type).key) appendToKey(key, columns[column]);
    (*rows.keys)[key].push_back(rowid);
}

void RowIndex::erase(TableType type, std::span<const std::string_view> key) {
    TableRows& rows = rowsOf(type);
    rows.count.reset();
    if (rows.keys) rows.keys->erase(joinKey(key));
}

void RowIndex::clear() { mTables = {}; }

}  // namespace velora
