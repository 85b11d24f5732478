#define LOG_TAG "DatabaseHelper"

#include "store/DatabaseHelper.h"

#include "store/Schema.h"
#include "util/RootPrefix.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include <log/log.h>

namespace velora {

namespace {

constexpr std::string_view kDirectory = "/data/vendor/velora/";
constexpr std::string_view kDefaultCopy = "default";
constexpr std::string_view kOemCopy = "oem";
constexpr std::string_view kTrue = "true";
constexpr std::string_view kFalse = "false";

constexpr int kOk = 0;
constexpr int kFailed = 1;

/// How a table is written and asked.
struct TableInfo {
    explicit TableInfo(const TableSchema& table)
        : columns(table.attributes.begin(), table.attributes.end()) {
        for (const Parameter p : table.params) {
            columns.push_back({parameterInfo(p).column, parameterInfo(p).column});
        }
        std::vector<std::string_view> names;
        if (table.hasCopies) names.push_back("custom_name");
        for (const AttributeColumn& column : columns) names.push_back(column.column);

        const std::string name(table.name);
        createSql = "CREATE TABLE " + name + " (_id INTEGER";
        insertSql = "INSERT INTO " + name + " VALUES(?";
        for (const std::string_view column : names) {
            createSql.append(", ").append(column).append(" TEXT");
            insertSql.append(",?");
        }
        createSql.append(")");
        insertSql.append(")");
        findSql = "SELECT * FROM " + name + " WHERE ";
        indexSql = "SELECT rowid";
        for (const std::string_view column : table.key) {
            findSql.append(keyPlaces.empty() ? "" : " AND ").append(column).append("=?");
            indexSql.append(",").append(column);
            const auto place = std::find(names.begin(), names.end(), column);
            keyPlaces.push_back(static_cast<size_t>(place - names.begin()));
        }
        indexSql.append(" FROM ").append(name);
        rowSql = "SELECT * FROM " + name + " WHERE rowid=?";
        deleteSql = "DELETE FROM " + name + " WHERE rowid=?";
    }

    std::vector<AttributeColumn> columns;  ///< behind `_id` and `custom_name`
    std::vector<size_t> keyPlaces;         ///< of the key's columns among those behind `_id`
    std::string createSql;
    std::string insertSql;
    std::string findSql;   ///< all of the rows with a key
    std::string indexSql;  ///< SQLite's number of each row, and its key
    std::string rowSql;    ///< all of the row with a number
    std::string deleteSql;
};

const TableInfo& tableInfo(TableType table) {
    static const auto* const kInfos = [] {
        auto* const infos = new std::vector<TableInfo>();
        for (const TableSchema& schema : kTables) infos->emplace_back(schema);
        return infos;
    }();
    return (*kInfos)[static_cast<size_t>(table)];
}

void addPart(std::string& key, std::string_view part) { key.append(part).push_back('\0'); }

std::string rowKey(DatabaseHelper::Arguments parts) {
    std::string key;
    for (const std::string_view part : parts) addPart(key, part);
    return key;
}

/// The value of a line of a record's text form, as it is stored.
std::string_view getStringValue(std::string_view line, size_t equals) {
    std::string_view value = line.substr(equals + 1);
    if (value.ends_with(',')) value.remove_suffix(1);
    if (value == kTrue) return "1";
    if (value == kFalse) return "0";
    return value;
}

/// The values of a record's text form in the order of the columns; empty where it has no line.
std::vector<std::string_view> getStringValues(const std::vector<AttributeColumn>& columns,
                                              std::string_view text) {
    std::vector<std::string_view> values(columns.size());
    size_t next = 0;  // lines come in the order of the columns
    text.remove_prefix(std::min(text.size(), text.find('\n') + 1));  // the line of the id
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(text.size(), line.size() + 1));
        const size_t equals = line.find('=');
        if (equals == std::string_view::npos) {
            ALOGE("invalid string value");
            continue;
        }
        const std::string_view name = line.substr(0, equals);
        const auto matches = [&](const AttributeColumn& column) { return column.line == name; };
        auto column =
            std::find_if(columns.begin() + static_cast<ptrdiff_t>(next), columns.end(), matches);
        if (column == columns.end()) column = std::find_if(columns.begin(), columns.end(), matches);
        if (column == columns.end()) {
            ALOGW("%.*s has no column", static_cast<int>(name.size()), name.data());
            continue;
        }
        const auto index = static_cast<size_t>(column - columns.begin());
        values[index] = getStringValue(line, equals);
        next = index + 1;
    }
    return values;
}

