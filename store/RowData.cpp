#include "store/RowData.h"

#include "util/Integers.h"

#include <algorithm>
#include <string>

#include <sqlite3.h>

namespace velora {

std::string RowData::toString() const {
    return storageClass == kInteger ? std::to_string(integer) : std::string(text);
}

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

const RowData& cellOf(std::span<const RowData> row, std::string_view column) {
    static constexpr RowData kNone{};
    const auto cell = std::find_if(row.begin(), row.end(),
                                   [&](const RowData& each) { return each.column == column; });
    return cell != row.end() ? *cell : kNone;
}

}  // namespace velora
