// Runs the service on a disk that fails, on one that has lost power, and on damaged stores. Nothing
// that was acknowledged may be lost, nothing wrong be served without a line in the log, and a fault
// that has gone may not require a restart.

#include "store/RecordRows.h"
#include "tests/faults/Course.h"
#include "tests/faults/Recording.h"
#include "tests/support/TestFiles.h"
#include "util/RootPrefix.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <set>

#include <CLI/CLI.hpp>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

namespace velora::test {
namespace {

constexpr unsigned kLimitSeconds = 30;  // for one process
constexpr std::string_view kDatabase = "kiv_sqlite3.db";

/// A way in which calls fail.
struct Mode {
    const char* name = "";
    int error = 0;
    uint64_t every = 0;  ///< as of Disk::failEvery
};
constexpr Mode kModes[]{
    {"EIO once", EIO, 0},
    {"EIO from then on", EIO, 1},
    {"ENOSPC once", ENOSPC, 0},
    {"ENOSPC from then on", ENOSPC, 1},
};

bool isMark(const Record& record, std::string_view word) {
    return record.kind == DiskRecord::MARK && record.data.starts_with(word);
}

/// How a life ended, and what it has reported.
struct End {
    int status = 0;
    Records records{};

    /// The text of the last mark that begins with a word, empty if there is none.
    std::string last(std::string_view word) const {
        const auto found = std::find_if(records.rbegin(), records.rend(),
                                        [&](const Record& record) { return isMark(record, word); });
        return found != records.rend() ? found->data.substr(word.size()) : "";
    }
    bool hasLine() const { return !last(kLog).empty(); }
    /// A start may also end by an exit with a line.
    bool hasCrashed() const {
        const bool isExplained = WIFEXITED(status) && last(kStarted).empty() && hasLine();
        return status != 0 && !isExplained;
    }
};

/// The states that may be served after the first `count` records of a life: the last one stored,
/// and those that were to be stored after it.
std::set<std::string> allowedStates(const Life& life, const Records& records, size_t count) {
    std::set<std::string> states{life.started};
    std::string attempt = life.started;
    for (size_t i = 0; i < records.size(); ++i) {
        if (isMark(records[i], kAttempt)) {
            attempt = records[i].data.substr(kAttempt.size());
            states.insert(attempt);
            if (i >= count) break;  // it may have been stored before it was reported
        }
        if (isMark(records[i], kStored) && i < count) states = {attempt};
    }
    return states;
}

/// The first line that is not as expected.
std::string wrongLine(const std::string& expected, const std::string& actual) {
    const auto differing =
        std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
    const size_t before = actual.rfind('\n', static_cast<size_t>(differing.first - actual.begin()));
    return actual.substr(before + 1, actual.find('\n', before + 1) - before - 1);
}

/// The rows of a store that SQLite can read, each alone, without their `_id`.
std::set<std::string> readableRows(const std::string& path) {
    constexpr int kMaxRowid = 100;
    const auto add = [](void* rows, int count, char** values, char**) {
        std::string row;
        for (int i = 1; i < count; ++i) row.append(values[i] != nullptr ? values[i] : "") += '|';
        static_cast<std::set<std::string>*>(rows)->insert(row);
        return 0;
    };
    sqlite3* store = nullptr;
    sqlite3_open_v2(path.c_str(), &store, SQLITE_OPEN_READWRITE, nullptr);
    std::set<std::string> rows;
    for (const Table& table : allTables()) {
        const std::string query = "SELECT * FROM " + std::string(table.name) + " WHERE rowid=";
        for (int id = 1; id <= kMaxRowid; ++id) {
            sqlite3_exec(store, (query + std::to_string(id)).c_str(), add, &rows, nullptr);
        }
    }
    sqlite3_close(store);
    return rows;
}

/// Whether a line says that the row is damaged, by its first cells. Its checksum may be what is.
bool isNamed(const std::string& row, const Records& records) {
    constexpr std::string_view kDamaged = " is damaged: ";
    std::string text = row;
    for (size_t at = 0; (at = text.find('|', at)) != std::string::npos;) text.replace(at, 1, ", ");
    return std::any_of(records.begin(), records.end(), [&](const Record& record) {
        const size_t at = record.data.find(kDamaged);
        return isMark(record, kLog) && at != std::string::npos &&
               text.starts_with(record.data.substr(at + kDamaged.size()));
    });
}

/// Flips a bit, writes 64 bytes of garbage, clears a page, or cuts the end off.
void damage(std::string& file, std::minstd_rand& dice) {
    constexpr size_t kPage = 4096;
    const size_t at = dice() % file.size();
    const size_t page = at / kPage * kPage;
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
            file.replace(page, kPage, std::min(kPage, file.size() - page), '\0');
            break;
        default:
            file.resize(at);
    }
}

/// Tests one life after the other. A problem is a text, empty if there is none.
class Faults {
public:
    Faults() { setRootPrefix(mRoot.path().string()); }

