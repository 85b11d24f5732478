#define LOG_TAG "DatabaseHelper"

#include "store/DatabaseHelper.h"

#include "store/Transaction.h"
#include "util/RootPrefix.h"

#include <algorithm>
#include <utility>

#include <log/log.h>

namespace velora {

namespace {

// Log texts that are part of the interface: they must not change, nor may their spelling be
// corrected.
constexpr char kInvalidRecordMessage[] = "invalid value";
constexpr char kDefaultUpdatedMessage[] = "the default value can't be updated, %d";
constexpr char kIeqPresetMissingMessage[] = "IeqPreset doesn't exist!";
constexpr char kGeqPresetMissingMessage[] = "GeqPreset doesn't exist!";
constexpr char kProfileMissingMessage[] = "Profile doesn't exist!";
constexpr char kEndpointMissingMessage[] = "Endpoint doesn't exist!";
constexpr char kTuningMissingMessage[] = "Tuning doesn't exist!";
constexpr char kIeqPresetReadMessage[] = "ieqId: %s, name: %s";
constexpr char kTuningsClearedMessage[] = "Delete existing tuning with SQL [%s]";
constexpr char kDeviceTuningsClearedMessage[] = "Delete existing device tuning with SQL [%s]";

/// The statements on the rows of one table. Those by a key are for tables that have one.
struct RowStatements {
    explicit RowStatements(const Table& table) {
        const std::string name(table.name);
        insert = "INSERT INTO " + name + " VALUES(?";
        for (size_t i = 0; i < table.columns.size(); ++i) insert.append(",?");
        insert.append(")");

        findByKey = "SELECT rowid, * FROM " + name + " WHERE ";
        for (const size_t column : table.key) {
            findByKey.append(column == table.key.front() ? "" : " AND ");
            findByKey.append(table.columns[column]).append("=?");
        }
        findByRowid = "SELECT rowid, * FROM " + name + " WHERE rowid=?";
        deleteByRowid = "DELETE FROM " + name + " WHERE rowid=?";
    }

