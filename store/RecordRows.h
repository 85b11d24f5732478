#pragma once

#include "model/Parameter.h"
#include "store/Database.h"

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

// How the records of the model are stored: one table per type of record, one row per copy of a
// record.

namespace velora {

/// The tables of the database, in the order of their creation.
enum class TableType {
    CONFIGURATION,
    IEQ_PRESETS,
    GEQ_PRESETS,
    PROFILES,
    PROFILE_ENDPOINTS,
    TUNINGS,
    DEVICE_TUNINGS,
};
inline constexpr size_t kNumTables = 7;

/// The copies of a record, which the column `custom_name` distinguishes.
inline constexpr std::string_view kFactoryCopy = "default";
inline constexpr std::string_view kUserCopy = "custom";
inline constexpr std::string_view kOemCopy = "oem";  ///< from the maker's extra file

/// One table. Its first column is `_id`, an INTEGER; all others are TEXT. There are no keys,
/// indexes or constraints in the database itself.
struct Table {
    TableType type;
    std::string_view name;
    std::vector<std::string_view> columns;  ///< after `_id`
    std::vector<size_t> key;                ///< the columns that a record is found by
};

/// All tables, in the order of their types.
const std::array<Table, kNumTables>& allTables();

const Table& tableOf(TableType type);

/// The table of a type of record: IeqPreset, GeqPreset, Profile, ProfileEndpoint, Tuning or
/// DeviceTuning.
template <typename Record>
const Table& tableOf();

/// Column name -> parameter.
using ParameterNames = std::unordered_map<std::string_view, Parameter>;

/// The texts of a record's row after `_id`, in the order of the columns. A list of values is joined
/// by commas, a boolean is "1" or "0", an endpoint is its short name.
template <typename Record>
std::vector<std::string> rowTexts(const Record& record, std::string_view copy);

/// A new record with an empty list for each parameter of its table, so that reading a row adds
/// none.
template <typename Record>
Record completed(Record record) {
    record.completeTo(Record::kStoredParams);
    return record;
}

/// Sets what a row contains, found by the names of its columns, in a record, which becomes dirty.
/// What identifies the record is not read back, nor is a tuning's `is_readonly`.
template <typename Record>
void readRow(std::span<const RowData> row, const ParameterNames& names, Record& record);

}  // namespace velora