    /// Tests every Nth call, and as many damages. True if there was no problem.
    bool run(uint64_t every, int damages) {
        writeFiles(mData, {});
        for (const Life& life : makeLives()) {
            mBefore = readFiles(mData);
            if (life.bringsExtraFile) {
                mBefore["kiv-extra.xml"] = contentsOf(sourceFile("data/kiv-extra.xml"));
            }
            mLife = life;
            const Files after = learn();
            testFaults(every);
            testPowerLoss();
            mOld = End{0, mRecords}.last(kAttempt);
            writeFiles(mData, after);
        }
        testDamages(damages);
        return report();
    }

private:
    /// Lives in a process of its own, on a disk of which a call may fail.
    End runLife(const Life& life, uint64_t failAt = 0, const Mode& mode = {}) {
        new (&mDisk) Disk{};
        strcpy(mDisk.directory, mData.c_str());
        strcpy(mDisk.recording, mRecording.c_str());
        mDisk.failNext(DiskCall::ANY, mode.every);
        mDisk.error = mode.error;
        mDisk.failAt = failAt;

        std::filesystem::remove(mRecording);
        mRoot.write("odm/etc/velora/multimedia_velora_kiv_default.xml",
                    mTuningFile + (life.hasNewTuningFile ? "<!-- new -->\n" : ""));
        fflush(stdout);
        const pid_t child = fork();
        if (child == 0) {
            alarm(kLimitSeconds);
            useDisk(&mDisk);
            live(life, mDisk);
            _exit(0);
        }

        End end;
        waitpid(child, &end.status, 0);
        end.records = readRecording(mRecording);
        return end;
    }
    End startOnly() {
        Life life = mLife;
        life.steps.clear();
        return runLife(life);
    }

    /// Runs the life without a fault, to know what is right. Returns the files that it leaves.
    Files learn() {
        writeFiles(mData, mBefore);
        const End end = runLife(mLife);
        if (end.status != 0 || end.hasLine()) {
            throw std::runtime_error(std::string(mLife.name) + " fails without a fault");
        }
        mCalls = mDisk.count(DiskCall::ANY);
        mRecords = end.records;
        mLife.started = end.last(kStarted);
        return readFiles(mData);
    }

    /// Of the next start, which has no fault: it must serve one of the states.
    std::string problemOfNextStart(const std::set<std::string>& allowed) {
        const End next = startOnly();
        const std::string started = next.last(kStarted);
        if (next.status != 0) return "the next start crashes or hangs";
        if (started.empty()) return "the next start ends";
        return allowed.contains(started) ? "" : "lost: " + wrongLine(*allowed.begin(), started);
    }

    std::string problemOfFault(const End& end) {
        const std::string started = end.last(kStarted);
        if (end.hasCrashed()) return "crashed or hung, status " + std::to_string(end.status);
        if (started.empty() && !end.hasLine()) return "the start ends without a line";
        // A rebuild that failed leaves the settings as they were.
        const bool isOld = mLife.hasNewTuningFile && started == mOld;
        if (!started.empty() && started != mLife.started && !isOld) {
            return "serves " + wrongLine(mLife.started, started);
        }
        const std::string unstored = end.last(kNotStored);
        if (!unstored.empty()) return "not stored after the fault: " + unstored;

        // The process is also killed, and the power also fails, when the fault is cleared: what is
        // stored later would hide a loss. No names are lost, because SQLite ignores it when it
        // can't open a directory to synchronise it.
        const auto cleared = static_cast<size_t>(
            std::find_if(end.records.begin(), end.records.end(),
                         [](const Record& record) { return isMark(record, kCleared); }) -
            end.records.begin());
        for (const size_t count : {cleared, end.records.size()}) {
            const auto allowed = allowedStates(mLife, end.records, count);
            for (const auto bytes : {Unsynchronised::KEPT, Unsynchronised::DROPPED}) {
                writeFiles(mData, afterPowerLoss(mBefore, {end.records.begin(), count}, bytes, true,
                                                 mDice));
                std::string problem = problemOfNextStart(allowed);
                if (!problem.empty()) return problem;
            }
        }
        return "";
    }

