#define LOG_TAG "SndContext"

#include "context/TuningSelection.h"

#include <algorithm>

#include <log/log.h>

namespace velora {

namespace {

// Log texts that are part of the interface: they must not change, nor may their spelling be
// corrected.
constexpr char kDeviceUnavailableMessage[] =
    "Current selected tuning dev[%s] is not available for port[%s], revert to use dev[%s].";
constexpr char kTuningNotLoadedMessage[] = "Cannot load tuning data for device[%s] on port[%s]";
constexpr char kTuningResetMessage[] = "Reset tuning[%s] for port[%s] and notify observers.";
constexpr char kInvalidDeviceMessage[] =
    "%s is not a valid tuning device for port %s, please call getAvailableTuningDevice(port) to "
    "check first!";
constexpr char kTuningNotSetMessage[] = "Failed to set tuning for port[%s] as device[%s]";

const char* portName(Port port) { return isPort(port) ? portInfo(port).name.data() : "?"; }

}  // namespace

void TuningSelection::load() {
    for (const Port port : kSupportedPorts) {
        const auto [place, isNew] = mSelections.try_emplace(port);
        if (!isNew) continue;

        // The stored device may come from an extra file that was removed since.
        Selection& selection = place->second;
        selection.device = mProvider->getDeviceTuning(portName(port));
        selection.stored = selection.device;
        replaceIfUnavailable(port, selection.device);
        selection.tuning = mProvider->loadTuningForDevice(selection.device);
    }
}

void TuningSelection::takeChanges(UserSettings* settings) {
    for (auto& [port, selection] : mSelections) {
        if (selection.stored == selection.device) continue;
        selection.stored = selection.device;
        settings->devices.emplace(port, selection.device);
    }
}

Tuning* TuningSelection::reload(Port port) {
    Selection& selection = mSelections[port];
    replaceIfUnavailable(port, selection.device);
    const std::string& device = selection.device;

    Tuning* const tuning = mProvider->loadTuningForDevice(device);
    if (tuning == nullptr) {
        ALOGE(kTuningNotLoadedMessage, device.c_str(), portName(port));
        return nullptr;
    }

    selection.tuning = tuning;
    ALOGD(kTuningResetMessage, tuning->getName().c_str(), portName(port));
    return tuning;
}

TuningSelection::Result TuningSelection::select(Port port, const std::string& device, bool force) {
    if (!isAvailable(port, device)) {
        ALOGE(kInvalidDeviceMessage, device.c_str(), portName(port));
        return Result::REFUSED;
    }
    Tuning* const tuning = mProvider->loadTuningForDevice(device);
    if (tuning == nullptr) {
        ALOGW(kTuningNotSetMessage, portName(port), device.c_str());
        return Result::REFUSED;
    }

    Selection& selection = mSelections[port];
    selection.device = device;

    // Several devices may share a tuning.
    const Tuning* const before = selection.tuning;
    const bool isSame = before != nullptr && before->getName() == tuning->getName();
    if (isSame && !force) return Result::SAME_TUNING;
    selection.tuning = tuning;
    return Result::NEW_TUNING;
}

Tuning* TuningSelection::getTuning(Port port) const {
    const auto place = mSelections.find(port);
    return place != mSelections.end() ? place->second.tuning : nullptr;
}

std::string TuningSelection::getDevice(Port port) const {
    const auto place = mSelections.find(port);
    return place != mSelections.end() ? place->second.device : std::string();
}

std::vector<std::string> TuningSelection::getAvailableDevices(Port port) const {
    std::vector<std::string> names;
    for (const DeviceTuning* const device : mProvider->loadDeviceTuningsForPort(port)) {
        names.push_back(device->getDevice());
    }
    return names;
}

std::string TuningSelection::getDefaultDevice(Port port) const {
    const auto devices = getAvailableDevices(port);
    const auto preferred = std::find_if(
        devices.begin(), devices.end(),
        [](const std::string& name) { return name.starts_with(kDefaultDevicePrefix); });
    if (preferred != devices.end()) return *preferred;

    const auto namesake = std::find(devices.begin(), devices.end(), portName(port));
    if (namesake != devices.end()) return *namesake;

    const bool hasFirst = !devices.empty() && !devices.front().empty();
    return hasFirst ? devices.front() : portName(port);
}

bool TuningSelection::isFor(Port port, Endpoint endpoint) const {
    const Tuning* const tuning = getTuning(port);
    return tuning != nullptr && tuning->getEndpoint() == endpoint;
}

bool TuningSelection::isUsed(Endpoint endpoint) const {
    return std::any_of(mSelections.begin(), mSelections.end(),
                       [&](const auto& entry) { return isFor(entry.first, endpoint); });
}

bool TuningSelection::isAvailable(Port port, const std::string& device) const {
    const auto devices = getAvailableDevices(port);
    return std::find(devices.begin(), devices.end(), device) != devices.end();
}

void TuningSelection::replaceIfUnavailable(Port port, std::string& device) const {
    if (isAvailable(port, device)) return;
    const std::string replacement = getDefaultDevice(port);
    ALOGW(kDeviceUnavailableMessage, device.c_str(), portName(port), replacement.c_str());
    device = replacement;
}

}  // namespace velora
