// A settings store whose rows hold anything is loaded into complete records, is sent to the effect,
// and what is saved then is loaded again.
//
// An input is a row of changes to a fresh store, each of five bytes (table, row, column, kind,
// length) and as many bytes of a value.

#include "context/SndContextManager.h"
#include "fuzz/Check.h"
#include "service/SndManager.h"
#include "store/RecordRows.h"
#include "tests/support/Records.h"
#include "tests/support/Root.h"

#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>
#include <sqlite3.h>

namespace {

using velora::fuzz::check;

/// The position of each byte of a change, and the kinds of change.
enum { TABLE, ROW, COLUMN, KIND, LENGTH, HEADER_SIZE };
enum { TEXT, BLOB, NULL_VALUE, DELETED, DOUBLED, KINDS };

void change(sqlite3* database, const std::vector<uint8_t>& header, const std::string& value) {
    const velora::Table& table =
        velora::tableOf(static_cast<velora::TableType>(header[TABLE] % velora::kNumTables));
    std::vector<std::string_view> columns{"_id"};
    columns.insert(columns.end(), table.columns.begin(), table.columns.end());
    const int kind = header[KIND] % KINDS;
    const std::string name(table.name);
    const std::string column(columns[header[COLUMN] % columns.size()]);
    const std::string sql = kind == DELETED   ? "DELETE FROM " + name
                            : kind == DOUBLED ? "INSERT INTO " + name + " SELECT * FROM " + name
                                              : "UPDATE " + name + " SET " + column + "=?";
    const std::string place = " WHERE rowid=" + std::to_string(1 + header[ROW] % 16);
    const auto size = static_cast<int>(value.size());
    sqlite3_stmt* statement = nullptr;  // stays null for a column that this table doesn't have
    sqlite3_prepare_v2(database, (sql + place).c_str(), -1, &statement, nullptr);
    if (kind == TEXT) sqlite3_bind_text(statement, 1, value.data(), size, SQLITE_STATIC);
    if (kind == BLOB) sqlite3_bind_blob(statement, 1, value.data(), size, SQLITE_STATIC);
    sqlite3_step(statement);
    sqlite3_finalize(statement);
}

/// All settings and the tunings in force.
std::string checkedContents() {
    std::string text;
    const auto addChecked = [&](const auto& record) {
        velora::fuzz::checkComplete(record);
        text += record.valuesToString();
    };
    velora::test::visitRecords(*velora::SndContextManager::getInstance().getSndContext(),
                               addChecked);
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    velora::fuzz::dropLog();
    static const velora::test::Root root("data/minimal.xml");
    auto& manager = velora::SndContextManager::getInstance();  // at first it makes the store
    manager.release();
    static const std::string fresh = velora::test::contentsOf(root.database());
    std::ofstream(root.database(), std::ios::binary) << fresh;

    sqlite3* database = nullptr;
    check(sqlite3_open(root.database().c_str(), &database) == SQLITE_OK);
    sqlite3_exec(database, "PRAGMA synchronous=OFF; BEGIN", nullptr, nullptr, nullptr);
    FuzzedDataProvider input(data, size);
    while (input.remaining_bytes() >= HEADER_SIZE) {
        const auto header = input.ConsumeBytes<uint8_t>(HEADER_SIZE);
        change(database, header, input.ConsumeBytesAsString(header[LENGTH]));
    }
    check(sqlite3_exec(database, "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK);
    sqlite3_close(database);

    std::string contents;
    {
        velora::SndManager facade;
        check(facade.init() == 0);
        contents = checkedContents();
        if (facade.getNumOfProfiles() > 16) return 0;  // to save hundreds would take a second
        check(facade.saveSndStateAndSettings());
    }
    manager.release();
    manager.init();
    check(checkedContents() == contents);
    manager.getSndContext()->resetProfile(0);
    checkedContents();
    return 0;
}
