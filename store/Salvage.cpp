#define LOG_TAG "Salvage"

#include "store/Salvage.h"

#include "store/Database.h"
#include "store/Provider.h"
#include "store/RecordRows.h"
#include "store/RowChecksums.h"

#include <set>

#include <log/log.h>

namespace velora {

namespace {

/// A damaged store that is being read.
class Salvage {
public:
    explicit Salvage(const std::string& path) : mDatabase(path, Database::Check::NONE) {
        for (const ParameterInfo& info : kParameters) {
            mParameterNames.emplace(info.column, info.parameter);
        }
    }

    UserSettings read() {
        if (!mDatabase.isOpen()) return {};
        (void)mDatabase.begin(Database::Access::READ);
        readRecords<Profile>([](int id, std::string_view) { return Profile(id, {}, false); });
        readRecords<GeqPreset>([](int id, std::string_view) { return GeqPreset(id); });
        readRecords<ProfileEndpoint>([](int id, std::string_view endpoint) {
            return ProfileEndpoint(id, endpointByName(endpoint).value_or(Endpoint::OTHER), 0);
        });
        readConfiguration();
        (void)mDatabase.commit();
        return std::move(mSettings);
    }

private:
    /// The rowids that a table has or had. A scan ends at the first page that can't be read, so the
    /// table is scanned from both ends.
    std::set<int64_t> rowidsOf(const Table& table) {
        std::set<int64_t> rowids = mChecksums.rowidsOf(table);
        for (const char* const order : {"", " DESC"}) {
            const std::string sql = std::string("SELECT rowid FROM ")
                                        .append(table.name)
                                        .append(" ORDER BY rowid")
                                        .append(order);
            (void)mDatabase.read(
                sql, {}, [&](std::span<const RowData> row) { rowids.insert(row.front().integer); });
        }
        return rowids;
    }

    /// Passes every intact row of a table on: `_id` and all columns.
    void readRows(const Table& table, const Database::RowVisitor& visit) {
        const std::string sql =
            std::string("SELECT rowid, * FROM ").append(table.name).append(" WHERE rowid=?");
        for (const int64_t rowid : rowidsOf(table)) {
            (void)mDatabase.read(sql, {std::to_string(rowid)}, [&](std::span<const RowData> row) {
                if (mChecksums.isIntact(table, row)) visit(row.subspan(1));
            });
        }
    }

    template <typename Record, typename Make>
    void readRecords(Make make) {
        readRows(tableOf<Record>(), [&](std::span<const RowData> row) {
            const auto id = cellOf(row, "profile_id").plainNumber();
            if (!id || cellOf(row, "custom_name").text != kUserCopy) return;
            Record record = completed(make(*id, cellOf(row, "endpoint").text));
            readRow(row, mParameterNames, record);
            mSettings.add(record);
        });
    }

    void readConfiguration() {
        readRows(tableOf(TableType::CONFIGURATION), [&](std::span<const RowData> row) {
            const std::string_view key = cellOf(row, "key").text;
            const RowData& value = cellOf(row, "value");
            if (key == Provider::kSignature) mSettings.signature = value.text;
            if (key == Provider::kSfxState) mSettings.sfxOn = value.text != "false";
            if (key == Provider::kSelectedProfile) mSettings.selectedProfile = value.number();
            if (const auto port = portByName(key)) mSettings.devices[*port] = value.text;
        });
    }

    Database mDatabase;
    RowChecksums mChecksums{&mDatabase};
    ParameterNames mParameterNames;
    UserSettings mSettings;
};

}  // namespace

UserSettings salvageSettings(const std::string& path) {
    UserSettings settings = Salvage(path).read();
    ALOGE("%zu records of users' settings, and %zu selected devices, are still intact in %s",
          settings.profiles.size() + settings.endpoints.size() + settings.geqPresets.size(),
          settings.devices.size(), path.c_str());
    return settings;
}

}  // namespace velora
