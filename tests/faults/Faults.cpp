// Runs the service on a disk that fails, on one that has lost power, and on damaged stores. Nothing
// that was acknowledged may be lost, nothing wrong be served without a line in the log, and a fault
// that has gone may not require a restart.

#include "store/RecordRows.h"
#include "tests/faults/Course.h"
#include "tests/faults/Recording.h"
#include "tests/support/TestFiles.h"
#include "util/RootPrefix.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <optional>
#include <set>

#include <CLI/CLI.hpp>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

namespace velora::test {
namespace {

constexpr unsigned kLimitSeconds = 30;  // for one process
constexpr std::string_view kDatabase = "kiv_sqlite3.db";

enum class Problem { NONE, CRASHED, SILENT, WRONG, STUCK, LOST };
constexpr std::array kProblemNames{"as it should be",
                                   "crashed or hung",
                                   "ended or wrong without a line",
                                   "wrong values served",
                                   "not stored after the fault",
                                   "lost"};

struct Verdict {
    Problem problem = Problem::NONE;
    std::string details{};
};

struct Options {
    uint64_t every = 1, from = 1;
    int damages = 10'000;
    unsigned seed = 1;
};

/// The texts of the marks that begin with a word.
std::vector<std::string> marks(const std::vector<Record>& records, std::string_view word) {
    std::vector<std::string> texts;
    for (const Record& record : records) {
        if (record.kind != DiskRecord::MARK || !record.data.starts_with(word)) continue;
        texts.push_back(record.data.substr(word.size()));
    }
    return texts;
}

/// The states that may be served after the first `count` records of a life: the last one stored,
/// and those that were to be stored after it.
std::set<std::string> allowedStates(const Life& life, const std::vector<Record>& records,
                                    size_t count) {
    std::set<std::string> states{life.started};
    std::string attempt = life.started;
    for (size_t i = 0; i < records.size(); ++i) {
        const Record& record = records[i];
        if (record.kind != DiskRecord::MARK) continue;
        if (record.data.starts_with(kAttempt)) {
            attempt = record.data.substr(kAttempt.size());
            states.insert(attempt);
            if (i >= count) break;  // it may have been stored before it was reported
        }
        if (record.data == kStored && i < count) states = {attempt};
    }
    return states;
}

/// The first line in which two states differ, from the first different value on.
std::string difference(const std::string& expected, const std::string& actual) {
    const auto differing =
        std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
    const auto at = static_cast<size_t>(differing.first - actual.begin());
    const size_t line = at > 0 ? actual.rfind('\n', at - 1) + 1 : 0;
    const auto rest = [&](const std::string& text) {
        return text.substr(at, std::min<size_t>(text.find('\n', at) - at, 20));
    };
    return actual.substr(line, std::min<size_t>(at - line, 40)) + "...: \"" + rest(actual) +
           "\" instead of \"" + rest(expected) + "\"";
}

/// The rows of a store that SQLite can read, each alone, without their `_id`.
std::set<std::string> readableRows(const std::string& path) {
    constexpr int kMaxRowid = 300;
    sqlite3* connection = nullptr;
    sqlite3_open_v2(path.c_str(), &connection, SQLITE_OPEN_READWRITE, nullptr);
    std::set<std::string> rows;
    for (const Table& table : allTables()) {
        const std::string name(table.name);
        sqlite3_stmt* query = nullptr;
        sqlite3_prepare_v2(connection, ("SELECT * FROM " + name + " WHERE rowid=?").c_str(), -1,
                           &query, nullptr);
        for (int rowid = 1; query != nullptr && rowid <= kMaxRowid; ++rowid) {
            sqlite3_bind_int(query, 1, rowid);
            if (sqlite3_step(query) == SQLITE_ROW) {
                std::string row = name;
                for (int column = 1; column < sqlite3_column_count(query); ++column) {
                    const auto* const text = sqlite3_column_text(query, column);
                    row.append("|").append(text != nullptr ? reinterpret_cast<const char*>(text)
                                                           : "");
                }
                rows.insert(row);
            }
            sqlite3_reset(query);
        }
        sqlite3_finalize(query);
    }
    sqlite3_close(connection);
    return rows;
}

/// Flips a bit, writes 64 bytes of garbage, clears a page, or cuts the end off.
void damage(std::string& file, std::minstd_rand& dice) {
    constexpr size_t kPage = 4096;
    const size_t at = dice() % file.size();
    switch (dice() % 4) {
        case 0:
            file[at] = static_cast<char>(file[at] ^ (1 << dice() % 8));
            break;
        case 1:
            for (size_t i = at; i < std::min(at + 64, file.size()); ++i) {
                file[i] = static_cast<char>(dice());
            }
            break;
        case 2:
            std::fill_n(file.begin() + static_cast<long>(at / kPage * kPage),
                        std::min(kPage, file.size() - at / kPage * kPage), '\0');
            break;
        default:
            file.resize(at);
    }
}

class Faults {
public:
    explicit Faults(const Options& options) : mOptions(options), mDice(options.seed) {
        setRootPrefix(mRoot.path().string());
    }

