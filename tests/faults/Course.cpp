#include "tests/faults/Course.h"

#include "context/SndContextManager.h"
#include "service/Protocol.h"
#include "tests/support/RecordingClient.h"

#include <algorithm>
#include <atomic>
#include <sstream>

#include <log/log.h>

namespace velora::test {
namespace {

using android::sp;
using android::VeloraManagerService;

constexpr Command kNoCommand{99};

std::atomic<int> sLogLines{0};  // warnings and errors

void log(const __android_log_message* entry) {
    if (entry->priority < ANDROID_LOG_WARN) return;
    ++sLogLines;
    markDisk(std::string(kLog).append(entry->message));
}

Bytes request(Command command, std::vector<int32_t> following) {
    following.insert(following.begin(), wordOf(command));
    const auto* const bytes = reinterpret_cast<const uint8_t*>(following.data());
    return {bytes, bytes + following.size() * sizeof(int32_t)};
}
/// Sends a request with an empty result word.
void send(VeloraManagerService& service, Command command, std::vector<int32_t> arguments) {
    arguments.insert(arguments.begin(), 0);
    Bytes bytes = request(command, std::move(arguments));
    if (service.setSfxParam(bytes.data(), static_cast<uint32_t>(bytes.size())) != 0) abort();
}
void selectDevice(VeloraManagerService& service, Port port, std::string name) {
    service.setSelectedTuningDevice(port, name.data(), static_cast<int>(name.size()));
}

/// Everything that the service serves and stores, one fact in a line.
std::string servedState() {
    const DiskPause pause;
    const auto& manager = SndContextManager::getInstance();
    SndContext& context = *manager.getSndContext();
    std::ostringstream text;
    text << "version " << manager.getDefaultXmlFormatVersion() << "\ngain "
         << manager.getZenithGameSystemGain() << "\non " << context.getSfxOn() << "\nselected "
         << context.getSelectedProfile()->getProfileId() << '\n';
    for (int id = 0; id < context.getNumOfProfiles(); ++id) {
        const Profile& profile = *context.getProfile(id);
        text << "profile " << profile.getName() << " modified " << context.isProfileModified(id)
             << '\n'
             << profile.valuesToString() << context.getProfileGeq(id)->valuesToString();
        for (const Endpoint endpoint : kEndpoints) {
            text << endpointName(endpoint) << '\n'
                 << context.getProfileEndpoint(id, endpoint)->valuesToString()
                 << context.getContext(id)->getSelectedIeqPreset(endpoint)->toString();
        }
    }
    for (const Port port : kSupportedPorts) {
        text << portInfo(port).name << " has";
        for (const auto& device : context.getAvailableTuningDevice(port)) text << ' ' << device;
        const Tuning* const tuning = context.getSelectedTuning(port);
        text << "\nselected " << context.getSelectedTuningDevice(port) << '\n'
             << (tuning != nullptr ? tuning->valuesToString() : "none\n");
    }
    for (int id = 0; id <= context.getNumOfIeqPresets(); ++id) {
        text << "preset " << context.getIeqPresetName(id) << '\n';
    }
    return text.str();
}

std::string effectState() {
    SfxParamStore::Caches caches;
    int count = 0;
    SfxParamStore::getInstance().getStoredParams(&caches, true, &count);
    std::ostringstream text;
    for (size_t i = 0; i < caches.size(); ++i) {
        for (const auto& [id, values] : caches.valueAt(i)->params()) {
            text << caches.keyAt(i) << ' ' << id;
            for (const int32_t value : values) text << ' ' << value;
            text << '\n';
        }
    }
    return text.str();
}

/// The only client of the service.
class Client {
public:
    /// True if the service has started.
    bool start() {
        mService->registerClient(mUpdates, 0, 7);
        if (SndContextManager::getInstance().getSndContext() == nullptr) return false;
        markDisk(std::string(kEffect) + effectState());
        markDisk(std::string(kStarted) + servedState());
        return true;
    }

    /// True if the change was stored.
    bool take(const Step& step) {
        const int before = sLogLines;
        step.change(*mService);
        waitForLooper();
        markDisk(std::string(kAttempt) + servedState());
        return report(step.isPromised ? sLogLines == before : mService->saveSettings());
    }

    void shutDown() {
        markDisk(std::string(kAttempt) + servedState());
        report(mService->shutdown());
        mService.clear();
        SndContextManager::getInstance().release();
    }

private:
    static bool report(bool isStored) {
        if (isStored) markDisk(kStored);
        return isStored;
    }

    /// The clients are notified of every request in its turn, also of one without effect.
    void waitForLooper() {
        send(*mService, kNoCommand, {0});
        const Bytes last = request(kNoCommand, {0, 0});
        bool isDone = false;
        while (!isDone) {
            const auto updates = mUpdates->awaitUpdates(1);
            isDone = std::find(updates.begin(), updates.end(), last) != updates.end();
        }
    }

    sp<VeloraManagerService> mService = sp<VeloraManagerService>::make();
    const sp<RecordingClient> mUpdates = sp<RecordingClient>::make();
};

void setIeqAmount(VeloraManagerService& service, int profile, int amount) {
    send(service, Command::PROFILE_PARAMETER, {profile, 106, amount});
}

constexpr Step kLastStep{[](VeloraManagerService& s) { setIeqAmount(s, 4, 1); }, false};

}  // namespace

std::vector<Life> makeLives() {
    using enum Command;
    using Service = VeloraManagerService;
    return {
        {"first start",
         false,
         false,
         {{[](Service& s) { send(s, SELECTED_PROFILE, {2}); }, true},
          {[](Service& s) { send(s, SWITCH_EFFECT, {0}); }, true},
          {[](Service& s) { setIeqAmount(s, 2, 3); }, false},
          {[](Service& s) {
               std::vector<int32_t> gains(22, -24);
               gains[0] = 0;
               gains[1] = 109;
               send(s, PROFILE_PARAMETER, gains);
           },
           false}}},
        {"reload",
         true,
         false,
         {{[](Service& s) { s.setIntParam(key::kReload, 0); }, true},
          {[](Service& s) { selectDevice(s, PORT_BLUETOOTH, "bluetooth_car_kit"); }, false},
          {[](Service& s) { send(s, RESET_PROFILE, {0}); }, true},
          {[](Service& s) { setIeqAmount(s, 1, 5); }, false}}},
        {"rebuild",
         false,
         true,
         {{[](Service& s) { setIeqAmount(s, 3, 7); }, false},
          {[](Service& s) { send(s, SELECTED_PROFILE, {1}); }, true}}},
    };
}

void live(const Life& life, Disk& disk, bool hasSteps) {
    __android_log_set_logger(log);
    Client client;
    if (!client.start() || !hasSteps) return;
    // After a rebuild that failed, the old settings are served until the next start.
    if (!life.started.empty() && servedState() != life.started) return;

    const auto take = [&](const Step& step) { return client.take(step) || client.take(step); };
    const auto failed = std::find_if_not(life.steps.begin(), life.steps.end(), take);
    if (disk.failures > 0) {
        disk.clearFault();
        markDisk(kCleared);
        const bool isDone = failed == life.steps.end() || client.take(*failed);
        if (!isDone || !client.take(kLastStep)) markDisk(kNotStored);
    }
    client.shutDown();
}

}  // namespace velora::test
