// Measures reading the tuning file, and starting with an empty and with a filled store.

#include "benchmarks/Ratio.h"
#include "benchmarks/Sample.h"
#include "context/SndContextManager.h"
#include "tuning/TuningFileParser.h"
#include "tuning/XmlFile.h"

#include <vector>

#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <sqlite3.h>

namespace velora::bench {
namespace {

void readTree(const Root& root, int options = 0) {
    xmlFreeDoc(xmlReadFile(root.tuningFile().c_str(), nullptr, options));
}

void parseOurs(benchmark::State& state, Scale scale) {
    const Root root(scale);
    for (auto _ : state) {
        TuningFileParser parser;
        if (parser.setTuningFile(root.tuningFile()) != 0) state.SkipWithError("no file");
        parser.parseTuningFile();
    }
}

void parseFloor(benchmark::State& state, Scale scale) {
    const Root root(scale);
    for (auto _ : state) readTree(root);
}

/// The floor for the same kind of tree as the product asks for.
void parseCompactFloor(benchmark::State& state, Scale scale) {
    const Root root(scale);
    for (auto _ : state) readTree(root, XML_PARSE_COMPACT);
}

/// Writes a file of the largest size, of which every element costs libxml2 much: 255 attributes
/// with a prefix, in the scope of 256 namespaces and below 240 elements.
void writeSlowestFile(const Root& root) {
    std::string scope = "<r xmlns:p='p'>\n<a";
    for (int i = 1; i < 256; ++i) scope += " xmlns:p" + std::to_string(i) + "='p'";
    scope += ">";
    for (int i = 0; i < 240; ++i) scope += "<a>";

    std::string element = "<b";
    for (int i = 0; i < 255; ++i) {
        element += std::string(" p:") + char('a' + i / 16) + char('a' + i % 16) + "=''";
    }
    element += "/>";

    std::string end = "</a>";
    for (int i = 0; i < 240; ++i) end += "</a>";
    end += "</r>";

    std::string xml = scope;
    while (xml.size() + element.size() + end.size() <= XmlFile::kMaxSize) xml += element;
    std::ofstream(root.tuningFile(), std::ios::binary) << xml << end;
}

void parseSlowest(benchmark::State& state, Scale scale) {
    const Root root(scale);
    writeSlowestFile(root);
    for (auto _ : state) {
        if (!XmlFile(root.tuningFile()).isRead()) state.SkipWithError("refused");
    }
}

void parseSlowestFloor(benchmark::State& state, Scale scale) {
    const Root root(scale);
    writeSlowestFile(root);
    for (auto _ : state) readTree(root, XML_PARSE_COMPACT);
}

/// A table of a database with all its rows, each cell as text, and the statements that make it.
struct Table {
    std::string createSql;
    std::string insertSql;
    std::vector<std::vector<std::string>> rows;
};

/// Owns a connection to a database.
using Database = std::unique_ptr<sqlite3, decltype([](sqlite3* db) { sqlite3_close(db); })>;

/// Opens or creates the settings of a root directory.
Database openSettings(const Root& root) {
    sqlite3* handle = nullptr;
    sqlite3_open_v2(root.database().c_str(), &handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                    nullptr);
    return Database(handle);
}

/// Runs a query and calls `visit` with the statement at each row.
template <typename Visit>
void query(sqlite3* db, const std::string& sql, Visit visit) {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr);
    while (sqlite3_step(statement) == SQLITE_ROW) visit(statement);
    sqlite3_finalize(statement);
}

std::string textAt(sqlite3_stmt* statement, int column) {
    const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    return text != nullptr ? text : "";
}

/// Returns the name of each table and the SQL that created it.
std::vector<std::pair<std::string, std::string>> tablesOf(sqlite3* db) {
    std::vector<std::pair<std::string, std::string>> tables;
    query(db, "SELECT name, sql FROM sqlite_master",
          [&](sqlite3_stmt* s) { tables.emplace_back(textAt(s, 0), textAt(s, 1)); });
    return tables;
}

/// Reads every cell of a database, in one transaction.
void readCells(sqlite3* db) {
    sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
    for (const auto& table : tablesOf(db)) {
        query(db, "SELECT * FROM " + table.first, [](sqlite3_stmt* s) {
            for (int i = 0; i < sqlite3_column_count(s); ++i) {
                benchmark::DoNotOptimize(sqlite3_column_text(s, i));
            }
        });
    }
    sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
}

std::vector<Table> readTables(sqlite3* db) {
    std::vector<Table> tables;
    for (const auto& [name, createSql] : tablesOf(db)) {
        Table& table =
            tables.emplace_back(Table{createSql, "INSERT INTO " + name + " VALUES(?", {}});
        int columns = 0;
        query(db, "SELECT * FROM " + name, [&](sqlite3_stmt* s) {
            columns = sqlite3_column_count(s);
            auto& row = table.rows.emplace_back();
            for (int i = 0; i < columns; ++i) row.push_back(textAt(s, i));
        });
        for (int i = 1; i < columns; ++i) table.insertSql += ",?";
        table.insertSql += ")";
    }
    return tables;
}

/// Creates and fills tables in one transaction, which is as durable as the product's.
void writeTables(sqlite3* db, const std::vector<Table>& tables) {
    sqlite3_exec(db, "PRAGMA synchronous=EXTRA; BEGIN EXCLUSIVE", nullptr, nullptr, nullptr);
    for (const Table& table : tables) {
        sqlite3_exec(db, table.createSql.c_str(), nullptr, nullptr, nullptr);

        sqlite3_stmt* statement = nullptr;
        sqlite3_prepare_v2(db, table.insertSql.c_str(), -1, &statement, nullptr);
        for (const auto& row : table.rows) {
            for (size_t i = 0; i < row.size(); ++i) {
                sqlite3_bind_text(statement, static_cast<int>(i) + 1, row[i].data(),
                                  static_cast<int>(row[i].size()), SQLITE_STATIC);
            }
            sqlite3_step(statement);
            sqlite3_reset(statement);
        }
        sqlite3_finalize(statement);
    }
    sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
}

void start(benchmark::State& state) {
    SndContextManager::getInstance().init();
    if (SndContextManager::getInstance().getSndContext() == nullptr)
        state.SkipWithError("no start");
}

/// Leaves the store as it is after a first start, and no context.
void fillStore(benchmark::State& state) {
    SndContextManager::getInstance().release();
    start(state);
    SndContextManager::getInstance().release();
}

void coldOurs(benchmark::State& state, Scale scale) {
    const Root root(scale);
    for (auto _ : state) {
        state.PauseTiming();
        SndContextManager::getInstance().release();
        std::filesystem::remove(root.database());
        state.ResumeTiming();
        start(state);
    }
    SndContextManager::getInstance().release();
}

void coldFloor(benchmark::State& state, Scale scale) {
    const Root root(scale);
    fillStore(state);
    const auto tables = readTables(openSettings(root).get());

    for (auto _ : state) {
        state.PauseTiming();
        std::filesystem::remove(root.database());
        state.ResumeTiming();
        benchmark::DoNotOptimize(SndContextManager::getSignature(root.tuningFile()));
        readTree(root);
        Database database = openSettings(root);
        writeTables(database.get(), tables);
        state.PauseTiming();  // a start doesn't close the database
        database.reset();
        state.ResumeTiming();
    }
}

void warmOurs(benchmark::State& state, Scale scale) {
    const Root root(scale);
    fillStore(state);
    for (auto _ : state) {
        state.PauseTiming();
        SndContextManager::getInstance().release();
        state.ResumeTiming();
        start(state);
    }
    SndContextManager::getInstance().release();
}

void warmFloor(benchmark::State& state, Scale scale) {
    const Root root(scale);
    fillStore(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(SndContextManager::getSignature(root.tuningFile()));
        Database database = openSettings(root);
        readCells(database.get());
        state.PauseTiming();  // a start doesn't close the database
        database.reset();
        state.ResumeTiming();
    }
}

[[maybe_unused]] const bool kAdded = [] {
    addRatio("parse the sample", 1.3, parseOurs, parseFloor, {});
    addRatio("parse 20 times the sample", 1.3, parseOurs, parseFloor, {.tunings = 32});
    addRatio("read the slowest file found", kNoGoal, parseSlowest, parseSlowestFloor, {});
    addRatio("parse the sample / a compact tree", kNoGoal, parseOurs, parseCompactFloor, {});
    addRatio("parse 20 times the sample / a compact tree", kNoGoal, parseOurs, parseCompactFloor,
             {.tunings = 32});
    addRatio("cold start", 1.5, coldOurs, coldFloor, {});
    addRatio("warm start", 1.5, warmOurs, warmFloor, {});
    // How both grow with the file.
    for (const auto& [name, scale] :
         {std::pair<std::string, Scale>{", tunings x 4", {.tunings = 4}},
          {", tunings x 16", {.tunings = 16}},
          {", profiles x 4", {.profiles = 4}},
          {", profiles x 16", {.profiles = 16}}}) {
        addRatio("cold start" + name, kNoGoal, coldOurs, coldFloor, scale);
        addRatio("warm start" + name, kNoGoal, warmOurs, warmFloor, scale);
    }
    return true;
}();

}  // namespace
}  // namespace velora::bench
