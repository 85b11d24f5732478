// Endurance run: several clients use velorad and disappear from the bus, while it is killed and
// started again and again. No change whose save was acknowledged may be lost, and the daemon may
// not grow.

#include "tests/support/Bus.h"
#include "tests/support/Process.h"
#include "tests/support/TestFiles.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <thread>

#include <CLI/CLI.hpp>

namespace velora::test {
namespace {

using host::Integers;
using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

constexpr int32_t kUsers = 4;          // each owns a profile of the sample tuning file
constexpr long kMemoryTolerance = 10;  // a tenth of growth is tolerated
constexpr Command kUnknownCommand{99};
constexpr int32_t kGains = 109;  // of the graphic equalizer
constexpr size_t kNumberOfGains = 20;

/// What users and supervisor share. Owned by the supervisor; any thread.
struct Run {
    /// Counts the lives of the daemon: even while it serves, odd while it is ended or started.
    std::atomic<uint32_t> life{1};
    std::atomic<bool> ending{false};
    std::atomic<bool> failed{false};
    std::atomic<size_t> checks{0};  ///< of a value

    void fail(const std::string& what) {
        printf("soak: FAILED: %s\n", what.c_str());
        failed = ending = true;
    }
};

/// A client that alone changes the equalizer of its own profile, in a thread of its own.
class User {
public:
    User(Run& run, const TempDir& root, int32_t number, uint32_t seed)
        : mRun(run), mRoot(root), mNumber(number), mDice(seed) {}

    /// Acts at random until the run ends. In a new life of the daemon, the user changes no gains
    /// before it has verified them.
    void live() {
        static constexpr void (User::*kActions[])() = {&User::reload, &User::die, &User::verify};
        while (!mRun.ending) {
            const bool isKnown = mRun.life == mLife;
            const bool isRare = mDice() % 30 == 0;  // because each has everything saved
            if (isKnown) attempt(isRare ? kActions[mDice() % std::size(kActions)] : &User::set);
            if (!isKnown) attempt(mRun.life % 2 == 0 ? &User::verify : &User::die);
            while (sd_bus_process(mClient->bus(), nullptr) > 0) continue;
        }
    }

    /// Fails the run unless the gains are possible ones. Throws if the daemon doesn't answer.
    void verify() {
        const uint32_t life = mRun.life;
        // The service carries out requests in order, so all earlier ones are done and saved then.
        mClient->set(kUnknownCommand, {++mMarks * kUsers + mNumber});
        const bool isSaved = mRun.life == mLife;
        if (isSaved && mIsCertain) mPossible = {mPossible.back()};

        const Integers gains =
            mClient->get(Command::PROFILE_PARAMETER, kGains, mNumber, kNumberOfGains);
        const bool isPossible = std::count(mPossible.begin(), mPossible.end(), gains) > 0;
        if (!mPossible.empty() && !isPossible) {
            mRun.fail("user " + std::to_string(mNumber) + " finds " + std::to_string(gains[0]) +
                      " after " + std::to_string(mPossible.back()[0]));
        }
        mPossible = {gains};
        mIsCertain = true;
        mLife = life;
        ++mRun.checks;
    }

private:
    /// Any failure is normal while the daemon is ended or started.
    void attempt(void (User::*action)()) {
        const uint32_t life = mRun.life;
        try {
            (this->*action)();
        } catch (const CommandError& error) {
            if (life % 2 == 0 && mRun.life == life) mRun.fail(error.what());
        }
    }

    void set() {
        const Integers gains(kNumberOfGains, static_cast<int32_t>(mDice() % 1153) - 576);
        Integers arguments{mNumber, kGains};
        arguments.insert(arguments.end(), gains.begin(), gains.end());

        mPossible.push_back(gains);
        mIsCertain = false;
        const auto result =
            mClient->call<int32_t>("SetSfxParam", request(Command::PROFILE_PARAMETER, arguments));
        if (result != 0) mRun.fail("a request was answered by " + std::to_string(result));
        mIsCertain = true;
    }
    void reload() {
        static const std::string extra = contentsOf(sourceFile("data/kiv-extra.xml"));
        mRoot.write("data/vendor/velora/kiv-extra.xml",
                    extra.substr(0, extra.size() / (1 + mDice() % 2)));
        mClient->call("SetIntParam", key::kReload, int64_t{0});
    }
    void die() {
        mClient = connect();
        mDeaf = connect();
        mDeaf->call("RegisterClient", static_cast<int32_t>(mDice() % 16));
    }

    Run& mRun;
    const TempDir& mRoot;
    const int32_t mNumber;
    std::minstd_rand mDice;
    std::unique_ptr<Client> mClient = connect();
    std::unique_ptr<Client> mDeaf;  ///< registered, but doesn't read
    uint32_t mLife = 0;             ///< the last life in which the gains were verified
    int32_t mMarks = 0;
    /// The gains that were saved last, followed by those set since.
    std::vector<Integers> mPossible;
    bool mIsCertain = true;  ///< the daemon has accepted the last ones
};

/// What the daemon holds.
struct Usage {
    long memory = LONG_MAX;  ///< resident, in KiB
    long descriptors = LONG_MAX;
};

/// Owns the users, and starts and ends the daemon while they act.
class Supervisor {
public:
    explicit Supervisor(uint32_t seed) : mDice(seed) {
        mRoot.write("odm/etc/velora/multimedia_velora_kiv_default.xml",
                    contentsOf(sourceFile("data/multimedia_velora_kiv_default.xml")));
        for (int32_t i = 0; i < kUsers; ++i) {
            mUsers.push_back(std::make_unique<User>(mRun, mRoot, i, seed + 1 + uint32_t(i)));
        }
    }