// What a record takes from a cell that is neither a parameter nor the id of its row.

void take(GeqPreset& /*preset*/, const RowData& /*cell*/) {}

void take(IeqPreset& preset, const RowData& cell) {
    if (cell.column == "name") preset.setName(std::string(cell.text));
}

void take(Profile& profile, const RowData& cell) {
    if (cell.column == "name") profile.setName(std::string(cell.text));
    if (cell.column == "is_mobility") profile.setMobility(cell.number() != 0);
    if (cell.column == "selected_geq_preset_id") profile.setSelectedGeqPreset(cell.number());
}

void take(ProfileEndpoint& endpoint, const RowData& cell) {
    if (cell.column == "selected_ieq_preset_id") endpoint.setSelectedIeqPreset(cell.number());
}

void take(Tuning& tuning, const RowData& cell) {
    if (cell.column == "is_mono") tuning.setMono(cell.number() != 0);
    if (cell.column != "endpoint") return;
    if (const auto endpoint = endpointByName(cell.text)) tuning.setEndpoint(*endpoint);
}

template <typename Record>
void fill(Record& record, std::span<const RowData> row) {
    for (const RowData& cell : row) {
        if (const Parameter* const parameter = kParameterOfColumn.find(cell.column)) {
            record.set(*parameter, cell.values());
        } else if (cell.column == "_id") {
            record.setId(cell.integer);
        } else {
            take(record, cell);
        }
    }
}

}  // namespace

DatabaseHelper::DatabaseHelper(std::string_view fileName)
    : mPath(rooted(std::string(kDirectory).append(fileName))) {
    open();
}

DatabaseHelper::~DatabaseHelper() = default;

// Every page is looked at: damage that only a write would meet is found while the file can still be
// replaced. A file that can't be looked at now isn't used at all.
void DatabaseHelper::open() {
    mConnection = Connection::open(mPath);
    if (mConnection == nullptr) return;
    std::string check;
    int64_t tables = 0;
    const bool read = getAllRows("PRAGMA quick_check(1)", {},
                                 [&](std::span<const RowData> row) { check = row[0].text; }) &&
                      getAllRows("SELECT COUNT(*) FROM sqlite_master", {},
                                 [&](std::span<const RowData> row) { tables = row[0].integer; });
    mEmpty = tables == 0;
    if (read && check == "ok") {
        mConnection->makeDurable();
        return;
    }
    const int result = mConnection->lastResult();
    mDamaged = mDamaged || read || !isStorageFailure(result);
    if (mDamaged) ALOGE("database %s is damaged: %s", mPath.c_str(), check.c_str());
    mStatements.clear();
    mConnection.reset();
}

void DatabaseHelper::replaceDamaged() {
    const std::string aside = mPath + ".damaged";
    forgetState();
    mConnection.reset();
    std::error_code error;
    std::filesystem::rename(mPath, aside, error);
    if (error) {
        ALOGE("the damaged database %s can't be put aside: %s", mPath.c_str(),
              error.message().c_str());
        return;
    }
    // A journal belongs to the file that goes.
    std::filesystem::remove(aside + "-journal", error);
    std::filesystem::rename(mPath + "-journal", aside + "-journal", error);
    ALOGE("the database %s is damaged, it is kept as %s", mPath.c_str(), aside.c_str());
    mDamaged = false;
    mFailedReads = 0;
    open();
}

bool DatabaseHelper::hasLayout() {
    std::map<std::string, std::string, std::less<>> tables;  // each name's statement
    const bool read =
        getAllRows("SELECT name, sql FROM sqlite_master", {},
                   [&](std::span<const RowData> row) { tables.emplace(row[0].text, row[1].text); });
    return read && std::all_of(kTables.begin(), kTables.end(), [&](const TableSchema& table) {
               const auto found = tables.find(table.name);
               return found != tables.end() && found->second == tableInfo(table.type).createSql;
           });
}

void DatabaseHelper::forgetState() {
    mStatements.clear();
    forgetRows();
    mTransaction = Transaction::NONE;
    mDepth = 0;
}

void DatabaseHelper::forgetRows() {
    mRowCounts = {};
    mRowIndexes = {};
}

void DatabaseHelper::init() {
    for (const TableSchema& table : kTables) execSQL(tableInfo(table.type).createSql);
    mEmpty = false;
}

void DatabaseHelper::clear() {
    for (const TableSchema& table : kTables) {
        execSQL(std::string("DROP TABLE IF EXISTS ").append(table.name));
    }
}

