// Without arguments, measures how long a client of velorad waits for an answer while settings are
// stored, and how often a save writes and synchronises. With "unchanged" or "changed" and a number,
// only saves that often, so that the instructions can be counted.

#include "benchmarks/Daemon.h"
#include "benchmarks/Sample.h"
#include "context/SndContextManager.h"
#include "tests/faults/Disk.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <log/log.h>

namespace velora::bench {
namespace {

using host::Client;
using std::chrono::milliseconds;
using test::Disk;

constexpr auto kDuration = std::chrono::seconds(4);
constexpr auto kPause = milliseconds(10);  // between two activities
constexpr uint32_t kSlowMs = 200;

// What another client does again and again, in the `i`-th round. Without `saves`, it does the same
// as far as possible without anything being stored.

void setValue(Client& client, int i) {
    client.call("SetSfxParam",
                Client::toBytes({wordOf(Command::PROFILE_PARAMETER), 0, 0, 114, i % 2}));
}

void save(const Daemon& daemon, Client& client, int i, bool saves) {
    setValue(client, i);
    if (saves) daemon.process.signal(SIGUSR1);
}

void switchEffect(const Daemon& /*daemon*/, Client& client, int i, bool saves) {
    if (!saves) return setValue(client, i);
    client.call("SetSfxParam", Client::toBytes({wordOf(Command::SWITCH_EFFECT), 0, i % 2}));
}

/// An unchanged file is not stored.
void reload(const Daemon& daemon, Client& client, int i, bool saves) {
    if (saves) {
        daemon.root.write("data/vendor/velora/kiv-extra.xml",
                          test::contentsOf(test::sourceFile("data/kiv-extra.xml")) + "<!-- " +
                              std::to_string(i) + " -->");
    }
    client.call("SetIntParam", key::kReload, int64_t{0});
}

struct Activity {
    const char* name;
    void (*run)(const Daemon& daemon, Client& client, int i, bool saves);
};
constexpr Activity kActivities[] = {
    {"save", save},
    {"switch", switchEffect},
    {"reload", reload},
};

/// Repeats an activity until `ending`.
void repeat(const Activity& activity, const Daemon& daemon, bool saves, milliseconds pause,
            const std::atomic<bool>& ending) {
    const auto client = connect();
    for (int i = 0; !ending; ++i) {
        activity.run(daemon, *client, i, saves);
        std::this_thread::sleep_for(pause);
    }
}

/// How long a client waits for an answer meanwhile, in milliseconds, ascending. A sync takes
/// `syncMs`, or as long as it takes on this machine if that is 0.
std::vector<double> waits(const Activity& activity, bool saves, uint32_t syncMs) {
    const test::TempDir control;
    const std::string file = control.path() / "disk";
    Disk& disk = *test::openDisk(file.c_str());
    const Daemon daemon(
        syncMs > 0 ? "LD_PRELOAD=" VELORA_FAULTS_LIBRARY " VELORA_DISK=" + file : "",
        "--save-delay 3600000");
    strcpy(disk.directory, (daemon.root.path() / "data/vendor/velora").c_str());
    disk.syncMs = syncMs;

    std::atomic<bool> ending{false};
    std::thread other(
        [&] { repeat(activity, daemon, saves, kPause + milliseconds(syncMs), ending); });
    std::vector<double> waits = daemon.waits(kDuration);
    ending = true;
    other.join();
    return waits;
}

void measureWaits() {
    printf(
        "| Activity | Sync | 99.9 %%, ms | Longest, ms | Nothing stored: 99.9 %%, ms "
        "| Longest, ms |\n|---|---|---|---|---|---|\n");
    for (const Activity& activity : kActivities) {
        for (const uint32_t syncMs : {0U, kSlowMs}) {
            printf("| %s | %s |", activity.name, syncMs > 0 ? "200 ms" : "as it is");
            for (const bool saves : {true, false}) {
                const std::vector<double> times = waits(activity, saves, syncMs);
                printf(" %.2f | %.2f |", times[times.size() * 999 / 1000], times.back());
            }
            printf("\n");
            fflush(stdout);
        }
    }
}

/// Saves all settings `times` times, each time after a change of one value if `changes`.
void saveOften(SndContext& context, int times, bool changes) {
    for (int i = 0; i < times; ++i) {
        if (changes) context.setProfileParameter(0, Parameter::REVERB_SUPPRESSION_AMOUNT, {i % 2});
        if (!context.save()) abort();
    }
}

/// The context, on the files of a Root.
SndContext& start() {
    SndContextManager& manager = SndContextManager::getInstance();
    SndContext& context = *manager.getSndContext();
    saveOften(context, 2, true);  // the first commit also creates the log
    return context;
}

void countCalls() {
    constexpr int kTimes = 10;
    const Root root;
    SndContext& context = start();
    Disk& disk = *test::openDisk((root.path() + "/disk").c_str());
    strcpy(disk.directory, root.database().parent_path().c_str());
    test::useDisk(&disk);

    printf("\n| 10 saves | Writes | Syncs |\n|---|---|---|\n");
    for (const bool changes : {false, true}) {
        for (auto& calls : disk.calls) calls = 0;
        saveOften(context, kTimes, changes);
        const auto count = [&](test::DiskCall call) {
            return disk.calls[static_cast<size_t>(call)].load();
        };
        using enum test::DiskCall;
        printf("| %s | %llu | %llu |\n", changes ? "one changed value each" : "nothing changed",
               static_cast<unsigned long long>(count(WRITE) + count(PWRITE)),
               static_cast<unsigned long long>(count(FSYNC) + count(FDATASYNC)));
    }
    test::useDisk(nullptr);
    SndContextManager::getInstance().release();
}

}  // namespace
}  // namespace velora::bench

int main(int argc, char** argv) {
    using namespace velora::bench;
    __android_log_set_minimum_priority(ANDROID_LOG_ERROR);
    if (argc == 3) {
        const Root root;
        saveOften(start(), std::stoi(argv[2]), std::string(argv[1]) == "changed");
        velora::SndContextManager::getInstance().release();
    } else {
        measureWaits();
        countCalls();
    }
}
