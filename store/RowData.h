#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velora {

/// One cell of a result. Its text remains valid until the next row is read.
struct RowData {
    static constexpr int kInteger = 1;

    std::string_view column;
    int storageClass;  ///< `kInteger`, or 3 for a text, as SQLite numbers them
    int64_t integer;
    std::string_view text;

    /// An integer in decimal, or the text; empty for any other storage class.
    std::string toString() const;
    /// An integer as a list of one; a text as the integers at its start, which commas may separate.
    std::vector<int> values() const;
    /// The first of these values; 0 if there is none.
    int number() const;
    /// The number in a TEXT cell that is written as `std::to_string` writes it. None for any other
    /// text, such as "1x" or "01", and for any other type of cell.
    std::optional<int> plainNumber() const;
};

/// The cell of a column; an empty one if the row doesn't have it.
const RowData& cellOf(std::span<const RowData> row, std::string_view column);

}  // namespace velora