void DatabaseHelper::begin(const char* sql) {
    if (mDepth++ > 0) return;
    mTransaction = Transaction::OPEN;
    if (execSQL(sql) != kOk) mTransaction = Transaction::FAILED;
}

bool DatabaseHelper::commitTransaction() {
    if (mDepth == 0) {
        ALOGE("there is no transaction to commit");
        return false;
    }
    if (--mDepth > 0) return mTransaction == Transaction::OPEN;
    const bool stored = mTransaction == Transaction::OPEN && execSQL("COMMIT") == kOk;
    mTransaction = Transaction::NONE;
    if (!stored) {
        ALOGE("the transaction failed, nothing of it is stored");
        if (mConnection != nullptr && mConnection->isInTransaction()) execSQL("ROLLBACK");
    }
    return stored;
}

// Whatever stops one write stops its whole bracket: SQLite may have rolled back on its own, and
// what followed would be stored by itself.
void DatabaseHelper::noteResult(int result) {
    if (!isStorageFailure(result)) return;
    ALOGE("database %s: %s", mPath.c_str(), mConnection->lastError());
    mDamaged = mDamaged || isDamage(result);
    abortTransaction();
}

void DatabaseHelper::abortTransaction() {
    if (mTransaction == Transaction::OPEN) mTransaction = Transaction::FAILED;
    forgetRows();
}

int DatabaseHelper::execSQL(const std::string& sql) {
    if (mConnection == nullptr) {
        ALOGE("the db is not open...");
        return kFailed;
    }
    forgetRows();
    Statement statement(*mConnection, sql);
    if (statement.result() != Statement::kOk) {
        ALOGD("failed to prepare SQL : %s", sql.c_str());
        noteResult(statement.result());
        return kFailed;
    }
    return runWrite(statement, sql);
}

int DatabaseHelper::write(const std::string& sql, Arguments arguments) {
    if (mConnection == nullptr) {
        ALOGE("the db is not open...");
        return kFailed;
    }
    if (!isStorable(arguments)) return kFailed;
    int prepared = Statement::kOk;
    Statement* const statement = prepare(sql, &prepared);
    if (statement == nullptr) {
        ALOGD("failed to prepare SQL : %s", sql.c_str());
        abortTransaction();
        return kFailed;
    }
    statement->bind(arguments);
    const int result = runWrite(*statement, sql);
    if (result != kOk) abortTransaction();
    return result;
}

// What follows a failure in its bracket isn't tried.
int DatabaseHelper::runWrite(Statement& statement, const std::string& sql) {
    if (mTransaction == Transaction::FAILED) return kFailed;
    const int result = statement.step();
    statement.reset();
    if (result == Statement::kDone) return kOk;
    ALOGE("failed to exec SQL: %s", sql.c_str());
    noteResult(result);
    return kFailed;
}

Statement* DatabaseHelper::prepare(const std::string& sql, int* result) {
    auto& statement = mStatements[sql];
    if (statement == nullptr) {
        statement = std::make_unique<Statement>(*mConnection, sql);
        *result = statement->result();
        if (*result != Statement::kOk) {
            noteResult(*result);
            mStatements.erase(sql);
            return nullptr;
        }
    }
    return statement.get();
}

bool DatabaseHelper::getAllRows(const std::string& sql, Arguments arguments,
                                const RowVisitor& visit) {
    ++mFailedReads;  // until it has succeeded
    if (mConnection == nullptr) {
        ALOGE("the database is not connected");
        return false;
    }
    int result = Statement::kOk;
    Statement* const statement = prepare(sql, &result);
    if (statement == nullptr) {
        ALOGE("failed to prepare sql command: %s, ret = %d, line %d", sql.c_str(), result,
              __LINE__);
        return false;
    }
    statement->bind(arguments);
    std::vector<RowData> row;
    for (result = statement->step(); result == Statement::kRow; result = statement->step()) {
        statement->readRow(row);
        visit(row);
    }
    statement->reset();
    if (result != Statement::kDone) {
        ALOGE("Unknow error... %d", result);
        noteResult(result);
        return false;
    }
    --mFailedReads;
    return true;
}

