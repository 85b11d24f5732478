// A client's question over the bus, and as a program of its own.

#include "benchmarks/EmptyService.h"
#include "benchmarks/Ratio.h"
#include "benchmarks/Sample.h"
#include "host/ctl/Client.h"

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace velora::bench {
namespace {

using host::Bus;
using host::Client;

constexpr char kBin[] = VELORA_BIN;
constexpr int32_t kAmount = 106;  // a parameter of the profile

/// A program without output; killed at the end of the scope.
class Program {
public:
    explicit Program(const std::vector<std::string>& command) {
        std::vector<char*> arguments;
        for (const auto& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
        arguments.push_back(nullptr);
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        for (const int fd : {STDOUT_FILENO, STDERR_FILENO}) {
            posix_spawn_file_actions_addopen(&files, fd, "/dev/null", O_WRONLY, 0);
        }
        mStarted =
            posix_spawnp(&mPid, arguments[0], &files, nullptr, arguments.data(), environ) == 0;
        posix_spawn_file_actions_destroy(&files);
    }
    ~Program() {
        if (mStarted) kill(mPid, SIGKILL);
        succeeded();
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// Waits for its end.
    bool succeeded() {
        if (!std::exchange(mStarted, false)) return false;
        int status = -1;
        return waitpid(mPid, &status, 0) == mPid && status == 0;
    }

private:
    pid_t mPid = 0;
    bool mStarted;
};

Bus connect() { return host::create<Bus>(sd_bus_open_user, "connect"); }

/// Waits until somebody has a name on the bus; throws if nobody comes.
void await(sd_bus* bus, const char* name) {
    for (int tries = 10000; sd_bus_get_name_creds(bus, name, 0, nullptr) < 0; --tries) {
        if (tries == 0) throw std::runtime_error(std::string("nobody serves ") + name);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

/// The daemon on the sample.
struct Daemon {
    Daemon() { await(client.bus(), host::kBusName); }

    const Root root;
    Program program{{std::string(kBin) + "/velorad", "--user", "--root", root.path()}};
    Client client{connect()};
};

void getterOurs(benchmark::State& state, int /*unused*/) {
    Daemon daemon;
    for (auto _ : state) {
        benchmark::DoNotOptimize(daemon.client.get(Command::PROFILE_PARAMETER, kAmount));
    }
}

void getterFloor(benchmark::State& state, int /*unused*/) {
    const Program service({"/proc/self/exe", kServeNothing});
    const Bus bus = connect();
    await(bus.get(), kEmptyService);
    for (auto _ : state) {
        sd_bus_message* answer = nullptr;
        host::check(sd_bus_call_method(bus.get(), kEmptyService, "/", kEmptyService, "Nothing",
                                       nullptr, &answer, nullptr),
                    "call");
        sd_bus_message_unref(answer);
    }
}

/// How long `command` takes with the daemon there.
void runCommand(benchmark::State& state, const std::vector<std::string>& command) {
    const Daemon daemon;
    for (auto _ : state) {
        if (!Program(command).succeeded()) state.SkipWithError("failed");
    }
}

void commandOurs(benchmark::State& state, int /*unused*/) {
    runCommand(state, {std::string(kBin) + "/veloractl", "--user", "get", std::to_string(kAmount)});
}

void commandFloor(benchmark::State& state, int /*unused*/) {
    std::vector<std::string> command{
        "busctl",          "--user",         "call",        host::kBusName,
        host::kObjectPath, host::kInterface, "GetSfxParam", "ayu"};
    const auto request = Client::toBytes({wordOf(Command::PROFILE_PARAMETER), kAmount, 0});
    command.push_back(std::to_string(request.size()));
    for (const uint8_t byte : request) command.push_back(std::to_string(byte));
    command.push_back("4");
    runCommand(state, command);
}

[[maybe_unused]] const bool kAdded = [] {
    addRatio("get a parameter over the bus", 1.25, getterOurs, getterFloor, 1);
    addRatio("veloractl get / busctl call", 1, commandOurs, commandFloor, 1);
    return true;
}();

}  // namespace
}  // namespace velora::bench
