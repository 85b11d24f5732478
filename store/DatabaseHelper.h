#pragma once

#include "model/DeviceTuning.h"
#include "model/GeqPreset.h"
#include "model/IeqPreset.h"
#include "model/Profile.h"
#include "model/ProfileEndpoint.h"
#include "model/Tuning.h"
#include "store/Connection.h"

#include <array>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

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

/// Keeps every record, and a small configuration of keys and values, in one SQLite file, and turns
/// records into rows and back. The only code that speaks SQL.
///
/// Owned by the provider and used under its callers' lock. Owns the connection. Which copy of a
/// record a call means is said by `customName`. Nothing throws: what fails is logged, and readers
/// leave the record as it was. Between `beginTransaction` and `commitTransaction` all writes take
/// effect together or not at all, whatever fails in between. A text with a single quote can't be
/// stored: its row is left out, or stays as it was, with an error logged.
class DatabaseHelper {
public:
    using RowVisitor = std::function<void(std::span<const RowData> row)>;
    using Arguments = std::initializer_list<std::string_view>;

    /// Opens, or makes, the file of this name in the system's data directory. Without it every
    /// operation fails, and says so.
    explicit DatabaseHelper(std::string_view fileName);
    ~DatabaseHelper();
    DatabaseHelper(const DatabaseHelper&) = delete;
    DatabaseHelper& operator=(const DatabaseHelper&) = delete;

    /// Makes the tables that aren't there.
    void init();
    /// Drops all tables.
    void clear();

    /// No table stands: nothing was ever stored.
    bool isEmpty() const { return mEmpty; }
    /// All tables stand as this version makes them.
    bool hasLayout();
    /// The file was found to be no database, or damaged: what it gave can't be trusted.
    bool isDamaged() const { return mDamaged; }
    /// Puts a damaged file aside, under its name with ".damaged" behind it, in the place of one
    /// that is there, and starts an empty one. If it can't be put aside, it stays damaged.
    void replaceDamaged();
    /// Queries of this file that failed so far, for whatever reason: what they were to give is not
    /// known.
    size_t failedReads() const { return mFailedReads; }

    /// Brackets count: only the outermost begins and commits.
    void beginTransaction() { begin("BEGIN EXCLUSIVE"); }
    /// A bracket around reads: they see one state of the file, and lock it once.
    void beginReading() { begin("BEGIN"); }
    /// True if all writes since the beginning hold so far; at the end of the outermost bracket, are
    /// stored for good. Else none is.
    bool commitTransaction();
    /// Makes the bracket at hand fail: nothing of it will be stored.
    void abortTransaction();

    /// Runs one statement. 0, or 1 if it failed; one that SQLite doesn't accept leaves the bracket
    /// at hand as it is.
    int execSQL(const std::string& sql);
    /// Number of rows, -1 if it can't be read.
    int64_t getRowCount(TableType table);
    /// Gives every row of a query's result to `visit`. What `visit` does must not change the
    /// database. False if not all could be read.
    bool getAllRows(const std::string& sql, Arguments arguments, const RowVisitor& visit);

    // A row id of 0 or less stands for the next one: the number of rows plus one, which the record
    // then takes.
    void insertValue(IeqPreset* preset, std::string_view customName);
    void insertValue(GeqPreset* preset, std::string_view customName, int64_t id);
    void insertValue(Profile* profile, std::string_view customName, int64_t id);
    void insertValue(ProfileEndpoint* endpoint, std::string_view customName, int64_t id);
    void insertValue(Tuning* tuning, std::string_view customName);
    void insertValue(DeviceTuning* deviceTuning, std::string_view customName);

    // Replace the row of a copy. True if that holds. The factory copy, "default", can't be
    // replaced.
    bool updateGeqValue(GeqPreset* preset, std::string_view customName);
    bool updateProfileValue(Profile* profile, std::string_view customName);
    bool updateProfileEndpointValue(ProfileEndpoint* endpoint, std::string_view customName);