/// Null if the table can't be read.
DatabaseHelper::RowIndex* DatabaseHelper::indexOf(TableType table) {
    auto& index = mRowIndexes[static_cast<size_t>(table)];
    if (index) return &*index;
    RowIndex rows;
    const auto add = [&](std::span<const RowData> row) {
        std::string key;
        for (const RowData& part : row.subspan(1)) addPart(key, part.text);
        rows[key].push_back(row[0].integer);
    };
    if (!getAllRows(tableInfo(table).indexSql, {}, add)) {
        abortTransaction();
        return nullptr;
    }
    return &index.emplace(std::move(rows));
}

// In a bracket that holds nobody else changes the file: rows are looked up where they were found.
bool DatabaseHelper::getRows(TableType table, Arguments key, const RowVisitor& visit) {
    const TableInfo& info = tableInfo(table);
    if (mTransaction != Transaction::OPEN) return getAllRows(info.findSql, key, visit);
    const RowIndex* const index = indexOf(table);
    if (index == nullptr) return false;
    const auto rows = index->find(rowKey(key));
    if (rows == index->end()) return true;
    return std::all_of(rows->second.begin(), rows->second.end(), [&](int64_t row) {
        return getAllRows(info.rowSql, {std::to_string(row)}, visit);
    });
}

void DatabaseHelper::deleteRows(TableType table, Arguments key) {
    RowIndex* const index = mTransaction == Transaction::OPEN ? indexOf(table) : nullptr;
    if (index == nullptr) return;
    const auto rows = index->find(rowKey(key));
    if (rows == index->end()) return;
    for (const int64_t row : rows->second) {
        if (write(tableInfo(table).deleteSql, {std::to_string(row)}) != kOk) return;
    }
    index->erase(rows);
    mRowCounts[static_cast<size_t>(table)].reset();
}

int64_t DatabaseHelper::getRowCount(TableType table) {
    if (mConnection == nullptr) {
        ALOGE("the db is not open...");
        return -1;
    }
    auto& known = mRowCounts[static_cast<size_t>(table)];
    if (known) return *known;
    const std::string sql = std::string("SELECT COUNT(*) FROM ").append(schemaOf(table).name);
    Statement statement(*mConnection, sql);
    if (statement.result() != Statement::kOk) {
        ALOGE("failed to prepare SQL: %s", sql.c_str());
        noteResult(statement.result());
        return -1;
    }
    if (const int result = statement.step(); result != Statement::kRow) {
        ALOGE("can't count the rows of %s", schemaOf(table).name.data());
        noteResult(result);
        return -1;
    }
    std::vector<RowData> row;
    statement.readRow(row);
    known = row.front().integer;
    return *known;
}

bool DatabaseHelper::isStorable(std::span<const std::string_view> values) const {
    const auto quoted = std::find_if(values.begin(), values.end(), [](std::string_view value) {
        return value.find('\'') != std::string_view::npos;
    });
    if (quoted == values.end()) return true;
    ALOGE("failed to store a value with a single quote: %.*s", static_cast<int>(quoted->size()),
          quoted->data());
    return false;
}

int64_t DatabaseHelper::insertRow(TableType table, std::span<const std::string_view> values,
                                  int64_t id) {
    if (mTransaction == Transaction::FAILED) return id;
    if (id <= 0) id = getRowCount(table) + 1;
    if (mConnection == nullptr) {
        ALOGE("the db is not open...");
        return id;
    }
    if (!isStorable(values)) return id;
    const TableInfo& info = tableInfo(table);
    const std::string& sql = info.insertSql;
    int prepared = Statement::kOk;
    Statement* const statement = prepare(sql, &prepared);
    if (statement == nullptr) {
        ALOGD("failed to prepare SQL : %s", sql.c_str());
        abortTransaction();
        return id;
    }
    int index = 0;
    statement->bind(++index, id);
    for (const std::string_view value : values) statement->bind(++index, value);
    if (runWrite(*statement, sql) != kOk) {
        abortTransaction();
        return id;
    }
    if (auto& known = mRowCounts[static_cast<size_t>(table)]) ++*known;
    if (auto& rows = mRowIndexes[static_cast<size_t>(table)]) {
        std::string key;
        for (const size_t place : info.keyPlaces) addPart(key, values[place]);
        (*rows)[key].push_back(mConnection->lastRow());
    }
    return id;
}

template <typename Record>
void DatabaseHelper::insertRecord(TableType table, Record* record, std::string_view customName,
                                  int64_t id) {
    if (record == nullptr) {
        ALOGE("invalid value");
        return;
    }
    const std::string text = record->toString();
    auto values = getStringValues(tableInfo(table).columns, text);
    values.insert(values.begin(), customName);
    const int64_t row = insertRow(table, values, id);
    if (id <= 0) record->setId(row);
}

