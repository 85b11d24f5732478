#include "tests/faults/Course.h"

#include "context/SndContextManager.h"
#include "service/Protocol.h"
#include "tests/support/Records.h"

#include <atomic>
#include <sstream>

#include <log/log.h>

namespace velora::test {
namespace {

using Service = android::VeloraManagerService;
using Integers = std::vector<int32_t>;

std::atomic<int> sLogLines{0};  // warnings and errors

void mark(std::string_view word, const std::string& text = "") {
    markDisk(std::string(word) + text);
}
void log(const __android_log_message* entry) {
    if (entry->priority < ANDROID_LOG_WARN) return;
    ++sLogLines;
    mark(kLog, entry->message);
}

/// Everything that the service serves and the effect has, one fact in a line.
std::string servedState() {
    const auto& manager = SndContextManager::getInstance();
    const SndContext& context = *manager.getSndContext();
    std::ostringstream text;
    text << "version " << manager.getDefaultXmlFormatVersion() << "\ngain "
         << manager.getZenithGameSystemGain() << "\non " << context.getSfxOn() << "\nselected "
         << context.getSelectedProfile()->getProfileId() << '\n';
    for (const Port port : kSupportedPorts) {
        text << portInfo(port).name << " uses " << context.getSelectedTuningDevice(port) << " of";
        for (const auto& device : context.getAvailableTuningDevice(port)) text << ' ' << device;
        text << '\n';
    }
    for (int id = 0; id <= context.getNumOfIeqPresets(); ++id) {
        text << "preset " << context.getIeqPresetName(id) << '\n';
    }
    for (int id = 0; id < context.getNumOfProfiles(); ++id) {
        text << "modified " << context.isProfileModified(id) << '\n';
    }
    visitRecords(context, [&](const auto& record) { text << record.toString(); });

    SfxParamStore::Caches effect;
    int count = 0;
    SfxParamStore::getInstance().getStoredParams(&effect, true, &count);
    for (size_t i = 0; i < effect.size(); ++i) {
        for (const auto& [id, values] : effect.valueAt(i)->params()) {
            text << "effect " << effect.keyAt(i) << ' ' << id;
            for (const int32_t value : values) text << ' ' << value;
            text << '\n';
        }
    }
    return text.str();
}

/// True if the change was stored.
bool take(const Step& step, Service& service) {
    const int before = sLogLines;
    step(service);
    service.registerClient(nullptr, 0, 8);
    service.unregisterClient(nullptr, 0, 8);  // returns when the change is made, and stored

    mark(kAttempt, servedState());
    if (!service.isSaved() || sLogLines != before) return false;
    mark(kStored);
    return true;
}

/// Sends a request with an empty result word.
Step request(Command command, Integers arguments) {
    arguments.insert(arguments.begin(), {wordOf(command), 0});
    return [=](Service& service) {
        Integers words = arguments;
        const auto size = static_cast<uint32_t>(words.size() * sizeof(int32_t));
        if (service.setSfxParam(words.data(), size) != 0) abort();
    };
}
Step setIeqAmount(int profile, int amount) {
    return request(Command::PROFILE_PARAMETER, {profile, 106, amount});
}
void reload(Service& service) { service.setIntParam(key::kReload, 0); }
void selectDevice(Service& service) {
    std::string name = "bluetooth_car_kit";
    service.setSelectedTuningDevice(PORT_BLUETOOTH, name.data(), static_cast<int>(name.size()));
}

}  // namespace

std::vector<Life> makeLives() {
    using enum Command;
    Integers gains(22, -24);
    gains[0] = 0;    // of profile 0
    gains[1] = 109;  // the parameter
    return {
        {.name = "first start",
         .steps = {request(SELECTED_PROFILE, {2}), request(SWITCH_EFFECT, {0}), setIeqAmount(2, 3),
                   request(PROFILE_PARAMETER, gains)}},
        {.name = "reload",
         .bringsExtraFile = true,
         .steps = {reload, selectDevice, request(RESET_PROFILE, {0}), setIeqAmount(1, 5)}},
        {.name = "rebuild",
         .hasNewTuningFile = true,
         .steps = {setIeqAmount(3, 7), request(SELECTED_PROFILE, {1})}},
    };
}

void live(const Life& life, Disk& disk) {
    __android_log_set_logger(log);
    auto service = android::sp<Service>::make();
    service->registerClient(nullptr, 0, 7);
    if (SndContextManager::getInstance().getSndContext() == nullptr) return;
    const std::string started = servedState();
    mark(kStarted, started);
    // After a rebuild that failed, the old settings are served until the next start.
    if (!life.started.empty() && started != life.started) return;

    const auto takeInTwoAttempts = [&](const Step& each) {
        const bool isTaken = take(each, *service);
        return isTaken || take(each, *service);
    };
    auto step = life.steps.begin();
    while (step != life.steps.end() && takeInTwoAttempts(*step)) ++step;
    disk.clearFault();
    mark(kCleared);
    for (; step != life.steps.end(); ++step) {
        const auto number = step - life.steps.begin();
        if (!take(*step, *service)) mark(kNotStored, "step " + std::to_string(number));
    }
    if (!service->shutdown()) mark(kNotStored, "at the end");
    service.clear();
    SndContextManager::getInstance().release();
}

}  // namespace velora::test
