// Reading the tuning file, and starting with and without a filled store.

#include "benchmarks/Ratio.h"
#include "benchmarks/Sample.h"
#include "context/SndContextManager.h"
#include "tuning/TuningFileParser.h"

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

/// With the same kind of tree as ours.
void parseCompactFloor(benchmark::State& state, Scale scale) {
    const Root root(scale);
    for (auto _ : state) readTree(root, XML_PARSE_COMPACT);
}

/// All rows of a database, by table, each cell as text.
struct Rows {
    std::string createSql;
    std::string insertSql;
    std::vector<std::vector<std::string>> rows;
};

/// A connection that closes itself.
using Database = std::unique_ptr<sqlite3, decltype([](sqlite3* db) { sqlite3_close(db); })>;

Database open(const Root& root) {
    sqlite3* handle = nullptr;
    sqlite3_open_v2(root.database().c_str(), &handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                    nullptr);
    return Database(handle);
}

/// Runs a query and hands each row's statement to `visit`.
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

/// Name of each table, and the statement that made it.
std::vector<std::pair<std::string, std::string>> tablesOf(sqlite3* db) {
    std::vector<std::pair<std::string, std::string>> tables;
    query(db, "SELECT name, sql FROM sqlite_master",
          [&](sqlite3_stmt* s) { tables.emplace_back(textAt(s, 0), textAt(s, 1)); });
    return tables;
}

/// Looks at every cell of a database, in one transaction.
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

std::vector<Rows> readRows(sqlite3* db) {
    std::vector<Rows> all;
    for (const auto& [name, createSql] : tablesOf(db)) {
        Rows& rows = all.emplace_back(Rows{createSql, "INSERT INTO " + name + " VALUES(?", {}});
        int columns = 0;
        query(db, "SELECT * FROM " + name, [&](sqlite3_stmt* s) {
            columns = sqlite3_column_count(s);
            auto& row = rows.rows.emplace_back();
            for (int i = 0; i < columns; ++i) row.push_back(textAt(s, i));
        });
        for (int i = 1; i < columns; ++i) rows.insertSql += ",?";
        rows.insertSql += ")";
    }
    return all;
}

void writeRows(sqlite3* db, const std::vector<Rows>& tables) {
    sqlite3_exec(db, "PRAGMA synchronous=EXTRA; BEGIN EXCLUSIVE", nullptr, nullptr, nullptr);
    for (const Rows& table : tables) {
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

/// Leaves the store as a first start does.
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
    const auto rows = readRows(open(root).get());
    for (auto _ : state) {
        state.PauseTiming();
        std::filesystem::remove(root.database());
        state.ResumeTiming();
        benchmark::DoNotOptimize(SndContextManager::getSignature(root.tuningFile()));
        readTree(root);
        Database database = open(root);
        writeRows(database.get(), rows);
        state.PauseTiming();  // closing isn't starting
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
        Database database = open(root);
        readCells(database.get());
        state.PauseTiming();  // closing isn't starting
        database.reset();
        state.ResumeTiming();
    }
}

[[maybe_unused]] const bool kAdded = [] {
    addRatio("parse the sample", 1.3, parseOurs, parseFloor, {});
    addRatio("parse 20 times the sample", 1.3, parseOurs, parseFloor, {.tunings = 32});
    addRatio("parse the sample / a compact tree", kNoGoal, parseOurs, parseCompactFloor, {});
    addRatio("parse 20 times the sample / a compact tree", kNoGoal, parseOurs, parseCompactFloor,
             {.tunings = 32});
    addRatio("cold start", 1.5, coldOurs, coldFloor, {});
    addRatio("warm start", 1.5, warmOurs, warmFloor, {});
    // How both grow.
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