void DatabaseHelper::insertValue(IeqPreset* preset, std::string_view customName) {
    insertRecord(TableType::IEQ_PRESETS, preset, customName, -1);
}

void DatabaseHelper::insertValue(GeqPreset* preset, std::string_view customName, int64_t id) {
    insertRecord(TableType::GEQ_PRESETS, preset, customName, id);
}

void DatabaseHelper::insertValue(Profile* profile, std::string_view customName, int64_t id) {
    insertRecord(TableType::PROFILES, profile, customName, id);
}

void DatabaseHelper::insertValue(ProfileEndpoint* endpoint, std::string_view customName,
                                 int64_t id) {
    insertRecord(TableType::PROFILE_ENDPOINTS, endpoint, customName, id);
}

void DatabaseHelper::insertValue(Tuning* tuning, std::string_view customName) {
    insertRecord(TableType::TUNINGS, tuning, customName, -1);
}

void DatabaseHelper::insertValue(DeviceTuning* deviceTuning, std::string_view customName) {
    insertRecord(TableType::DEVICE_TUNINGS, deviceTuning, customName, -1);
}

template <typename Record, typename... Parts>
bool DatabaseHelper::updateRecord(TableType table, Record* record, std::string_view customName,
                                  Parts... parts) {
    if (record == nullptr) {
        ALOGE("invalid value");
        return false;
    }
    if (customName == kDefaultCopy) {
        ALOGE("the default value can't be updated, %d", record->getProfileId());
        return false;
    }
    const std::string text = record->toString();
    if (!isStorable(getStringValues(tableInfo(table).columns, text))) return false;
    beginTransaction();
    deleteRows(table, {std::to_string(record->getProfileId()), parts..., customName});
    insertRecord(table, record, customName, record->getId());
    return commitTransaction();
}

bool DatabaseHelper::updateGeqValue(GeqPreset* preset, std::string_view customName) {
    return updateRecord(TableType::GEQ_PRESETS, preset, customName);
}

bool DatabaseHelper::updateProfileValue(Profile* profile, std::string_view customName) {
    return updateRecord(TableType::PROFILES, profile, customName);
}

bool DatabaseHelper::updateProfileEndpointValue(ProfileEndpoint* endpoint,
                                                std::string_view customName) {
    const Endpoint which = endpoint != nullptr ? endpoint->getEndpoint() : Endpoint::SPEAKER;
    return updateRecord(TableType::PROFILE_ENDPOINTS, endpoint, customName, endpointName(which));
}

template <typename Record>
bool DatabaseHelper::queryRecord(TableType table, Arguments key, Record* record,
                                 const char* missing) {
    if (record == nullptr) {
        ALOGE("%s", missing);
        return false;
    }
    bool found = false;
    getRows(table, key, [&](std::span<const RowData> row) {
        found = true;
        fill(*record, row);
    });
    return found;
}

bool DatabaseHelper::queryIeqValue(int presetId, std::string_view customName, IeqPreset* preset) {
    const std::string id = std::to_string(presetId);
    const bool found =
        queryRecord(TableType::IEQ_PRESETS, {id, customName}, preset, "IeqPreset doesn't exist!");
    if (found) ALOGV("ieqId: %s, name: %s", id.c_str(), preset->getName().c_str());
    return found;
}

bool DatabaseHelper::queryGeqValue(int profileId, std::string_view customName, GeqPreset* preset) {
    return queryRecord(TableType::GEQ_PRESETS, {std::to_string(profileId), customName}, preset,
                       "GeqPreset doesn't exist!");
}

bool DatabaseHelper::queryProfileValue(int profileId, std::string_view customName,
                                       Profile* profile) {
    return queryRecord(TableType::PROFILES, {std::to_string(profileId), customName}, profile,
                       "Profile doesn't exist!");
}

bool DatabaseHelper::queryEndpointValue(int profileId, Endpoint endpoint,
                                        std::string_view customName, ProfileEndpoint* record) {
    return queryRecord(TableType::PROFILE_ENDPOINTS,
                       {std::to_string(profileId), endpointName(endpoint), customName}, record,
                       "Endpoint doesn't exist!");
}

bool DatabaseHelper::queryTuning(std::string_view name, Tuning* tuning) {
    return queryRecord(TableType::TUNINGS, {name}, tuning, "Tuning doesn't exist!");
}

