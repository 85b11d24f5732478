#pragma once

#include "model/DeviceTuning.h"
#include "model/GeqPreset.h"
#include "model/IeqPreset.h"
#include "model/Profile.h"
#include "model/ProfileEndpoint.h"
#include "model/Tuning.h"
#include "store/Database.h"
#include "store/RecordRows.h"
#include "store/RowChecksums.h"
#include "store/RowIndex.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velora {

/// Keeps every record, and a small configuration of keys and values, in one SQLite file. It owns
/// the database, the row index and the checksums; SQL is written only in these four and in
/// Salvage.cpp.
///
/// Owned by the provider. Any thread may call it; a transaction keeps the other threads waiting
/// until it ends. Each call names the copy of a record that it means. Nothing throws: a failure is
/// logged, and a record that can't be read keeps its values. All writes between `beginTransaction`
/// and `commitTransaction` are stored together, or none of them. A text with a single quote can't
/// be stored: its row is left out, or remains as it was, with an error in the log.
class DatabaseHelper {
public:
    using Arguments = Database::Arguments;
    using RowVisitor = Database::RowVisitor;

    /// Opens, or creates, the file of this name in the system's data directory. Without it every
    /// operation fails and logs that.
    explicit DatabaseHelper(std::string_view fileName);
    DatabaseHelper(const DatabaseHelper&) = delete;
    DatabaseHelper& operator=(const DatabaseHelper&) = delete;

    /// Fills the map from column names to parameters. The constructor calls it.
    void initParameterNameMap();
    /// Creates the tables that don't exist. For each that does, SQLite's refusal is logged.
    void init();
    void createTable(TableType table);
    /// The columns of a table with their types, as CREATE TABLE lists them.
    static std::string buildColumnString(TableType table);
    /// Drops all tables.
    void clear();

    /// There was no table when the file was opened: nothing was ever stored.
    bool isEmpty() const { return mDatabase.isEmpty(); }
    /// All tables exist, with the columns of this version: their names, order and types. Other
    /// tables don't matter.
    bool hasLayout();
    /// The file is no database or a damaged one, or a query has met a row whose checksum is wrong.
    bool isDamaged() const { return mDatabase.isDamaged() || mHasDamagedRows; }
    /// See `Database`.
    [[nodiscard]] std::optional<std::string> setAside();
    const std::string& path() const { return mDatabase.path(); }
    void primeLog();
    void checkpoint();
    /// In a transaction, so that no other thread reads.
    size_t failedReads() const { return mDatabase.failedReads(); }

    // `Transaction` and `ReadSession` are the way to use these. Transactions nest: only the
    // outermost begin and commit reach the file.
    void beginTransaction();
    /// Begins a transaction for reads. False if it couldn't begin.
    [[nodiscard]] bool beginReading();
    /// True if no write has failed since the beginning; at the end of the outermost transaction, if
    /// all of it is stored. Otherwise nothing of it is.
    bool commitTransaction();
    /// Lets the current transaction fail: nothing of it will be stored.
    void abortTransaction();

    /// Runs one statement. 0, or 1 if it failed; a statement that SQLite rejects doesn't fail the
    /// transaction.
    int execSQL(const std::string& sql);
    /// Number of rows, -1 if it can't be read.
    int64_t getRowCount(TableType table);
    /// Passes every row of a query's result to `visit`, which must not change the database. False
    /// if not all of them could be read.
    [[nodiscard]] bool getAllRows(const std::string& sql, const Arguments& arguments,
                                  const RowVisitor& visit);

    // An id of 0 or less means the next one, the number of rows plus one, which is also set in the
    // record.
    void insertValue(IeqPreset* preset, std::string_view customName);
    void insertValue(GeqPreset* preset, std::string_view customName, int64_t id);
    void insertValue(Profile* profile, std::string_view customName, int64_t id);
    void insertValue(ProfileEndpoint* endpoint, std::string_view customName, int64_t id);
    void insertValue(Tuning* tuning, std::string_view customName);
    void insertValue(DeviceTuning* deviceTuning, std::string_view customName);

    // Replace the row of a copy. True if it is stored, or, inside another transaction, if that one
    // will store it. The factory copy, "default", can't be replaced.
    bool updateGeqValue(GeqPreset* preset, std::string_view customName);
    bool updateProfileValue(Profile* profile, std::string_view customName);
    bool updateProfileEndpointValue(ProfileEndpoint* endpoint, std::string_view customName);