    std::string insert;
    std::string findByKey;
    std::string findByRowid;
    std::string deleteByRowid;
};

const RowStatements& statementsOf(const Table& table) {
    static const auto* const kStatements =
        new std::vector<RowStatements>(allTables().begin(), allTables().end());
    return (*kStatements)[static_cast<size_t>(table.type)];
}

std::string createStatement(const Table& table) {
    return std::string("CREATE TABLE ")
        .append(table.name)
        .append(" (")
        .append(DatabaseHelper::buildColumnString(table.type))
        .append(")");
}

}  // namespace

DatabaseHelper::DatabaseHelper(std::string_view fileName)
    : mDatabase(rooted(std::string(kDataDirectory).append(fileName))) {
    initParameterNameMap();
}

void DatabaseHelper::initParameterNameMap() {
    for (const ParameterInfo& info : kParameters) {
        mParameterNames.emplace(info.column, info.parameter);
    }
}

std::optional<std::string> DatabaseHelper::setAside() {
    const std::lock_guard lock(mLock);
    forgetRows();
    mHasDamagedRows = false;
    return mDatabase.setAside();
}

void DatabaseHelper::primeLog() {
    const std::lock_guard lock(mLock);
    mDatabase.primeLog();
}

void DatabaseHelper::checkpoint() {
    const std::lock_guard lock(mLock);
    mDatabase.checkpoint();
}

/// Another process may change the file after a transaction.
void DatabaseHelper::forgetRows() {
    mRowIndex.clear();
    mChecksums.clear();
    mConfiguration.reset();
}

void DatabaseHelper::init() {
    for (const Table& table : allTables()) createTable(table.type);
    for (const std::string& statement : RowChecksums::createStatements()) execSQL(statement);
}

void DatabaseHelper::createTable(TableType table) {
    execSQL(createStatement(tableOf(table)));  // rejected, and logged, if the table exists
}

std::string DatabaseHelper::buildColumnString(TableType table) {
    std::string columns = "_id INTEGER";
    for (const std::string_view column : tableOf(table).columns) {
        columns.append(", ").append(column).append(" TEXT");
    }
    return columns;
}

bool DatabaseHelper::hasLayout() {
    // Normally this version has created the tables, and their statements are its own.
    std::set<std::string, std::less<>> created;
    const bool wereRead =
        getAllRows("SELECT sql FROM sqlite_master WHERE type='table'", {},
                   [&](std::span<const RowData> row) { created.emplace(row[0].text); });
    const auto isCreated = [&](const Table& table) {
        return created.contains(createStatement(table));
    };
    const bool areCreated = std::all_of(allTables().begin(), allTables().end(), isCreated);
    return wereRead && (areCreated || hasColumns());
}

bool DatabaseHelper::hasColumns() {
    std::map<std::string, std::string, std::less<>> columns;  // by the name of their table
    const bool wasRead = getAllRows(
        "SELECT t.name, c.name || ' ' || upper(c.type) FROM sqlite_master t, "
        "pragma_table_info(t.name) c WHERE t.type='table' ORDER BY t.name, c.cid",
        {}, [&](std::span<const RowData> row) {
            std::string& all = columns[std::string(row[0].text)];
            all.append(all.empty() ? "" : ", ").append(row[1].text);
        });
    return wasRead && std::all_of(allTables().begin(), allTables().end(), [&](const Table& table) {
               const auto found = columns.find(table.name);
               return found != columns.end() && found->second == buildColumnString(table.type);
           });
}

void DatabaseHelper::clear() {
    for (const Table& table : allTables()) {
        // A storage failure fails the transaction.
        execSQL(std::string("DROP TABLE IF EXISTS ").append(table.name));
    }
    for (const std::string& statement : RowChecksums::dropStatements()) execSQL(statement);
}

bool DatabaseHelper::beginReading() {
    mLock.lock();
    return mDatabase.begin(Database::Access::READ);
}

void DatabaseHelper::beginTransaction() {
    mLock.lock();
    const bool isOutermost = !mDatabase.isInTransaction();
    if (isOutermost) mIsWriting = true;
    const bool begun = mDatabase.begin(Database::Access::WRITE);  // if not, the commit fails
    if (begun && isOutermost) mChecksums.beginWriting();
}

bool DatabaseHelper::commitTransaction() {
    const std::lock_guard lock(mLock);
    const bool wasBegun = mDatabase.isInTransaction();
    const bool isOutermost = mDatabase.depth() == 1;
    const bool endsWriting = isOutermost && std::exchange(mIsWriting, false);
    if (endsWriting && mDatabase.isTransactionOpen()) mChecksums.complete();
    const bool stored = mDatabase.commit();
    if (endsWriting && stored) mChecksums.setStored();
    if (isOutermost) forgetRows();
    if (wasBegun) mLock.unlock();  // of the beginning
    return stored;
}

void DatabaseHelper::abortTransaction() {
    const std::lock_guard lock(mLock);
    mDatabase.abort();
}

int DatabaseHelper::execSQL(const std::string& sql) {
    const std::lock_guard lock(mLock);
    forgetRows();
    return mDatabase.execute(sql) ? 0 : 1;
}

bool DatabaseHelper::getAllRows(const std::string& sql, const Arguments& arguments,
                                const RowVisitor& visit) {
    const std::lock_guard lock(mLock);
    return mDatabase.read(sql, arguments, visit);
}

int64_t DatabaseHelper::getRowCount(TableType table) {
    const std::lock_guard lock(mLock);
    const auto count = mDatabase.isTransactionOpen() ? mRowIndex.count(table)
                                                     : mDatabase.countRows(tableOf(table).name);
    return count.value_or(-1);
}

bool DatabaseHelper::checkRow(const Table& table, std::span<const RowData> row) {
    if (mChecksums.isIntact(table, row)) return true;
    mHasDamagedRows = true;
    return false;
}

bool DatabaseHelper::readTable(TableType type, const RowVisitor& visit) {
    const ReadSession session(*this);  // so that rows and checksums are of the same state
    const Table& table = tableOf(type);
    std::set<int64_t> rowids;
    const std::string sql = std::string("SELECT rowid, * FROM ").append(table.name);
    const bool wasRead = getAllRows(sql, {}, [&](std::span<const RowData> row) {
        rowids.insert(row.front().integer);
        if (checkRow(table, row)) visit(row.subspan(1));
    });
    if (wasRead && !mChecksums.isWhole(table, rowids)) mHasDamagedRows = true;
    return wasRead;
}

bool DatabaseHelper::getRows(const Table& table, const Arguments& key, const RowVisitor& visit) {
    const ReadSession session(*this);  // so that rows and checksums are of the same state
    const RowStatements& statements = statementsOf(table);
    const auto visitIntact = [&](std::span<const RowData> row) {
        if (checkRow(table, row)) visit(row.subspan(1));
    };
    if (!mIsWriting) return getAllRows(statements.findByKey, key, visitIntact);

    // Inside an open transaction nobody else can change the file, so use the in-memory index.
    const RowIndex::Rowids* const rowids = mRowIndex.find(table.type, key);
    if (rowids == nullptr) return false;
    return std::all_of(rowids->begin(), rowids->end(), [&](int64_t rowid) {
        return getAllRows(statements.findByRowid, {std::to_string(rowid)}, visitIntact);
    });
}

bool DatabaseHelper::isStorable(const Arguments& values) {
    const auto quoted = std::find_if(values.begin(), values.end(), [](std::string_view value) {
        return value.find('\'') != std::string_view::npos;
    });
    if (quoted == values.end()) return true;
    ALOGE("failed to store a value with a single quote: %.*s", static_cast<int>(quoted->size()),
          quoted->data());
    return false;
}

void DatabaseHelper::deleteRows(const Table& table, const Arguments& key) {
    if (!mDatabase.isTransactionOpen()) return;
    const RowIndex::Rowids* const rowids = mRowIndex.find(table.type, key);
    if (rowids == nullptr) return;

    for (const int64_t rowid : *rowids) {
        if (!mDatabase.write(statementsOf(table).deleteByRowid, {std::to_string(rowid)})) return;
        mChecksums.erase(table, rowid);
    }
    mRowIndex.erase(table.type, key);
}

/// Returns the id of the row, also if it could not be inserted.
int64_t DatabaseHelper::insertRow(const Table& table, const std::vector<std::string>& texts,
                                  int64_t id) {
    // A failed transaction will be rolled back, so don't even look for a number.
    if (mDatabase.isInTransaction() && !mDatabase.isTransactionOpen()) return id;

    if (id <= 0) id = getRowCount(table.type) + 1;
    Arguments columns(texts.begin(), texts.end());
    if (!isStorable(columns)) return id;

    // SQLite stores the text of a number as an integer in `_id`, by the type of that column.
    const std::string idText = std::to_string(id);
    Arguments row{idText};
    row.insert(row.end(), columns.begin(), columns.end());

    Transaction transaction(*this);
    if (mDatabase.write(statementsOf(table).insert, row)) {
        const int64_t rowid = mDatabase.lastRowid();
        mChecksums.store(table, rowid, row);
        mRowIndex.insert(table.type, columns, rowid);
        mConfiguration.reset();
    }
    (void)transaction.commit();  // a failure is logged
    return id;
}

template <typename Record>
void DatabaseHelper::executeInsertCommand(Record* record, std::string_view customName, int64_t id) {
    if (record == nullptr) {
        ALOGE(kInvalidRecordMessage);
        return;
    }
    const int64_t row = insertRow(tableOf<Record>(), rowTexts(*record, customName), id);
    if (id <= 0) record->setId(row);
}

void DatabaseHelper::insertValue(IeqPreset* preset, std::string_view customName) {
    executeInsertCommand(preset, customName, -1);
}

void DatabaseHelper::insertValue(GeqPreset* preset, std::string_view customName, int64_t id) {
    executeInsertCommand(preset, customName, id);
}

void DatabaseHelper::insertValue(Profile* profile, std::string_view customName, int64_t id) {
    executeInsertCommand(profile, customName, id);
}

void DatabaseHelper::insertValue(ProfileEndpoint* endpoint, std::string_view customName,
                                 int64_t id) {
    executeInsertCommand(endpoint, customName, id);
}

void DatabaseHelper::insertValue(Tuning* tuning, std::string_view customName) {
    executeInsertCommand(tuning, customName, -1);
}

void DatabaseHelper::insertValue(DeviceTuning* deviceTuning, std::string_view customName) {
    executeInsertCommand(deviceTuning, customName, -1);
}

template <typename Record>
bool DatabaseHelper::updateRecord(Record* record, std::string_view customName) {
    if (record == nullptr) {
        ALOGE(kInvalidRecordMessage);
        return false;
    }
    if (customName == kFactoryCopy) {
        ALOGE(kDefaultUpdatedMessage, record->getProfileId());
        return false;
    }

    // Ask before anything is deleted: a record that can't be stored keeps its old row.
    const std::vector<std::string> texts = rowTexts(*record, customName);
    if (!isStorable(Arguments(texts.begin(), texts.end()))) return false;

    const Table& table = tableOf<Record>();
    Arguments key;
    for (const size_t column : table.key) key.push_back(texts[column]);

    Transaction transaction(*this);
    deleteRows(table, key);
    executeInsertCommand(record, customName, record->getId());
    return transaction.commit();
}

bool DatabaseHelper::updateGeqValue(GeqPreset* preset, std::string_view customName) {
    return updateRecord(preset, customName);
}

bool DatabaseHelper::updateProfileValue(Profile* profile, std::string_view customName) {
    return updateRecord(profile, customName);
}

bool DatabaseHelper::updateProfileEndpointValue(ProfileEndpoint* endpoint,
                                                std::string_view customName) {
    return updateRecord(endpoint, customName);
}

template <typename Record>
bool DatabaseHelper::queryRecord(const Arguments& key, Record* record, const char* missingMessage) {
    if (record == nullptr) {
        ALOGE("%s", missingMessage);
        return false;
    }
    bool found = false;
    const bool wasRead = getRows(tableOf<Record>(), key, [&](std::span<const RowData> row) {
        found = true;
        readRow(row, mParameterNames, *record);
    });
    return wasRead && found;
}

bool DatabaseHelper::queryIeqValue(int presetId, std::string_view customName, IeqPreset* preset) {
    const std::string id = std::to_string(presetId);
    const bool found = queryRecord({id, customName}, preset, kIeqPresetMissingMessage);
    if (found) ALOGV(kIeqPresetReadMessage, id.c_str(), preset->getName().c_str());
    return found;
}

bool DatabaseHelper::queryGeqValue(int profileId, std::string_view customName, GeqPreset* preset) {
    return queryRecord({std::to_string(profileId), customName}, preset, kGeqPresetMissingMessage);
}

bool DatabaseHelper::queryProfileValue(int profileId, std::string_view customName,
                                       Profile* profile) {
    return queryRecord({std::to_string(profileId), customName}, profile, kProfileMissingMessage);
}

bool DatabaseHelper::queryEndpointValue(int profileId, Endpoint endpoint,
                                        std::string_view customName, ProfileEndpoint* record) {
    return queryRecord({std::to_string(profileId), endpointName(endpoint), customName}, record,
                       kEndpointMissingMessage);
}

bool DatabaseHelper::queryTuning(std::string_view name, Tuning* tuning) {
    return queryRecord({name}, tuning, kTuningMissingMessage);
}

template <typename Record>
bool DatabaseHelper::queryAllValues(const Finder<Record>& find) {
    return readTable(tableOf<Record>().type, [&](std::span<const RowData> row) {
        const auto profileId = cellOf(row, "profile_id").plainNumber();
        if (!profileId) return;  // no record is found by it

        const auto endpoint = endpointByName(cellOf(row, "endpoint").text);
        if (Record* const record = find({*profileId, cellOf(row, "custom_name").text, endpoint})) {
            readRow(row, mParameterNames, *record);
        }
    });
}

template bool DatabaseHelper::queryAllValues(const Finder<GeqPreset>& find);
template bool DatabaseHelper::queryAllValues(const Finder<Profile>& find);
template bool DatabaseHelper::queryAllValues(const Finder<ProfileEndpoint>& find);

bool DatabaseHelper::queryDeviceTunings(std::string_view port,
                                        std::vector<std::unique_ptr<DeviceTuning>>* devices) {
    return queryAllDeviceTunings([&](std::unique_ptr<DeviceTuning> device) {
        if (device->getPort() == port) devices->push_back(std::move(device));
    });
}

bool DatabaseHelper::queryAllDeviceTunings(
    const std::function<void(std::unique_ptr<DeviceTuning>)>& add) {
    return readTable(TableType::DEVICE_TUNINGS, [&](std::span<const RowData> row) {
        add(std::make_unique<DeviceTuning>(
            cellOf(row, "_id").integer, std::string(cellOf(row, "device").text),
            std::string(cellOf(row, "port").text), std::string(cellOf(row, "tuning_id").text)));
    });
}

bool DatabaseHelper::queryAllTunings(const std::function<Tuning*(std::string_view name)>& find) {
    return readTable(TableType::TUNINGS, [&](std::span<const RowData> row) {
        readRow(row, mParameterNames, *find(cellOf(row, "name").text));
    });
}

std::map<int, std::string> DatabaseHelper::queryNames(TableType type, std::string_view customName) {
    const Table& table = tableOf(type);
    const std::string_view numberColumn = table.columns[table.key.front()];

    // Whoever must know whether all rows could be read asks the read session.
    std::map<int, std::string> names;
    (void)readTable(type, [&](std::span<const RowData> row) {
        if (cellOf(row, "custom_name").text != customName) return;
        const RowData& cell = cellOf(row, numberColumn);
        if (const auto number = cell.plainNumber()) {
            names.emplace(*number, cellOf(row, "name").text);
            return;
        }
        ALOGE("a row of %s is left out, its number is \"%.*s\"", table.name.data(),
              static_cast<int>(cell.text.size()), cell.text.data());
    });
    return names;
}

bool DatabaseHelper::queryTexts(TableType type, std::string_view column,
                                std::string_view customName, std::set<std::string>* texts) {
    return readTable(type, [&](std::span<const RowData> row) {
        if (cellOf(row, "custom_name").text == customName) {
            texts->emplace(cellOf(row, column).text);
        }
    });
}

void DatabaseHelper::clearOem(const Table& table, const char* message) {
    const std::string sql = std::string("DELETE from ")
                                .append(table.name)
                                .append(" WHERE custom_name = '")
                                .append(kOemCopy)
                                .append("'");
    ALOGD(message, sql.c_str());
    if (execSQL(sql) != 0) abortTransaction();
}

void DatabaseHelper::clearOemTunings() { clearOem(tableOf<Tuning>(), kTuningsClearedMessage); }

void DatabaseHelper::clearOemDeviceTunings() {
    clearOem(tableOf<DeviceTuning>(), kDeviceTuningsClearedMessage);
}

std::string DatabaseHelper::tuningsDigest() {
    const ReadSession session(*this);
    return mChecksums.digest({TableType::TUNINGS, TableType::DEVICE_TUNINGS});
}

}  // namespace velora