// The columns that a row is told by are asked for by their names: the table may be another's.
template <typename Record>
bool DatabaseHelper::queryRecords(TableType table, const char* endpoint,
                                  const Finder<Record>& find) {
    const std::string sql = std::string("SELECT profile_id, custom_name, ")
                                .append(endpoint)
                                .append(", * FROM ")
                                .append(schemaOf(table).name);
    return getAllRows(sql, {}, [&](std::span<const RowData> row) {
        const int profileId = row[0].number();
        if (row[0].text != std::to_string(profileId)) return;  // nobody asks for it
        if (Record* const record = find(profileId, row[1].text, row[2].text)) {
            fill(*record, row.subspan(3));
        }
    });
}

bool DatabaseHelper::queryGeqValues(const Finder<GeqPreset>& find) {
    return queryRecords(TableType::GEQ_PRESETS, "''", find);
}

bool DatabaseHelper::queryProfileValues(const Finder<Profile>& find) {
    return queryRecords(TableType::PROFILES, "''", find);
}

bool DatabaseHelper::queryEndpointValues(const Finder<ProfileEndpoint>& find) {
    return queryRecords(TableType::PROFILE_ENDPOINTS, "endpoint", find);
}

bool DatabaseHelper::queryDeviceTunings(std::string_view port,
                                        std::vector<std::unique_ptr<DeviceTuning>>* devices) {
    return getAllRows(
        "SELECT _id, device, port, tuning_id FROM device_tunings WHERE port=? ORDER BY rowid",
        {port}, [&](std::span<const RowData> row) {
            devices->push_back(
                std::make_unique<DeviceTuning>(row[0].integer, std::string(row[1].text),
                                               std::string(row[2].text), std::string(row[3].text)));
        });
}

std::map<int, std::string> DatabaseHelper::queryNames(TableType table,
                                                      std::string_view customName) {
    const TableSchema& schema = schemaOf(table);
    const std::string sql = std::string("SELECT ")
                                .append(schema.attributes.front().column)  // the number
                                .append(", name FROM ")
                                .append(schema.name)
                                .append(" WHERE custom_name=?");
    std::map<int, std::string> names;
    getAllRows(sql, {customName},
               [&](std::span<const RowData> row) { names.emplace(row[0].number(), row[1].text); });
    return names;
}

void DatabaseHelper::clearOem(TableType table, const char* message) {
    const std::string sql = std::string("DELETE from ")
                                .append(schemaOf(table).name)
                                .append(" WHERE custom_name = '")
                                .append(kOemCopy)
                                .append("'");
    ALOGD(message, sql.c_str());
    if (execSQL(sql) != kOk) abortTransaction();
}

void DatabaseHelper::clearOemTunings() {
    clearOem(TableType::TUNINGS, "Delete existing tuning with SQL [%s]");
}

void DatabaseHelper::clearOemDeviceTunings() {
    clearOem(TableType::DEVICE_TUNINGS, "Delete existing device tuning with SQL [%s]");
}

void DatabaseHelper::insertConfigurationValue(std::string_view key, std::string_view value) {
    if (mConnection == nullptr) {
        ALOGE("db is not connected");
        return;
    }
    const std::string_view values[] = {key, value};
    insertRow(TableType::CONFIGURATION, values, -1);
}

std::string DatabaseHelper::queryConfigurationValue(std::string_view key) {
    std::optional<std::string> value;
    getAllRows("SELECT value FROM configuration WHERE key=?", {key},
               [&](std::span<const RowData> row) {
                   if (!value) value = row[0].text;
               });
    return value.value_or("");
}

bool DatabaseHelper::querySfxStatus(std::string_view key) {
    const std::string value = queryConfigurationValue(key);
    return !value.empty() && value != kFalse;
}

std::string DatabaseHelper::querySelectedProfile(std::string_view key) {
    const std::string value = queryConfigurationValue(key);
    return value.empty() ? "-1" : value;
}

void DatabaseHelper::updateConfigurationValue(std::string_view key, std::string_view value) {
    if (mConnection == nullptr) {
        ALOGE("the database is not connected");
        return;
    }
    write("UPDATE configuration SET value=? WHERE key=?", {value, key});
}

void DatabaseHelper::updateSfxStatus(std::string_view key, bool on) {
    updateConfigurationValue(key, on ? kTrue : kFalse);
}

void DatabaseHelper::updateSelectedProfile(std::string_view key, std::string_view value) {
    updateConfigurationValue(key, value);
}

void DatabaseHelper::updateTuningDevice(std::string_view key, std::string_view value) {
    updateConfigurationValue(key, value);
}

}  // namespace velora
