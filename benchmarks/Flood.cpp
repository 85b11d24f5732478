// Measures how long a client waits for an answer while another one floods velorad with calls, and
// how much memory velorad takes.

#include "benchmarks/Daemon.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace velora::bench {
namespace {

using host::Client;
using host::Message;

constexpr auto kDuration = std::chrono::seconds(2);
constexpr uint64_t kOpenCalls = 256;  // that a flooding client keeps unanswered if it reads

/// One call of a flood.
struct Call {
    const char* method;
    std::function<void(sd_bus_message*)> write = [](sd_bus_message*) {};
    const char* interface = host::kInterface;
};

template <typename... Args>
std::function<void(sd_bus_message*)> with(const Args&... args) {
    return [=]([[maybe_unused]] sd_bus_message* call) { (host::appendTo(call, args), ...); };
}

host::Bytes select(int32_t profile) {
    return Client::toBytes({wordOf(Command::SELECTED_PROFILE), 0, profile});
}

struct Flood {
    const char* name;
    std::vector<Call> calls;  ///< repeated in this order
    bool reads = true;
    bool wantsAnswers = true;
    int32_t silentClients = 0;  ///< registered besides, which never read
    bool hasRawValues = false;  ///< as many as the daemon accepts were set before
};

const Call kStored{"GetStoredParams", with(true)};
const Call kReload{"SetIntParam", with(key::kReload, int64_t{0})};
const Call kIntrospect{"Introspect", with(), "org.freedesktop.DBus.Introspectable"};
const std::vector<Call> kSelections{{"SetSfxParam", with(select(0))},
                                    {"SetSfxParam", with(select(1))}};
const Flood kFloods[] = {
    {.name = "nothing", .calls = {}},
    {.name = "profile selections", .calls = kSelections},
    {.name = "raw parameters", .calls = {kStored}},
    {.name = "raw parameters, never read",
     .calls = {kStored},
     .reads = false,
     .hasRawValues = true},
    {.name = "registering and unregistering",
     .calls = {{"RegisterClient", with(7)}, {"UnregisterClient", with(7)}}},
    {.name = "selections, 60 clients that don't read", .calls = kSelections, .silentClients = 60},
    {.name = "reloads", .calls = {kReload}},
    {.name = "reloads that want no reply", .calls = {kReload}, .wantsAnswers = false},
    {.name = "introspection", .calls = {kIntrospect}},
    {.name = "requests of 1 MiB",
     .calls = {{"SetSfxParam", with(host::Bytes(1 << 20))}},
     .wantsAnswers = false},
};

/// Makes the flood's calls as fast as the bus takes them, until `ending`.
void run(const Flood& flood, const std::atomic<bool>& ending) {
    const auto client = connect();
    sd_bus* const bus = client->bus();
    uint64_t open = 0;
    const auto onAnswer = [](sd_bus_message*, void* count, sd_bus_error*) {
        --*static_cast<uint64_t*>(count);
        return 0;
    };
    for (size_t i = 0; !ending && !flood.calls.empty(); ++i) {
        const Call& call = flood.calls[i % flood.calls.size()];
        const auto message = host::create<Message>(
            [&](sd_bus_message** m) {
                return sd_bus_message_new_method_call(bus, m, host::kBusName, host::kObjectPath,
                                                      call.interface, call.method);
            },
            call.method);
        call.write(message.get());

        if (flood.wantsAnswers && flood.reads) {
            sd_bus_call_async(bus, nullptr, message.get(), onAnswer, &open, UINT64_MAX);
            ++open;
        } else {
            uint64_t cookie = 0;  // an answer is wanted if somebody could ask for its cookie
            sd_bus_send(bus, message.get(), flood.wantsAnswers ? &cookie : nullptr);
            sd_bus_flush(bus);
        }
        while (flood.reads && sd_bus_process(bus, nullptr) > 0) continue;
        while (open >= kOpenCalls && !ending) {
            sd_bus_wait(bus, 1000);
            while (sd_bus_process(bus, nullptr) > 0) continue;
        }
    }
}

void setRawValues() {
    const auto client = connect();
    try {
        for (uint32_t id = 0; id < 1024; ++id) {
            client->call<int32_t>("SetParam", 2U, id, host::Integers(1024));
        }
    } catch (const host::CommandError&) {
        // as many as the daemon accepts
    }
    client->call<int32_t>("CommitChange");
}

/// Resident memory of a process in KiB, the most that it ever had.
long peakMemory(pid_t pid) {
    const std::string status = test::contentsOf("/proc/" + std::to_string(pid) + "/status");
    return std::stol(status.substr(status.find("VmHWM:") + 6));
}

void measure(const Flood& flood) {
    const Daemon daemon;
    if (flood.hasRawValues) setRawValues();
    std::vector<std::unique_ptr<Client>> silent;
    for (int32_t i = 0; i < flood.silentClients; ++i) {
        silent.push_back(connect());
        silent.back()->call("RegisterClient", 7);
    }
    std::atomic<bool> ending{false};
    std::thread flooding([&] { run(flood, ending); });

    const std::vector<double> waits = daemon.waits(kDuration);
    ending = true;
    flooding.join();

    printf("| %s | %.1f | %.1f | %.1f |\n", flood.name, waits[waits.size() / 2], waits.back(),
           static_cast<double>(peakMemory(daemon.process.pid())) / 1024);
    fflush(stdout);
}

}  // namespace
}  // namespace velora::bench

int main() {
    printf("| Flood | Median, ms | Longest, ms | Memory, MiB |\n|---|---|---|---|\n");
    for (const auto& flood : velora::bench::kFloods) velora::bench::measure(flood);
}
