#include "tests/store/FilledStore.h"

#include <atomic>
#include <random>

#include <signal.h>
#include <sys/mman.h>
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

using CrashTest = RootFixture;

TEST_F(CrashTest, AKilledProcessLeavesTheStateBeforeOrAfterItsTransaction) {
    constexpr int kKills = 240;
    EXPECT_TRUE(fill(*std::make_unique<Provider>(), 0));
    void* const shared = mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(shared, MAP_FAILED);
    auto& stored = *new (shared) std::atomic<int>(0);  // the last mark that was reported as stored
    useconds_t longest = 100'000;                      // adjusted to this machine
    std::minstd_rand dice(2024);
    int changed = 0;
    for (int kills = 0; kills < kKills; ++kills) {
        const int before = stored;
        const pid_t child = fork();
        if (child == 0) {
            Provider provider;
            (void)provider.init();
            while (store(provider, stored + 1)) ++stored;
            _exit(1);
        }
        usleep(static_cast<useconds_t>(dice()) % longest);
        kill(child, SIGKILL);
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status)) << "it exited by itself";
        const int after = markOfStore();
        ASSERT_THAT(after, testing::AnyOf(stored.load(), stored + 1));
        changed += after != before ? 1 : 0;
        longest = after != before ? longest * 9 / 10 : longest * 11 / 10;
        stored = after;
    }
    EXPECT_GT(changed, kKills / 10);  // the kills were neither all too early nor all too late
}

}  // namespace
}  // namespace velora::test
