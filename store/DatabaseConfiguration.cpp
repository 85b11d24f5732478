// The operations of the database helper on the configuration: keys and values, one row each.

#define LOG_TAG "DatabaseHelper"

#include "store/DatabaseHelper.h"
#include "store/LogMessages.h"
#include "store/Transaction.h"

#include <map>
#include <span>
#include <string>
#include <string_view>

#include <log/log.h>

namespace velora {

namespace {

// Log texts that are part of the interface: they must not change, nor may their spelling be
// corrected.
constexpr char kConfigurationNotConnectedMessage[] = "db is not connected";

constexpr std::string_view kTrue = "true";
constexpr std::string_view kFalse = "false";

}  // namespace

void DatabaseHelper::insertConfigurationValue(std::string_view key, std::string_view value) {
    if (!mDatabase.isOpen()) {
        ALOGE(kConfigurationNotConnectedMessage);
        return;
    }
    insertRow(tableOf(TableType::CONFIGURATION), {std::string(key), std::string(value)}, -1);
}

std::string DatabaseHelper::queryConfigurationValue(std::string_view key) {
    const ReadSession session(*this);
    if (!mConfiguration) {
        mConfiguration.emplace();
        const bool wasRead = readTable(TableType::CONFIGURATION, [&](std::span<const RowData> row) {
            mConfiguration->emplace(cellOf(row, "key").text, cellOf(row, "value").text);
        });
        if (!wasRead) {
            mConfiguration.reset();
            return {};
        }
    }

    const auto value = mConfiguration->find(key);
    return value != mConfiguration->end() ? value->second : std::string();
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
    if (!mDatabase.isOpen()) {
        ALOGE(kNotConnectedMessage);
        return;
    }
    const Arguments arguments{value, key};
    if (!isStorable(arguments)) return;

    // A failure is logged, and the transaction around this one fails.
    Transaction transaction(*this);
    mConfiguration.reset();
    if (!mDatabase.write("UPDATE configuration SET value=? WHERE key=?", arguments)) return;

    const Table& table = tableOf(TableType::CONFIGURATION);
    std::map<int64_t, std::string> ids;  // by rowid
    const bool wasRead = getAllRows(
        "SELECT rowid, _id FROM configuration WHERE key=?", {key},
        [&](std::span<const RowData> row) { ids.emplace(row[0].integer, row[1].toString()); });
    if (!wasRead) return;
    for (const auto& [rowid, id] : ids) {
        mChecksums.store(table, rowid, Arguments{id, key, value});
    }
    (void)transaction.commit();
}

void DatabaseHelper::setConfigurationValue(std::string_view key, std::string_view value) {
    if (queryConfigurationValue(key).empty()) {
        insertConfigurationValue(key, value);
    } else {
        updateConfigurationValue(key, value);
    }
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
