// Measures saving, and how its cost grows with the settings.

#include "benchmarks/Ratio.h"
#include "benchmarks/Sample.h"
#include "context/SndContextManager.h"

#include <string>

#include <benchmark/benchmark.h>
#include <sqlite3.h>

namespace velora::bench {
namespace {

/// Saves all settings, as when a client unregisters.
void saveAll(benchmark::State& state, Scale scale) {
    const Root root(scale);
    SndContextManager& manager = SndContextManager::getInstance();
    manager.release();
    manager.init();

    for (auto _ : state) {
        if (!manager.getSndContext()->save()) state.SkipWithError("not saved");
    }
    manager.release();
}

/// Measures one small transaction by SQLite alone, under the given pragmas.
void commit(benchmark::State& state, const std::string& pragmas) {
    const Root root;
    sqlite3* db = nullptr;
    sqlite3_open(root.database().c_str(), &db);
    const auto run = [&](const std::string& sql) {
        if (sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
            state.SkipWithError(sqlite3_errmsg(db));
        }
    };

    run(pragmas +
        "; CREATE TABLE configuration(_id INTEGER, key TEXT, value TEXT); "
        "INSERT INTO configuration VALUES(1, 'State', '1')");
    for (auto _ : state) {
        run("BEGIN EXCLUSIVE; UPDATE configuration SET value=value+1; COMMIT");
    }
    sqlite3_close(db);
}

[[maybe_unused]] const bool kAdded = [] {
    for (const int profiles : {1, 4, 16}) {
        benchmark::RegisterBenchmark(
            ("save all, " + std::to_string(profiles * Root::kProfiles) + " profiles").c_str(),
            saveAll, Scale{.profiles = profiles})
            ->UseRealTime();
    }
    for (const std::string pragmas : {"journal_mode=DELETE; PRAGMA synchronous=FULL",
                                      "journal_mode=DELETE; PRAGMA synchronous=EXTRA",
                                      "journal_mode=TRUNCATE; PRAGMA synchronous=FULL",
                                      "journal_mode=PERSIST; PRAGMA synchronous=FULL",
                                      "journal_mode=WAL; PRAGMA synchronous=FULL"}) {
        benchmark::RegisterBenchmark(("commit, " + pragmas).c_str(), commit, "PRAGMA " + pragmas)
            ->UseRealTime();
    }
    return true;
}();

}  // namespace
}  // namespace velora::bench