    // Fill a record from its row. False, and nothing filled, when there is none.
    bool queryIeqValue(int presetId, std::string_view customName, IeqPreset* preset);
    bool queryGeqValue(int profileId, std::string_view customName, GeqPreset* preset);
    bool queryProfileValue(int profileId, std::string_view customName, Profile* profile);
    bool queryEndpointValue(int profileId, Endpoint endpoint, std::string_view customName,
                            ProfileEndpoint* record);
    bool queryTuning(std::string_view name, Tuning* tuning);

    /// The record that a row is to fill, null to leave the row out. `endpoint` is the text of the
    /// column behind the number: an endpoint's name in the table of these.
    template <typename Record>
    using Finder = std::function<Record*(int profileId, std::string_view customName,
                                         std::string_view endpoint)>;
    // Fill all records of a table in one pass. False if not all rows could be read.
    bool queryGeqValues(const Finder<GeqPreset>& find);
    bool queryProfileValues(const Finder<Profile>& find);
    bool queryEndpointValues(const Finder<ProfileEndpoint>& find);

    /// The devices of a port in the order of their rows. False if they couldn't be read.
    bool queryDeviceTunings(std::string_view port,
                            std::vector<std::unique_ptr<DeviceTuning>>* devices);
    /// Names of profiles or IEQ presets of one copy, by number.
    std::map<int, std::string> queryNames(TableType table, std::string_view customName);

    void clearOemTunings();
    void clearOemDeviceTunings();

    void insertConfigurationValue(std::string_view key, std::string_view value);
    /// Empty when the key has no row.
    std::string queryConfigurationValue(std::string_view key);
    /// False when the key has no row, else whether the value is any but "false".
    bool querySfxStatus(std::string_view key);
    /// "-1" when the key has no row.
    std::string querySelectedProfile(std::string_view key);
    // Change a key's value; a key without a row gets none.
    void updateSfxStatus(std::string_view key, bool on);
    void updateSelectedProfile(std::string_view key, std::string_view value);
    void updateTuningDevice(std::string_view key, std::string_view value);

private:
    /// SQLite's own numbers of the rows of each key, whose parts end in a zero byte each.
    using RowIndex = std::unordered_map<std::string, std::vector<int64_t>>;
    enum class Transaction { NONE, OPEN, FAILED };

    void open();
    void begin(const char* sql);
    void forgetState();
    void forgetRows();
    /// Null if it failed, with the number why in `result`.
    Statement* prepare(const std::string& sql, int* result);
    int runWrite(Statement& statement, const std::string& sql);
    /// Runs a statement with arguments bound to its question marks; if it fails, so does the
    /// bracket at hand.
    int write(const std::string& sql, Arguments arguments);
    void noteResult(int result);

    RowIndex* indexOf(TableType table);
    bool getRows(TableType table, Arguments key, const RowVisitor& visit);
    void deleteRows(TableType table, Arguments key);
    bool isStorable(std::span<const std::string_view> values) const;
    int64_t insertRow(TableType table, std::span<const std::string_view> values, int64_t id);
    template <typename Record>
    void insertRecord(TableType table, Record* record, std::string_view customName, int64_t id);
    template <typename Record, typename... Parts>
    bool updateRecord(TableType table, Record* record, std::string_view customName, Parts... parts);
    template <typename Record>
    bool queryRecord(TableType table, Arguments key, Record* record, const char* missing);
    template <typename Record>
    bool queryRecords(TableType table, const char* endpoint, const Finder<Record>& find);
    void updateConfigurationValue(std::string_view key, std::string_view value);
    void clearOem(TableType table, const char* message);

    const std::string mPath;
    std::unique_ptr<Connection> mConnection;  ///< null while there is no open database
    std::map<std::string, std::unique_ptr<Statement>> mStatements;  ///< prepared, by their SQL
    std::array<std::optional<int64_t>, kNumTables> mRowCounts;      ///< those that are known
    std::array<std::optional<RowIndex>, kNumTables> mRowIndexes;  ///< in a bracket, when asked for
    Transaction mTransaction = Transaction::NONE;
    int mDepth = 0;
    size_t mFailedReads = 0;
    bool mEmpty = false;
    bool mDamaged = false;
};

}  // namespace velora