    // Fill a record from its row. False, and the record unchanged, if it has no row or the row
    // can't be read. Of several rows with the same key, the last one counts.
    bool queryIeqValue(int presetId, std::string_view customName, IeqPreset* preset);
    bool queryGeqValue(int profileId, std::string_view customName, GeqPreset* preset);
    bool queryProfileValue(int profileId, std::string_view customName, Profile* profile);
    bool queryEndpointValue(int profileId, Endpoint endpoint, std::string_view customName,
                            ProfileEndpoint* record);
    bool queryTuning(std::string_view name, Tuning* tuning);

    /// What the row of a profile's record is found by.
    struct ProfileKey {
        int profileId;
        std::string_view customName;
        std::optional<Endpoint> endpoint;  ///< only of a profile's endpoint
    };
    /// Returns the record that a row fills, null to leave the row out.
    template <typename Record>
    using Finder = std::function<Record*(const ProfileKey& key)>;
    /// Fills all records of a type, Profile, ProfileEndpoint or GeqPreset, in one pass over their
    /// table. False if not all rows could be read.
    template <typename Record>
    [[nodiscard]] bool queryAllValues(const Finder<Record>& find);

    /// Appends the devices of a port in the order of their rows. False if they can't be read.
    [[nodiscard]] bool queryDeviceTunings(std::string_view port,
                                          std::vector<std::unique_ptr<DeviceTuning>>* devices);
    /// Passes the devices of all ports on, in the order of their rows. False if they can't be read.
    [[nodiscard]] bool queryAllDeviceTunings(
        const std::function<void(std::unique_ptr<DeviceTuning>)>& add);
    /// Fills the record that `find` returns for each tuning's name. False if not all rows could be
    /// read.
    [[nodiscard]] bool queryAllTunings(const std::function<Tuning*(std::string_view name)>& find);
    /// Names of profiles or IEQ presets of one copy, by number. A row whose number isn't a plain
    /// decimal is left out, with an error in the log.
    std::map<int, std::string> queryNames(TableType type, std::string_view customName);

    /// The texts of one column in the rows of one copy. False if they can't be read.
    [[nodiscard]] bool queryTexts(TableType type, std::string_view column,
                                  std::string_view customName, std::set<std::string>* texts);

    void clearOemTunings();
    void clearOemDeviceTunings();

    void insertConfigurationValue(std::string_view key, std::string_view value);
    /// Empty if the key has no row; the first row's value if it has several.
    std::string queryConfigurationValue(std::string_view key);
    /// Changes the value of a key, which gets a row if it has none.
    void setConfigurationValue(std::string_view key, std::string_view value);
    /// A text that changes with the rows of the tunings and their devices; see `RowChecksums`.
    std::string tuningsDigest();
    /// False if the key has no row, otherwise whether the value is any but "false".
    bool querySfxStatus(std::string_view key);
    /// "-1" if the key has no row.
    std::string querySelectedProfile(std::string_view key);
    // Change the value of a key that has a row.
    void updateSfxStatus(std::string_view key, bool on);
    void updateSelectedProfile(std::string_view key, std::string_view value);
    void updateTuningDevice(std::string_view key, std::string_view value);

private:
    /// All tables exist, with the columns of this version, whatever has created them.
    [[nodiscard]] bool hasColumns();
    [[nodiscard]] bool getRows(const Table& table, const Arguments& key, const RowVisitor& visit);
    /// Passes all intact rows of a table on: `_id` and all columns. False if they can't be read.
    [[nodiscard]] bool readTable(TableType type, const RowVisitor& visit);
    /// Whether the row can be served. `row` has the rowid and then all columns.
    [[nodiscard]] bool checkRow(const Table& table, std::span<const RowData> row);
    void forgetRows();
    /// Whether the texts can be stored. Logs the first that can't.
    [[nodiscard]] static bool isStorable(const Arguments& values);
    void deleteRows(const Table& table, const Arguments& key);
    int64_t insertRow(const Table& table, const std::vector<std::string>& texts, int64_t id);
    template <typename Record>
    void executeInsertCommand(Record* record, std::string_view customName, int64_t id);
    template <typename Record>
    [[nodiscard]] bool updateRecord(Record* record, std::string_view customName);
    template <typename Record>
    bool queryRecord(const Arguments& key, Record* record, const char* missingMessage);
    void updateConfigurationValue(std::string_view key, std::string_view value);
    void clearOem(const Table& table, const char* message);

    /// Held by every operation, and by a thread from the beginning of its transaction to the end.
    std::recursive_mutex mLock;
    Database mDatabase;
    RowIndex mRowIndex{&mDatabase};
    RowChecksums mChecksums{&mDatabase};
    /// Key -> value. None until it is read, and outside of transactions.
    std::optional<std::map<std::string, std::string, std::less<>>> mConfiguration;
    bool mHasDamagedRows = false;
    bool mIsWriting = false;  ///< in a transaction that may write
    ParameterNames mParameterNames;
};

}  // namespace velora