    /// Returns false if something failed, which has been printed.
    bool run(seconds time) {
        const auto begin = Clock::now();
        std::vector<std::thread> threads;
        for (const auto& user : mUsers) {
            threads.emplace_back([&] { guard([&] { user->live(); }); });
        }
        guard([&] {
            while (Clock::now() < begin + time * 2 / 3 && !mRun.ending) liveShortly();
            if (!mRun.ending) liveOn(begin + time);
        });

        mRun.ending = true;
        for (auto& thread : threads) thread.join();
        if (!mRun.failed) guard([&] { checkAll(); });
        printf("%zu values checked, %u lives\n", mRun.checks.load(), mRun.life / 2);
        return !mRun.failed;
    }

private:
    void guard(const std::function<void()>& work) {
        try {
            work();
        } catch (const std::exception& e) {
            mRun.fail(e.what());
        }
    }
    void sleepUntil(Clock::time_point time) {
        while (Clock::now() < time && !mRun.ending) std::this_thread::sleep_for(milliseconds(10));
    }

    void start() {
        mDaemon.emplace(VELORA_BIN "/velorad --user --log-level error --root " +
                        mRoot.path().string() + " >>" + mLog + " 2>&1");
        if (!waitFor(isServing)) throw std::runtime_error("velorad doesn't start");
        ++mRun.life;
    }
    /// Ends the daemon by a signal and checks how it ends.
    void end(int signal) {
        ++mRun.life;
        const int status = mDaemon->end(signal);
        if (status != (signal == SIGTERM ? 0 : -signal)) {
            mRun.fail("velorad ended with " + std::to_string(status) + ": " + contentsOf(mLog));
        }
        std::filesystem::remove(mLog);
    }

    void liveShortly() {
        start();
        sleepUntil(Clock::now() + milliseconds(50 + mDice() % 2000));
        end(SIGKILL);
    }
    /// Lets velorad live for the rest of the run, and checks that it doesn't grow.
    void liveOn(Clock::time_point end) {
        start();
        sleepUntil(Clock::now() + (end - Clock::now()) / 3);
        const auto first = usage();
        sleepUntil(end);
        const auto last = usage();
        printf("%ld to %ld KiB of memory\n", first.memory, last.memory);
        printf("%ld to %ld descriptors\n", first.descriptors, last.descriptors);
        if (last.memory > first.memory + first.memory / kMemoryTolerance) mRun.fail("more memory");
        if (last.descriptors > first.descriptors) mRun.fail("more descriptors");
    }
    /// The minimum of many samples, which leaves out what is held for a moment only.
    Usage usage() {
        const std::string process = "/proc/" + std::to_string(mDaemon->pid());
        Usage least;
        for (int sample = 0; sample < 100; ++sample) {
            const std::string status = contentsOf(process + "/status");
            const std::string key = "VmRSS:";
            const long memory = std::stol(status.substr(status.find(key) + key.size()));
            const std::filesystem::directory_iterator open(process + "/fd");
            least.memory = std::min(least.memory, memory);
            least.descriptors = std::min(least.descriptors, long{std::distance(open, {})});
            std::this_thread::sleep_for(milliseconds(10));
        }
        return least;
    }
    /// All users must find their last gains, also after another end.
    void checkAll() {
        for (const auto& user : mUsers) user->verify();
        end(SIGTERM);
        start();
        for (const auto& user : mUsers) user->verify();
        end(SIGTERM);
    }

    Run mRun;
    std::minstd_rand mDice;
    const TempDir mRoot;
    const std::string mLog = mRoot.path() / "log";
    std::vector<std::unique_ptr<User>> mUsers;
    std::optional<Process> mDaemon;
};

}  // namespace
}  // namespace velora::test

int main(int argc, char** argv) try {
    uint32_t time = 60;
    uint32_t seed = std::random_device()();
    CLI::App app{"Endurance run of velorad, on the user's bus", "velora_soak"};
    app.add_option("seconds", time, "How long");
    app.add_option("--seed", seed, "Repeats the random choices of an earlier run");
    CLI11_PARSE(app, argc, argv);
    printf("soak: %u seconds, seed %u\n", time, seed);
    const bool passed = velora::test::Supervisor(seed).run(std::chrono::seconds(time));
    printf("soak: %s\n", passed ? "passed" : "failed");
    return passed ? EXIT_SUCCESS : EXIT_FAILURE;
} catch (const std::exception& e) {
    fprintf(stderr, "velora_soak: %s\n", e.what());
    return EXIT_FAILURE;
}
