// Endurance run: several clients use velorad, misuse it and disappear from the bus, while it is
// killed and started again and again. No change whose save was acknowledged may be lost, and the
// daemon may not grow.

#include "service/AdapterParameter.h"
#include "tests/support/Bus.h"
#include "tests/support/Process.h"
#include "tests/support/TestFiles.h"

#include <algorithm>
#include <array>
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

using host::Bytes;
using host::Exit;
using host::Integers;
using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

constexpr int32_t kUsers = 4;          // each owns a profile of the sample tuning file
constexpr long kMemoryTolerance = 10;  // a tenth of growth is tolerated
constexpr Command kUnknownCommand{99};

/// What users and supervisor share. Owned by the supervisor; any thread.
struct Run {
    /// Counts the lives of the daemon: even while it serves, odd while it is ended or started.
    std::atomic<uint32_t> life{1};
    std::atomic<bool> ending{false};
    std::atomic<bool> failed{false};
    std::atomic<size_t> actions{0};  ///< that were done or refused
    std::atomic<size_t> checks{0};   ///< of a value

    void fail(const std::string& what) {
        printf("soak: FAILED: %s\n", what.c_str());
        failed = ending = true;
    }
    /// Every fifth life is ended by SIGTERM, the others are killed.
    static bool endsCleanly(uint32_t number) { return number % 10 == 0; }
};

struct Dice : std::mt19937 {
    using std::mt19937::mt19937;
    int32_t roll(int32_t low, int32_t high) {
        return std::uniform_int_distribution(low, high)(*this);
    }
    size_t below(size_t count) { return static_cast<size_t>(roll(0, static_cast<int>(count) - 1)); }
};

// Calls with an argument of -1 to 16, which the service answers or refuses.
constexpr std::array kCalls{
    +[](Client& c, int32_t n) { c.call<std::string>("GetProfileName", n); },
    +[](Client& c, int32_t n) { c.call<Bytes>("GetAvailableTuningDevices", n, 20 * n); },
    +[](Client& c, int32_t n) { c.get(Command{uint32_t(n)}, 100 + n, 0, size_t(n) + 2); },
    +[](Client& c, int32_t n) { c.call<int32_t>("SetParam", 2U, uint32_t(n + 1), Integers{n}); },
    +[](Client& c, int32_t n) {
        c.call<int32_t>("SetParam", 2U, 1U, Integers(size_t(n + 1) * 100));
    },
    +[](Client& c, int32_t) { c.call<int32_t>("CommitChange"); },
    +[](Client& c, int32_t n) {
        c.call<std::tuple<int32_t, host::StoredParams>>("GetStoredParams", n > 0);
    },
    +[](Client& c, int32_t n) { c.call("RegisterClient", n); },
    +[](Client& c, int32_t n) { c.call("UnregisterClient", n % 7); },
    +[](Client& c, int32_t n) { c.call("SetSelectedTuningDevice", n, std::string("usb_dac")); },
    +[](Client& c, int32_t) { c.call("SetSfxParam", std::string("text")); },
};

/// A setting that only one user changes, and the values that it may have.
struct Setting {
    int32_t id;        ///< of a parameter of the user's profile
    int32_t min, max;  ///< of its values
    int32_t length;    ///< number of values
    /// The last saved value, followed by those set since.
    std::vector<Integers> possible{};
    bool isCertain = true;  ///< the daemon has accepted the last one: it wasn't killed meanwhile
};

/// A client with settings of its own, which runs in a thread of its own.
class User {
public:
    User(Run& run, const TempDir& root, int32_t number, uint32_t seed)
        : mRun(run), mRoot(root), mNumber(number), mDice(seed) {
        for (const auto& [id, parameter, scope, min, max, length] : kAdapterParameters) {
            if (scope != Scope::PROFILE && scope != Scope::GEQ_PRESET) continue;
            mSettings.push_back({id, min, max, length});
        }
    }