    bool run() {
        writeFiles(mData, {});
        for (Life& life : mLives) {
            if (!learn(life)) return false;
        }
        for (size_t i = 0; i < mLives.size(); ++i) {
            testFaults(i);
            testPowerLoss(i);
        }
        testDamages();
        return report();
    }

private:
    struct End {
        int status = 0;
        std::vector<Record> records{};
        std::optional<std::string> started{};  ///< what it served at first
        std::string effect{};

        std::vector<std::string> log() const { return marks(records, kLog); }
        /// A start may also end by an exit with a line.
        bool hasCrashed() const {
            const bool hasExited = WIFEXITED(status) && !started && !log().empty();
            return status != 0 && !hasExited;
        }
    };
    /// Lives in a process of its own, with the faults that `mDisk` has.
    End runLife(const Life& life, bool hasSteps) {
        std::filesystem::remove(mRecording);
        mRoot.write("odm/etc/velora/multimedia_velora_kiv_default.xml",
                    mTuningFile + (life.hasNewTuningFile ? "<!-- new -->\n" : ""));
        fflush(stdout);
        const pid_t child = fork();
        if (child == 0) {
            alarm(kLimitSeconds);
            useDisk(&mDisk);
            live(life, mDisk, hasSteps);
            _exit(0);
        }

        End end;
        waitpid(child, &end.status, 0);
        end.records = readRecording(mRecording);
        for (const auto& state : marks(end.records, kStarted)) end.started = state;
        for (const auto& state : marks(end.records, kEffect)) end.effect = state;
        return end;
    }
    void resetDisk() {
        new (&mDisk) Disk{};
        strcpy(mDisk.directory, mData.c_str());
        strcpy(mDisk.recording, mRecording.c_str());
    }

    /// Runs a life without faults, to know what is right.
    bool learn(Life& life) {
        Files before = readFiles(mData);
        if (life.bringsExtraFile)
            before["kiv-extra.xml"] = contentsOf(sourceFile("data/kiv-extra.xml"));
        writeFiles(mData, before);
        mBefore.push_back(std::move(before));
        resetDisk();
        End end = runLife(life, true);
        mCalls.push_back(mDisk.allCalls);
        life.started = end.started.value_or("");
        life.effect = end.effect;
        mRecords.push_back(std::move(end.records));
        // Every step, and the end.
        if (marks(mRecords.back(), kStored).size() == life.steps.size() + 1) return true;
        printf("faults: %s fails without a fault\n", life.name);
        return false;
    }

    void count(const std::string& mode, const Verdict& verdict, const std::string& where) {
        const auto problem = static_cast<size_t>(verdict.problem);
        ++mTable[mode][problem];
        if (verdict.problem == Problem::NONE) return;
        printf("%s, %s: %s: %s\n", mode.c_str(), where.c_str(), kProblemNames[problem],
               verdict.details.c_str());
    }

