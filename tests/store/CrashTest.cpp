#include "model/Integers.h"
#include "tests/store/StoreFixture.h"

#include <chrono>
#include <ctime>
#include <random>
#include <set>

#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace velora::test {
namespace {

/// The one mark that all records of the store carry, factory and user's; none if they are mixed.
std::optional<std::pair<int, int>> marksOfStore() {
    Provider provider;
    if (provider.init() != 0 || provider.getNumOfProfiles() != kFilledProfiles) return std::nullopt;
    std::set<int> factory{string2Int(provider.getDefaultXmlSignature())};
    std::set<int> user{provider.getSelectedProfile()};
    for (int id = 0; id < kFilledProfiles; ++id) {
        for (const int gain : provider.loadDefaultGeqPreset(id)->get(GEQ_GAIN))
            factory.insert(gain);
        for (const auto* e : provider.loadDefaultProfileEndpoints(id))
            factory.insert(e->getSelectedIeqPreset());
        for (const int gain : provider.loadGeqPreset(id)->get(GEQ_GAIN)) user.insert(gain);
        for (const auto* e : provider.loadProfileEndpoints(id))
            user.insert(e->getSelectedIeqPreset());
        user.insert(provider.loadProfile(id)->getSelectedGeqPreset());
    }
    const auto devices = provider.loadDeviceTuningsForPort(PORT_USB);
    if (devices.size() != kFilledTunings) return std::nullopt;
    for (const auto* device : devices) {
        const Tuning* const tuning = provider.loadTuningForDevice(device->getDevice());
        if (tuning == nullptr) return std::nullopt;
        for (const int gain : tuning->get(AUDIO_OPTIMIZER_GAIN_L)) factory.insert(gain);
    }
    if (factory.size() != 1 || user.size() != 1 || provider.isDamaged()) return std::nullopt;
    return std::pair{*factory.begin(), *user.begin()};
}

class CrashTest : public StoreFixture {
protected:
    /// Runs `work` in a process of its own, which writes 0 to the pipe when it begins and then the
    /// mark of each transaction that is stored, and kills it during one of the first. Returns the
    /// last mark that it wrote.
    template <typename Work>
    int runAndKill(Work work) {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        const pid_t child = fork();
        if (child == 0) {
            work(ends[1]);
            _exit(0);
        }
        close(ends[1]);
        int last = -1;
        EXPECT_EQ(read(ends[0], &last, sizeof last), sizeof last);
        const timespec moment{0, std::uniform_int_distribution<long>(0, 3 * mTransactionNs)(mDice)};
        nanosleep(&moment, nullptr);
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "it left by itself";
        for (int mark = 0; read(ends[0], &mark, sizeof mark) == sizeof mark;) last = mark;
        close(ends[0]);
        return last;
    }

    /// Fills the store for the first time, and learns how long a transaction takes here.
    void begin() {
        Provider provider;
        ASSERT_TRUE(fill(provider, 0));
        const auto start = std::chrono::steady_clock::now();
        ASSERT_TRUE(fill(provider, 1));
        const auto taken = std::chrono::steady_clock::now() - start;
        mTransactionNs =
            std::min(300'000'000L, static_cast<long>(taken / std::chrono::nanoseconds(1)));
    }

    long mTransactionNs = 0;
    std::minstd_rand mDice{2024};
};

TEST_F(CrashTest, AKilledProcessLeavesTheStateBeforeOrAfterItsTransaction) {
    constexpr int kKills = 240;
    begin();
    std::pair<int, int> state{1, 1};
    int changed = 0;
    for (int kills = 0; kills < kKills; ++kills) {
        const bool populates = kills % 2 == 0;
        const int before = populates ? state.first : state.second;
        const int done = runAndKill([&](int out) {
            Provider provider;
            provider.init();
            bool stored = true;
            for (int mark = 0;; mark = mark == 0 ? before + 1 : mark + 1) {
                if (mark > 0) stored = populates ? fill(provider, mark) : saveAll(provider, mark);
                // What is told as stored must survive.
                if (!stored || write(out, &mark, sizeof mark) != sizeof mark) _exit(1);
            }
        });
        const auto marks = marksOfStore();
        ASSERT_TRUE(marks.has_value()) << "mixed after kill " << kills;
        const int after = populates ? marks->first : marks->second;
        const int told = std::max(before, done);
        EXPECT_TRUE(after == told || after == told + 1) << after << " after " << told;
        const auto expected = populates ? std::pair{after, after == before ? state.second : after}
                                        : std::pair{state.first, after};
        EXPECT_EQ(*marks, expected);
        changed += after != before ? 1 : 0;
        // Kills aim at the transactions, however fast the machine is at the moment.
        mTransactionNs += after != before ? -mTransactionNs / 16 : mTransactionNs / 8;
        state = *marks;
    }
    EXPECT_GT(changed, kKills / 10);  // the kills came neither all too early nor all too late
}

// The file may grow to any size but the one that the next state needs.
TEST_F(CrashTest, AFullDiskLeavesTheStateBefore) {
    begin();
    const auto size = std::filesystem::file_size(database());
    int full = 0;
    for (rlim_t limit = 0; limit < 2 * size; limit += size / 12) {
        const pid_t child = fork();
        if (child == 0) {
            signal(SIGXFSZ, SIG_IGN);  // a write past the limit fails instead
            const rlimit bound{limit, limit};
            setrlimit(RLIMIT_FSIZE, &bound);
            Provider provider;
            _exit(fill(provider, 2, 2 * kFilledTunings) ? 0 : 1);
        }
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_TRUE(WIFEXITED(status));
        if (WEXITSTATUS(status) == 0) break;
        ++full;
        EXPECT_EQ(marksOfStore(), (std::pair{1, 1})) << "with a limit of " << limit;
    }
    EXPECT_GT(full, 3);
}

}  // namespace
}  // namespace velora::test