    void testFaults(uint64_t every) {
        for (uint64_t at = 1; at <= mCalls; at += every) {
            for (const Mode& mode : kModes) {
                writeFiles(mData, mBefore);
                const End end = runLife(mLife, at, mode);
                count(mode.name, "call " + std::to_string(at), problemOfFault(end));
            }
        }
    }

    /// The power fails after each of the records. What is left is tested once for each of the
    /// states that are allowed then.
    void testPowerLoss() {
        using enum Unsynchronised;
        std::set<std::pair<Files, std::set<std::string>>> tested;
        for (size_t i = 1; i <= mRecords.size(); ++i) {
            const auto allowed = allowedStates(mLife, mRecords, i);
            for (const auto bytes : {KEPT, DROPPED, TORN}) {
                for (const bool keepsNames : {true, false}) {
                    const Files left = afterPowerLoss(mBefore, std::span(mRecords).first(i), bytes,
                                                      keepsNames, mDice);
                    if (!tested.insert({left, allowed}).second) continue;
                    writeFiles(mData, left);
                    count("loss of power", "record " + std::to_string(i),
                          problemOfNextStart(allowed));
                }
            }
        }
    }

    /// Of the store that the last life has left.
    void testDamages(int damages) {
        const Files whole = readFiles(mData);
        const std::string right = startOnly().last(kStarted);
        const auto rows = readableRows(mData / kDatabase);
        for (int i = 0; i < damages; ++i) {
            Files files = whole;
            damage(files.at(std::string(kDatabase)), mDice);
            writeFiles(mData, files);
            const auto readable = readableRows(mData / kDatabase);
            writeFiles(mData, files);  // without what reading may have added
            const End end = startOnly();
            const auto left = readableRows(mData / kDatabase);

            std::string problem;
            const std::string started = end.last(kStarted);
            if (started != right && !end.hasLine()) problem = "serves " + wrongLine(right, started);
            if (end.hasCrashed()) problem = "crashed or hung";
            for (const std::string& row : rows) {
                const bool isLost = readable.contains(row) && !left.contains(row);
                if (isLost && !isNamed(row, end.records)) problem = "lost: " + row;
            }
            count("damages", "damage " + std::to_string(i), problem);
        }
    }

    void count(const std::string& mode, const std::string& where, const std::string& problem) {
        auto& [tried, right] = mTable[mode];
        ++tried;
        right += problem.empty() ? 1 : 0;
        if (problem.empty()) return;
        printf("%s, %s, %s: %s\n", mLife.name, mode.c_str(), where.c_str(), problem.c_str());
    }
    bool report() const {
        printf("%-20s | tried | as it should be\n", "");
        bool isRight = true;
        for (const auto& [mode, counts] : mTable) {
            printf("%-20s | %5d | %5d\n", mode.c_str(), counts.first, counts.second);
            isRight = isRight && counts.first == counts.second;
        }
        return isRight;
    }

    std::minstd_rand mDice{1};
    const TempDir mRoot;
    const std::filesystem::path mData = mRoot.path() / "data/vendor/velora";
    const std::string mRecording = mRoot.path() / "recording";
    Disk& mDisk = *openDisk((mRoot.path() / "disk").c_str());
    const std::string mTuningFile =
        contentsOf(sourceFile("data/multimedia_velora_kiv_default.xml"));

    Life mLife{};      ///< the one that is tested
    Files mBefore{};   ///< with which it begins
    std::string mOld;  ///< what was served before it
    // Of its run without a fault.
    uint64_t mCalls = 0;
    Records mRecords{};

    std::map<std::string, std::pair<int, int>> mTable;  ///< tried and right ones
};

}  // namespace
}  // namespace velora::test

int main(int argc, char** argv) try {
    uint64_t every = 1;
    int damages = 10'000;
    CLI::App app{"Runs the service on a disk that fails or loses power", "velora_faults"};
    app.add_option("--every", every, "Tests the faults of every Nth call only")
        ->check(CLI::PositiveNumber);
    app.add_option("--damages", damages, "Number of damaged stores");
    CLI11_PARSE(app, argc, argv);
    const bool passed = velora::test::Faults().run(every, damages);
    printf("faults: %s\n", passed ? "passed" : "failed");
    return passed ? EXIT_SUCCESS : EXIT_FAILURE;
} catch (const std::exception& e) {
    fprintf(stderr, "velora_faults: %s\n", e.what());
    return EXIT_FAILURE;
}