    /// Acts at random until the run ends. In a new life of the daemon, the user changes no setting
    /// before it has verified all of them.
    void live() {
        static constexpr void (User::*kActions[])() = {
            &User::call, &User::call, &User::call, &User::reload,       &User::die,
            &User::set,  &User::set,  &User::set,  &User::verifyRarely, &User::setUnownedProfile,
        };
        constexpr size_t kHarmless = 5;  // the first ones change no setting
        while (!mRun.ending) {
            const bool isNew = mRun.life != mLife;
            const size_t action = mDice.below(isNew ? kHarmless : std::size(kActions));
            attempt(isNew && mRun.life % 2 == 0 ? &User::verify : kActions[action]);
            while (sd_bus_process(mClient->bus(), nullptr) > 0) continue;
        }
    }

    /// Fails the run unless every setting has one of its possible values. Throws if the daemon
    /// doesn't answer.
    void verify() {
        const uint32_t life = mRun.life;
        // The service carries out requests in order, so all earlier ones are done and saved then.
        mClient->set(kUnknownCommand, {++mMarks * kUsers + mNumber});
        const bool isSaved = mRun.life == mLife || Run::endsCleanly(mLife);

        for (Setting& setting : mSettings) {
            auto& possible = setting.possible;
            if (isSaved && setting.isCertain && !possible.empty()) possible = {possible.back()};
            const Integers value = mClient->get(Command::PROFILE_PARAMETER, setting.id, mNumber,
                                                size_t(setting.length));
            if (!possible.empty() && !std::count(possible.begin(), possible.end(), value)) {
                mRun.fail("user " + std::to_string(mNumber) + " finds " + std::to_string(value[0]) +
                          " in parameter " + std::to_string(setting.id) + " after " +
                          std::to_string(possible.back()[0]));
            }
            possible = {value};
            setting.isCertain = true;
            ++mRun.checks;
        }
        mLife = life;
    }

private:
    /// Any failure is normal while the daemon is ended or started.
    void attempt(void (User::*action)()) {
        const uint32_t life = mRun.life;
        try {
            (this->*action)();
        } catch (const CommandError& error) {
            const std::string what = error.what();
            const bool isRefused = error.exit() == Exit::FAILED && !what.ends_with("be saved");
            if (!isRefused && life % 2 == 0 && mRun.life == life) mRun.fail(what);
        }
        ++mRun.actions;
    }

    void send(const Bytes& request) {
        const auto result = mClient->call<int32_t>("SetSfxParam", request);
        if (result != 0) mRun.fail("a request was answered by " + std::to_string(result));
    }

    /// Sets a value, and notes it as possible unless it is refused.
    void set() {
        Setting& setting = mSettings[mDice.below(mSettings.size())];
        Integers value(size_t(setting.length));
        for (int32_t& one : value) one = mDice.roll(setting.min, setting.max);
        Integers arguments{mNumber, setting.id};
        arguments.insert(arguments.end(), value.begin(), value.end());

        setting.possible.push_back(value);
        try {
            send(request(Command::PROFILE_PARAMETER, arguments));
        } catch (const CommandError& error) {
            setting.isCertain = error.exit() == Exit::FAILED;
            if (setting.isCertain) setting.possible.pop_back();
            throw;
        }
    }
    /// Sends a request for the profile that no user owns, of which the end may be missing.
    void setUnownedProfile() {
        const int32_t port = mDice.roll(-1, 7);
        const int32_t id = mDice.roll(99, 117);
        Bytes bytes =
            request(Command::PROFILE_PORT_PARAMETER, {kUsers, port, id, mDice.roll(-1, 20)});
        bytes.resize(bytes.size() - mDice.below(20));
        send(bytes);
    }
    bool rarely() { return mDice.below(20) == 0; }
    void verifyRarely() {  // because it has everything saved
        if (rarely()) verify();
    }
    void call() { kCalls[mDice.below(kCalls.size())](*mClient, mDice.roll(-1, 16)); }
    void reload() {
        static const std::string extra = contentsOf(sourceFile("data/kiv-extra.xml"));
        if (!rarely()) return;
        mRoot.write("data/vendor/velora/kiv-extra.xml",
                    extra.substr(0, extra.size() / (1 + mDice.below(2))));
        mClient->call("SetIntParam", key::kReload, int64_t{0});
    }
    void die() {
        if (!rarely()) return;
        mClient = connect();
        mDeaf = connect();
        mDeaf->call("RegisterClient", mDice.roll(0, 15));
    }

