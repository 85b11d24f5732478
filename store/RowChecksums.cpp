#define LOG_TAG "DatabaseHelper"

#include "store/RowChecksums.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include <endian.h>

#include <log/log.h>

namespace velora {

namespace {

constexpr std::string_view kTable = "row_checksums";

/// Of each table: what follows its name in the name of a trigger, and the trigger's event.
constexpr std::pair<std::string_view, std::string_view> kTriggers[] = {
    {"_updated", "UPDATE"},
    {"_deleted", "DELETE"},
};

/// A hash of 64 bits that depends on every bit of every cell and on the borders between them.
class Checksum {
public:
    void add(std::string_view text) {
        mix(text.size());
        while (text.size() >= sizeof(uint64_t)) {
            mix(load(text.substr(0, sizeof(uint64_t))));
            text.remove_prefix(sizeof(uint64_t));
        }
        mix(load(text));
    }
    int64_t value() const { return static_cast<int64_t>(mState); }

private:
    /// Up to eight bytes as a number that is the same on every machine.
    static uint64_t load(std::string_view bytes) {
        uint64_t word = 0;
        if (!bytes.empty()) memcpy(&word, bytes.data(), bytes.size());  // may be null otherwise
        return le64toh(word);
    }
    // An odd factor, and a shift that brings the high bits down: both can be undone, so that two
    // states never become one.
    void mix(uint64_t word) {
        mState = (mState ^ word) * 0x9e3779b97f4a7c15U;
        mState ^= mState >> 32;
    }

