#define LOG_TAG "VlrDatabaseProvider"

#include "store/Provider.h"

#include <utility>

#include <log/log.h>

// The devices and tunings of the provider.

namespace velora {

namespace {

// Log texts that are part of the interface: they must not change, nor may their spelling be
// corrected.
constexpr char kNoDeviceMessage[] = "Cannot find device with name %s in mDeviceTunings";
constexpr char kTuningFoundMessage[] = "Found existing tuning[%s] from cache device[%s]";
constexpr char kTuningLoadedMessage[] =
    "Load tuning[%s] from cache device[%s], and put it in cached mTunings";
constexpr char kDeviceClearedMessage[] = "Clear cached device tuning Port[%s]:Device[%s]";

std::unique_ptr<Tuning> newTuning(std::string_view name) {
    return std::make_unique<Tuning>(completed(Tuning(std::string(name), Endpoint::SPEAKER, false)));
}

}  // namespace

// Devices that can't be read are not cached, so the next call tries again.
void Provider::loadDevices(Port port) {
    if (!isPort(port) || mTunings.devices.contains(port)) return;
    std::vector<std::unique_ptr<DeviceTuning>> devices;
    if (mDatabase.queryDeviceTunings(portInfo(port).name, &devices)) {
        mTunings.devices[port] = std::move(devices);
    }
}

std::vector<DeviceTuning*> Provider::loadDeviceTuningsForPort(Port port) {
    loadDevices(port);
    std::vector<DeviceTuning*> devices;
    const auto loaded = mTunings.devices.find(port);
    if (loaded == mTunings.devices.end()) return devices;
    for (const auto& device : loaded->second) devices.push_back(device.get());
    return devices;
}

const DeviceTuning* Provider::findDevice(const std::string& device) const {
    for (const auto& [port, devices] : mTunings.devices) {
        for (const auto& candidate : devices) {
            if (candidate->getDevice() == device) return candidate.get();
        }
    }
    return nullptr;
}

Tuning* Provider::loadTuningForDevice(const std::string& device) {
    const DeviceTuning* const found = findDevice(device);
    if (found == nullptr) {
        ALOGW(kNoDeviceMessage, device.c_str());
        return nullptr;
    }

    const std::string name = found->getTuning();
    const auto loaded = mTunings.tunings.find(name);
    if (loaded != mTunings.tunings.end()) {
        ALOGD(kTuningFoundMessage, name.c_str(), device.c_str());
        return loaded->second.get();
    }

    auto tuning = newTuning(name);
    if (mIsLoaded || !mDatabase.queryTuning(name, tuning.get())) {
        ALOGW("There is no tuning[%s] for device[%s]", name.c_str(), device.c_str());
        return nullptr;
    }
    ALOGD(kTuningLoadedMessage, name.c_str(), device.c_str());
    return (mTunings.tunings[name] = std::move(tuning)).get();
}

std::optional<Provider::FactoryNames> Provider::readFactoryNames() {
    FactoryNames names;
    const bool wereRead =
        mDatabase.queryTexts(TableType::TUNINGS, "name", kDefaultName, &names.tunings) &&
        mDatabase.queryTexts(TableType::DEVICE_TUNINGS, "device", kDefaultName, &names.devices);
    return wereRead ? std::optional(std::move(names)) : std::nullopt;
}

std::string Provider::getOemSignature() {
    const std::string stored = mDatabase.queryConfigurationValue(kOemSignature);
    if (stored.empty()) return {};
    const std::string digest = mDatabase.tuningsDigest();
    const bool isCurrent = !digest.empty() && stored.ends_with(" " + digest);
    return isCurrent ? stored.substr(0, stored.find(' ')) : std::string();
}

void Provider::setOemSignature(const std::string& signature) {
    mDatabase.setConfigurationValue(kOemSignature, signature + " " + mDatabase.tuningsDigest());
}

void Provider::reloadCachedDeviceTunings() { useTunings(readTunings()); }

Provider::Tunings Provider::readTunings() {
    Tunings read;
    (void)mDatabase.queryAllDeviceTunings([&](std::unique_ptr<DeviceTuning> device) {
        const auto port = portByName(device->getPort());
        if (port) read.devices[*port].push_back(std::move(device));
    });
    for (const PortInfo& port : kPorts) read.devices.try_emplace(port.port);

    (void)mDatabase.queryAllTunings([&](std::string_view name) {
        auto& tuning = read.tunings[std::string(name)];
        tuning = newTuning(name);
        return tuning.get();
    });
    return read;
}

void Provider::useTunings(Tunings tunings) {
    for (const auto& [port, devices] : mTunings.devices) {
        for (const auto& device : devices) {
            ALOGD(kDeviceClearedMessage, device->getPort().c_str(), device->getDevice().c_str());
        }
    }
    mTunings.devices = std::move(tunings.devices);

    // Callers hold the tunings that were returned, so these objects remain, also without a row.
    for (auto& [name, tuning] : mTunings.tunings) {
        auto& read = tunings.tunings[name];
        if (read != nullptr) {
            *tuning = std::move(*read);
            read = std::move(tuning);
        } else {
            mRemovedTunings.push_back(std::move(tuning));
        }
    }
    std::erase_if(tunings.tunings, [](const auto& entry) { return entry.second == nullptr; });
    mTunings.tunings = std::move(tunings.tunings);
}

}  // namespace velora