    /// Whether the next start, without a fault, serves one of the states.
    Verdict judgeNextStart(const Life& life, const std::set<std::string>& allowed) {
        resetDisk();
        const End next = runLife(life, false);
        if (next.status != 0) return {Problem::CRASHED, "at the next start"};
        if (!next.started) return {Problem::LOST, "the next start ends"};
        if (allowed.contains(*next.started)) return {};
        return {Problem::LOST, difference(*allowed.begin(), *next.started)};
    }

    Verdict judgeFault(size_t number, const End& end) {
        const Life& life = mLives[number];
        if (end.hasCrashed()) return {Problem::CRASHED, "status " + std::to_string(end.status)};
        if (!end.started && end.log().empty()) return {Problem::SILENT, "the start ends"};
        if (end.started && *end.started != life.started) {
            // A rebuild that failed leaves the settings as they were.
            const bool isOld = life.hasNewTuningFile &&
                               *end.started == marks(mRecords[number - 1], kAttempt).back();
            if (!isOld) return {Problem::WRONG, difference(life.started, *end.started)};
        } else if (end.started && end.effect != life.effect) {
            return {Problem::WRONG, "effect has " + difference(life.effect, end.effect)};
        }
        if (!marks(end.records, kNotStored).empty()) return {Problem::STUCK, end.log().back()};

        const auto allowed = allowedStates(life, end.records, end.records.size());
        const Verdict verdict = judgeNextStart(life, allowed);
        return verdict.problem == Problem::NONE ? judgeEndOfFault(number, end.records) : verdict;
    }

    /// As if the process had been killed, or the power had failed, when the fault was cleared: what
    /// is stored later would hide a loss. No names are lost, because SQLite ignores it when it
    /// can't open a directory to synchronise it.
    Verdict judgeEndOfFault(size_t number, const std::vector<Record>& records) {
        DiskState state(mBefore[number]);
        size_t count = 0;
        while (count < records.size() && records[count].data != kCleared) {
            state.take(records[count++]);
        }
        if (count == records.size()) return {};

        const auto allowed = allowedStates(mLives[number], records, count);
        for (const auto bytes : {Unsynchronised::KEPT, Unsynchronised::DROPPED}) {
            writeFiles(mData, state.lose(bytes, Unsynchronised::KEPT, mDice));
            Verdict verdict = judgeNextStart(mLives[number], allowed);
            if (verdict.problem != Problem::NONE) return verdict;
        }
        return {};
    }

    void testFaults(size_t number) {
        const Life& life = mLives[number];
        for (uint64_t at = mOptions.from; at <= mCalls[number]; at += mOptions.every) {
            for (const int error : {EIO, ENOSPC}) {
                for (const bool on : {false, true}) {
                    writeFiles(mData, mBefore[number]);
                    resetDisk();
                    mDisk.fail(at, error, on);
                    const End end = runLife(life, true);
                    const std::string mode = std::string(error == EIO ? "EIO" : "ENOSPC") +
                                             (on ? " from then on" : " once");
                    const auto call = static_cast<size_t>(mDisk.lastFailure);
                    const std::string where = std::string(life.name) + ", call " +
                                              std::to_string(at) + " (" + kDiskCallNames[call] +
                                              ")";
                    count(mode, judgeFault(number, end), where);
                }
            }
        }
    }

    /// The power fails after each of the records. What is left is tested once for each of the
    /// states that are allowed then.
    void testPowerLoss(size_t number) {
        using enum Unsynchronised;
        const Life& life = mLives[number];
        const auto& records = mRecords[number];
        DiskState state(mBefore[number]);
        std::set<std::pair<Files, std::set<std::string>>> tested;
        for (size_t i = 0; i < records.size(); ++i) {
            state.take(records[i]);
            const auto allowed = allowedStates(life, records, i + 1);
            for (const auto bytes : {KEPT, DROPPED, TORN}) {
                for (const auto names : {KEPT, DROPPED, TORN}) {
                    const Files left = state.lose(bytes, names, mDice);
                    if (!tested.insert({left, allowed}).second) continue;
                    writeFiles(mData, left);
                    count("loss of power", judgeNextStart(life, allowed),
                          std::string(life.name) + ", record " + std::to_string(i));
                }
            }
        }
    }