    uint64_t mState = 0x243f6a8885a308d3U;
};

int64_t checksumOf(RowChecksums::Cells row) {
    Checksum sum;
    for (const std::string_view cell : row) sum.add(cell);
    return sum.value();
}

int64_t checksumOf(std::span<const RowData> row) {
    Checksum sum;
    for (const RowData& cell : row) sum.add(cell.toString());
    return sum.value();
}

std::string typeOf(const Table& table) { return std::to_string(static_cast<int>(table.type)); }

/// The first columns of a row, which say what it is about.
std::string describe(std::span<const RowData> row) {
    constexpr size_t kFirst = 2;  // after the rowid and `_id`
    constexpr size_t kCount = 3;
    constexpr size_t kMaxLength = 40;  // a damaged text may be long
    std::string text;
    for (const RowData& cell : row.subspan(kFirst, std::min(kCount, row.size() - kFirst))) {
        text.append(text.empty() ? "" : ", ").append(cell.text.substr(0, kMaxLength));
    }
    return text;
}

}  // namespace

const std::vector<std::string>& RowChecksums::createStatements() {
    static const auto* const kStatements = [] {
        const std::string table(kTable);
        auto* const statements =
            new std::vector<std::string>{"CREATE TABLE " + table +
                                         " (table_type INTEGER, row INTEGER, checksum INTEGER,"
                                         " PRIMARY KEY (table_type, row)) WITHOUT ROWID"};
        for (const Table& each : allTables()) {
            for (const auto& [suffix, event] : kTriggers) {
                statements->push_back(std::string("CREATE TRIGGER ")
                                          .append(each.name)
                                          .append(suffix)
                                          .append(" AFTER ")
                                          .append(event)
                                          .append(" ON ")
                                          .append(each.name)
                                          .append(" BEGIN DELETE FROM ")
                                          .append(table)
                                          .append(" WHERE table_type=")
                                          .append(typeOf(each))
                                          .append(" AND row=OLD.rowid; END"));
            }
        }
        return statements;
    }();
    return *kStatements;
}

const std::vector<std::string>& RowChecksums::dropStatements() {
    static const auto* const kStatements = [] {
        auto* const statements =
            new std::vector<std::string>{"DROP TABLE IF EXISTS " + std::string(kTable)};
        for (const Table& each : allTables()) {
            for (const auto& [suffix, event] : kTriggers) {
                statements->push_back(
                    std::string("DROP TRIGGER IF EXISTS ").append(each.name).append(suffix));
            }
        }
        return statements;
    }();
    return *kStatements;
}

/// Whether the table and the triggers exist as this version creates them.
bool RowChecksums::hasTables() {
    std::set<std::string> existing;
    const bool wereRead = mDatabase->read(
        "SELECT sql FROM sqlite_master WHERE type='trigger' OR name='row_checksums'", {},
        [&](std::span<const RowData> row) { existing.emplace(row[0].text); });
    const auto& expected = createStatements();
    return wereRead && std::all_of(expected.begin(), expected.end(), [&](const auto& statement) {
               return existing.contains(statement);
           });
}

/// Reads again what depends on the schema, if that has changed.
void RowChecksums::followSchema() {
    if (std::exchange(mIsSchemaCurrent, true)) return;
    Schema schema{mDatabase->connections(), 0};
    (void)mDatabase->read("PRAGMA schema_version", {}, [&](std::span<const RowData> row) {
        schema.version = row.front().integer;
    });
    if (mSchema == schema) return;

    mMayBeRenumbered = mMayBeRenumbered || mSchema.has_value();
    mSchema = schema;
    mHasTables = hasTables();
    mIsIncomplete = mIsIncomplete || !mHasTables;
}

RowChecksums::Sums& RowChecksums::sums(const Table& table) {
    if (!mSums) {
        mSums.emplace();
        followSchema();
        if (mHasTables) {
            (void)mDatabase->read("SELECT table_type, row, checksum FROM row_checksums", {},
                                  [&](std::span<const RowData> row) {
                                      const auto type = static_cast<size_t>(row[0].integer);
                                      if (type < kNumTables)
                                          (*mSums)[type][row[1].integer] = row[2].integer;
                                  });
        }
    }
    return (*mSums)[static_cast<size_t>(table.type)];
}

bool RowChecksums::isIntact(const Table& table, std::span<const RowData> row) {
    Sums& known = sums(table);
    const int64_t rowid = row.front().integer;
    const int64_t sum = checksumOf(row.subspan(1));
    const auto isWrong = [&] {
        const auto stored = known.find(rowid);
        return stored != known.end() && stored->second != sum;
    };

    if (isWrong()) (void)renumber(table, known);
    if (isWrong()) {
        ALOGE("a row of %s is damaged: %s", table.name.data(), describe(row).c_str());
        return false;
    }
    mIsIncomplete = mIsIncomplete || !known.contains(rowid);
    return true;
}

bool RowChecksums::isWhole(const Table& table, const std::set<int64_t>& rowids) {
    Sums& known = sums(table);
    const auto countLost = [&] {
        return std::count_if(known.begin(), known.end(),
                             [&](const auto& sum) { return !rowids.contains(sum.first); });
    };

    if (countLost() > 0) (void)renumber(table, known);
    const auto lost = countLost();
    if (lost == 0) return true;
    ALOGE("%d rows of %s are lost", static_cast<int>(lost), table.name.data());
    return false;
}

/// Gives every checksum the number of its row, if each has a row, which then only was numbered
/// anew. Otherwise something is damaged, and nothing changes. Returns whether a number has changed.
bool RowChecksums::renumber(const Table& table, Sums& sums) {
    // Not the text of any other query, since that one may be under way.
    const std::string sql =
        std::string("SELECT rowid, * FROM ").append(table.name).append(" ORDER BY rowid");
    std::multimap<int64_t, int64_t> rowids;  // by checksum
    const bool wasRead = mDatabase->read(sql, {}, [&](std::span<const RowData> row) {
        rowids.emplace(checksumOf(row.subspan(1)), row.front().integer);
    });
    if (!wasRead) return false;

    Sums renumbered;
    for (const auto& [former, sum] : sums) {
        const auto row = rowids.extract(sum);
        if (row.empty()) return false;
        renumbered[row.mapped()] = sum;
    }
    if (renumbered == sums) return false;
    sums = std::move(renumbered);
    mMayBeRenumbered = true;
    return true;
}

void RowChecksums::beginWriting() {
    followSchema();
    if (!mMayBeRenumbered || !mHasTables) return;
    bool isRenumbered = false;
    for (const Table& table : allTables()) {
        isRenumbered = renumber(table, sums(table)) || isRenumbered;
    }
    if (!isRenumbered) return;

    (void)mDatabase->write("DELETE FROM row_checksums", {});
    for (const Table& table : allTables()) {
        for (const auto& [rowid, sum] : sums(table)) write(table, rowid, sum);
    }
}

void RowChecksums::clear() {
    mSums.reset();
    mIsSchemaCurrent = false;
}

std::set<int64_t> RowChecksums::rowidsOf(const Table& table) {
    std::set<int64_t> rowids;
    for (const auto& [rowid, sum] : sums(table)) rowids.insert(rowid);
    return rowids;
}

std::string RowChecksums::digest(std::initializer_list<TableType> types) {
    Checksum all;
    for (const TableType type : types) {
        const Table& table = tableOf(type);
        const Sums& known = sums(table);
        const auto rows = mDatabase->countRows(table.name);
        if (!rows || static_cast<size_t>(*rows) != known.size()) return {};
        for (const auto& [rowid, sum] : known) all.add(std::to_string(sum));
    }
    return std::to_string(all.value());
}

void RowChecksums::store(const Table& table, int64_t rowid, Cells row) {
    followSchema();
    if (!mHasTables) return;  // `complete` stores all of them
    const int64_t sum = checksumOf(row);
    write(table, rowid, sum);
    if (mSums) sums(table)[rowid] = sum;
}

// A trigger has deleted the checksum.
void RowChecksums::erase(const Table& table, int64_t rowid) {
    if (mSums) sums(table).erase(rowid);
}

void RowChecksums::write(const Table& table, int64_t rowid, int64_t sum) {
    const std::string type = typeOf(table);
    const std::string rowidText = std::to_string(rowid);
    const std::string sumText = std::to_string(sum);
    (void)mDatabase->write("INSERT OR REPLACE INTO row_checksums VALUES (?,?,?)",
                           {type, rowidText, sumText});
}

void RowChecksums::complete() {
    clear();  // triggers have removed checksums
    followSchema();
    if (!mIsIncomplete) return;
    if (!mHasTables) {
        for (const std::string& statement : dropStatements()) (void)mDatabase->execute(statement);
        for (const std::string& statement : createStatements()) {
            if (!mDatabase->execute(statement)) mDatabase->abort();
        }
        clear();
        followSchema();
    }

    for (const Table& table : allTables()) completeTable(table);
    mIsIncomplete = !mDatabase->isTransactionOpen();
}

void RowChecksums::completeTable(const Table& table) {
    const Sums& known = sums(table);
    std::map<int64_t, std::vector<std::string>> rows;  // by rowid
    const std::string sql = "SELECT rowid, * FROM " + std::string(table.name);
    const bool wereRead = mDatabase->read(sql, {}, [&](std::span<const RowData> row) {
        if (known.contains(row.front().integer)) return;
        std::vector<std::string>& cells = rows[row.front().integer];
        for (const RowData& cell : row.subspan(1)) cells.push_back(cell.toString());
    });
    if (!wereRead) mDatabase->abort();

    // Only now, because the database must not change while it is read.
    for (const auto& [rowid, texts] : rows) {
        const std::vector<std::string_view> cells(texts.begin(), texts.end());
        store(table, rowid, cells);
    }
}

}  // namespace velora
