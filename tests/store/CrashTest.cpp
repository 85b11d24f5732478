#include "tests/store/FilledStore.h"

#include <atomic>
#include <random>

#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace velora::test {
namespace {

/// One transaction: an even mark replaces everything, an odd one saves the user's copies.
bool store(Provider& provider, int mark) {
    return mark % 2 == 0 ? fill(provider, mark) : saveAll(provider, mark);
}

/// The mark of the last transaction that was stored; -1 unless all of it was.
int markOfStore() {
    Provider provider;
    if (provider.init() != 0 || provider.isDamaged()) return -1;
    const auto marks = cells(
        "SELECT custom_name, CAST(mark AS INTEGER), count(*) FROM ("
        "SELECT custom_name, selected_geq_preset_id AS mark FROM profiles "
        "UNION ALL SELECT custom_name, selected_ieq_preset_id FROM profile_endpoints "
        "UNION ALL SELECT custom_name, geq_gain FROM geq_presets "
        "UNION ALL SELECT 'default', audio_optimizer_gain_l FROM tunings t "
        "JOIN device_tunings ON tuning_id = t.name) GROUP BY 1, 2");
    const int user = provider.getSelectedProfile();
    const std::string factory = std::to_string(user & ~1);
    const std::vector<std::string> whole{"custom", std::to_string(user), "15", "default", factory,
                                         "27"};
    return provider.getDefaultXmlSignature() == factory && marks == whole ? user : -1;
}

class CrashTest : public RootFixture {
protected:
    CrashTest() {
        Provider provider;
        EXPECT_TRUE(fill(provider, 0));
    }

    /// Runs `work` in a process of its own, which exits with its result.
    template <typename Work>
    static pid_t start(Work work) {
        const pid_t child = fork();
        if (child == 0) _exit(work() ? 0 : 1);
        return child;
    }
    static int statusOf(pid_t child) {
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        return status;
    }
};

TEST_F(CrashTest, AKilledProcessLeavesTheStateBeforeOrAfterItsTransaction) {
    constexpr int kKills = 240;
    void* const shared = mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(shared, MAP_FAILED);
    auto& stored = *new (shared) std::atomic<int>(0);  // the last mark that was reported as stored
    useconds_t longest = 100'000;                      // adjusted to this machine
    std::minstd_rand dice(2024);
    int changed = 0;
    for (int kills = 0; kills < kKills; ++kills) {
        const int before = stored;
        const pid_t child = start([&] {
            Provider provider;
            (void)provider.init();
            while (store(provider, stored + 1)) ++stored;
            return false;
        });
        usleep(static_cast<useconds_t>(dice()) % longest);
        kill(child, SIGKILL);
        EXPECT_TRUE(WIFSIGNALED(statusOf(child))) << "it exited by itself";
        const int after = markOfStore();
        ASSERT_THAT(after, testing::AnyOf(stored.load(), stored + 1));
        changed += after != before ? 1 : 0;
        longest = after != before ? longest * 9 / 10 : longest * 11 / 10;
        stored = after;
    }
    EXPECT_GT(changed, kKills / 10);  // the kills were neither all too early nor all too late
}

// The file may grow to any size except the one that the next state needs.
TEST_F(CrashTest, AFullDiskLeavesTheStateBefore) {
    const auto size = std::filesystem::file_size(database);
    int full = 0;
    for (rlim_t limit = 0; limit < 2 * size; limit += size / 12) {
        const pid_t child = start([&] {
            signal(SIGXFSZ, SIG_IGN);  // a write past the limit fails instead
            const rlimit bound{limit, limit};
            setrlimit(RLIMIT_FSIZE, &bound);
            Provider provider;
            return fill(provider, 2, 2 * kFilledTunings);
        });
        if (statusOf(child) == 0) break;
        ++full;
        EXPECT_EQ(markOfStore(), 0) << "with a limit of " << limit;
    }
    EXPECT_GT(full, 3);
}

}  // namespace
}  // namespace velora::test
