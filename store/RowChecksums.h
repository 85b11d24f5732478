#pragma once

#include "store/Database.h"
#include "store/RecordRows.h"

#include <array>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velora {

/// The checksum of every row of the seven tables, in a table beside them, so that it is noticed
/// when the disk has changed something inside a row.
///
/// Triggers remove the checksum of a row that anybody changes or deletes. So a row that an earlier
/// release has written, or that was edited by hand, has no checksum: it is accepted, and gets one
/// with the next transaction. A checksum without a row, on the other hand, is a sign of damage.
///
/// VACUUM, and a copy made from a dump, number the rows anew. The checksums follow their rows then.
///
/// The database helper owns it, and so does the salvage of a damaged file. One thread at a time
/// uses it, inside a transaction, which the owner ends with `clear`.
class RowChecksums {
public:
    using Cells = std::span<const std::string_view>;

    /// The database must outlive this.
    explicit RowChecksums(Database* database) : mDatabase(database) {}

    /// The statements that create, or drop, the table of checksums and the triggers.
    static const std::vector<std::string>& createStatements();
    static const std::vector<std::string>& dropStatements();

    /// To be called at the beginning of a transaction that writes. If a query has met rows that
    /// were numbered anew, it stores the checksums under the new numbers. A failure fails the
    /// transaction.
    void beginWriting();

    /// False, with a line in the log that names the row, if its checksum is wrong. `row` has the
    /// rowid, `_id` and all columns.
    [[nodiscard]] bool isIntact(const Table& table, std::span<const RowData> row);
    /// False, with a line in the log, if a row of the table that has a checksum is not among
    /// `rowids`, those of all its rows.
    [[nodiscard]] bool isWhole(const Table& table, const std::set<int64_t>& rowids);
    /// The rowids of a table that have a checksum.
    std::set<int64_t> rowidsOf(const Table& table);

    /// A text that changes when any row of these tables is changed, added or removed. Empty if not
    /// every row has a checksum.
    std::string digest(std::initializer_list<TableType> types);

    /// Stores the checksum of a row that was just written. `row` has the texts of `_id` and of all
    /// columns. A failure fails the transaction.
    void store(const Table& table, int64_t rowid, Cells row);
    /// Records that a row was deleted.
    void erase(const Table& table, int64_t rowid) { sums(table).erase(rowid); }
    /// Stores the checksums of all rows without one, if a query has met such rows. A failure fails
    /// the transaction.
    void complete();
    /// Discards what was read, because the tables may change in any way.
    void clear() { mSums.reset(); }

private:
    using Sums = std::map<int64_t, int64_t>;  ///< by rowid

    Sums& sums(const Table& table);
    bool hasTables();
    void completeTable(const Table& table);
    void renumber(const Table& table, Sums& sums);
    void write(const Table& table, int64_t rowid, int64_t sum);

    Database* const mDatabase;
    std::optional<std::array<Sums, kNumTables>> mSums;  ///< none until they are read
    bool mHasTables = false;                            ///< when they were read
    bool mIsIncomplete = false;                         ///< a row without a checksum was met
    bool mIsRenumbered = false;                         ///< rows with other numbers were met
};

}  // namespace velora