    Run& mRun;
    const TempDir& mRoot;
    const int32_t mNumber;
    Dice mDice;
    std::unique_ptr<Client> mClient = connect();
    std::unique_ptr<Client> mDeaf;  ///< registered, but doesn't read
    uint32_t mLife = 0;             ///< the last life in which the settings were verified
    int32_t mMarks = 0;
    std::vector<Setting> mSettings;
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
        printf("%zu actions, %zu values checked, %u lives\n", mRun.actions.load(),
               mRun.checks.load(), mRun.life / 2);
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

    void launch() {
        mDaemon.emplace(VELORA_BIN "/velorad --user --log-level error --root " +
                        mRoot.path().string() + " >>" + mLog + " 2>&1");
    }
    void start() {
        launch();
        if (!waitFor(isServing)) throw std::runtime_error("velorad doesn't start");
        ++mRun.life;
    }
    /// Ends the daemon, which may not serve yet, by a signal and checks how it ends.
    void end(int signal) {
        if (mRun.life % 2 == 0) ++mRun.life;
        const int status = mDaemon->end(signal);
        const std::string log = contentsOf(mLog);
        const bool hasReport = log.find("Sanitizer") != std::string::npos ||
                               log.find("runtime error:") != std::string::npos;
        if (hasReport || status != (signal == SIGTERM ? 0 : -signal)) {
            mRun.fail("velorad ended with " + std::to_string(status) + ": " + log);
        }
        std::filesystem::remove(mLog);
    }

    void liveShortly() {
        if (mDice.below(4) == 0) {  // killed while it starts
            launch();
            std::this_thread::sleep_for(milliseconds(mDice.below(60)));
            end(SIGKILL);
        }
        start();
        sleepUntil(Clock::now() + milliseconds(mDice.roll(50, 2000)));
        end(Run::endsCleanly(mRun.life) ? SIGTERM : SIGKILL);
    }
    /// Lets velorad live for the rest of the run, and checks that it doesn't grow.
    void liveOn(Clock::time_point end) {
        start();
        sleepUntil(Clock::now() + (end - Clock::now()) / 3);
        const auto first = usage();
        sleepUntil(end);
        const auto last = usage();
        constexpr std::array kWhat{"KiB of memory", "threads", "descriptors"};
        for (size_t i = 0; i < kWhat.size(); ++i) {
            printf("%ld to %ld %s\n", first[i], last[i], kWhat[i]);
            const long more = i == 0 ? first[i] / kMemoryTolerance : 0;
            if (last[i] > first[i] + more) mRun.fail(std::string("more ") + kWhat[i]);
        }
    }
    /// Resident memory, threads and file descriptors of the daemon: the minimum of many samples,
    /// which leaves out what is held for a moment only.
    std::array<long, 3> usage() {
        const std::string process = "/proc/" + std::to_string(mDaemon->pid());
        std::array<long, 3> least{LONG_MAX, LONG_MAX, LONG_MAX};
        for (int sample = 0; sample < 100; ++sample) {
            const std::string status = contentsOf(process + "/status");
            const auto number = [&](const std::string& key) {
                return std::stol(status.substr(status.find(key) + key.size()));
            };
            const std::filesystem::directory_iterator open(process + "/fd");
            const std::array now{number("VmRSS:"), number("Threads:"),
                                 long{std::distance(open, {})}};
            for (size_t i = 0; i < now.size(); ++i) least[i] = std::min(least[i], now[i]);
            std::this_thread::sleep_for(milliseconds(10));
        }
        return least;
    }
    /// Every setting must have its last value, also after another end.
    void checkAll() {
        for (const auto& user : mUsers) user->verify();
        end(SIGTERM);
        start();
        for (const auto& user : mUsers) user->verify();
        end(SIGTERM);
    }

    Run mRun;
    Dice mDice;
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