    /// Of the store that the second life has left.
    void testDamages() {
        const Files whole = mBefore.back();
        Life life = mLives[mLives.size() - 2];
        writeFiles(mData, whole);
        resetDisk();
        const End right = runLife(life, false);
        const auto rows = readableRows(mData / kDatabase);

        for (int i = 0; i < mOptions.damages; ++i) {
            Files files = whole;
            damage(files.at(std::string(kDatabase)), mDice);
            writeFiles(mData, files);
            const auto readable = readableRows(mData / kDatabase);
            writeFiles(mData, files);  // without what reading may have added
            resetDisk();
            const End end = runLife(life, false);
            const auto left = readableRows(mData / kDatabase);

            Verdict verdict;
            const bool isRight = end.started == right.started && end.effect == right.effect;
            if (end.hasCrashed()) {
                verdict = {Problem::CRASHED, "status " + std::to_string(end.status)};
            } else if (!isRight && end.log().empty()) {
                verdict = {Problem::SILENT,
                           difference(*right.started, end.started.value_or("nothing"))};
            }
            for (const std::string& row : rows) {
                if (verdict.problem != Problem::NONE) break;
                if (!readable.contains(row) || left.contains(row)) continue;
                verdict = {Problem::LOST, row.substr(0, 60)};
            }
            count("damages", verdict, "damage " + std::to_string(i));
        }
    }

    bool report() const {
        bool passed = true;
        printf("\n%-18s", "");
        for (const char* const name : kProblemNames) printf(" | %s", name);
        for (const auto& [mode, counts] : mTable) {
            printf("\n%-18s", mode.c_str());
            for (size_t i = 0; i < counts.size(); ++i) {
                printf(" | %*d", static_cast<int>(strlen(kProblemNames[i])), counts[i]);
                passed = passed && (i == 0 || counts[i] == 0);
            }
        }
        printf("\n");
        return passed;
    }

    const Options mOptions;
    std::minstd_rand mDice;
    const TempDir mRoot;
    const std::filesystem::path mData = mRoot.path() / "data/vendor/velora";
    const std::string mRecording = mRoot.path() / "recording";
    Disk& mDisk = *openDisk((mRoot.path() / "disk").c_str());
    const std::string mTuningFile =
        contentsOf(sourceFile("data/multimedia_velora_kiv_default.xml"));

    // Of each life.
    std::vector<Life> mLives = makeLives();
    std::vector<Files> mBefore{};
    std::vector<uint64_t> mCalls{};
    std::vector<std::vector<Record>> mRecords{};

    std::map<std::string, std::array<int, kProblemNames.size()>> mTable;  ///< of counts
};

}  // namespace
}  // namespace velora::test

int main(int argc, char** argv) try {
    velora::test::Options options;
    CLI::App app{"Runs the service on a disk that fails or loses power", "velora_faults"};
    app.add_option("--every", options.every, "Tests the faults of every Nth call only")
        ->check(CLI::PositiveNumber);
    app.add_option("--from", options.from, "The first call that fails")->check(CLI::PositiveNumber);
    app.add_option("--damages", options.damages, "Number of damaged stores");
    app.add_option("--seed", options.seed, "Of what is torn and damaged");
    CLI11_PARSE(app, argc, argv);
    const bool passed = velora::test::Faults(options).run();
    printf("faults: %s\n", passed ? "passed" : "failed");
    return passed ? EXIT_SUCCESS : EXIT_FAILURE;
} catch (const std::exception& e) {
    fprintf(stderr, "velora_faults: %s\n", e.what());
    return EXIT_FAILURE;
}
