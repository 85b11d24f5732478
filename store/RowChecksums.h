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
/// VACUUM, and a copy made from a dump, number the rows anew. The checksums follow their rows then:
/// either a query meets checksums of other rows, or the number of the schema has changed, which
/// VACUUM increments.
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

    /// To be called at the beginning of a transaction that writes. If rows may have been numbered
    /// anew, it stores the checksums under the new numbers. A failure fails the transaction.
    void beginWriting();
    /// To be called when that transaction is stored.
    void setStored() { mMayBeRenumbered = false; }

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
    void erase(const Table& table, int64_t rowid);
    /// To be called at the end of a transaction that writes. Stores the checksums of all rows
    /// without one, if a query has met such rows. A failure fails the transaction.
    void complete();
    /// Discards what was read, because the tables may change in any way.
    void clear();

private:
    using Sums = std::map<int64_t, int64_t>;  ///< by rowid

    /// Tells the states of a file's schema apart.
    struct Schema {
        int connection;   ///< number of the connection
        int64_t version;  ///< as SQLite counts it
        bool operator==(const Schema&) const = default;
    };

    Sums& sums(const Table& table);
    void followSchema();
    bool hasTables();
    void completeTable(const Table& table);
    bool renumber(const Table& table, Sums& sums);
    void write(const Table& table, int64_t rowid, int64_t sum);

    Database* const mDatabase;
    std::optional<std::array<Sums, kNumTables>> mSums;  ///< none until they are read
    std::optional<Schema> mSchema;                      ///< as it was read last
    bool mIsSchemaCurrent = false;                      ///< it can't have changed since
    bool mHasTables = false;                            ///< in this schema
    bool mIsIncomplete = false;                         ///< a row without a checksum was met
    bool mMayBeRenumbered = false;                      ///< since the last transaction
};

}  // namespace velora
